// orvaned: Orvane as an AgentX subagent, a process of its own beside any master agent. docs/architecture.md tells how
// it lives with its master.

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <net-snmp/library/fd_event_manager.h>
#include <net-snmp/library/snmp_service.h>

#include <getopt.h>
#include <sys/signalfd.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>

#include "host/Master.h"
#include "host/Plugin.h"
#include "platform/text/Printable.h"
#include "runtime/kit/System.h"

// The agent library's own way to its master, in whose place Host::Master stands. Exported, but declared in none of its
// headers.
extern "C" int subagent_startup(int major, int minor, void* server, void* client);

namespace Host {

namespace {

constexpr char const* application = "orvaned";
constexpr int usageError = 2;
// Seconds after which a silent master is asked whether it still is there; agentXPingInterval sets another.
constexpr int pingInterval = 5;

struct Options {
  std::string config;  // empty: orvaned.conf of Net-SNMP's search path
  std::string agentx;  // empty: what the configuration says
};

[[noreturn]] void help() {
  std::printf(
      "Usage: orvaned [OPTION]...\n"
      "Serves the hardware inventory of a network switch, as an AgentX subagent of a master agent.\n"
      "It stays in the foreground and logs to standard error. SIGHUP makes it read its configuration anew.\n"
      "\n"
      "  -C, --config FILE     read FILE instead of orvaned.conf in Net-SNMP's search path\n"
      "  -x, --agentx ADDRESS  the master's AgentX address, such as tcp:127.0.0.1:705; it takes the place of\n"
      "                        agentXSocket in the configuration\n"
      "  -h, --help            print this text and end\n"
      "  -V, --version         print the version and end\n");
  std::exit(EXIT_SUCCESS);
}

[[noreturn]] void refuse(std::string const& reason) {
  if (!reason.empty()) std::fprintf(stderr, "orvaned: %s\n", reason.c_str());
  std::fputs("Try 'orvaned --help'.\n", stderr);
  std::exit(usageError);
}

Options optionsOf(int argc, char** argv) {
  constexpr std::array<option, 5> known = {{{"config", required_argument, nullptr, 'C'},
                                            {"agentx", required_argument, nullptr, 'x'},
                                            {"help", no_argument, nullptr, 'h'},
                                            {"version", no_argument, nullptr, 'V'},
                                            {nullptr, 0, nullptr, 0}}};
  Options options;
  for (int letter = 0; (letter = getopt_long(argc, argv, "C:x:hV", known.data(), nullptr)) != -1;) {
    switch (letter) {
      case 'C':
        options.config = optarg;
        if (options.config.empty()) refuse("--config needs a file");
        break;
      case 'x':
        options.agentx = optarg;
        if (options.agentx.empty()) refuse("--agentx needs an address");
        break;
      case 'h':
        help();
      case 'V':
        std::puts("orvaned " ORVANE_VERSION);
        std::exit(EXIT_SUCCESS);
      default:
        refuse("");  // getopt_long has said what is wrong
    }
  }
  if (optind < argc) refuse(std::string("there is nothing to do with \"") + argv[optind] + "\"");
  return options;
}

// A line of the log, to standard error. What the library says of its own accord is said once while it is the same, and
// held to a few lines a second: a master can make it say much.
int onLog(int /*major*/, int /*minor*/, void* message, void* /*client*/) {
  constexpr int aSecond = 5;
  static std::string last;
  static double second = 0;
  static int said = 0;
  std::string line = static_cast<snmp_log_message const*>(message)->msg;
  if (!line.starts_with("orvane: ")) {
    if (line.ends_with('\n')) line.pop_back();
    line = Text::printable(line) + "\n";
    double const now = std::floor(Zef::System::currentTime());
    if (std::exchange(second, now) != now) said = 0;
    if (line == last || ++said > aSecond) return SNMP_ERR_NOERROR;
  }
  std::fputs(line.c_str(), stderr);
  last = line;
  return SNMP_ERR_NOERROR;
}

void onMaster(bool there) {
  Plugin::instance().notificationsHeldIs(!there);
  sd_notify(0, there ? "STATUS=Registered with the master agent" : "STATUS=Waiting for the master agent");
}

// Signals in their turn, between two other events: one that comes while the library waits for its master is not lost.
class Signals {
 public:
  Signals() {
    sigset_t set;
    sigemptyset(&set);
    for (int const signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&set, signal);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);  // a master that is gone is found by its socket
    fd_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd_ < 0 || register_readfd(fd_, &Signals::onReadable, this) != FD_REGISTERED_OK)
      throw std::system_error(errno, std::generic_category(), "signals");
  }
  ~Signals() {
    unregister_readfd(fd_);
    close(fd_);
  }
  Signals(Signals const&) = delete;
  Signals& operator=(Signals const&) = delete;

