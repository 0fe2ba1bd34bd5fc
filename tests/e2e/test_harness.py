"""The harness itself, on a stand-in module: it reads every kind of answer, and it sees every way in which an agent can go wrong."""

import pathlib
import subprocess
import tempfile
import unittest

from harness import ENV, AgentTest, Agent, SnmpError

# "standin VERB" in snmpd.conf misbehaves at once or, for the verbs with "later", when 1.3.6.1.4.1.59871.999.1.0 is read.
STAND_IN = r'''
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {
const oid where[] = {1, 3, 6, 1, 4, 1, 59871, 999, 1};
std::string verb;
volatile int zero = 0;
void* volatile sink;

int handle(netsnmp_mib_handler*, netsnmp_handler_registration*, netsnmp_agent_request_info*, netsnmp_request_info* requests) {
  try { throw std::runtime_error("thrown and caught"); } catch (const std::exception&) {}
  if (verb == "overflow-later") { char* p = new char[8]; p[8 + zero] = 1; delete[] p; }
  if (verb == "undefined-later") { int shift = 40; sink = reinterpret_cast<void*>(static_cast<long>(1 << (shift + zero))); }
  if (verb == "abort-later") abort();
  if (verb == "leak-later") { sink = new char[100]; sink = nullptr; }
  unsigned char bytes[40] = {0, 255, '"', '\n'};
  snmp_set_var_typed_value(requests->requestvb, ASN_OCTET_STR, bytes, sizeof bytes);
  return SNMP_ERR_NOERROR;
}

void parse(const char*, char* line) {
  snmp_log(LOG_INFO, "stand-in: %s\n", line);
  verb = line;
}
}  // namespace

extern "C" void init_standin() {
  static bool once = [] {
    snmpd_register_config_handler("standin", parse, nullptr, "VERB");
    netsnmp_register_scalar(
        netsnmp_create_handler_registration("standin", handle, where, OID_LENGTH(where), HANDLER_CAN_RONLY));
    return true;
  }();
  static_cast<void>(once);
}
'''
SCALAR = '1.3.6.1.4.1.59871.999.1.0'


class Harness(AgentTest):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        source, cls.module = pathlib.Path(folder.name, 'standin.cpp'), pathlib.Path(folder.name, 'standin.so')
        source.write_text(STAND_IN)
        subprocess.run(['g++', '-shared', '-fPIC', '-g', '-fsanitize=address,undefined', '-fno-sanitize-recover=all',
                        '-Wl,-z,nodelete', source, '-o', cls.module], check=True)

    def test_reads_every_kind_of_answer(self):
        agent = self.agent(module=self.module, directives=['sysServices 72'])
        for version in '1', '2c', '3':
            uptime, oid, services, location = agent.get('1.3.6.1.2.1.1.3.0', '1.3.6.1.2.1.1.2.0', '1.3.6.1.2.1.1.7.0', SCALAR,
                                                        version=version)
            self.assertEqual((uptime.type, oid.type, services.type), ('Timeticks', 'OID', 'INTEGER'))
            self.assertGreater(uptime.value, 0)
            self.assertEqual(oid.value, '1.3.6.1.4.1.8072.3.2.10')
            self.assertEqual(location, (SCALAR, 'STRING', bytes((0, 255, 34, 10)) + bytes(36)))
        self.assertEqual([var.type for var in agent.get(SCALAR[:-2] + '.1', '1.3.6.1.4.1.59871.998.0', version='2c')],
                         ['noSuchInstance', 'noSuchObject'])
        self.assertEqual(agent.getnext(SCALAR[:-2])[0].oid, SCALAR)
        system = agent.walk('1.3.6.1.2.1.1')
        self.assertGreater(len(system), 20)
        self.assertEqual([var.oid for var in system], [var.oid for var in agent.bulkwalk('1.3.6.1.2.1.1', repetitions=3)])
        self.assertEqual(agent.walk('1.3.6.1.4.1.59871.998'), [])
        self.assertEqual([var.oid for var in agent.getbulk('1.3.6.1.2.1.1.2', '1.3.6.1.2.1.1.8', non_repeaters=1, repetitions=2)],
                         ['1.3.6.1.2.1.1.2.0', '1.3.6.1.2.1.1.8.0', '1.3.6.1.2.1.1.9.1.2.1'])
        self.assert_error('noSuchName', agent.get, SCALAR + '.1', version='1')
        self.assert_error('notWritable', agent.set, SCALAR, 's', 'x')
        self.assert_error('timeout', agent.get, SCALAR, community='wrong', timeout=1)

    def test_reload_reads_directives_anew(self):
        agent = self.agent(module=self.module, directives=['standin first'])
        agent.wait_for_log('^stand-in: first$')
        agent.directives = ['standin second']
        agent.write_config()
        agent.reload()
        agent.wait_for_log('^stand-in: second$')

    def test_sees_what_goes_wrong(self):
        for verb, report in (('overflow-later', 'heap-buffer-overflow'), ('undefined-later', 'runtime error: shift exponent'),
                             ('abort-later', 'died'), ('leak-later', 'Direct leak of')):
            with self.subTest(verb):
                agent = Agent(module=self.module, directives=[f'standin {verb}'])
                for _ in range(5 if verb == 'leak-later' else 1):
                    self.provoke(agent)
                with self.assertRaisesRegex(AssertionError, report):
                    agent.stop()
        empty = self.module.with_name('empty.so')
        empty.touch()
        with self.assertRaisesRegex(AssertionError, 'dlopen.*failed'):
            Agent(module=empty).stop()

    def provoke(self, agent):
        try:
            agent.get(SCALAR, timeout=2)
        except SnmpError as error:
            self.assertEqual(error.status, 'timeout')


if __name__ == '__main__':
    unittest.main()
