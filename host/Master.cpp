#include "host/Master.h"

#include <net-snmp/agent/agent_callbacks.h>

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

// The agent library's own for a session with a master: the protocol, and what answers a master's requests through a
// session with the agent itself. Exported, but declared in none of the installed headers.
extern "C" {
extern netsnmp_session* agentx_callback_sess;
extern int callback_master_num;
int agentx_parse(netsnmp_session* session, netsnmp_pdu* pdu, u_char* data, std::size_t length);
int agentx_realloc_build(netsnmp_session* session, netsnmp_pdu* pdu, u_char** buffer, std::size_t* size,
                         std::size_t* length);
int agentx_check_packet(u_char* packet, std::size_t length);
int handle_agentx_packet(int operation, netsnmp_session* session, int request, netsnmp_pdu* pdu, void* magic);
int handle_subagent_response(int operation, netsnmp_session* session, int request, netsnmp_pdu* pdu, void* magic);
}

namespace Host {

namespace {

// Of the protocol, RFC 2741.
constexpr int version = 0xc1;  // as the library marks it: 1
enum Command {
  openPdu = 1,
  closePdu = 2,
  registerPdu = 3,
  getPdu = 5,
  undoSetPdu = 10,
  notifyPdu = 12,
  pingPdu = 13,
  responsePdu = 18
};
constexpr int instanceRegistration = 0x01;
constexpr int nonDefaultContext = 0x08;
constexpr int unsupportedContext = 262;
constexpr int reasonTimeouts = 4;
constexpr int reasonShutdown = 5;
constexpr std::size_t headerSize = 20;
// More is not parsed by the library, which would collect it up to 2 GB all the same.
constexpr int maxPacket = 65536;
// Requests that wait for their turn. The library takes them in faster than it has them answered, and hands them on by a
// pipe, on which it waits for itself when it is full.
constexpr int maxUnanswered = 1000;

constexpr double firstPause = 1.0;
constexpr double longestPause = 30.0;
constexpr int connectWithin = 5;  // seconds

std::string errorText(long status) {
  constexpr std::array names{"openFailed",          "notOpen",           "indexWrongType",     "indexAlreadyAllocated",
                             "indexNoneAvailable",  "indexNotAllocated", "unsupportedContext", "duplicateRegistration",
                             "unknownRegistration", "unknownAgentCaps",  "parseError",         "requestDenied",
                             "processingError"};
  constexpr long first = 256;
  std::string text = "error " + std::to_string(status);
  if (status >= first && status < first + static_cast<long>(names.size()))
    text.append(" (").append(names[static_cast<std::size_t>(status - first)]).append(")");
  return text;
}

int setting(int which) { return netsnmp_ds_get_int(NETSNMP_DS_APPLICATION_ID, which); }

double pingInterval() { return setting(NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL); }

// The time that agentXTimeout and agentXRetries give a request. Nothing is sent twice on a stream, so it is one wait.
double answerWithin() {
  double const microseconds = setting(NETSNMP_DS_AGENT_AGENTX_TIMEOUT);
  return std::clamp(microseconds / 1e6 * (1.0 + setting(NETSNMP_DS_AGENT_AGENTX_RETRIES)), 1.0, 600.0);
}

std::string address() {
  char const* const given = netsnmp_ds_get_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET);
  return given == nullptr ? "" : given;
}

// The library connects in the old way and waits: for a network that swallows everything, or at a socket where nobody
// accepts. While this lives a signal interrupts it after a few seconds, and one that is to end the process does so then
// and there, which no file and no session stands against.
class Waiting {
 public:
  Waiting() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    limitIs(connectWithin);
    action.sa_handler = [](int) { _exit(EXIT_SUCCESS); };
    sigset_t ends;
    sigemptyset(&ends);
    for (int const signal : {SIGTERM, SIGINT}) {
      sigaction(signal, &action, nullptr);
      sigaddset(&ends, signal);
    }
    sigprocmask(SIG_UNBLOCK, &ends, &blocked_);
  }
  ~Waiting() {
    int const error = errno;
    sigprocmask(SIG_SETMASK, &blocked_, nullptr);
    limitIs(0);
    errno = error;
  }
  Waiting(Waiting const&) = delete;
  Waiting& operator=(Waiting const&) = delete;

