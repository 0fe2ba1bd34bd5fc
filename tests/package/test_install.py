"""The package on a machine with Debian's snmpd as it comes: installed, put to use, removed.

The machine is this one with a throw-away layer over it, in a network of its own: nothing that happens there is seen outside.
"""

import contextlib
import ctypes
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

from deb import DAEMON_CONF, DEB, MODULE_CONF, ROOT, SWITCH_CONF

sys.path.insert(0, str(ROOT / 'tests/e2e'))

from described import ENTRY, TABLES  # noqa: E402
from harness import PRINTED, AgentTest, Process, parse, wait_until  # noqa: E402

CLONE_NEWNS, CLONE_NEWNET = 0x00020000, 0x40000000
OWN_CONF = '/etc/snmp/snmpd.conf'
SYSTEM = '1.3.6.1.2.1.1'
ENVIRONMENT = {'PATH': '/usr/sbin:/usr/bin:/sbin:/bin', 'LC_ALL': 'C.UTF-8', 'DEBIAN_FRONTEND': 'noninteractive', 'HOME': '/root'}


class Machine:
    """This machine below a layer that takes all changes, with a loopback device of its own."""

    def __init__(self):
        libc = ctypes.CDLL(None, use_errno=True)
        if libc.unshare(CLONE_NEWNS | CLONE_NEWNET) != 0:
            raise unittest.SkipTest(f'no namespaces of its own: {os.strerror(ctypes.get_errno())}')
        self.base = base = tempfile.mkdtemp(prefix='machine-')
        self.root = pathlib.Path(base, 'root')
        for command in ('mount --make-rprivate /', f'mount -t tmpfs none {base}', f'mkdir {base}/root {base}/upper {base}/work',
                        f'mount -t overlay none -o lowerdir=/,upperdir={base}/upper,workdir={base}/work {self.root}',
                        f'mount -t proc none {self.root}/proc', f'mount --rbind /dev {self.root}/dev',
                        f'mount -t tmpfs none {self.root}/run', f'mount -t tmpfs none {self.root}/tmp',
                        '/usr/sbin/ip link set lo up'):
            run = subprocess.run(shlex.split(command), capture_output=True, text=True)
            if run.returncode != 0:
                self.remove()
                raise unittest.SkipTest(f'{command}: {run.stderr.strip()}')

    def remove(self):
        subprocess.run(['umount', '--recursive', '--lazy', self.base], check=False)
        os.rmdir(self.base)

    def run(self, *command, check=True):
        run = subprocess.run(['chroot', str(self.root), *command], capture_output=True, text=True, env=ENVIRONMENT)
        if check and run.returncode != 0:
            raise AssertionError(f'{command}: {run.returncode}\n{run.stdout}{run.stderr}')
        return run

    def path(self, inside):
        return self.root / inside.lstrip('/')

    def walk(self, oid, check=True):
        run = self.run('snmpbulkwalk', '-v2c', '-cpublic', *PRINTED, '127.0.0.1', oid, check=check)
        return {var.oid: var.value for var in parse(run.stdout) if not var.type.startswith(('no', 'end'))}


class Service(Process):
    """What runs on the machine as its unit starts it."""

    def __init__(self, machine, name):
        self.machine = machine
        super().__init__(name)

    def start(self):
        self._environment = ENVIRONMENT
        unit = self.machine.path(f'/lib/systemd/system/{self.name}.service').read_text()
        said = dict(re.findall(r'^(User|ExecStart)=(.*)$', unit, re.MULTILINE))
        user = said.get('User', 'root')
        self._spawn(['chroot', self.machine.root, 'setpriv', f'--reuid={user}', f'--regid={user}', '--init-groups',
                     '--pdeathsig=KILL', *shlex.split(said['ExecStart'])])


def steady(answers):
    """Without what changes by itself: sysUpTime, and the times of the table of modules."""
    return {oid: value for oid, value in answers.items() if not oid.startswith((f'{SYSTEM}.3.', f'{SYSTEM}.8', f'{SYSTEM}.9.1.4'))}


