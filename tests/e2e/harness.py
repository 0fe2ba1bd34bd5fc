"""A stock snmpd with the module in it, a manager to question it, a receiver of what it notifies: all real, nothing between.

    class Walks(AgentTest):
        def test_walk(self):
            agent = self.agent(directives=[f'orvaneInventory {path}'])
            for oid, type, value in agent.walk('1.3.6.1.2.1.47'): ...

Every agent has its own folder and its own free UDP port of 127.0.0.1. When a test ends its agents are stopped, and the test fails if
one of them died, ended with a status other than 0, or left a sanitizer's report in its log. With a module that is built with
AddressSanitizer that includes every leak that was allocated by the module. A master is an agent without the module, and a daemon
serves through it; all of this holds for both, and a daemon that is built with AddressSanitizer leaks nothing at all.

No test measures how long something takes, and what is waited for may take its time: the machine may be busy.
"""

import collections
import ctypes
import functools
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get('ORVANE_BUILD', ROOT / 'build/release'))
MODULE, DAEMON = BUILD / 'orvane.so', BUILD / 'orvaned'
ENV = {**os.environ, 'PATH': os.environ['PATH'] + ':/usr/sbin', 'MIBS': '', 'LC_ALL': 'C.UTF-8'}

# One variable of a response: the OID without a leading dot; the type as the tools print it (INTEGER, STRING, OID, Timeticks, Gauge32,
# ...; noSuchObject, noSuchInstance and endOfMibView for the exceptions); the value, an int, bytes (every octet string), or text.
Var = collections.namedtuple('Var', 'oid type value')

# One notification: its kind, Receiver.TRAP or another of these; the OID that says which; its other variables in order; the
# agent's sysUpTime in hundredths of a second at the moment when it was made.
Notification = collections.namedtuple('Notification', 'kind oid variables uptime')

EXCEPTIONS = {'No Such Object': 'noSuchObject', 'No Such Instance': 'noSuchInstance', 'No more variables left': 'endOfMibView'}
REPORTS = re.compile(r'.*(?:ERROR: AddressSanitizer|runtime error:|AddressSanitizer:DEADLYSIGNAL|AddressSanitizer CHECK failed'
                     r'|LeakSanitizer has encountered a fatal error|terminate called|dlopen\(.*failed).*')
LEAK = re.compile(r'^Direct leak of .*?(?=^$|\Z)', re.MULTILINE | re.DOTALL)
V3_USER, V3_PASSWORD = 'watcher', 'a long enough password'


class SnmpError(Exception):
    """A response with an error status (`status` is its name: noSuchName, notWritable, genError, ...), or none at all (timeout)."""

    def __init__(self, status, detail):
        super().__init__(f'{status}: {detail}')
        self.status = status


def oid_key(oid):
    """Sorts OIDs as SNMP does."""
    return tuple(int(part) for part in oid.split('.'))


def wait_until(condition, message='it did not come about', timeout=60.0):
    """Waits for something that takes the agent a moment; returns what condition() returned when that was true at last."""
    deadline = time.monotonic() + timeout
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f'{message} within {timeout} s')
        time.sleep(0.05)
    return result


def die_with_parent():
    """In the child, before it becomes snmpd: no agent outlives a test that is killed."""
    pr_set_pdeathsig = 1
    ctypes.CDLL(None).prctl(pr_set_pdeathsig, signal.SIGKILL)


def free_port(kind=socket.SOCK_DGRAM):
    """A free UDP port, or TCP port with SOCK_STREAM. Another process may take it first."""
    with socket.socket(socket.AF_INET, kind) as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


def parse_value(text):
    for words, name in EXCEPTIONS.items():
        if text.startswith(words):
            return name, None
    if text == '""':
        return 'STRING', b''
    type_, _, value = text.partition(': ')
    if type_ == 'Hex-STRING':
        return 'STRING', bytes.fromhex(value)
    if type_ == 'Timeticks':
        return type_, int(value[1:value.index(')')])
    if type_ == 'OID':
        return type_, value.lstrip('.')
    if type_ in ('INTEGER', 'Gauge32', 'Counter32', 'Counter64'):
        return type_, int(value)
    return type_, value


def parse(output):
    """The variables that a tool printed with -On -Oe -OU -Ox. Long octet strings go on over several lines."""
    found = []
    for chunk in re.split(r'^(?=\.\d)', output, flags=re.MULTILINE):
        oid, equals, text = chunk.partition(' = ')
        if equals:
            found.append(Var(oid.lstrip('.'), *parse_value(' '.join(text.split()))))
    return found


@functools.cache
def preloaded(module):
    """What a module with sanitizers needs in snmpd, which is plain C: the sanitizer first, and the C++ library whose throw it intercepts."""
    compiler = os.environ.get('CXX', 'g++')
    return b'libasan.so' in module.read_bytes() and ' '.join(
        subprocess.check_output([compiler, f'-print-file-name={name}'], text=True).strip() for name in ('libasan.so', 'libstdc++.so'))


