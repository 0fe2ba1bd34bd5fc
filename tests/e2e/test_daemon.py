"""The daemon beside a stock master: it answers as the module does, outlives its master, and keeps what it could not tell."""

import collections
import concurrent.futures
import contextlib
import itertools
import json
import os
import pathlib
import re
import signal
import socket
import struct
import subprocess
import threading
import time
import unittest

from described import CONTAINS, ENTRY, LAST_CHANGE, Switch, contains, rows
from harness import DAEMON, ENV, ROOT, AgentTest, Daemon, SnmpError, oid_key, wait_until
from test_notifications import BENCH, CRITICAL, FAN, INLET, LOCKED, OPER_DISABLED, OPER_ENABLED, OURS, Bench, alarm, state

TABLES = {ENTRY: 18, CONTAINS.rsplit('.', 1)[0]: 1, '1.3.6.1.2.1.99.1.1.1': 8, '1.3.6.1.2.1.131.1.1.1': 6,
          '1.3.6.1.4.1.59871.3.12.1.1.1': 5}
# entPhySensorValueTimeStamp and entStateLastChanged tell a time of the agent that answers, and so does entLastChangeTime.
TIMES = ('1.3.6.1.2.1.99.1.1.1.7.', '1.3.6.1.2.1.131.1.1.1.1.', LAST_CHANGE)
SERVICE_BACK = 15  # seconds


def steady(variables):
    """Without the values that two agents need not share: times, and what is not Orvane's."""
    return [var if var.oid.startswith(tuple(TABLES)) and not var.oid.startswith(TIMES) else var._replace(value=None)
            for var in variables]


def refused(call, *arguments, **options):
    try:
        return call(*arguments, **options)
    except SnmpError as error:
        return error.status


def answers(agent):
    """What an agent says to every kind of question about the tables: by GETNEXT, GETBULK and GET, beside them, past them, by SET."""
    said = {}
    for table, last_column in TABLES.items():
        walked = agent.walk(table)
        oids = [var.oid for var in walked]
        assert oids == sorted(set(oids), key=oid_key) and len(oids) > 50, f'{table}: not in order, each exactly once'
        said['next', table] = steady(walked)
        said['bulk', table] = steady(agent.bulkwalk(table, repetitions=37))
        said['get', table] = [steady(agent.get(*oids[some:some + 60])) for some in range(0, len(oids), 60)]
        first, last, none = oids[0], oids[-1], f'{table}.{last_column}.4294967295'
        for oid in f'{first}.1', none, f'{table}.{last_column + 1}.1', f'{table}.0.1', table:
            said['none', oid] = agent.get(oid)
            said['beside', oid] = steady(agent.getnext(oid))
        said['none in v1', table] = refused(agent.get, none, version='1')
        said['past', table] = steady(agent.getbulk(last, table, repetitions=3))
        for oid in first, last, none, f'{table}.{last_column + 1}.1':
            said['set', oid] = refused(agent.set, oid, 'i', 1)
        said['set in v1', table] = refused(agent.set, first, 'i', 1, version='1')
    columns = [oid for table, last_column in TABLES.items() for oid in (f'{table}.{last_column}', f'{table}.2')]
    said['mixed'] = steady(agent.getbulk(*columns, non_repeaters=3, repetitions=4))
    said['scalar'] = [steady(call(LAST_CHANGE)) for call in (agent.get, agent.getnext)]
    said['scalar walk'] = steady(agent.walk(LAST_CHANGE[:-2]))
    said['scalar instance'] = agent.get(LAST_CHANGE[:-1] + '1')
    said['scalar set'] = refused(agent.set, LAST_CHANGE, 't', 1)
    return said


class DaemonTest(AgentTest):
    def pair(self, *directives, master_directives=(), **options):
        """A master and a daemon that has come to it."""
        master = self.master(master_directives)
        daemon = self.daemon(master.agentx, directives, **options)
        daemon.wait_for_log(Daemon.CONNECTED)
        return master, daemon


