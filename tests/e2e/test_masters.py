"""The daemon at masters that are sick, hostile or away: it leaves them alone, outlives them, and keeps what it could not tell."""

import collections
import contextlib
import itertools
import socket
import struct
import threading
import time
import unittest

from described import TABLES, Switch, row_index
from harness import Daemon, wait_until
from test_daemon import DaemonTest
from test_notifications import CRITICAL, FAN, INLET, LOCKED, OPER_DISABLED, OPER_ENABLED, Bench, alarm, state


class SickMaster:
    """What speaks AgentX in its own way, at a port or at a path: `behave(self, connection)` does it for each session."""

    HEADER = struct.Struct('<BBBxIIII')
    REGISTER, GET, GETNEXT, GETBULK, TESTSET, RESPONSE = 3, 5, 6, 7, 8, 18
    REGISTRATION = 8  # PDUs: Open, and Register for each of the tables and the scalar

    def __init__(self, test, behave, path=None):
        self._behave, self.sessions, self.heard = behave, [], []
        self._listener = socket.create_server(path or ('127.0.0.1', 0), family=socket.AF_UNIX if path else socket.AF_INET)
        self.agentx = path or f'tcp:127.0.0.1:{self._listener.getsockname()[1]}'
        test.addCleanup(self.close)
        threading.Thread(target=self._run, daemon=True).start()

    def _run(self):
        with contextlib.suppress(OSError):
            while connection := self._listener.accept()[0]:
                self.sessions.append(connection)
                threading.Thread(target=self._serve, args=[connection], daemon=True).start()

    def _serve(self, connection):
        with contextlib.suppress(OSError), connection:
            self._behave(self, connection)

    def close(self):
        for end in self._listener, *self.sessions:
            with contextlib.suppress(OSError):
                end.shutdown(socket.SHUT_RDWR)
            end.close()

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
    # What each does, and what is said of it. A socket of a path holds less, and is sooner full, than one of a port.
    CASES = {
        'never answers': ('does not answer', lambda self, connection: time.sleep(600)),
        'answers late': ('has ended', lambda self, connection: self.answer(connection, 3, delay=1.5)),
        'closes at once': ('has ended', lambda self, connection: None),
        'talks rubbish': ('Received broken packet',
                          lambda self, connection: connection.sendall(b'\xff' * 40) or connection.recv(1000)),
        'refuses': (r'refuses the session: error 267 \(requestDenied\)',
                    lambda self, connection: self.answer(connection, error=267)),
        'does not read': ('does not read', lambda self, connection: self.ask(connection, 900)),
        'asks without end': ('asks more', lambda self, connection: self.ask(connection, 10 ** 6)),
    }

    def test_left_alone_and_outlived(self):
        switch = Switch(self)
        started = time.monotonic()
        paths = {name: str(switch.path.with_name(name)) for name in ('does not read', 'asks without end')}
        sick = {name: SickMaster(self, behave, paths.get(name)) for name, (_, behave) in self.CASES.items()}
        daemons = {name: self.daemon(master.agentx, [switch.directive]) for name, master in sick.items()}
        for name, daemon in daemons.items():
            daemon.wait_for_log(self.CASES[name][0])
        time.sleep(3)  # some attempts
        # A second between two attempts at least, and a few lines in each, however long all of this took.
        many = {name: len(master.sessions) for name, master in sick.items()}
        said = {name: daemon.log().count('\n') for name, daemon in daemons.items()}
        seconds = time.monotonic() - started
        self.assertEqual({name: count for name, count in many.items() if count > 2 + seconds}, {})
        self.assertEqual({name: lines for name, lines in said.items() if lines > 20 + 8 * seconds}, {})
        for name, daemon in daemons.items():
            if name in ('answers late', 'talks rubbish'):
                sick[name].close()
                master = self.master(agentx=sick[name].agentx)
                daemon.signal_reload()  # no need to wait for the next attempt
                daemon.wait_for_log(Daemon.CONNECTED)
                self.assertEqual([table for table in TABLES if not master.walk(table)], [])
            self.assertEqual(daemon.end(), 0, name)

    def test_a_refused_registration_is_asked_for_again(self):
        def behave(self, connection):
            self.answer(connection, 2)
            self.answer(connection, 1, error=263)
            self.answer(connection)

        master = SickMaster(self, behave)
        daemon = self.daemon(master.agentx, [Switch(self).directive])
        wait_until(lambda: master.heard.count(master.REGISTER) == master.REGISTRATION)
        self.assertRegex(daemon.log(), r'refuses \.1[.\d]+\.47\.1\.3\.2: error 263 \(duplicateRegistration\)\n(.*\n)*.*connected')
        self.assertEqual(len(master.sessions), 1)

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
        wait_until(asked.is_set, 'not all were answered')
        self.assertEqual(said, {0: {struct.pack('<HH', 5, 1)}, 8: {struct.pack('<HH', 262, 0)}})  # genErr, unsupportedContext

    def test_a_socket_where_nobody_accepts(self):
        switch = Switch(self)
        path = str(switch.path.with_name('master'))
        with socket.socket(socket.AF_UNIX) as listener, socket.socket(socket.AF_UNIX) as first:
            listener.bind(path)
            listener.listen(0)
            first.connect(path)
            daemon = self.daemon(path, [switch.directive])
            daemon.wait_for_log('cannot be reached: Connection timed out')
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

        def told(oid, count, since=0):
            def found():
                return [row_index(variables[0].oid) for which, variables in receiver.notifications()[since:] if which == oid]
            wait_until(lambda: len(found()) >= count, f'not all {count} came')
            return found()

        # The first look at the parts comes before the master does, and none of it is lost.
        daemon.wait_for_log('took .*switch.json')
        time.sleep(8)  # longer than from one tick to the next
        self.assertEqual(receiver.notifications(), [])
        master.start()
        self.assertCountEqual(told(OPER_ENABLED, 6), [INLET, *range(INLET + 1, INLET + 5), FAN])

        # They leave in the order of the changes; a part that changed again stands where it changed last.
        before = len(receiver.notifications())
        master.end()
        daemon.wait_for_log('has ended the session')
        for number, status in (5, 'failed'), (3, 'failed'), (2, 'failed'), (4, 'failed'), (3, 'ok'), (3, 'failed'):
            sensors[f'TempSensor{number}']['hwStatus'] = status
            switch.publish(daemon)
        switch.inlet['temperature'] = 75.0
        switch.fan['hwStatus'] = 'failed'
        switch.publish(daemon)
        master.start()
        self.assertEqual(told(OPER_DISABLED, 5, before), [INLET + 4, INLET + 1, INLET + 3, INLET + 2, FAN])

        def after():
            return receiver.notifications()[before:]
        wait_until(lambda: alarm(INLET, 750, CRITICAL) in after(), 'no alarm')
        self.assertEqual(after().count(state(OPER_DISABLED, FAN, LOCKED)), 1)
        self.assertNotIn(OPER_ENABLED, [oid for oid, _ in after()])


if __name__ == '__main__':
    unittest.main()
