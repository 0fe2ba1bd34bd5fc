"""The daemon beside a stock master: it answers and notifies as the module does, outlives its master, and does as it is told."""

import contextlib
import itertools
import os
import pathlib
import re
import signal
import socket
import subprocess
import time
import unittest

from described import CHASSIS, ENTRY, LAST_CHANGE, TABLES, TIMES, Switch, contains, rows
from harness import (DAEMON, ENV, ROOT, SYS_UPTIME, AgentTest, Daemon, SnmpError, meanwhile, oid_key, refusal,
                     wait_until)
from test_notifications import BENCH, Bench, assert_told


def steady(variables):
    """Without the values that two agents need not share: times, and what is not Orvane's."""
    return [var if var.oid.startswith(tuple(TABLES)) and not var.oid.startswith(TIMES) else var._replace(value=None)
            for var in variables]


def answers(agent):
    """What an agent says to every kind of question about the tables: GETNEXT, GETBULK and GET, beside them, past them, SET."""
    said = {}
    for table, (*_, last_column) in TABLES.items():
        walked = agent.walk(table)
        oids = [var.oid for var in walked]
        assert oids == sorted(set(oids), key=oid_key) and len(oids) > 50, f'{table}: not each once in its order'
        said['next', table] = steady(walked)
        assert steady(agent.bulkwalk(table, repetitions=37)) == said['next', table], f'{table}: GETBULK says something else'
        got = [var for some in range(0, len(oids), 60) for var in agent.get(*oids[some:some + 60])]
        assert steady(got) == said['next', table], f'{table}: GET says something else'
        first, last, none = oids[0], oids[-1], f'{table}.{last_column}.4294967295'
        for oid in f'{first}.1', none, f'{table}.{last_column + 1}.1', f'{table}.0.1', table:
            said['none', oid] = agent.get(oid)
            said['beside', oid] = steady(agent.getnext(oid))
        said['none in v1', table] = refusal(agent.get, none, version='1')
        said['past', table] = steady(agent.getbulk(last, table, repetitions=3))
        for oid in first, none, f'{table}.{last_column + 1}.1':
            said['set', oid] = refusal(agent.set, oid, 'i', 1)
        said['set in v1', table] = refusal(agent.set, first, 'i', 1, version='1')
    columns = [oid for table, numbers in TABLES.items() for oid in (f'{table}.{numbers[-1]}', f'{table}.2')]
    said['mixed'] = steady(agent.getbulk(*columns, non_repeaters=3, repetitions=4))
    said['scalar'] = [steady(call(LAST_CHANGE)) for call in (agent.get, agent.getnext)]
    said['scalar instance'] = agent.get(LAST_CHANGE[:-1] + '1')
    said['scalar set'] = refusal(agent.set, LAST_CHANGE, 't', 1)
    return said


class DaemonTest(AgentTest):
    def pair(self, *directives, master_directives=(), **options):
        """A master and a daemon that has come to it."""
        master = self.master(master_directives)
        daemon = self.daemon(master.agentx, directives, **options)
        daemon.wait_for_log(Daemon.CONNECTED)
        return master, daemon