class SameAsTheModule(DaemonTest):
    def test_every_answer(self):
        for name in 'fixed-switch', 'chassis-switch':
            with self.subTest(name):
                switch = Switch(self, json.loads((ROOT / f'examples/{name}.json').read_text()))
                agent = self.agent(directives=[switch.directive])
                master, daemon = self.pair(switch.directive)
                with concurrent.futures.ThreadPoolExecutor() as pool:
                    expected, found = pool.map(answers, (agent, master))
                self.assertEqual(found.keys(), expected.keys())
                for question, answer in expected.items():
                    self.assertEqual(found[question], answer, question)

    def test_every_notification(self):
        switch, receivers = Bench(self), [self.receiver() for _ in range(2)]
        agent = self.agent(directives=[receivers[0].trap, switch.directive])
        master, daemon = self.pair(switch.directive, master_directives=[receivers[1].trap])

        def of(receiver):
            return [(each.oid, tuple(each.variables)) for each in receiver.notifications(*OURS)]

        def same(count):
            wait_until(lambda: all(len(of(receiver)) >= count for receiver in receivers), 25, f'not all {count} came')
            self.assertEqual(len(of(receivers[0])), count)
            self.assertCountEqual(of(receivers[1]), of(receivers[0]))

        same(2)
        switch.inlet['temperature'] = 65.0
        switch.fan['hwStatus'] = 'failed'
        switch.system['description'] = 'Another switch'
        del switch.system['port']['1']
        before = switch.taken(agent), switch.taken(daemon)
        switch.save()
        wait_until(lambda: switch.taken(agent) > before[0] and switch.taken(daemon) > before[1])
        same(5)

    def test_last_change_stands_still_on_the_masters_scale(self):
        switch = Switch(self)
        master, daemon = self.pair(switch.directive)
        time.sleep(2)
        switch.system['serialNum'] = 'KV-CHANGED'
        switch.publish(daemon)
        uptime, changed = (var.value for var in master.get('1.3.6.1.2.1.1.3.0', LAST_CHANGE))
        self.assertTrue(0 <= uptime - changed < 300, (uptime, changed))
        for _ in range(3):
            time.sleep(1.3)  # without a question for a second the daemon asks its master, and hears its uptime
            self.assertEqual(master.get(LAST_CHANGE)[0].value, changed)