 private:
  static void limitIs(int seconds) {
    // Again every second, should the first come before the wait.
    itimerval const limit{{1, 0}, {seconds, 0}};
    setitimer(ITIMER_REAL, &limit, nullptr);
  }

  sigset_t blocked_{};
};

// Null and errno when there is no way to the master.
netsnmp_transport* connected() {
  Waiting const waiting;
  errno = 0;
  netsnmp_transport* const transport = netsnmp_transport_open_client("agentx", address().c_str());
  if (transport == nullptr && errno == EINTR) errno = ETIMEDOUT;
  return transport;
}

// What a session's requests have come to.
struct {
  int unanswered = 0;
  bool unread = false;  // an answer
} flow;

// Sends without waiting. A master that does not read is given up: what it got is cut short.
int sendWhole(netsnmp_transport* transport, void const* data, int size, void** /*opaque*/, int* /*opaqueLength*/) {
  if (static_cast<u_char const*>(data)[1] == responsePdu) --flow.unanswered;
  auto const wanted = static_cast<std::size_t>(size);
  if (send(transport->sock, data, wanted, MSG_DONTWAIT | MSG_NOSIGNAL) == static_cast<ssize_t>(size)) return size;
  flow.unread = true;
  shutdown(transport->sock, SHUT_RDWR);
  return -1;
}

// The size of the packet that begins there, 0 as long as that is not known, and -1 for what is none.
int checkPacket(u_char* packet, std::size_t length) {
  if (length < headerSize) return 0;
  int const size = agentx_check_packet(packet, length);
  return packet[0] != 1 || size < static_cast<int>(headerSize) || size > maxPacket ? -1 : size;
}

// The place of the first variable with more sub-identifiers than an OID can have, or 0. No manager can ask for one, but
// a master can, and Net-SNMP's table helper copies them all into an array of MAX_OID_LEN.
int tooLong(netsnmp_pdu const& pdu) {
  int place = 1;
  for (auto const* variable = pdu.variables; variable != nullptr; variable = variable->next_variable, ++place) {
    if (variable->name_length > MAX_OID_LEN) return place;
  }
  return 0;
}

void refuse(netsnmp_session* session, netsnmp_pdu* request, int status, int place) {
  netsnmp_pdu* const answer = snmp_clone_pdu(request);
  if (answer == nullptr) return;
  answer->command = responsePdu;
  answer->version = session->version;
  answer->errstat = status;
  answer->errindex = place;
  if (snmp_send(session, answer) == 0) snmp_free_pdu(answer);
}

}  // namespace

Master::Master(Changed changed)
    : changed_(std::move(changed)),
      clock_(Zef::make<Zef::Clock>("master")),
      alarm_(clock_),
      timer_(Zef::make<Timer>(clock_, [this] { due(); })),
      pause_(firstPause) {
  dueIn(0);
}

void Master::retry() {
  if (session_ != nullptr) return;
  pause_ = firstPause;
  said_.clear();
  dueIn(0);
}

void Master::leave() {
  timer_ = nullptr;
  if (session_ != nullptr) end();
}

void Master::dueIn(double seconds) { timer_->timeMinIs(clock_->time() + seconds); }

void Master::due() {
  if (session_ == nullptr) {
    attempt();
  } else if (asked_ != 0) {
    lost("does not answer");
  } else if (!wanted_.empty()) {
    next_ = 0;
    registerNext();
  } else if (std::exchange(heard_, false)) {
    dueIn(pingInterval());
  } else {
    ask(pingPdu);
  }
}