class Service(DaemonTest):
    def test_every_answer_is_the_modules(self):
        switch = Switch(self, CHASSIS)
        agent = self.agent(directives=[switch.directive])
        master, _ = self.pair(switch.directive)
        expected, found = answers(agent), answers(master)
        self.assertEqual(found.keys(), expected.keys())
        for question, answer in expected.items():
            self.assertEqual(found[question], answer, question)
        for table, version in itertools.product(TABLES, '13'):
            self.assertEqual(steady(agent.walk(table, version=version)), expected['next', table], f'SNMPv{version}')

    def test_every_notification_is_the_modules(self):
        switch, receiver = Bench(self), self.receiver()
        _, daemon = self.pair(switch.directive, master_directives=[receiver.trap])
        assert_told(self, switch, daemon, receiver, [receiver.TRAP])

    def test_last_change_stands_still_on_the_masters_scale(self):
        switch = Switch(self)
        master, daemon = self.pair(switch.directive)
        switch.system['serialNum'] = 'KV-CHANGED'
        switch.publish(daemon)
        uptime, changed = (var.value for var in master.get(SYS_UPTIME, LAST_CHANGE))
        self.assertLessEqual(changed, uptime)
        for _ in range(3):
            time.sleep(1.3)  # without a question for a second the daemon asks its master, and hears its uptime
            self.assertEqual(master.get(LAST_CHANGE)[0].value, changed)

    def test_either_dies_under_walks(self):
        switch = Switch(self)
        master, daemon = self.pair(switch.directive)
        full, pairs = rows(master), contains(master)
        walked = master.bulkwalk(ENTRY, repetitions=50)
        wrong, whole = [], 0

        def walk():
            nonlocal whole
            with contextlib.suppress(SnmpError, AssertionError):  # cut short
                found = master.bulkwalk(ENTRY, repetitions=20, timeout=2)
                # A walk may end early with one of the two, but has each row that it has in its place.
                if found != walked[:len(found)]:
                    wrong.append(found)
                whole += found == walked

        def back():
            with contextlib.suppress(SnmpError, AssertionError):
                return rows(master) == full and contains(master) == pairs

        def descriptors():
            return len(os.listdir(f'/proc/{daemon.pid}/fd'))

        first = descriptors()
        with meanwhile(walk):
            for how, victim in itertools.product((signal.SIGKILL, signal.SIGTERM), (master, daemon)):
                before = whole
                wait_until(lambda before=before: whole > before, 'no walk runs')
                status = victim.end(how)
                if victim is daemon:
                    self.assertEqual(status, 0 if how == signal.SIGTERM else -how)
                victim.start()
                wait_until(back, f'no service after the end of {victim.name} by {how.name}')
        self.assertEqual(wrong, [])
        wait_until(lambda: descriptors() == first, 'descriptors are left open')
        self.assertNotIn('duplicate registration', master.log() + daemon.log())

    def test_the_log_tells_an_outage_once(self):
        """A master that hangs, goes on, and ends."""
        switch = Switch(self)
        master, daemon = self.pair(switch.directive)
        os.kill(master.pid, signal.SIGSTOP)
        daemon.wait_for_log('does not answer')
        os.kill(master.pid, signal.SIGCONT)
        wait_until(lambda: daemon.log().count(Daemon.CONNECTED) == 2)
        master.end()
        time.sleep(3.5)  # some attempts
        daemon.signal_reload()
        wait_until(lambda: switch.taken(daemon) == 2)
        time.sleep(1.5)
        master.start()
        wait_until(lambda: daemon.log().count(Daemon.CONNECTED) == 3)
        lines = [line.removeprefix(f'orvane: the master agent ({master.agentx}) ') for line in daemon.log().splitlines()]
        refused = 'cannot be reached: Connection refused'
        self.assertEqual([line for line in lines if line[0].islower() and 'took' not in line],
                         ['does not answer', 'has ended the session', refused, refused])  # the last one behind the reload

    def test_inspection_goes_on_without_a_master(self):
        switch = Switch(self)
        inspected, asked = switch.path.with_name('inspect.sock'), 100
        self.daemon('tcp:127.0.0.1:1', [switch.directive, f'orvaneInspect {inspected}']).wait_for_log('cannot be reached')
        with socket.socket(socket.AF_UNIX) as slow, slow.makefile() as lines:
            slow.settimeout(60)
            slow.connect(str(inspected))
            slow.sendall(b'snmp/fru/entitymib/contains\n' * asked)
            for _ in range(asked):
                self.assertGreater(sum(1 for _ in iter(lines.readline, '.\n')), 100)


