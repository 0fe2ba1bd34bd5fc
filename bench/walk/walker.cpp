// walker HOST:PORT OID REPETITIONS [DUMP]: walks what lies below OID by GETBULK and prints the number of variables.
// DUMP gets a line "COLUMN INDEX TYPE HEX" for each, as walkbench reads it.

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
// clang-format on

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::string const community = "public";

std::vector<oid> parse(char const* text) {
  std::vector<oid> parts;
  for (char* rest = nullptr;; text = rest + 1) {
    parts.push_back(std::strtoul(text, &rest, 10));
    if (*rest != '.') return parts;
  }
}

void dump(std::FILE* file, netsnmp_variable_list const* variable) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string hex = "-";
  for (std::size_t i = 0; i < variable->val_len; ++i) {
    hex += digits[variable->val.string[i] >> 4];
    hex += digits[variable->val.string[i] & 15];
  }
  std::fprintf(file, "%lu %lu %d %s\n", variable->name[variable->name_length - 2],
               variable->name[variable->name_length - 1], variable->type, hex.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s HOST:PORT OID REPETITIONS [DUMP]\n", argv[0]);
    return 2;
  }
  std::vector<oid> const root = parse(argv[2]);
  std::FILE* const file = argc > 4 ? std::fopen(argv[4], "w") : nullptr;

  netsnmp_session wanted;
  snmp_sess_init(&wanted);
  wanted.version = SNMP_VERSION_2c;
  wanted.peername = argv[1];
  wanted.community = reinterpret_cast<u_char*>(const_cast<char*>(community.data()));
  wanted.community_len = community.size();
  wanted.timeout = 10'000'000;
  netsnmp_session* const session = snmp_open(&wanted);
  if (session == nullptr) {
    snmp_perror(argv[1]);
    return 1;
  }

  std::vector<oid> next = root;
  unsigned long count = 0;
  for (bool below = true; below;) {
    netsnmp_pdu* const request = snmp_pdu_create(SNMP_MSG_GETBULK);
    request->non_repeaters = 0;
    request->max_repetitions = std::atol(argv[3]);
    snmp_add_null_var(request, next.data(), next.size());
    netsnmp_pdu* response = nullptr;
    int const status = snmp_synch_response(session, request, &response);
    if (status != STAT_SUCCESS || response->errstat != SNMP_ERR_NOERROR) {
      std::fprintf(stderr, "walker: after %lu variables: %s\n", count,
                   status == STAT_SUCCESS ? snmp_errstring(static_cast<int>(response->errstat)) : "no answer");
      return 1;
    }
    below = response->variables != nullptr;
    for (auto const* variable = response->variables; variable != nullptr && below; variable = variable->next_variable) {
      below = variable->type != SNMP_ENDOFMIBVIEW && variable->name_length >= root.size() &&
              netsnmp_oid_equals(root.data(), root.size(), variable->name, root.size()) == 0;
      if (!below) break;
      if (snmp_oid_compare(variable->name, variable->name_length, next.data(), next.size()) <= 0) {
        std::fprintf(stderr, "walker: the OID does not grow after %lu variables\n", count);
        return 1;
      }
      ++count;
      if (file != nullptr) dump(file, variable);
      next.assign(variable->name, variable->name + variable->name_length);
    }
    snmp_free_pdu(response);
  }
  snmp_close(session);
  if (file != nullptr) std::fclose(file);
  std::printf("%lu\n", count);
  return 0;
}