  bool ended() const { return ended_; }
  // Whether SIGHUP came since it was asked last.
  bool reload() { return std::exchange(reload_, false); }

 private:
  static void onReadable(int fd, void* signals) {
    auto& self = *static_cast<Signals*>(signals);
    for (signalfd_siginfo signal{}; read(fd, &signal, sizeof signal) == sizeof signal;) {
      (signal.ssi_signo == SIGHUP ? self.reload_ : self.ended_) = true;
    }
  }

  int fd_ = -1;
  bool ended_ = false;
  bool reload_ = false;
};

void masterIs(std::string const& address) {
  netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, address.c_str());
}

// What the library has to know before it reads anything.
void prepare(Options const& options) {
  // All that it would need the MIB files for is names in its own debugging output.
  setenv("MIBS", "", 0);
  auto const library = [](int setting) { netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, setting, 1); };
  // Nothing is kept from one run to the next, so it needs no folder of its own.
  library(NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD);
  library(NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE);
  if (!options.config.empty()) {
    library(NETSNMP_DS_LIB_DONT_READ_CONFIGS);
    netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG, options.config.c_str());
  }
  auto const agent = [](int setting) { netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, setting, 1); };
  agent(NETSNMP_DS_AGENT_ROLE);
  agent(NETSNMP_DS_AGENT_NO_ROOT_ACCESS);
}

void run(Options const& options) {
  snmp_disable_log();
  snmp_enable_calllog();
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, onLog, nullptr);
  prepare(options);
  Signals signals;

  init_agent(application);
  netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL, pingInterval);
  if (char const* const usual = netsnmp_lookup_default_target("agentx", "unix")) masterIs(usual);
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG, subagent_startup, nullptr, 0);
  Plugin::instance().loadedIs(true);
  Plugin::instance().notificationsHeldIs(true);
  init_snmp(application);
  if (!options.agentx.empty()) masterIs(options.agentx);
  Master master(onMaster);
  // It is ready without a master.
  sd_notify(0, "STATUS=Waiting for the master agent");
  sd_notify(0, "READY=1");
  while (!signals.ended()) {
    agent_check_and_process(1);
    if (!signals.reload()) continue;
    sd_notifyf(0, "RELOADING=1\nMONOTONIC_USEC=%.0f", Zef::System::currentTime() * 1e6);
    snmp_log(LOG_INFO, "Reconfiguring daemon\n");
    update_config();
    if (!options.agentx.empty()) masterIs(options.agentx);
    master.retry();
    sd_notify(0, "READY=1");
  }
  sd_notify(0, "STOPPING=1");
  snmp_log(LOG_INFO, "Shutting down\n");
  master.leave();
  snmp_shutdown(application);
  shutdown_agent();
}

}  // namespace

}  // namespace Host

int main(int argc, char** argv) {
  auto const options = Host::optionsOf(argc, argv);
  if (!options.config.empty() && access(options.config.c_str(), R_OK) != 0) {
    std::fprintf(stderr, "orvaned: %s: %s\n", options.config.c_str(), std::strerror(errno));
    return EXIT_FAILURE;
  }
  try {
    Host::run(options);
  } catch (std::exception const& error) {
    std::fprintf(stderr, "orvaned: %s\n", error.what());
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
