"""A stock snmpd with the module in it, a manager to question it, a receiver of what it notifies: all real, nothing between.

Every agent has its own folder and its own free UDP port of 127.0.0.1. When a test ends its agents are stopped, and the test fails
if one of them died, ended with a status other than 0, or left a sanitizer's report in its log. With a module that is built with
AddressSanitizer that includes every leak that was allocated by the module. A master is an agent without the module, and a daemon
serves through it; all of this holds for both and for receivers, and a daemon that is built with AddressSanitizer leaks nothing.

No test measures how long something takes, and what is waited for may take its time: the machine may be busy.
"""

import collections
import contextlib
import functools
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get('ORVANE_BUILD', ROOT / 'build/release'))
MODULE, DAEMON = BUILD / 'orvane.so', BUILD / 'orvaned'
# Each frame of a sanitizer's report has the name of its module (%m).
ENV = {**os.environ, 'PATH': os.environ['PATH'] + ':/usr/sbin', 'MIBS': '', 'LC_ALL': 'C.UTF-8',
       'UBSAN_OPTIONS': 'print_stacktrace=1', 'ASAN_OPTIONS': 'detect_leaks=1:stack_trace_format="    #%n %p in %f %S (%m)"'}
SYS_UPTIME, TRAP_OID = '1.3.6.1.2.1.1.3.0', '1.3.6.1.6.3.1.1.4.1.0'

# One variable of a response: the OID without a leading dot; the type as the tools print it (INTEGER, STRING, OID, Timeticks,
# Gauge32, ...; noSuchObject, noSuchInstance and endOfMibView for the exceptions); the value, an int, bytes (every octet string),
# or text.
Var = collections.namedtuple('Var', 'oid type value')

EXCEPTIONS = {'No Such Object': 'noSuchObject', 'No Such Instance': 'noSuchInstance', 'No more variables left': 'endOfMibView'}
VALUES = {'Hex-STRING': bytes.fromhex, 'OID': lambda text: text.lstrip('.'), 'INTEGER': int, 'Gauge32': int,
          'Timeticks': lambda text: int(text[1:text.index(')')])}
REPORTS = re.compile(r'.*(?:ERROR: AddressSanitizer|runtime error:|AddressSanitizer:DEADLYSIGNAL|AddressSanitizer CHECK failed'
                     r'|LeakSanitizer has encountered a fatal error|terminate called|dlopen\(.*failed).*')
PRINTED = ['-On', '-Oe', '-OU', '-Ox']  # what parse() reads
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


def free_port(kind=socket.SOCK_DGRAM):
    """A free UDP port, or TCP port with SOCK_STREAM. Another process may take it first."""
    with socket.socket(socket.AF_INET, kind) as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


@contextlib.contextmanager
def meanwhile(work):
    """Does it again and again, in a thread of its own, as long as the block takes."""
    done = threading.Event()
    worker = threading.Thread(target=lambda: [work() for _ in iter(done.is_set, True)])
    worker.start()
    try:
        yield
    finally:
        done.set()
        worker.join()


def refusal(call, *arguments, **options):
    """The error status that a call is answered with, or else its answer."""
    try:
        return call(*arguments, **options)
    except SnmpError as error:
        return error.status


def parse_value(text):
    for words, name in EXCEPTIONS.items():
        if text.startswith(words):
            return name, None
    if text == '""':
        return 'STRING', b''
    type_, _, value = text.partition(': ')
    return type_.removeprefix('Hex-'), VALUES.get(type_, str)(value)


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
    """What snmpd, which is C, needs for a module with sanitizers: these first, and the C++ library whose throw they intercept."""
    compiler = os.environ.get('CXX', 'g++')
    return b'libasan.so' in module.read_bytes() and ' '.join(
        subprocess.check_output([compiler, f'-print-file-name={name}'], text=True).strip()
        for name in ('libasan.so', 'libstdc++.so'))