class Install(AgentTest):
    @classmethod
    def setUpClass(cls):
        if os.geteuid() != 0:
            raise unittest.SkipTest('only root can make a throw-away machine')
        cls.machine = Machine()
        cls.addClassCleanup(cls.machine.remove)
        if OWN_CONF in cls.machine.run('dpkg', '--verify', 'snmpd', check=False).stdout:
            raise unittest.SkipTest('the snmpd of this machine is not as it comes')
        shutil.copy(DEB, cls.machine.path('/tmp/orvane.deb'))

    def snmpd(self):
        agent = self._started(Service, self.machine, 'snmpd')
        wait_until(lambda: self.machine.walk(f'{SYSTEM}.5', check=False), 'snmpd does not answer')
        return agent

    def installed(self):
        # As on a machine that is kept small, without files of documentation.
        self.machine.run('dpkg', '--path-exclude=/usr/share/doc/*', '--install', '/tmp/orvane.deb')
        self.addCleanup(self.machine.run, 'dpkg', '--purge', 'orvane')

    def own_files(self):
        """What belongs to snmpd and its administrator."""
        folder = self.machine.path('/etc/snmp')
        return {str(path): (path.read_bytes(), path.stat().st_mode, path.stat().st_mtime_ns)
                for path in sorted(folder.rglob('*')) if path.is_file() and 'orvane' not in str(path)}

    def uncomment(self, conf, beginning):
        """Removes the # from the one line that begins so."""
        path = self.machine.path(conf)
        text, count = re.subn(rf'^#(?={re.escape(beginning)})', '', path.read_text(), flags=re.MULTILINE)
        self.assertEqual(count, 1)
        path.write_text(text)

    def test_from_installation_to_removal(self):
        own = self.own_files()
        self.assertIn(OWN_CONF, ''.join(own))
        agent = self.snmpd()
        before = steady(self.machine.walk(SYSTEM))
        self.assertGreater(len(before), 5)

        self.installed()
        self.assertEqual(self.own_files(), own)
        self.assertEqual(steady(self.machine.walk(SYSTEM)), before, 'the running agent')
        self.assertEqual(agent.stop(), 0)
        agent = self.snmpd()
        self.assertEqual(steady(self.machine.walk(SYSTEM)), before, 'an agent that was started with the package installed')
        self.assertNotIn('orvane', agent.log())
        self.assertEqual(agent.stop(), 0)

        self.uncomment(SWITCH_CONF, 'includeFile /etc/snmp/orvane/module.conf')
        self.uncomment(MODULE_CONF, 'orvaneInventory ')
        agent = self.snmpd()
        rows = self.machine.walk(ENTRY)
        self.assertEqual(rows[f'{ENTRY}.2.1'], b'Kelvra KS-4804T, 48 ports of 10GBASE-T and 4 uplinks of 100G')
        self.assertGreater(len(rows), 1000)
        for table in TABLES:
            self.assertGreater(len(self.machine.walk(table)), 50, table)
        self.uncomment(MODULE_CONF, 'orvaneInspect ')
        os.kill(agent.pid, signal.SIGHUP)
        socket_path = self.machine.path('/run/orvane/inspect.sock')
        wait_until(socket_path.exists, 'there is no socket')
        self.assertEqual(socket_path.owner(), 'Debian-snmp')
        shown = self.machine.run('orvane-inspect', '--socket', '/run/orvane/inspect.sock', 'input/status/fixedSystem')
        self.assertIn('serialNum', shown.stdout)

        # As `systemctl enable` does.
        link = self.machine.path('/etc/systemd/system/multi-user.target.wants/orvaned.service')
        link.parent.mkdir(parents=True, exist_ok=True)
        link.symlink_to('/lib/systemd/system/orvaned.service')
        self.machine.run('dpkg', '--remove', 'orvane')
        self.assertEqual(self.machine.walk(ENTRY).keys(), rows.keys(), 'the running agent outlives the package')
        self.assertEqual(agent.stop(), 0)
        for step in ('--remove', '--purge'):
            self.machine.run('dpkg', step, 'orvane')
            self.assertEqual(self.machine.path(SWITCH_CONF).exists(), step == '--remove', 'the administrator\'s lines')
            agent = self.snmpd()
            answers = steady(self.machine.walk(SYSTEM))
            self.assertEqual({oid: answers.get(oid) for oid in before}, before, f'an agent that was started after {step}')
            self.assertEqual(self.machine.walk(ENTRY), {})
            told = self.assertRaisesRegex(AssertionError, r"status 0, reports: \['dlopen\(\S+/orvane\.so\) failed")
            with told if step == '--remove' else contextlib.nullcontext():
                agent.stop()
        self.assertFalse(link.is_symlink(), 'the link of the enabled unit is left')
        self.assertEqual(self.own_files(), own)

    def test_an_upgrade_goes_on_with_a_running_daemon(self):
        self.installed()
        # As on a machine that systemd runs.
        running, invoke, said = map(self.machine.path, ('/run/systemd/system', '/usr/bin/deb-systemd-invoke', '/tmp/said'))
        real = invoke.read_bytes()
        self.addCleanup(invoke.write_bytes, real)
        self.addCleanup(shutil.rmtree, running)
        running.mkdir(parents=True)
        invoke.write_text('#!/bin/sh\necho "$@" >> /tmp/said\n')
        self.machine.run('dpkg', '--install', '/tmp/orvane.deb')
        self.assertEqual(said.read_text(), 'try-restart orvaned.service orvane-linux.service\n')

    def let_subagents_in(self):
        """Does what orvaned.conf says."""
        self.uncomment(SWITCH_CONF, 'includeFile /etc/snmp/orvane/master.conf')
        command = re.search(r'^# +(chmod .*)$', (ROOT / 'packaging/orvaned.conf').read_text(), re.MULTILINE)[1]
        self.machine.run('mkdir', '-p', '-m', '700', '/var/agentx')
        self.machine.run(*shlex.split(command))

    def test_subagents_are_let_in_as_told(self):
        self.installed()
        connect = ['python3', '-c', 'import socket; socket.socket(socket.AF_UNIX).connect("/var/agentx/master")']
        for permitted in (False, True):
            if permitted:
                self.let_subagents_in()
            agent = self.snmpd()
            for user, may in (('root', True), ('Debian-snmp', permitted), ('orvane', permitted), ('nobody', False)):
                run = self.machine.run('runuser', '-u', user, '--', *connect, check=False)
                self.assertEqual(run.returncode == 0, may, f'{user}: {run.stderr}')
            agent.stop()

    def verify_unit(self, unit, threshold):
        run = self.machine.run('systemd-analyze', 'verify', '--man=no', unit, check=False)
        self.assertEqual((run.returncode, run.stdout + run.stderr), (0, ''))
        self.machine.run('systemd-analyze', 'security', '--offline=yes', f'--threshold={threshold}', unit)

    def test_this_machine_as_its_unit_publishes_it(self):
        self.installed()
        self.verify_unit('orvane-linux.service', 16)
        self.uncomment(SWITCH_CONF, 'includeFile /etc/snmp/orvane/module.conf')
        self.uncomment(MODULE_CONF, 'orvanePublish ')
        self.snmpd()
        self.machine.run('install', '-d', '-o', 'orvane-linux', '/var/lib/orvane-linux')  # as StateDirectory= does
        publisher = self._started(Service, self.machine, 'orvane-linux')
        wait_until(lambda: self.machine.walk(ENTRY), publisher.log())
        self.assertIn(b'Linux', self.machine.walk(ENTRY)[f'{ENTRY}.10.1'])

    def test_the_daemon_as_its_unit_runs_it(self):
        self.installed()
        self.verify_unit('orvaned.service', 12)
        self.uncomment(DAEMON_CONF, 'orvaneInventory ')
        self.let_subagents_in()
        self.snmpd()
        self._started(Service, self.machine, 'orvaned')
        wait_until(lambda: len(self.machine.walk(ENTRY)) > 1000, 'the master agent does not show the rows')


if __name__ == '__main__':
    unittest.main()