void Master::attempt() {
  transport_ = connected();
  if (transport_ == nullptr) return lost(std::string("cannot be reached: ") + std::strerror(errno));
  bool const isTunnel = (transport_->flags & NETSNMP_TRANSPORT_FLAG_TUNNELED) != 0;
  if ((transport_->flags & NETSNMP_TRANSPORT_FLAG_STREAM) != 0 && !isTunnel) transport_->f_send = sendWhole;

  netsnmp_session wanted;
  snmp_sess_init(&wanted);
  wanted.version = version;
  wanted.retries = 0;
  wanted.timeout = static_cast<long>(answerWithin() * 1e6);
  wanted.flags |= SNMP_FLAGS_STREAM_SOCKET;
  wanted.callback = onSession;
  wanted.callback_magic = this;
  session_ = snmp_add_full(&wanted, transport_, nullptr, agentx_parse, nullptr, nullptr, agentx_realloc_build,
                           checkPacket, nullptr);
  if (session_ == nullptr)
    return lost("cannot be spoken with: " + std::string(snmp_api_errstring(wanted.s_snmp_errno)));
  session_->securityModel = SNMP_DEFAULT_SECMODEL;  // where the library's own subagent keeps its timer
  session_->sessid = 0;
  flow = {};
  ask(openPdu, [](netsnmp_pdu& pdu) {
    pdu.time = static_cast<u_long>(setting(NETSNMP_DS_AGENT_AGENTX_TIMEOUT)) / 1'000'000;
    constexpr oid none = 0;
    constexpr std::string_view name = "Orvane";
    snmp_pdu_add_variable(&pdu, &none, 0, ASN_OCTET_STR, name.data(), name.size());
  });
}

void Master::ask(int command, std::function<void(netsnmp_pdu&)> const& fill) {
  netsnmp_pdu* const pdu = snmp_pdu_create(command);
  if (pdu != nullptr) {
    pdu->sessid = session_->sessid;
    if (fill) fill(*pdu);
    if (snmp_async_send(session_, pdu, onAnswer, this) != 0) {
      asked_ = command;
      dueIn(answerWithin());
      return;
    }
    snmp_free_pdu(pdu);
  }
  lost("does not read what is sent to it");
}

int Master::onAnswer(int operation, netsnmp_session* session, int /*request*/, netsnmp_pdu* pdu, void* master) {
  contained("master", [&] {
    auto& self = *static_cast<Master*>(master);
    // An ended session tells of its open requests when the library forgets it. How long one may stay open is not left
    // to the library, which looks after that in its idle turns only.
    if (session == self.session_ && operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE) self.answered(*pdu);
  });
  return 1;
}

void Master::answered(netsnmp_pdu const& answer) {
  int const asked = std::exchange(asked_, 0);
  netsnmp_set_agent_uptime(answer.time);
  if (asked == registerPdu) {
    auto const at = wanted_.begin() + static_cast<std::ptrdiff_t>(next_);
    if (answer.errstat == SNMP_ERR_NOERROR) {
      wanted_.erase(at);
    } else {
      if (!there_) {
        std::string line = "the master agent (" + address() + ") refuses ";
        for (oid const subidentifier : at->root) line.append(".").append(std::to_string(subidentifier));
        agentLog(Severity::error, line + ": " + errorText(answer.errstat));
      }
      ++next_;
    }
    return registerNext();
  }
  if (answer.errstat != SNMP_ERR_NOERROR) return lost("refuses the session: " + errorText(answer.errstat));
  if (asked == openPdu) return opened(answer);
  pause_ = firstPause;
  dueIn(pingInterval());
}

void Master::opened(netsnmp_pdu const& answer) {
  session_->sessid = answer.sessid;
  wanted_.clear();
  next_ = 0;
  // The library tells of each that no master is known to have; and would free what is still called at its end.
  snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_REGISTER_OID, onRegistration, this);
  register_mib_detach();
  register_mib_reattach();
  snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_REGISTER_OID, onRegistration, this, 1);
  registerNext();
}

