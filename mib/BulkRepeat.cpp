#include "mib/BulkRepeat.h"

namespace Mib {

namespace {

// The agent stops coming by when the names in an answer are longer, in sum, than its message may be, and sends what it
// has. Variables that had no turn yet would leave without a value, so none is repeated before the others while it can
// come to that.
bool isWithinTheMessage(netsnmp_agent_session const& session) {
  long const variables = session.vbcount * session.pdu->max_repetitions;
  return session.vbcount == 1 || variables * MAX_OID_LEN <= session.pdu->msgMaxSize;
}

int repeat(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration, netsnmp_agent_request_info* info,
           netsnmp_request_info* request) {
  // The agent leaves out what is not in the manager's view, but looks only at what it got since it came by last. Where
  // part of the table is hidden, it has to come by for each variable.
  bool const mayRepeat =
      info->mode == MODE_GETBULK && isWithinTheMessage(*info->asp) &&
      netsnmp_acm_check_subtree(info->asp->pdu, registration->rootoid, registration->rootoid_len) == VACM_SUCCESS;
  int result = netsnmp_call_next_handler(handler, registration, info, request);
  // This is how bulk_to_next marks the next variable, when there was an answer and repetitions are left.
  while (mayRepeat && result == SNMP_ERR_NOERROR && request->requestvb->type == ASN_PRIV_RETRY) {
    netsnmp_free_request_data_sets(request);
    request->requestvb->type = ASN_NULL;
    request->processed = 0;
    result = netsnmp_call_next_handler(handler, registration, info, request);
  }
  return result;
}

}  // namespace

netsnmp_mib_handler* bulkRepeatHandler() { return netsnmp_create_handler("bulk_repeat", repeat); }

}  // namespace Mib