class Process:
    """A program under test, in a folder of its own, with a log there."""

    def __init__(self, name):
        self.name = name
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix=f'{name}-'))
        self.folder.chmod(0o755)  # it may run as somebody else
        self.log_path = self.folder / f'{name}.log'
        self.log_path.touch()
        self._environment = {**ENV, 'SNMPCONFPATH': str(self.folder), 'SNMP_PERSISTENT_DIR': str(self.folder / 'persistent')}
        self.port, self._process, self._ended = None, None, False
        try:
            self.start()
        except BaseException:
            self.kill()
            shutil.rmtree(self.folder)
            raise

    def _spawn(self, command, **environment):
        """It dies with the test, whatever ends that."""
        with open(self.log_path, 'ab') as log:
            self._process = subprocess.Popen(['setpriv', '--pdeathsig=KILL', *command], stdout=log, stderr=log,
                                             env={**self._environment, **environment})
        self._ended = False

    def _listen(self, command, **environment):
        """Starts one of Net-SNMP's at the port that it had before, or at a free one, which another process may take first."""
        given = self.port
        for _ in range(5):
            self.port, start = given or free_port(), len(self.log())
            self._spawn([*command, f'udp:127.0.0.1:{self.port}'], **environment)
            wait_until(lambda start=start: 'NET-SNMP version' in self.log()[start:] or self._process.poll() is not None)
            if self._process.poll() is None:
                return
            if not re.search("Error opening specified endpoint|couldn't open", self.log()[start:]):
                break
        raise AssertionError(f'{self.name} ended with {self._process.returncode} at its start:\n{self.log()}')

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
        self._process.send_signal(how)
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
        if self._process:
            self._process.kill()
            self._process.wait()


class Agent(Process):
    """A running snmpd. `v3` users and v1/v2c's community "public" may read everything, "private" may also write.

    `module` is what it loads, if anything; `directives` are lines of snmpd.conf behind the module's; `options` more arguments of
    snmpd; `wrapper` a command to run it under.
    """

    def __init__(self, module=MODULE, directives=(), wrapper=(), options=()):
        self.module, self.directives = module and pathlib.Path(module), list(directives)
        self._wrapper, self._options = wrapper, options
        super().__init__('snmpd')

    def start(self):
        self.write_config()
        environment = {}
        if self.module and (libraries := preloaded(self.module)):
            # Stock snmpd has leaks of its own, which do not end it badly; those of the module are read from the log.
            environment = {'LD_PRELOAD': libraries, 'LSAN_OPTIONS': 'exitcode=0'}
        self._listen([*self._wrapper, 'snmpd', '-f', '-Le', '-I', '-smux', '-C', '-c', self.folder / 'snmpd.conf', *self._options],
                     **environment)

    def write_config(self):
        """Writes snmpd.conf anew from self.directives."""
        conf = ['dontLogTCPWrappersConnects yes', 'rocommunity public 127.0.0.1', 'rwcommunity private 127.0.0.1',
                f'createUser {V3_USER} SHA "{V3_PASSWORD}" AES "{V3_PASSWORD}"', f'rouser {V3_USER} priv',
                *([f'dlmod {self.module.stem} {self.module}'] if self.module else []), *self.directives]
        (self.folder / 'snmpd.conf').write_text('\n'.join(conf) + '\n')

    def _is_ours(self, leak):
        return self.module and self.module.name in leak

    def reload(self, *directives):
        """SIGHUP: the agent reads its configuration again, with these directives if any are given, and loads its modules anew."""
        if directives:
            self.directives = list(directives)
            self.write_config()
        self.signal_reload()
        self.get(SYS_UPTIME)

    def tool(self, command, *arguments, version='2c', community='public', timeout=30):
        """Runs one of the tools against the agent; returns its variables or raises SnmpError."""
        who = ['-c', community]
        if version == '3':
            who = ['-u', V3_USER, '-l', 'authPriv', '-a', 'SHA', '-A', V3_PASSWORD, '-x', 'AES', '-X', V3_PASSWORD]
        run = subprocess.run([*command.split(), '-v', version, *who, *PRINTED, '-r', '0', '-t', str(timeout),
                              f'127.0.0.1:{self.port}', *arguments], capture_output=True, text=True, env=self._environment)
        if reason := re.search(r'^Reason: \(?(\w+)', run.stderr, re.MULTILINE):
            raise SnmpError(reason[1], run.stderr)
        if run.returncode != 0:
            raise SnmpError('timeout' if 'Timeout' in run.stderr else 'failed', run.stderr or run.stdout)
        return parse(run.stdout)

    def get(self, *oids, **options):
        return self.tool('snmpget -Cf', *oids, **options)

    def getnext(self, *oids, **options):
        return self.tool('snmpgetnext -Cf', *oids, **options)

    def getbulk(self, *oids, non_repeaters=0, repetitions=10, **options):
        return self.tool(f'snmpbulkget -Cn{non_repeaters} -Cr{repetitions}', *oids, **options)

    def walk(self, oid, **options):
        """What GETNEXT finds below oid, in the order in which it came."""
        return self._below(oid, self.tool('snmpwalk -CI', oid, **options))

    def bulkwalk(self, oid, repetitions=20, **options):
        """What GETBULK finds below oid, in the order in which it came."""
        return self._below(oid, self.tool(f'snmpbulkwalk -Cr{repetitions}', oid, **options))

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
        super().__init__(None, [*directives, 'master agentx', f'agentXSocket {self.agentx}'], **options)