int Master::onRegistration(int /*major*/, int /*minor*/, void* registration, void* master) {
  contained("master", [&] {
    auto const& one = *static_cast<register_parameters const*>(registration);
    static_cast<Master*>(master)->wanted_.push_back({std::vector<oid>(one.name, one.name + one.namelen), one.priority,
                                                     one.timeout, (one.flags & FULLY_QUALIFIED_INSTANCE) != 0});
  });
  return SNMP_ERR_NOERROR;
}

void Master::registerNext() {
  if (next_ == wanted_.size()) return registered();
  Registration const& one = wanted_[next_];
  ask(registerPdu, [&](netsnmp_pdu& pdu) {
    pdu.time = static_cast<u_long>(one.timeout);
    pdu.priority = one.priority;
    if (one.isInstance) pdu.flags |= instanceRegistration;
    snmp_add_null_var(&pdu, one.root.data(), one.root.size());
  });
}

// All are answered. What was refused, because somebody else has it, is asked for again at each look.
void Master::registered() {
  heard_ = true;
  dueIn(pingInterval());
  if (there_) return;
  there_ = true;
  said_.clear();
  add_trap_session(session_, notifyPdu, 1, version);
  snmp_log(LOG_INFO, "NET-SNMP version %s AgentX subagent connected\n", netsnmp_get_version());
  changed_(true);
}

int Master::onSession(int operation, netsnmp_session* session, int request, netsnmp_pdu* pdu, void* master) {
  auto& self = *static_cast<Master*>(master);
  if (session != self.session_) return 1;
  bool isRequest = false;
  contained("master", [&] {
    if (operation == NETSNMP_CALLBACK_OP_DISCONNECT)
      return self.lost(flow.unread ? "does not read what is sent to it" : "has ended the session");
    if (operation != NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE) return;
    if (pdu->command == closePdu) return self.lost("has closed the session");
    if (self.there_) {
      self.heard_ = true;
      self.pause_ = firstPause;
    }
    if (pdu->command >= getPdu && pdu->command <= undoSetPdu && ++flow.unanswered > maxUnanswered)
      return self.lost("asks more than can be answered");
    if ((pdu->flags & nonDefaultContext) != 0) {
      // Nothing is registered in one. The library would read past the end of its name.
      pdu->flags &= ~nonDefaultContext;
      SNMP_FREE(pdu->contextName);
      SNMP_FREE(pdu->community);
      pdu->contextNameLen = pdu->community_len = 0;
      return refuse(session, pdu, unsupportedContext, 0);
    }
    if (int const place = tooLong(*pdu); place != 0) return refuse(session, pdu, SNMP_ERR_GENERR, place);
    isRequest = true;
  });
  return isRequest ? handle_agentx_packet(operation, session, request, pdu, nullptr) : 1;
}

// There is no session, or none any more.
void Master::lost(std::string_view reason) {
  std::string const line = "the master agent (" + address() + ") " + std::string(reason);
  if (line != said_) agentLog(Severity::warning, line);
  said_ = line;
  dueIn(pause_);
  pause_ = std::min(2 * pause_, longestPause);
  if (session_ != nullptr) end();
}

void Master::end() {
  netsnmp_session* const session = std::exchange(session_, nullptr);
  asked_ = 0;
  if (netsnmp_pdu* const goodbye = snmp_pdu_create(closePdu)) {
    goodbye->sessid = session->sessid;
    goodbye->errstat = timer_ ? reasonTimeouts : reasonShutdown;
    if (snmp_send(session, goodbye) == 0) snmp_free_pdu(goodbye);
  }
  // The library, in the midst of whose work this may be, forgets a session without a socket in its next turn.
  transport_->f_close(transport_);
  // Requests that wait for their turn would be answered to the session that is gone, or to the next in its place.
  snmp_close(agentx_callback_sess);
  agentx_callback_sess = netsnmp_callback_open(callback_master_num, handle_subagent_response, nullptr, nullptr);
  if (!std::exchange(there_, false)) return;
  remove_trap_session(session);
  changed_(false);
}

}  // namespace Host
