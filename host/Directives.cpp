#include "host/Directives.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "host/Bridge.h"
#include "platform/text/Printable.h"
#include "runtime/kit/Trace.h"

namespace Host {

namespace {

Directives* theDirectives = nullptr;

constexpr std::array traceHandles{"Orvane", "Snmp", "Zef"};

// The levels while no line says otherwise: what should not happen, unless the environment does.
std::map<std::string, U32> startLevels;

// A line's words are refused with what was wrong; whoever reads the log knows the line already.
[[noreturn]] void refuse(std::string const& reason) { throw std::invalid_argument(reason); }

template <std::size_t size>
void needOneOf(std::array<char const*, size> const& known, std::string const& what, std::string const& word) {
  if (std::find(known.begin(), known.end(), word) != known.end()) return;
  std::string names;
  for (char const* name : known) names += (names.empty() ? "" : ", ") + std::string(name);
  refuse("there is no " + what + " \"" + word + "\" (there are " + names + ")");
}

std::vector<std::string> wordsOf(char const* line) {
  std::vector<std::string> words;
  std::string word(std::strlen(line) + 1, '\0');
  for (char const* rest = line; rest != nullptr && *rest != '\0';) {
    rest = copy_nword_const(rest, word.data(), static_cast<int>(word.size()));
    words.emplace_back(word.c_str());
  }
  return words;
}

// "0,8-9"
U32 levelsOf(std::string const& text) {
  auto const level = [&](std::size_t at) {
    if (at >= text.size() || text[at] < '0' || text[at] > '9')
      refuse("\"" + text + "\" is no list of levels, such as 0,8-9");
    return static_cast<unsigned>(text[at] - '0');
  };
  U32 mask = 0;
  for (std::size_t at = 0;; ++at) {
    unsigned const first = level(at++);
    unsigned last = first;
    if (at < text.size() && text[at] == '-') {
      last = level(at + 1);
      at += 2;
    }
    if (last < first) refuse("\"" + text + "\" has a range that goes down");
    for (unsigned each = first; each <= last; ++each) mask |= 1U << each;
    if (at == text.size()) return mask;
    if (text[at] != ',') level(text.size());
  }
}

// "Orvane/0,8-9"
std::pair<std::string, U32> tracedOf(std::string const& word) {
  std::size_t const slash = word.find('/');
  if (slash == std::string::npos) refuse("HANDLE/LEVELS is needed, such as Orvane/0,8-9");
  std::string const handle = word.substr(0, slash);
  needOneOf(traceHandles, "trace handle", handle);
  return {handle, levelsOf(word.substr(slash + 1))};
}

void traceLevelsAre(std::map<std::string, U32> levels) {
  levels.insert(startLevels.begin(), startLevels.end());
  for (auto const& [handle, mask] : levels) Zef::TraceHandle::levelsIs(handle, mask);
}

// The one path of a line that stands once.
void pathIs(std::filesystem::path& setting, char const* what, std::vector<std::string> const& words) {
  if (words.size() != 1) refuse(std::string("one ") + what + " is needed");
  if (!setting.empty()) refuse("it is given already, as " + setting.string());
  std::filesystem::path const path = words[0];
  // The agent changes its directory after it has read its configuration for the first time.
  if (!path.is_absolute()) refuse("\"" + words[0] + "\" is not an absolute path");
  setting = path;
}

}  // namespace

bool Settings::notificationEnabled(std::string const& name) const {
  auto const found = notifications.find(name);
  return found == notifications.end() || found->second;
}

void startTraces() {
  for (char const* handle : traceHandles) startLevels[handle] = 1;
  char const* const asked = std::getenv("ORVANE_TRACE");
  try {
    for (auto const& word : wordsOf(asked == nullptr ? "" : asked)) {
      auto const [handle, levels] = tracedOf(word);
      startLevels[handle] = levels;
    }
  } catch (std::exception const& error) {
    agentLog(Severity::error, std::string("ORVANE_TRACE: ") + error.what());
  }
  traceLevelsAre({});
}

Directives::Directive const Directives::table[] = {
    {"orvaneInventory", "FILE", &Directives::inventory},
    {"orvaneNotification", "NAME enable|disable", &Directives::notification},
    {"orvaneInspect", "SOCKET", &Directives::inspect},
    {"orvanePhysicalName", "component|none", &Directives::physicalName},
    {"orvanePublish", "SOCKET [MODE [GROUP]]", &Directives::publish},
    {"orvaneSupervisorSlot", "N", &Directives::supervisorSlot},
    {"orvaneTrace", "HANDLE/LEVELS", &Directives::trace},
};

Directives::Directives(std::function<void(Settings const&)> read) : read_(std::move(read)) {
  theDirectives = this;
  for (Directive const& directive : table) {
    // Forgetting once is enough: the agent forgets all directives before it reads any.
    snmpd_register_config_handler(directive.token, &Directives::onLine,
                                  &directive == table ? &Directives::onForget : nullptr, directive.help);
  }
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG, &Directives::onRead, nullptr);
}