class Process:
    """A program under test, in a folder of its own, with a log there."""

    def __init__(self, name):
        self.name = name
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix=f'{name}-'))
        self.folder.chmod(0o755)  # it may run as somebody else
        self.log_path = self.folder / f'{name}.log'
        self._process, self._ended = None, False
        try:
            self._start()
        except BaseException:
            self.kill()
            shutil.rmtree(self.folder)
            raise

    def start_again(self):
        """After end(): from the same configuration, and an agent on the same port."""
        self._start()

    def _spawn(self, command, environment):
        with open(self.log_path, 'ab') as log:
            self._process = subprocess.Popen(command, stdout=log, stderr=log, env=environment, preexec_fn=die_with_parent)
        self._ended = False

    def _is_ours(self, leak):
        """Whether a leak counts that was found when it ended."""
        return True

    @property
    def pid(self):
        return self._process.pid

    def log(self):
        return self.log_path.read_text(errors='replace')

    def wait_for_log(self, pattern):
        """Waits for a line of the log that the regular expression matches, and returns the match."""
        return wait_until(lambda: re.search(pattern, self.log(), re.MULTILINE), f'no log line like {pattern!r}')

    def signal_reload(self):
        """SIGHUP: it reads its configuration again."""
        before = self.log().count('Reconfiguring daemon')
        os.kill(self.pid, signal.SIGHUP)
        wait_until(lambda: self.log().count('Reconfiguring daemon') > before, 'no reconfiguration')

    def end(self, how=signal.SIGTERM):
        """Ends it by a signal. Returns the exit status; AssertionError when it died before, will not end, or left a report."""
        died = self._process.poll() is not None
        self._ended = True
        if not died:
            os.kill(self.pid, how)
            try:
                self._process.wait(60)
            except subprocess.TimeoutExpired:
                self.kill()
                raise AssertionError(f'{self.name} did not end:\n{self.log()}') from None
        status, log = self._process.returncode, self.log()
        reports = REPORTS.findall(log) + [leak for leak in LEAK.findall(log) if self._is_ours(leak)]
        if died or reports:
            raise AssertionError(f'{self.name} {"died" if died else "ended"} with status {status}, reports: {reports}\n{log}')
        return status

    def stop(self):
        """The same by SIGTERM, unless it was ended before; and its folder goes."""
        try:
            return 0 if self._ended else self.end()
        finally:
            shutil.rmtree(self.folder)

    def kill(self):
        if self._process and self._process.poll() is None:
            self._process.kill()
            self._process.wait()


