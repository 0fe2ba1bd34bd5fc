#pragma once

#include <string>
#include <vector>

#include "model/OrvaneLib.h"
#include "runtime/reflection/Entity.h"
#include "tests/Support.h"
#include "tests/Varbinds.h"

struct Response {
  long error;
  long errorIndex;
  std::vector<Answer> answers;
};

// What the MIB modules trace while it lives.
struct Tracing : TraceCapture {
  Tracing() : TraceCapture("Snmp") {}
};

// The agent inside the test program, with the modules registered, and a manager that speaks to it without a socket.
// There is one in a process, since what is registered with Net-SNMP stays.
class Agent {
 public:
  static Agent& instance();
  // For a process of its own: registers the modules over that directory.
  explicit Agent(Zef::Ptr<Zef::Dir> const& systemRoot);

  Response get(std::vector<Oid> const& names) { return request(SNMP_MSG_GET, names); }
  Response next(std::vector<Oid> const& names) { return request(SNMP_MSG_GETNEXT, names); }
  Response bulk(std::vector<Oid> const& names, int repetitions);
  Response set(Oid const& name, u_char type, std::string const& value);
  // The GETNEXT chain below an OID. Ends with the first name that does not ascend, too, so that a test shows it.
  std::vector<Answer> walk(Oid const& root);
  // What lies at or below a name is out of the manager's view. An empty name hides nothing.
  void hiddenIs(Oid const& name) { hidden_ = name; }

  static netsnmp_handler_registration& registration(Oid const& root);

 private:
  Response request(int command, std::vector<Oid> const& names);
  Response send(netsnmp_pdu* pdu);
  // The agent's question whether a name is in view, or all that lies below it is.
  static int checkView(int major, int minor, void* question, void* agent);
  netsnmp_session* session_;
  Oid hidden_;
};

// The model entities at their places, for all tests of the process.
struct Models {
  static Models& instance();
  Models();
  Zef::Ptr<Zef::Dir> root = Zef::make<Zef::Dir>("Vorlin");
  Zef::Ptr<Orvane::OrvaneEntityMib> entityMib = Orvane::orvaneEntityMibFactory("entitymib");
  Zef::Ptr<Orvane::OrvaneSensorMib> sensorMib = Orvane::orvaneSensorMibFactory("entitysensormib");
  Zef::Ptr<Orvane::OrvaneStateMib> stateMib = Orvane::orvaneStateMibFactory("entitystatemib");
};