void Directives::onLine(char const* token, char* line) {
  auto const directive = std::find_if(std::begin(table), std::end(table),
                                      [&](Directive const& each) { return strcasecmp(each.token, token) == 0; });
  try {
    (theDirectives->*directive->parse)(wordsOf(line));
  } catch (std::exception const& error) {
    netsnmp_config_error("%s: %s", directive->token, Text::printable(error.what(), Text::longestLine).c_str());
  }
}

void Directives::onForget() { theDirectives->settings_ = {}; }

int Directives::onRead(int /*major*/, int /*minor*/, void* /*server*/, void* /*client*/) {
  contained("configuration", [] {
    traceLevelsAre(theDirectives->settings_.traceLevels);
    theDirectives->read_(theDirectives->settings_);
  });
  return SNMP_ERR_NOERROR;
}

void Directives::inventory(std::vector<std::string> const& words) { pathIs(settings_.inventory, "FILE", words); }

void Directives::notification(std::vector<std::string> const& words) {
  if (words.size() != 2) refuse("NAME and enable or disable are needed");
  needOneOf(notificationNames, "notification", words[0]);
  needOneOf(std::array{"enable", "disable"}, "state", words[1]);
  settings_.notifications[words[0]] = words[1] == "enable";
}

void Directives::inspect(std::vector<std::string> const& words) { pathIs(settings_.inspect, "SOCKET", words); }

void Directives::physicalName(std::vector<std::string> const& words) {
  if (words.size() != 1) refuse("component or none is needed");
  needOneOf(std::array{"component", "none"}, "name", words[0]);
  settings_.physicalNames = words[0] == "component";
}

void Directives::publish(std::vector<std::string> const& words) {
  if (words.empty() || words.size() > 3) refuse("SOCKET [MODE [GROUP]] is needed");
  SocketAccess access;
  if (words.size() > 1) {
    std::string const& text = words[1];
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), access.mode, 8);
    if (error != std::errc() || end != text.data() + text.size())
      refuse("\"" + text + "\" is no octal mode, such as 0660");
    if ((access.mode & ~0666U) != 0 || (access.mode & 0600U) != 0600U)
      refuse("the mode " + text + " is not between 0600 and 0666");
  }
  if (words.size() > 2) access.group = words[2];
  pathIs(settings_.publish, "SOCKET", {words[0]});
  settings_.publishAccess = access;
}

void Directives::supervisorSlot(std::vector<std::string> const& words) {
  constexpr unsigned last = 64;
  unsigned slot = 0;
  std::string const text = words.size() == 1 ? words[0] : "";
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), slot);
  if (error != std::errc() || end != text.data() + text.size() || slot < 1 || slot > last)
    refuse("a slot from 1 to 64 is needed");
  settings_.supervisorSlot = slot;
}

void Directives::trace(std::vector<std::string> const& words) {
  if (words.size() != 1) refuse("one HANDLE/LEVELS is needed");
  auto const [handle, levels] = tracedOf(words[0]);
  settings_.traceLevels[handle] = levels;
}

}  // namespace Host
