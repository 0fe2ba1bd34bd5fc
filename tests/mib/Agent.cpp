#include "tests/mib/Agent.h"

#include <net-snmp/agent/agent_callbacks.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "platform/agent/Registration.h"
#include "platform/agent/SnmpUtil.h"

// Internal to the agent library, but what its own queries to itself go through.
extern "C" int callback_master_num;

Agent& Agent::instance() {
  static Agent agent(Models::instance().root);
  return agent;
}

Agent::Agent(Zef::Ptr<Zef::Dir> const& systemRoot) {
  setenv("MIBS", "", 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
  netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT, NETSNMP_OID_OUTPUT_NUMERIC);
  init_agent("orvane_test");
  SnmpUtil::systemRootIs(systemRoot);
  Snmp::AutoRegistree::initAll();
  init_snmp("orvane_test");
  session_ = netsnmp_callback_open(callback_master_num, nullptr, nullptr, nullptr);
  if (session_ == nullptr) throw std::runtime_error("no session with the agent");
  session_->version = SNMP_VERSION_2c;
  free(session_->community);
  session_->community = reinterpret_cast<u_char*>(strdup("test"));
  session_->community_len = 4;
  session_->flags |= SNMP_FLAGS_RESP_CALLBACK | SNMP_FLAGS_DONT_PROBE;
  session_->myvoid = reinterpret_cast<void*>(&netsnmp_check_outstanding_agent_requests);
  for (int const question :
       {SNMPD_CALLBACK_ACM_CHECK_INITIAL, SNMPD_CALLBACK_ACM_CHECK, SNMPD_CALLBACK_ACM_CHECK_SUBTREE}) {
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, question, checkView, this);
  }
}

int Agent::checkView(int /*major*/, int /*minor*/, void* question, void* agent) {
  auto& asked = *static_cast<view_parameters*>(question);
  Oid const& hidden = static_cast<Agent const*>(agent)->hidden_;
  Oid const name(asked.name, asked.name + asked.namelen);
  if (name == hidden || isBelow(name, hidden)) {
    asked.errorcode = VACM_NOTINVIEW;
  } else {
    asked.errorcode = asked.check_subtree != 0 && isBelow(hidden, name) ? VACM_SUBTREE_UNKNOWN : VACM_SUCCESS;
  }
  return SNMP_ERR_NOERROR;
}

Response Agent::request(int command, std::vector<Oid> const& names) {
  netsnmp_pdu* const pdu = snmp_pdu_create(command);
  for (auto const& name : names) snmp_add_null_var(pdu, name.data(), name.size());
  return send(pdu);
}

Response Agent::bulk(std::vector<Oid> const& names, int repetitions) {
  netsnmp_pdu* const pdu = snmp_pdu_create(SNMP_MSG_GETBULK);
  pdu->non_repeaters = 0;
  pdu->max_repetitions = repetitions;
  for (auto const& name : names) snmp_add_null_var(pdu, name.data(), name.size());
  return send(pdu);
}

Response Agent::set(Oid const& name, u_char type, std::string const& value) {
  netsnmp_pdu* const pdu = snmp_pdu_create(SNMP_MSG_SET);
  snmp_pdu_add_variable(pdu, name.data(), name.size(), type, value.data(), value.size());
  return send(pdu);
}

Response Agent::send(netsnmp_pdu* pdu) {
  if (hidden_.empty()) pdu->flags |= UCD_MSG_FLAG_ALWAYS_IN_VIEW;
  netsnmp_pdu* answer = nullptr;
  int const status = snmp_synch_response(session_, pdu, &answer);
  if (status != STAT_SUCCESS || answer == nullptr) {
    throw std::runtime_error(std::string("no answer from the agent: ") + snmp_api_errstring(session_->s_snmp_errno));
  }
  Response response{answer->errstat, answer->errindex, answersIn(answer->variables)};
  snmp_free_pdu(answer);
  return response;
}

std::vector<Answer> Agent::walk(Oid const& root) {
  std::vector<Answer> result;
  for (Oid at = root;;) {
    auto const response = next({at});
    if (response.error != 0 || response.answers.size() != 1) throw std::runtime_error("a walk failed");
    Answer const& answer = response.answers.front();
    if (answer.type == SNMP_ENDOFMIBVIEW || !isBelow(answer.name, root)) return result;
    result.push_back(answer);
    if (!(at < answer.name)) return result;
    at = answer.name;
  }
}

netsnmp_handler_registration& Agent::registration(Oid const& root) {
  netsnmp_subtree* const subtree = netsnmp_subtree_find(root.data(), root.size(), nullptr, "");
  if (subtree == nullptr || subtree->reginfo == nullptr) throw std::runtime_error("nothing is registered there");
  return *subtree->reginfo;
}

Models& Models::instance() {
  static Models models;
  return models;
}

Models::Models() {
  std::pair<char const*, Zef::Ptr<Zef::Entity>> const places[] = {
      {"fru", entityMib}, {"sensor", sensorMib}, {"state", stateMib}};
  auto const snmp = Zef::make<Zef::Dir>("snmp");
  root->entityIs(snmp);
  for (auto const& [directory, entity] : places) {
    auto const dir = Zef::make<Zef::Dir>(directory);
    snmp->entityIs(dir);
    dir->entityIs(entity);
  }
}
