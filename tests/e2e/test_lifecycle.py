"""The module through the life of its agent: starts of every kind, directives, reloads, and ends at any moment."""

import os
import re
import signal
import subprocess
import threading
import time
import unittest

from described import ENTRY, LAST_CHANGE, Switch, contains, last_change, rows
from harness import AgentTest, SnmpError, wait_until

TABLES = (ENTRY, '1.3.6.1.2.1.47.1.3.3', '1.3.6.1.2.1.99.1.1', '1.3.6.1.2.1.131.1.1', '1.3.6.1.4.1.59871.3.12.1.1')


class Lifecycle(AgentTest):
    def assert_empty(self, agent):
        for table in TABLES:
            self.assertEqual(agent.walk(table), [], table)

    def test_without_an_inventory(self):
        agent = self.agent()
        self.assert_empty(agent)
        self.assertEqual(agent.get(LAST_CHANGE)[0][1:], ('Timeticks', 0))

    def test_missing_file_and_missing_directory(self):
        switch = Switch(self)
        content = switch.path.read_text()
        for path in switch.path.with_name('later.json'), switch.path.with_name('nowhere') / 'later.json':
            with self.subTest(path):
                agent = self.agent(directives=[f'orvaneInventory {path}'])
                agent.wait_for_log(f'^orvane: refused {re.escape(str(path))}: No such file or directory$')
                self.assert_empty(agent)
                path.parent.mkdir(exist_ok=True)
                path.write_text(content)
                agent.wait_for_log(f'^orvane: took {re.escape(str(path))}$', timeout=20)
                self.assertIn(1, rows(agent))

    def test_bad_directives_are_told_and_the_others_hold(self):
        switch = Switch(self)
        bad = {
            'orvaneInventory a b': 'one FILE is needed',
            'orvaneInventory relative.json': 'not an absolute path',
            'orvaneNotification entConfigChange': 'NAME and enable or disable are needed',
            'orvaneNotification entConfigChanged enable': 'there is no notification "entConfigChanged"',
            'orvaneNotification entConfigChange on': 'there is no state "on"',
            **{f'orvaneSupervisorSlot {wrong}': 'a slot from 1 to 64 is needed' for wrong in ('0', '65', '-1', '2x', 'two', '1 2')},
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
        agent = self.agent(directives=[switch.directive])
        full = rows(agent)
        self.assertNotIn('Orvane/8', agent.log())

        agent.directives = []
        agent.write_config()
        agent.reload()
        self.assert_empty(agent)

        agent.directives = ['orvaneTrace Orvane/8', switch.directive]
        agent.write_config()
        agent.reload()
        self.assertEqual(rows(agent), full)
        traced = agent.log().count('Orvane/8')
        self.assertGreater(traced, 0)

        agent.directives = [switch.directive]
        agent.write_config()
        agent.reload()
        switch.system['serialNum'] = 'KV-QUIET'
        switch.publish(agent)
        self.assertEqual(agent.log().count('Orvane/8'), traced)

        # A configuration without the module's line serves nothing, and one with it again serves as before.
        config = agent.folder / 'snmpd.conf'
        with_module = config.read_text()
        config.write_text('\n'.join(line for line in with_module.splitlines() if not line.startswith('dlmod')) + '\n')
        agent.reload()
        self.assert_empty(agent)
        config.write_text(with_module)
        agent.reload()
        self.assertEqual(rows(agent).keys(), full.keys())

    def test_reloads_under_a_walk(self):
        switch = Switch(self)
        agent = self.agent(directives=[switch.directive])
        full, pairs, changed = rows(agent), contains(agent), last_change(agent)
        reloads, walks, done = 0, [], threading.Event()

        def walk():
            while not done.is_set():
                try:
                    walks.append(rows(agent))
                except SnmpError as error:
                    walks.append(error)

        walker = threading.Thread(target=walk)
        walker.start()
        try:
            while reloads < 20 or len(walks) < 4:
                agent.reload()
                reloads += 1
        finally:
            done.set()
            walker.join()
        self.assertEqual([walk for walk in walks if walk != full], [])
        self.assertEqual((rows(agent), contains(agent)), (full, pairs))
        self.assertEqual(last_change(agent), changed)
        self.assertEqual(switch.taken(agent), reloads + 1)
        self.assertNotRegex(agent.log(), r'duplicate registration.*(47\.1|99\.1|131\.1|59871)')

    def test_ends_at_any_moment(self):
        switch = Switch(self)
        for name, disturb in (('in a walk', lambda agent: subprocess.Popen(
                                  ['snmpbulkwalk', '-v2c', '-cpublic', f'127.0.0.1:{agent.port}', ENTRY],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)),
                              ('at a save', lambda agent: switch.save()),
                              ('while a save settles', lambda agent: (switch.save(), time.sleep(0.1))),
                              ('at a reload', lambda agent: os.kill(agent.pid, signal.SIGHUP)),
                              ('within a reload', lambda agent: (os.kill(agent.pid, signal.SIGHUP), time.sleep(0.03)))):
            with self.subTest(name):
                agent = self.agent(directives=[switch.directive])
                other = disturb(agent)
                self.assertEqual(agent.stop(), 0)
                if isinstance(other, subprocess.Popen):
                    other.kill()
                    other.wait()


if __name__ == '__main__':
    unittest.main()
