"""The module through the life of its agent: starts of every kind, directives, reloads, and ends at any moment."""

import os
import re
import signal
import subprocess
import tempfile
import time
import unittest

from described import ENTRY, LAST_CHANGE, TABLES, Switch, contains, last_change, rows
from harness import Agent, AgentTest, meanwhile, refusal


class Lifecycle(AgentTest):
    def assert_empty(self, agent):
        for table in TABLES:
            self.assertEqual(agent.walk(table), [], table)

    def test_bad_directives_are_told_and_the_others_hold(self):
        switch = Switch(self)
        bad = {
            'orvaneInventory a b': 'one FILE is needed',
            'orvaneInventory relative.json': 'not an absolute path',
            'orvaneNotification entConfigChange': 'NAME and enable or disable are needed',
            'orvaneNotification entConfigChanged enable': 'there is no notification "entConfigChanged"',
            'orvaneNotification entConfigChange on': 'there is no state "on"',
            **{f'orvaneSupervisorSlot {wrong}': 'a slot from 1 to 64 is needed' for wrong in ('0', '65', '-1', '2x', 'two', '1 2')},
            'orvanePhysicalName component none': 'component or none is needed',
            'orvanePhysicalName tag': 'there is no name "tag"',
            'orvaneTrace Orvane': 'HANDLE/LEVELS is needed',
            'orvaneTrace Nobody/0': 'there is no trace handle "Nobody"',
            'orvaneTrace Orvane/': 'no list of levels',
            'orvaneTrace Orvane/10': 'no list of levels',
            'orvaneTrace Orvane/0,': 'no list of levels',
            'orvaneTrace Orvane/9-8': 'a range that goes down',
        }
        good = [switch.directive, 'orvaneNotification kelvraEntSensorAlarm disable', 'orvaneTrace Orvane/8']
        agent = self.agent(directives=[*bad, *good, 'orvaneInventory /another'], wrapper=['env', 'ORVANE_TRACE=Snmp/1,8 Nobody/0'])
        lines = [match[1] for match in re.finditer(r'snmpd\.conf: line \d+: Error: (orvane.*)', agent.log())]
        self.assertEqual(len(lines), len(bad) + 1, lines)
        for line, (directive, reason) in zip(lines, bad.items()):
            self.assertIn(reason, line, directive)
        self.assertIn('it is given already', lines[-1])
        self.assertIn(1, rows(agent))
        self.assertIn('orvane: Orvane/8 ', agent.log())
        # The environment's traces are there before any line is read.
        self.assertIn('orvane: ORVANE_TRACE: there is no trace handle "Nobody"', agent.log())
        self.assertIn('Initialized table entStateTable', agent.log())

    def test_directives_that_are_gone_lose_their_effect(self):
        switch = Switch(self)
        agent = self.agent()
        self.assert_empty(agent)
        self.assertEqual(agent.get(LAST_CHANGE)[0][1:], ('Timeticks', 0))
        agent.reload(switch.directive)
        full = rows(agent)
        agent.reload('# none')
        self.assert_empty(agent)
        agent.reload('orvaneTrace Orvane/8', switch.directive)
        self.assertEqual(rows(agent), full)
        traced = agent.log().count('Orvane/8')
        self.assertGreater(traced, 0)
        agent.reload(switch.directive)
        switch.system['serialNum'] = 'KV-QUIET'
        switch.publish(agent)
        self.assertEqual(agent.log().count('Orvane/8'), traced)
        # A configuration without the module's line serves nothing, and one with it again serves as before.
        module, agent.module = agent.module, None
        agent.reload(switch.directive)
        self.assert_empty(agent)
        agent.module = module
        agent.reload(switch.directive)
        self.assertEqual(rows(agent).keys(), full.keys())

    def test_reloads_under_a_walk(self):
        switch = Switch(self)
        agent = self.agent(directives=[switch.directive])
        full, pairs, changed = rows(agent), contains(agent), last_change(agent)
        reloads, walks = 0, []
        with meanwhile(lambda: walks.append(refusal(rows, agent))):
            while reloads < 10 or len(walks) < 4:
                agent.reload()
                reloads += 1
        self.assertEqual([walk for walk in walks if walk != full], [])
        self.assertEqual((rows(agent), contains(agent)), (full, pairs))
        self.assertEqual(last_change(agent), changed)
        self.assertEqual(switch.taken(agent), reloads + 1)
        self.assertNotRegex(agent.log(), r'duplicate registration.*(47\.1|99\.1|131\.1|59871)')

    def test_ends_at_any_moment(self):
        switch = Switch(self)
        for disturb in (lambda agent: (switch.save(), time.sleep(0.1)),  # the save settles
                        lambda agent: os.kill(agent.pid, signal.SIGHUP),
                        lambda agent: (os.kill(agent.pid, signal.SIGHUP), time.sleep(0.03))):  # within the reload
            agent = self.agent(directives=[switch.directive])
            with meanwhile(lambda agent=agent: refusal(agent.bulkwalk, ENTRY, timeout=1)):
                disturb(agent)
                self.assertEqual(agent.stop(), 0)

    def test_a_leak_of_a_module_fails_the_test_that_sees_it(self):
        """Or all of these tests would hold less than they seem to."""
        with tempfile.TemporaryDirectory() as folder:
            source = 'int* volatile lost; extern "C" void init_leaky() { for (int i = 0; i < 6; ++i) lost = new int; lost = {}; }'
            subprocess.run(['g++', '-fsanitize=address', '-shared', '-fPIC', '-Wl,-z,nodelete', '-x', 'c++', '-',
                            '-o', f'{folder}/leaky.so'], text=True, input=source, check=True)
            with self.assertRaisesRegex(AssertionError, 'Direct leak of'):
                Agent(module=f'{folder}/leaky.so').stop()


if __name__ == '__main__':
    unittest.main()