class Endings(DaemonTest):
    def test_either_dies_again_and_again_under_walks(self):
        """By SIGKILL and SIGTERM in turn."""
        switch = Switch(self)
        master, daemon = self.pair(switch.directive)
        full, pairs = rows(master), contains(master)
        walked = master.bulkwalk(ENTRY, repetitions=50)
        wrong, whole, done = [], 0, threading.Event()

        def walk():
            nonlocal whole
            while not done.is_set():
                try:
                    found = master.bulkwalk(ENTRY, repetitions=20, timeout=1)
                except (SnmpError, AssertionError):
                    time.sleep(0.02)  # cut short
                    continue
                # A walk may end early with one of the two, but has each row that it has in its place.
                if found != walked[:len(found)]:
                    wrong.append(found)
                whole += found == walked

        def back():
            try:
                return rows(master) == full and contains(master) == pairs
            except (SnmpError, AssertionError):
                return False

        def descriptors():
            return len(os.listdir(f'/proc/{daemon.pid}/fd'))

        first = descriptors()
        walker = threading.Thread(target=walk)
        walker.start()
        try:
            for turn in range(10):
                victim, how = (daemon if turn % 4 == 3 else master), (signal.SIGKILL, signal.SIGTERM)[(turn + turn // 4) % 2]
                status = victim.end(how)
                if victim is daemon:
                    self.assertEqual(status, 0 if how == signal.SIGTERM else -how)
                elif turn % 4 == 0:
                    time.sleep(1.2)  # the daemon tries in vain
                victim.start_again()
                wait_until(back, SERVICE_BACK, f'no service after end {turn}')
        finally:
            done.set()
            walker.join()
        self.assertEqual(wrong, [])
        self.assertGreater(whole, 5, 'walks did not run beside the ends')
        self.assertEqual(descriptors(), first)
        self.assertNotIn('duplicate registration', master.log() + daemon.log())

    def test_the_log_tells_an_outage_once(self):
        """A master that hangs, goes on, and ends."""
        switch = Switch(self)
        master, daemon = self.pair(switch.directive)
        full = rows(master)
        os.kill(master.pid, signal.SIGSTOP)
        daemon.wait_for_log('does not answer', 30)
        os.kill(master.pid, signal.SIGCONT)
        wait_until(lambda: refused(rows, master) == full, SERVICE_BACK, 'no service')
        master.end()
        time.sleep(3.5)  # some attempts
        daemon.signal_reload()
        wait_until(lambda: switch.taken(daemon) == 2)
        time.sleep(1.5)
        master.start_again()
        wait_until(lambda: daemon.log().count(Daemon.CONNECTED) == 3, SERVICE_BACK)
        lines = [line.removeprefix(f'orvane: the master agent ({master.agentx}) ') for line in daemon.log().splitlines()]
        refusal = 'cannot be reached: Connection refused'
        self.assertEqual([line for line in lines if line[0].islower() and 'took' not in line],
                         ['does not answer', 'has ended the session', refusal, refusal])  # the last one behind the reload

    def test_inspection_goes_on_without_a_master(self):
        switch = Switch(self)
        inspected, asked = switch.path.with_name('inspect.sock'), 100
        self.daemon('tcp:127.0.0.1:1', [switch.directive, f'orvaneInspect {inspected}']).wait_for_log('cannot be reached')
        with socket.socket(socket.AF_UNIX) as slow, slow.makefile() as lines:
            slow.settimeout(20)
            slow.connect(str(inspected))
            slow.sendall(b'snmp/fru/entitymib/contains\n' * asked)
            time.sleep(1)
            for _ in range(asked):
                self.assertGreater(sum(1 for _ in iter(lines.readline, '.\n')), 100)


class SickMaster:
    """What speaks AgentX in its own way, at a port of 127.0.0.1: `behave(self, connection)` does it for each session."""

    HEADER = struct.Struct('<BBBxIIII')
    REGISTER, GET, GETNEXT, GETBULK, TESTSET, RESPONSE = 3, 5, 6, 7, 8, 18
    REGISTRATION = 7  # PDUs: Open, and Register for each of the tables and the scalar

    def __init__(self, test, behave):
        self._behave, self._sessions, self.heard = behave, [], []
        self._listener = socket.create_server(('127.0.0.1', 0))
        self.port = self._listener.getsockname()[1]
        self.agentx = f'tcp:127.0.0.1:{self.port}'
        test.addCleanup(self.close)
        threading.Thread(target=self._run, daemon=True).start()

    def _run(self):
        with contextlib.suppress(OSError):
            while connection := self._listener.accept()[0]:
                self._sessions.append(connection)
                threading.Thread(target=self._serve, args=[connection], daemon=True).start()

    def _serve(self, connection):
        with contextlib.suppress(OSError), connection:
            self._behave(self, connection)

    def close(self):
        for end in self._listener, *self._sessions:
            with contextlib.suppress(OSError):
                end.shutdown(socket.SHUT_RDWR)
            end.close()

    def sessions(self):
        return len(self._sessions)

    def pdus(self, connection):
        while head := connection.recv(self.HEADER.size, socket.MSG_WAITALL):
            _, kind, _, _, transaction, packet, length = self.HEADER.unpack(head)
            self.heard.append(kind)
            yield kind, transaction, packet, length and connection.recv(length, socket.MSG_WAITALL)

    def send(self, connection, kind, body, transaction=1, packet=1, flags=0):
        connection.sendall(self.HEADER.pack(1, kind, flags, 7, transaction, packet, len(body)) + body)

    def answer(self, connection, count=None, error=0, delay=0):
        """So many PDUs, or as many as come."""
        for _, transaction, packet, _ in itertools.islice(self.pdus(connection), count):
            time.sleep(delay)
            self.send(connection, self.RESPONSE, struct.pack('<IHH', 100, error, 0), transaction, packet)

    def ask(self, connection, count):
        """So many times for some kilobytes, and never reads them."""
        self.answer(connection, self.REGISTRATION)
        for _ in range(count):
            self.send(connection, self.GETBULK, b'\0\0\x28\0' + (oid_of(1, 3, 6, 1, 2, 1, 47) + bytes(4)) * 10)
        time.sleep(600)


def oid_of(*subidentifiers):
    return struct.pack(f'<Bxxx{len(subidentifiers)}I', len(subidentifiers), *subidentifiers)


class SickMasters(DaemonTest):
    CASES = {
        'never answers': ('does not answer', lambda self, connection: time.sleep(600)),
        'answers late': ('has ended', lambda self, connection: self.answer(connection, 3, delay=1.5)),
        'closes at once': ('has ended', lambda self, connection: None),
        'talks rubbish': ('Received broken packet', lambda self, connection: connection.sendall(b'\xff' * 40) or connection.recv(1000)),
        'breaks off': ('has ended', lambda self, connection: self.answer(connection, 3)),
        'refuses': (r'refuses the session: error 267 \(requestDenied\)', lambda self, connection: self.answer(connection, error=267)),
        'does not read': ('does not read', lambda self, connection: self.ask(connection, 900)),
        'asks without end': ('asks more', lambda self, connection: self.ask(connection, 10 ** 6)),
    }

    def test_left_alone_and_outlived(self):
        switch = Switch(self)
        started = time.monotonic()
        sick = {name: SickMaster(self, behave) for name, (_, behave) in self.CASES.items()}
        daemons = {name: self.daemon(master.agentx, [switch.directive]) for name, master in sick.items()}
        time.sleep(8)
        # A second between two attempts at least, and a few lines in each, however long all of this took.
        seconds = time.monotonic() - started
        many = {name: master.sessions() for name, master in sick.items() if master.sessions() > 2 + seconds}
        said = {name: daemon.log().count('\n') for name, daemon in daemons.items()}
        self.assertEqual((many, {name: lines for name, lines in said.items() if lines > 20 + 8 * seconds}), ({}, {}))
        for name, daemon in daemons.items():
            with self.subTest(name):
                daemon.wait_for_log(self.CASES[name][0])
                if name in ('answers late', 'breaks off', 'talks rubbish'):
                    sick[name].close()
                    master = self.master(agentx_port=sick[name].port)
                    daemon.signal_reload()  # no need to wait for the next attempt
                    daemon.wait_for_log(Daemon.CONNECTED, SERVICE_BACK)
                    self.assertEqual([table for table in TABLES if not master.walk(table)], [])
                self.assertEqual(daemon.end(), 0)

    def test_a_refused_registration_is_asked_for_again(self):
        def behave(self, connection):
            self.answer(connection, 2)
            self.answer(connection, 1, error=263)
            self.answer(connection)

        master = SickMaster(self, behave)
        daemon = self.daemon(master.agentx, [Switch(self).directive])
        wait_until(lambda: master.heard.count(master.REGISTER) == master.REGISTRATION)
        self.assertRegex(daemon.log(), r'refuses \.1\.3\.6\.1\.2\.1\.47\.1\.3\.3: error 263 \(duplicateRegistration\)\n(.*\n)*.*connected')
        self.assertEqual(master.sessions(), 1)

    def test_what_the_library_would_overrun_its_buffers_for(self):
        """More than 128 sub-identifiers, and contexts with a NUL in their name."""
        said, asked = collections.defaultdict(set), threading.Event()

        def behave(self, connection):
            self.answer(connection, self.REGISTRATION)
            for table, count in itertools.product(TABLES, (20, 129, 200, 255)):
                column = [*map(int, table.split('.')), 2]
                name = oid_of(*column, *[1] * (count - len(column))) + bytes(4)
                flags, context = (8, struct.pack('<I4s', 4, b'a\0bc')) if count == 20 else (0, b'')
                for kind, head in (self.GET, b''), (self.GETNEXT, b''), (self.GETBULK, b'\0\0\1\0'), (self.TESTSET, b'\2\0\0\0'):
                    self.send(connection, kind, context + head + name, flags=flags)
                    said[flags].add(next(body[4:8] for kind, _, _, body in self.pdus(connection) if kind == self.RESPONSE))
            asked.set()

        self.daemon(SickMaster(self, behave).agentx, [Switch(self).directive])
        wait_until(asked.is_set, 30, 'not all were answered')
        self.assertEqual(said, {0: {struct.pack('<HH', 5, 1)}, 8: {struct.pack('<HH', 262, 0)}})  # genErr, unsupportedContext

    def test_a_socket_where_nobody_accepts(self):
        switch = Switch(self)
        path = str(switch.path.with_name('master'))
        with socket.socket(socket.AF_UNIX) as listener, socket.socket(socket.AF_UNIX) as first:
            listener.bind(path)
            listener.listen(0)
            first.connect(path)
            daemon = self.daemon(path, [switch.directive])
            daemon.wait_for_log('cannot be reached: Connection timed out', 30)
            time.sleep(2)  # it waits again
            self.assertEqual(daemon.end(), 0)


class Waiting(DaemonTest):
    def test_what_could_not_be_told_is_told_in_order(self):
        switch, receiver = Bench(self), self.receiver()
        sensors = switch.content['tempStatus']['tempSensor']
        for number in range(2, 6):
            switch.system['sensor'][str(number)] = {'tag': 'TempSensor', 'label': str(number), 'description': f'Sensor {number}'}
            sensors[f'TempSensor{number}'] = {'hwStatus': 'ok'}
        switch.save()
        master = self.master([receiver.trap])
        master.end()
        daemon = self.daemon(master.agentx, [switch.directive])

        def told(kinds, since=0):
            return [int(each.variables[0].oid.rsplit('.', 1)[1]) for each in receiver.notifications(*OURS)[since:]
                    if each.oid in kinds]

        def all_told(kinds, count, since=0):
            wait_until(lambda: len(told(kinds, since)) >= count, 20, f'not all {count} came')
            time.sleep(1)
            return told(kinds, since)

        # The first look at the parts comes before the master does, and none of it is lost.
        daemon.wait_for_log('took .*switch.json')
        time.sleep(8)  # longer than from one tick to the next
        self.assertEqual(receiver.notifications(*OURS), [])
        master.start_again()
        self.assertCountEqual(all_told([OPER_ENABLED], 6), [INLET, *range(INLET + 1, INLET + 5), FAN])

        # They leave in the order of the changes; a part that changed again stands where it changed last.
        before = len(receiver.notifications(*OURS))
        master.end(signal.SIGKILL)
        daemon.wait_for_log('has ended the session')
        for number, status in (5, 'failed'), (3, 'failed'), (2, 'failed'), (4, 'failed'), (3, 'ok'), (3, 'failed'):
            sensors[f'TempSensor{number}']['hwStatus'] = status
            switch.publish(daemon)
        switch.inlet['temperature'] = 75.0
        switch.fan['hwStatus'] = 'failed'
        switch.publish(daemon)
        time.sleep(8)
        master.start_again()
        self.assertEqual(all_told([OPER_DISABLED], 5, before), [INLET + 4, INLET + 1, INLET + 3, INLET + 2, FAN])
        after = [(each.oid, tuple(each.variables)) for each in receiver.notifications(*OURS)[before:]]
        self.assertEqual(after.count(alarm(INLET, 750, CRITICAL)), 1)
        self.assertEqual(after.count(state(OPER_DISABLED, FAN, LOCKED)), 1)
        self.assertEqual([each for each in receiver.notifications(*OURS)[before:] if each.oid == OPER_ENABLED], [])


class Notify:
    """The socket that systemd listens at."""

    def __init__(self, test, folder):
        self.path = folder / 'notify'
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        test.addCleanup(self._socket.close)
        self._socket.bind(str(self.path))
        self._socket.settimeout(20)

    def next(self):
        return self._socket.recv(4096).decode().splitlines()


class CommandLine(DaemonTest):
    def run_daemon(self, *arguments):
        return subprocess.run([DAEMON, *arguments], capture_output=True, text=True, timeout=60, env=ENV)

    def test_what_it_says_and_refuses(self):
        version = re.search(r'project\(orvane VERSION ([\d.]+)', (ROOT / 'CMakeLists.txt').read_text())[1]
        for arguments, status, output, error in (
                (['--help'], 0, 'Usage: orvaned ', ''), (['-h'], 0, '--agentx ADDRESS', ''),
                (['--version'], 0, f'orvaned {version}\n', ''), (['-V'], 0, version, ''),
                (['--bogus'], 2, '', "unrecognized option '--bogus'"), (['-z'], 2, '', "invalid option -- 'z'"),
                (['extra'], 2, '', '"extra"'), (['--config'], 2, '', 'requires an argument'), (['-C', ''], 2, '', 'needs a file'),
                (['--agentx='], 2, '', 'needs an address'), (['--version=1'], 2, '', "doesn't allow an argument"),
                (['-C', '/no/such.conf'], 1, '', 'orvaned: /no/such.conf: No such file or directory')):
            with self.subTest(arguments):
                run = self.run_daemon(*arguments)
                self.assertEqual(run.returncode, status, run.stderr)
                for said, expected in (run.stdout, output), (run.stderr, error):
                    self.assertIn(expected, said)
                    self.assertEqual(bool(said), bool(expected), said)

    def test_its_configuration(self):
        """One file of the command line, instead of the search path; an address of the command line, instead of the file's."""
        switch, other = Switch(self), Switch(self, BENCH)
        master = self.master()
        conf = other.path.with_name('other.conf')
        conf.write_text(f'{other.directive}\nagentXSocket tcp:127.0.0.1:1\norvaneSupervisorSlot 65\n')
        daemon = self.daemon('tcp:127.0.0.1:1', [switch.directive], options=['-C', str(conf), '--agentx', master.agentx])
        daemon.wait_for_log(Daemon.CONNECTED)
        daemon.wait_for_log(r'other\.conf: line 3: Error: orvaneSupervisorSlot: a slot from 1 to 64 is needed')
        self.assertEqual(switch.taken(daemon), 0)
        served = rows(master)
        self.assertEqual(served[1][2], b'Bench switch')
        # It is read anew on SIGHUP, and so is the inventory.
        conf.write_text(f'{switch.directive}\nagentXSocket tcp:127.0.0.1:1\n')
        daemon.signal_reload()
        wait_until(lambda: rows(master).keys() != served.keys())
        self.assertEqual(switch.taken(daemon), 1)
        master.end()
        master.start_again()
        wait_until(lambda: daemon.log().count(Daemon.CONNECTED) == 2, SERVICE_BACK)

    def test_what_it_tells_systemd(self):
        switch = Switch(self)
        master = self.master()
        master.end()
        notify = Notify(self, switch.path.parent)
        daemon = self.daemon(master.agentx, [switch.directive], environment={'NOTIFY_SOCKET': str(notify.path)})
        # It is ready when it has read what it serves, with a master or without.
        self.assertEqual([notify.next(), notify.next()], [['STATUS=Waiting for the master agent'], ['READY=1']])
        self.assertEqual(switch.taken(daemon), 1)
        master.start_again()
        self.assertEqual(notify.next(), ['STATUS=Registered with the master agent'])
        os.kill(daemon.pid, signal.SIGHUP)
        reloading, since = notify.next()
        self.assertEqual((reloading, since[:15]), ('RELOADING=1', 'MONOTONIC_USEC='))
        self.assertEqual(notify.next(), ['READY=1'])
        self.assertEqual(daemon.end(signal.SIGINT), 0)
        self.assertEqual(notify.next(), ['STOPPING=1'])

    @unittest.skipUnless(os.geteuid() == 0, 'only root can become somebody else')
    def test_an_ordinary_user(self):
        switch = Switch(self)
        switch.path.parent.chmod(0o755)
        master, daemon = self.pair(switch.directive, wrapper=['setpriv', '--reuid=nobody', '--regid=nogroup', '--clear-groups',
                                                              '--pdeathsig=KILL'])
        uids = re.search(r'^Uid:(.*)', pathlib.Path(f'/proc/{daemon.pid}/status').read_text(), re.MULTILINE)[1].split()
        self.assertNotIn('0', uids)
        self.assertIn(1, rows(master))
        log = daemon.log()
        daemon.folder.chmod(0o777)  # it could write there
        self.assertEqual(daemon.end(), 0)
        self.assertEqual(re.sub('.*(took|connected).*\n', '', log), '')
        self.assertEqual(sorted(path.name for path in daemon.folder.iterdir()), ['orvaned.conf', 'orvaned.log'])


if __name__ == '__main__':
    unittest.main()