class Agent(Process):
    """A running snmpd. `v3` users and v1/v2c's community "public" may read everything, "private" may also write.

    `module` is what it loads, if anything; `directives` are lines of snmpd.conf behind the module's; `options` more arguments of
    snmpd; `wrapper` a command to run it under.
    """

    def __init__(self, module=MODULE, directives=(), wrapper=(), options=()):
        self.module, self.directives = module and pathlib.Path(module), list(directives)
        self.port = None
        self._wrapper, self._options = wrapper, options
        super().__init__('snmpd')

    # Life

    def _start(self):
        # Another process may take a free port before snmpd has it, hence the attempts.
        given = self.port
        for _ in range(5):
            self.port = given or free_port()
            self.write_config()
            (self.folder / 'pid').unlink(missing_ok=True)
            start = len(self.log()) if self.log_path.exists() else 0
            self._spawn([*self._wrapper, 'snmpd', '-f', '-Le', '-I', '-smux', '-C', '-c', str(self.folder / 'snmpd.conf'),
                         '-p', str(self.folder / 'pid'), *self._options], self._environment())
            wait_until(lambda: self._answers() or self._process.poll() is not None, 'no answer and no end of snmpd')
            if self._process.poll() is None:
                return
            if 'Error opening specified endpoint' not in self.log()[start:]:
                break
        raise AssertionError(f'snmpd ended with {self._process.returncode} at its start:\n{self.log()}')

    def write_config(self):
        """Writes snmpd.conf anew from self.directives."""
        conf = [f'agentaddress udp:127.0.0.1:{self.port}', 'dontLogTCPWrappersConnects yes',
                'rocommunity public 127.0.0.1', 'rwcommunity private 127.0.0.1',
                f'createUser {V3_USER} SHA "{V3_PASSWORD}" AES "{V3_PASSWORD}"', f'rouser {V3_USER} priv',
                *([f'dlmod {self.module.stem} {self.module}'] if self.module else []), *self.directives]
        (self.folder / 'snmpd.conf').write_text('\n'.join(conf) + '\n')

    def _environment(self):
        env = {**ENV, 'SNMPCONFPATH': str(self.folder), 'SNMP_PERSISTENT_DIR': str(self.folder / 'persistent')}
        if self.module and (libraries := preloaded(self.module)):
            env['LD_PRELOAD'] = libraries
            # Stock snmpd has leaks of its own, which do not end it badly; those of the module are read from the log, hence
            # the module's name (%m) in each frame.
            env['ASAN_OPTIONS'] = 'detect_leaks=1:stack_trace_format="    #%n %p in %f %S (%m)"'
            env['LSAN_OPTIONS'] = 'exitcode=0'
            env['UBSAN_OPTIONS'] = 'print_stacktrace=1'
        return env

    def _answers(self):
        if not (self.folder / 'pid').exists():
            return False
        try:
            return self.get('1.3.6.1.2.1.1.3.0', timeout=1)
        except SnmpError:
            return False

    def _is_ours(self, leak):
        return self.module and self.module.name in leak

    @property
    def pid(self):
        return int((self.folder / 'pid').read_text())

    def reload(self, *directives):
        """SIGHUP: the agent reads its configuration again, with these directives if any are given, and its modules are loaded anew."""
        if directives:
            self.directives = list(directives)
            self.write_config()
        self.signal_reload()
        wait_until(self._answers, 'no answer after the reload')

    # The manager

    def tool(self, name, *arguments, version='2c', community='public', timeout=30):
        """Runs one of the tools against the agent; returns its variables or raises SnmpError."""
        if version == '3':
            who = ['-u', V3_USER, '-l', 'authPriv', '-a', 'SHA', '-A', V3_PASSWORD, '-x', 'AES', '-X', V3_PASSWORD]
        else:
            who = ['-c', community]
        command = [name, '-v', version, *who, '-On', '-Oe', '-OU', '-Ox', '-r', '0', '-t', str(timeout)]
        head = [argument for argument in arguments if argument.startswith('-C')]
        rest = [argument for argument in arguments if not argument.startswith('-C')]
        run = subprocess.run([*command, *head, f'127.0.0.1:{self.port}', *rest], capture_output=True, text=True,
                             env={**ENV, 'SNMPCONFPATH': str(self.folder)})
        if reason := re.search(r'^Reason: \(?(\w+)', run.stderr, re.MULTILINE):
            raise SnmpError(reason[1], run.stderr)
        if run.returncode != 0:
            raise SnmpError('timeout' if 'Timeout' in run.stderr else 'failed', run.stderr or run.stdout)
        return parse(run.stdout)

    def get(self, *oids, **options):
        return self.tool('snmpget', '-Cf', *oids, **options)

    def getnext(self, *oids, **options):
        return self.tool('snmpgetnext', '-Cf', *oids, **options)

    def getbulk(self, *oids, non_repeaters=0, repetitions=10, **options):
        return self.tool('snmpbulkget', f'-Cn{non_repeaters}', f'-Cr{repetitions}', *oids, **options)

    def walk(self, oid, **options):
        """What GETNEXT finds below oid, in the order in which it came."""
        return self._below(oid, self.tool('snmpwalk', '-CI', oid, **options))

    def bulkwalk(self, oid, repetitions=20, **options):
        """What GETBULK finds below oid, in the order in which it came."""
        return self._below(oid, self.tool('snmpbulkwalk', f'-Cr{repetitions}', oid, **options))

    @staticmethod
    def _below(oid, variables):
        if len(variables) == 1 and variables[0].type in EXCEPTIONS.values():
            return []
        stray = [var for var in variables if not var.oid.startswith(oid + '.') and var.type != 'endOfMibView']
        assert not stray, f'a walk of {oid} returned {stray}'
        return [var for var in variables if var.type != 'endOfMibView']

    def set(self, oid, type_letter, value, community='private', **options):
        return self.tool('snmpset', oid, type_letter, str(value), community=community, **options)


class Master(Agent):
    """A running snmpd without the module, to which subagents come at `agentx`, a free TCP port unless it is given."""

    def __init__(self, directives=(), agentx=None, **options):
        self.agentx = agentx or f'tcp:127.0.0.1:{free_port(socket.SOCK_STREAM)}'
        super().__init__(module=None, directives=[*directives, 'master agentx', f'agentXSocket {self.agentx}'], **options)