class CommandLine(DaemonTest):
    def test_what_it_says_and_refuses(self):
        version = re.search(r'project\(orvane VERSION ([\d.]+)', (ROOT / 'CMakeLists.txt').read_text())[1]
        for arguments, status, output, error in (
                (['--help'], 0, 'Usage: orvaned ', ''), (['-V'], 0, f'orvaned {version}\n', ''),
                (['--bogus'], 2, '', "unrecognized option '--bogus'"), (['extra'], 2, '', '"extra"'),
                (['-C', ''], 2, '', 'needs a file'), (['--agentx='], 2, '', 'needs an address'),
                (['-C', '/no/such.conf'], 1, '', 'orvaned: /no/such.conf: No such file or directory')):
            run = subprocess.run([DAEMON, *arguments], capture_output=True, text=True, timeout=60, env=ENV)
            self.assertEqual((run.returncode, bool(run.stdout), bool(run.stderr)), (status, bool(output), bool(error)), run)
            self.assertIn(output, run.stdout)
            self.assertIn(error, run.stderr)

    def test_its_configuration(self):
        """One file of the command line, instead of the search path; an address of the command line, instead of the file's."""
        switch, other = Switch(self), Switch(self, BENCH)
        master = self.master()
        conf = other.path.with_name('other.conf')
        conf.write_text(f'{other.directive}\nagentXSocket tcp:127.0.0.1:1\norvaneSupervisorSlot 65\n')
        daemon = self.daemon('tcp:127.0.0.1:1', [switch.directive], options=['-C', str(conf), '--agentx', master.agentx])
        daemon.wait_for_log(Daemon.CONNECTED)
        daemon.wait_for_log(r'other\.conf: line 3: Error: orvaneSupervisorSlot: a slot from 1 to 64 is needed')
        self.assertEqual((switch.taken(daemon), rows(master)[1][2]), (0, b'Bench switch'))
        # It is read anew on SIGHUP, and so is the inventory.
        conf.write_text(f'{switch.directive}\nagentXSocket tcp:127.0.0.1:1\n')
        daemon.signal_reload()
        wait_until(lambda: rows(master)[1][2] == switch.system['description'].encode())
        master.end()
        master.start()
        wait_until(lambda: daemon.log().count(Daemon.CONNECTED) == 2)

    def test_what_it_tells_systemd(self):
        switch = Switch(self)
        master = self.master()
        master.end()
        notify = switch.path.with_name('notify')
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as listener:
            listener.bind(str(notify))
            listener.settimeout(60)

            def told():
                return listener.recv(4096).decode().splitlines()

            daemon = self.daemon(master.agentx, [switch.directive], environment={'NOTIFY_SOCKET': str(notify)})
            # It is ready when it has read what it serves, with a master or without.
            self.assertEqual([told(), told()], [['STATUS=Waiting for the master agent'], ['READY=1']])
            self.assertEqual(switch.taken(daemon), 1)
            master.start()
            self.assertEqual(told(), ['STATUS=Registered with the master agent'])
            os.kill(daemon.pid, signal.SIGHUP)
            reloading, since = told()
            self.assertEqual((reloading, since[:15]), ('RELOADING=1', 'MONOTONIC_USEC='))
            self.assertEqual(told(), ['READY=1'])
            self.assertEqual(daemon.end(signal.SIGINT), 0)
            self.assertEqual(told(), ['STOPPING=1'])

    @unittest.skipUnless(os.geteuid() == 0, 'only root can become somebody else')
    def test_an_ordinary_user(self):
        switch = Switch(self)
        switch.path.parent.chmod(0o755)
        master, daemon = self.pair(switch.directive, wrapper=['setpriv', '--reuid=nobody', '--regid=nogroup', '--clear-groups',
                                                              '--pdeathsig=KILL'])
        self.assertNotEqual(pathlib.Path(f'/proc/{daemon.pid}').stat().st_uid, 0)
        self.assertIn(1, rows(master))
        log = daemon.log()
        daemon.folder.chmod(0o777)  # it could write there
        self.assertEqual(daemon.end(), 0)
        self.assertEqual(re.sub('.*(took|connected).*\n', '', log), '')
        self.assertEqual(sorted(path.name for path in daemon.folder.iterdir()), ['orvaned.conf', 'orvaned.log'])


if __name__ == '__main__':
    unittest.main()