class Daemon(Process):
    """A running orvaned, which looks for a master at the address `agentx` and pings it every second.

    `directives` are lines of orvaned.conf, `options` and `environment` what it is started with, `wrapper` as of an Agent.
    """

    CONNECTED = 'AgentX subagent connected'

    def __init__(self, agentx, directives=(), options=(), environment=(), wrapper=()):
        self._conf = [f'agentXSocket {agentx}', 'agentXPingInterval 1', *directives]
        self._command, self._given = [*wrapper, DAEMON, *options], dict(environment)
        super().__init__('orvaned')

    def start(self):
        (self.folder / 'orvaned.conf').write_text('\n'.join(self._conf) + '\n')
        self._spawn(self._command, **self._given)


class Receiver(Process):
    """A running snmptrapd. `trap`, `inform` and `v3_trap` are the lines of snmpd.conf with which an agent sends to it."""

    TRAP, INFORM, V3_TRAP = 'TRAP2, SNMP v2c', 'INFORM, SNMP v2c', 'TRAP2, SNMP v3'

    ENGINE = '0x80001f8804656e67696e65'
    OURS = ('1.3.6.1.2.1.47.2.0.', '1.3.6.1.2.1.131.0.', '1.3.6.1.4.1.59871.')

    def start(self):
        # A v3 trap is authenticated in the name of the sender's engine.
        (self.folder / 'snmptrapd.conf').write_text(
            f'disableAuthorization yes\n'
            f'createUser -e {self.ENGINE} {V3_USER} SHA "{V3_PASSWORD}" AES "{V3_PASSWORD}"\n')
        self._listen(['snmptrapd', '-f', '-Lo', '-n', '-C', '-c', self.folder / 'snmptrapd.conf', *PRINTED,
                      '-F', '#%P\n%V\n%v\n;\n'])
        self.trap, self.inform = (f'{sink} 127.0.0.1:{self.port} public' for sink in ('trap2sink', 'informsink'))
        self.v3_trap = (f'trapsess -v 3 -e {self.ENGINE} -u {V3_USER} -l authPriv -a SHA -A "{V3_PASSWORD}" -x AES '
                        f'-X "{V3_PASSWORD}" 127.0.0.1:{self.port}')

    def notifications(self, *kinds):
        """Those of Orvane that have come so far, of these kinds or of all: which, by its OID, and its other variables, in order."""
        found = []
        for kind, text in re.findall(r'^#(\w+, SNMP v\w+).*\n([^;]*)\n;$', self.log(), re.MULTILINE):
            uptime, which, *variables = parse(text)
            if (uptime.oid, which.oid, which.type) != (SYS_UPTIME, TRAP_OID, 'OID'):
                raise AssertionError(f'no notification begins like this: {uptime} {which}')
            if which.value.startswith(self.OURS) and (not kinds or kind in kinds):
                found.append((which.value, tuple(variables)))
        return found


class AgentTest(unittest.TestCase):
    """Starts what is stopped, and judged, when the test ends."""

    def _started(self, kind, *arguments, **options):
        process = kind(*arguments, **options)
        self.addCleanup(self._judge, process)
        return process

    agent = functools.partialmethod(_started, Agent)
    master = functools.partialmethod(_started, Master)
    daemon = functools.partialmethod(_started, Daemon)
    receiver = functools.partialmethod(_started, Receiver, 'snmptrapd')

    def _judge(self, process):
        if process.folder.exists():
            self.assertEqual(process.stop(), 0, f'exit status of {process.name}')
