"""The vendor's MIB module: that foreign compilers take it, and that it names exactly what the tables and notifications have."""

import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / 'tests'))

import standins  # noqa: E402

NAME = 'KELVRA-ENT-SENSOR-MIB'
MODULE = ROOT / f'mibs/{NAME}.txt'
VENDOR = '1.3.6.1.4.1.59871'

TABLE = re.compile(r'^struct \w+[^{;]*{(.*?)^};', re.MULTILINE | re.DOTALL)
NAMED = re.compile(r'static constexpr char const\* name = "(\w+)";')
OID = re.compile(r'constexpr oid (\w+)\[\] = {([\d, ]+)}')
COLUMN = re.compile(r'{(\d+), "(\w+)", (?:Mib::via<(\w+),)?')


def dotted(numbers):
    return '.'.join(number.strip() for number in numbers.split(','))


def served():
    """What mib/*.cpp registers and sends: names by OID; and of each column, the functor that converts it."""
    names, functors = {}, {}
    for source in sorted((ROOT / 'mib').glob('*.cpp')):
        text = source.read_text()
        aliases = dict(re.findall(r'using (\w+) = (\w+);', text))
        for body in filter(NAMED.search, TABLE.findall(text)):
            root = dotted(OID.search(body)[2])
            names[root] = NAMED.search(body)[1]
            for number, column, functor in COLUMN.findall(body):
                names[f'{root}.1.{number}'] = column
                functors[column] = aliases.get(functor, functor)
    notifications = (ROOT / 'mib/Notifications.cpp').read_text()
    for name, numbers in OID.findall(notifications):
        if name != 'snmpTrapOid':
            names[dotted(numbers)] = name.removesuffix('Oid')
    return names, functors


class Module(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder, cls.texts = standins.folders(cls)

    def run_tool(self, *command, **environment):
        run = subprocess.run(command, capture_output=True, text=True, cwd=self.folder, env={**os.environ, **environment})
        self.assertEqual(run.returncode, 0, run.stderr)
        return run

    def compiled(self):
        """The module as pysmi reads it."""
        self.run_tool('mibdump', '--quiet', f'--mib-source=file://{self.texts}', f'--mib-source=file://{MODULE.parent}',
                      '--mib-borrower=/nonexistent', f'--mib-searcher={self.folder}', '--destination-format=json',
                      f'--destination-directory={self.folder}', NAME)
        return json.loads((self.folder / f'{NAME}.json').read_text())

    def loaded(self):
        """All that Net-SNMP knows with the module and those that it imports: names by OID."""
        run = self.run_tool('snmptranslate', '-M', f'{self.texts}:{MODULE.parent}', '-m', NAME, '-Tl',
                            SNMPCONFPATH=str(self.folder), SNMP_PERSISTENT_DIR=str(self.folder))
        complaints = [line for line in run.stderr.splitlines() if not line.startswith('Created directory')]
        self.assertEqual(complaints, [])
        nodes = [re.findall(r'([\w-]+)\((\d+)\)', line) for line in run.stdout.splitlines()]
        return {'.'.join(number for _, number in steps): steps[-1][0] for steps in nodes if steps}

    def test_smilint_finds_nothing(self):
        # The names of the objects are as long as they are.
        run = self.run_tool('smilint', '-c', '/dev/null', '-m', '-s', '-l', '9', '-i', 'namelength-32-object', str(MODULE),
                            SMIPATH=str(self.texts))
        self.assertEqual(run.stdout + run.stderr, '')

    def test_names_are_those_of_what_is_served(self):
        names, loaded = served()[0], self.loaded()
        self.assertEqual({oid: loaded.get(oid) for oid in names}, names)
        objects = {oid for oid, object_ in loaded.items()
                   if re.match(rf'{re.escape(VENDOR)}\.3\.12\.(0|1\.1\.1)\.\d+$', oid) or object_.endswith('Table')}
        ours = {oid for oid in names if oid.startswith(VENDOR)}
        self.assertEqual({oid for oid in objects if oid.startswith(VENDOR)}, ours)
        self.assertEqual(len(ours), 7, 'a table, five columns and a notification')

    def test_types_are_those_of_what_is_served(self):
        compiled, functors = self.compiled(), served()[1]
        columns = {name: node for name, node in compiled.items() if isinstance(node, dict) and node.get('nodetype') == 'column'}
        types = {'S32ToAsnIntegerF': 'EntitySensorValue', 'StringToAsnOctetStringF': 'SnmpAdminString'}
        for name, node in columns.items():
            with self.subTest(name):
                self.assertEqual(node['syntax']['type'], types[functors[name]])
                self.assertEqual(node['maxaccess'], 'read-only')
        self.assertEqual(compiled['kelvraEntSensorThresholdEntry']['indices'],
                         [{'module': 'ENTITY-MIB', 'object': 'entPhysicalIndex'}])

    def test_the_notification_names_what_it_carries(self):
        carried = [each['object'] for each in self.compiled()['kelvraEntSensorAlarm']['objects']]
        self.assertEqual(carried, ['entPhysicalDescr', 'entPhySensorValue', 'entStateAlarm'])


if __name__ == '__main__':
    unittest.main()
