"""What the Debian package has, and that lintian finds no fault with it."""

import gzip
import io
import re
import subprocess
import tarfile
import unittest

from deb import ARCHITECTURE, DAEMON_CONF, DEB, MODULE, ROOT, SWITCH_CONF, VERSION

DOC = '/usr/share/doc/orvane'
# Path, mode, and the file of the sources that it is a copy of.
FILES = {
    MODULE: (0o644, None),
    '/usr/bin/orvane-inspect': (0o755, 'tools/orvane-inspect'),
    '/usr/bin/orvane-publish': (0o755, 'tools/orvane-publish'),
    '/usr/lib/python3/dist-packages/orvane_publish.py': (0o644, 'tools/orvane_publish.py'),
    '/usr/share/snmp/mibs/KELVRA-ENT-SENSOR-MIB.txt': (0o644, 'mibs/KELVRA-ENT-SENSOR-MIB.txt'),
    '/usr/sbin/orvaned': (0o755, None),
    '/usr/sbin/orvane-linux': (0o755, None),
    **{f'/lib/systemd/system/{name}.service': (0o644, f'packaging/{name}.service') for name in ('orvaned', 'orvane-linux')},
    DAEMON_CONF: (0o644, 'packaging/orvaned.conf'),
    SWITCH_CONF: (0o644, 'packaging/snmpd.conf.d/orvane.conf'),
    **{f'/etc/snmp/orvane/{name}.conf': (0o644, f'packaging/orvane/{name}.conf') for name in ('module', 'master', 'views')},
    f'{DOC}/changelog.gz': (0o644, None),
    f'{DOC}/copyright': (0o644, 'packaging/debian/copyright'),
    **{f'/usr/share/orvane/examples/{name}-switch.json': (0o644, f'examples/{name}-switch.json') for name in ('fixed', 'chassis')},
    **{f'/usr/lib/{name}.d/orvane.conf': (0o644, f'packaging/{name}.conf') for name in ('sysusers', 'tmpfiles')},
    f'{DOC}/examples/make-chassis': (0o755, 'examples/make-chassis'),
    f'{DOC}/examples/snmp-exporter.yml': (0o644, 'examples/snmp-exporter.yml'),
    **{f'{DOC}/examples/managers/{name}': (0o644, f'examples/managers/{name}') for name in (
        'checkmk/README.md', 'checkmk/orvane.py',
        'prometheus/README.md', 'prometheus/orvane.rules.yml', 'prometheus/prometheus.yml')},
    **{f'/usr/share/man/man{page[-1]}/{page}.gz': (0o644, None)
       for page in ('orvane-inspect.1', 'orvane-publish.1', 'orvane-inventory.5', 'orvane-publish.5', 'orvane.8', 'orvaned.8',
                    'orvane-linux.8')},
}
CONFFILES = {path for path in FILES if path.startswith('/etc/')}


def field(name):
    return subprocess.check_output(['dpkg-deb', '--field', DEB, name], text=True).strip()


def unpacked(what):
    """The members by path, and the contents of those that are files."""
    with tarfile.open(fileobj=io.BytesIO(subprocess.check_output(['dpkg-deb', what, DEB]))) as archive:
        members = {member.name.removeprefix('.'): member for member in archive}
        return members, {path: archive.extractfile(member).read() for path, member in members.items() if member.isfile()}


class Contents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        (cls.members, cls.contents), (_, cls.control) = unpacked('--fsys-tarfile'), unpacked('--ctrl-tarfile')

    def test_files(self):
        self.assertEqual(set(self.contents), set(FILES))
        for path, (mode, source) in FILES.items():
            with self.subTest(path):
                member = self.members[path]
                self.assertEqual((member.mode, member.uname, member.gname), (mode, 'root', 'root'))
                if source:
                    self.assertEqual(self.contents[path], (ROOT / source).read_bytes())
        self.assertEqual({member.mode for member in self.members.values() if member.isdir()}, {0o755})

    def test_pages_are_filled_in(self):
        for path, content in self.contents.items():
            if '/man/' in path:
                text = gzip.decompress(content).decode()
                self.assertIn(f'"Orvane {VERSION}"', text, path)
                self.assertNotRegex(text, r'{{|{%', path)

    def test_fields(self):
        self.assertEqual((field('Package'), field('Version'), field('Architecture')), ('orvane', VERSION, ARCHITECTURE))
        self.assertEqual(field('Recommends'), 'snmpd')
        needed = {dependency.split()[0] for dependency in field('Depends').split(', ')}
        self.assertLessEqual({'python3', 'libsnmp40', 'libc6', 'libstdc++6', 'libsensors5', 'libmnl0'}, needed)
        self.assertIn(f'orvane ({VERSION}) ', gzip.decompress(self.contents[f'{DOC}/changelog.gz']).decode())

    def test_it_serves_nothing_by_itself(self):
        self.assertEqual(set(self.control['/conffiles'].decode().split()), CONFFILES)
        # What snmpd and the daemon read of themselves; the files in /etc/snmp/orvane are for lines in these.
        said = {path: re.findall(r'^[^#\n].*', self.contents[path].decode(), re.MULTILINE) for path in CONFFILES}
        self.assertEqual(said[SWITCH_CONF] + said[DAEMON_CONF], ['orvanePhysicalName component'])
        self.assertNotRegex('\n'.join(sum(said.values(), [])), 'orvaneInventory')  # nobody else's hardware
        # Files of documentation need not be there.
        for path, content in self.contents.items():
            if path in CONFFILES or '/systemd/' in path:
                self.assertNotIn(b'/usr/share/doc', content, path)
        self.assertEqual({path for path in self.members if '/systemd/' in path and '.wants' in path}, set())
        for name in ('postinst', 'prerm', 'postrm'):
            commands = re.sub(r'^ *#.*', '', self.control[f'/{name}'].decode(), flags=re.MULTILINE)
            self.assertNotRegex(commands, r'snmpd|(?<![\w-])(enable|start|restart|reload)\b', name)
            subprocess.run(['sh', '-n'], input=commands, text=True, check=True)

    def test_lintian_finds_nothing(self):
        run = subprocess.run(['lintian', '--fail-on', 'error,warning', DEB], capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stdout), (0, ''), run.stderr)


if __name__ == '__main__':
    unittest.main()