class Daemon(Process):
    """A running orvaned, which looks for a master at the address `agentx`, and asks it every second whether it still is there.

    `directives` are lines of orvaned.conf, `options` and `environment` what it is started with, `wrapper` a command to run it under.
    """

    CONNECTED = 'AgentX subagent connected'

    def __init__(self, agentx, directives=(), options=(), environment=(), wrapper=()):
        self.agentx, self.directives = agentx, list(directives)
        self._command = [*wrapper, str(DAEMON), *options]
        self._environment = {**ENV, 'ASAN_OPTIONS': 'detect_leaks=1', 'UBSAN_OPTIONS': 'print_stacktrace=1', **dict(environment)}
        super().__init__('orvaned')

    def _start(self):
        self.write_config()
        self._spawn(self._command, {**self._environment, 'SNMPCONFPATH': str(self.folder),
                                    'SNMP_PERSISTENT_DIR': str(self.folder / 'persistent')})

    def write_config(self):
        """Writes orvaned.conf anew from self.directives."""
        conf = [f'agentXSocket {self.agentx}', 'agentXPingInterval 1', *self.directives]
        (self.folder / 'orvaned.conf').write_text('\n'.join(conf) + '\n')


class Receiver:
    """A running snmptrapd. `trap`, `inform` and `v3_trap` are the lines of snmpd.conf with which an agent sends to it."""

    TRAP, INFORM, V3_TRAP = 'TRAP2, SNMP v2c', 'INFORM, SNMP v2c', 'TRAP2, SNMP v3'
    ENGINE = '0x80001f8804656e67696e65'
    SYS_UPTIME, TRAP_OID = '1.3.6.1.2.1.1.3.0', '1.3.6.1.6.3.1.1.4.1.0'

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix='receiver-'))
        # A v3 trap is authenticated in the name of the sender's engine.
        (self.folder / 'snmptrapd.conf').write_text(
            f'disableAuthorization yes\n'
            f'createUser -e {self.ENGINE} {V3_USER} SHA "{V3_PASSWORD}" AES "{V3_PASSWORD}"\n')
        environment = {**ENV, 'SNMPCONFPATH': str(self.folder), 'SNMP_PERSISTENT_DIR': str(self.folder / 'persistent')}
        self._process = None
        try:
            for _ in range(5):
                self.port = free_port()
                with open(self.folder / 'received', 'wb') as received:
                    self._process = subprocess.Popen(
                        ['snmptrapd', '-f', '-Lo', '-n', '-C', '-c', str(self.folder / 'snmptrapd.conf'),
                         '-On', '-Oe', '-OU', '-Ox', '-F', '#%P\n%V\n%v\n;\n',
                         f'udp:127.0.0.1:{self.port}'],
                        stdout=received, stderr=received, env=environment, preexec_fn=die_with_parent)
                wait_until(lambda: 'NET-SNMP version' in self._received() or self._process.poll() is not None)
                if self._process.poll() is None:
                    return
            raise AssertionError(f'snmptrapd ended with {self._process.returncode} at its start:\n{self._received()}')
        except BaseException:
            self.stop()
            raise

    def stop(self):
        if self._process and self._process.poll() is None:
            self._process.terminate()
            self._process.wait(30)
        shutil.rmtree(self.folder)

    @property
    def trap(self):
        return f'trap2sink 127.0.0.1:{self.port} public'

    @property
    def inform(self):
        return f'informsink 127.0.0.1:{self.port} public'

    @property
    def v3_trap(self):
        return (f'trapsess -v 3 -e {self.ENGINE} -u {V3_USER} -l authPriv -a SHA -A "{V3_PASSWORD}" -x AES -X "{V3_PASSWORD}" '
                f'127.0.0.1:{self.port}')

    def _received(self):
        return (self.folder / 'received').read_text(errors='replace')

    def notifications(self, *below):
        """What has come so far, in its order; with OIDs, only what is below one of them."""
        found = []
        for kind, text in re.findall(r'^#(.*)\n([^;]*)\n;$', self._received(), re.MULTILINE):
            uptime, which, *variables = parse(text)
            if (uptime.oid, which.oid, which.type) != (self.SYS_UPTIME, self.TRAP_OID, 'OID'):
                raise AssertionError(f'no notification begins like this: {uptime} {which}')
            if not below or any(which.value.startswith(oid + '.') for oid in below):
                found.append(Notification(re.match(r'\w+, SNMP v\w+', kind)[0], which.value, variables, uptime.value))
        return found


class AgentTest(unittest.TestCase):
    """Starts what is stopped, and judged, when the test ends."""

    def agent(self, *arguments, **options):
        return self._started(Agent(*arguments, **options))

    def master(self, *arguments, **options):
        return self._started(Master(*arguments, **options))

    def daemon(self, *arguments, **options):
        return self._started(Daemon(*arguments, **options))

    def _started(self, process):
        self.addCleanup(self._judge, process)
        return process

    def receiver(self):
        receiver = Receiver()
        self.addCleanup(receiver.stop)
        return receiver

    def _judge(self, process):
        if process.folder.exists():
            self.assertEqual(process.stop(), 0, f'exit status of {process.name}')

    def assert_error(self, status, call, *arguments, **options):
        with self.assertRaises(SnmpError) as caught:
            call(*arguments, **options)
        self.assertEqual(caught.exception.status, status, str(caught.exception))
