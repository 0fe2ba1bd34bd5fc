"""Managers that others have written read the examples: each must see the rows, the names and the sensors that a plain walk sees."""

import json
import os
import re
import socket
import subprocess
import sys
import unittest
import urllib.parse
import urllib.request

from harness import ROOT, AgentTest, die_with_parent, wait_until

sys.path.insert(0, str(ROOT / 'tests'))

import standins  # noqa: E402

from pysnmp import hlapi  # noqa: E402
from pysnmp.proto.rfc1905 import EndOfMibView  # noqa: E402

VENDOR_MIB = 'KELVRA-ENT-SENSOR-MIB'
EXPORTER, PROMTOOL = ROOT / 'examples/snmp-exporter.yml', ROOT / 'build/promtool'  # which scripts/test leaves there
EXAMPLES = ['examples/fixed-switch.json', 'examples/chassis-switch.json']

# Module, entry, columns from the first on; None for what is not compared, since it differs from one request to the next.
TABLES = [
    ('ENTITY-MIB', '1.3.6.1.2.1.47.1.1.1.1',
     [None, 'entPhysicalDescr', 'entPhysicalVendorType', 'entPhysicalContainedIn', 'entPhysicalClass', 'entPhysicalParentRelPos',
      'entPhysicalName', 'entPhysicalHardwareRev', 'entPhysicalFirmwareRev', 'entPhysicalSoftwareRev', 'entPhysicalSerialNum',
      'entPhysicalMfgName', 'entPhysicalModelName', 'entPhysicalAlias', 'entPhysicalAssetID', 'entPhysicalIsFRU']),
    ('ENTITY-SENSOR-MIB', '1.3.6.1.2.1.99.1.1.1',
     ['entPhySensorType', 'entPhySensorScale', 'entPhySensorPrecision', 'entPhySensorValue', 'entPhySensorOperStatus',
      'entPhySensorUnitsDisplay', None, 'entPhySensorValueUpdateRate']),
    ('ENTITY-STATE-MIB', '1.3.6.1.2.1.131.1.1.1',
     [None, 'entStateAdmin', 'entStateOper', 'entStateUsage', 'entStateAlarm', 'entStateStandby']),
    (VENDOR_MIB, '1.3.6.1.4.1.59871.3.12.1.1.1',
     ['kelvraEntSensorThresholdLowWarning', 'kelvraEntSensorThresholdLowCritical', 'kelvraEntSensorThresholdHighWarning',
      'kelvraEntSensorThresholdHighCritical', 'kelvraEntSensorStatusDescr']),
]

CLASSES = {1: 'other', 3: 'chassis', 4: 'backplane', 5: 'container', 6: 'powerSupply', 7: 'fan', 8: 'sensor', 9: 'module',
           10: 'port'}
SENSOR_TYPES = {3: 'voltsAC', 4: 'voltsDC', 5: 'amperes', 6: 'watts', 8: 'celsius', 10: 'rpm'}
OPER_STATES = {1: 'unknown', 2: 'disabled', 3: 'enabled', 4: 'testing'}
SENSOR_STATES = {1: 'ok', 2: 'unavailable', 3: 'nonoperational'}


def walked(agent):
    """What a plain walk sees: for each column its values by index, texts as such."""
    found = {}
    for _, entry, columns in TABLES:
        for number, name in enumerate(columns, 1):
            if name is not None:
                variables = agent.bulkwalk(f'{entry}.{number}', repetitions=50)
                is_text = variables[0].type == 'STRING' and name != 'entStateAlarm'
                found[name] = {int(var.oid.rsplit('.', 1)[1]): var.value.decode() if is_text else var.value for var in variables}
    return found


class Readers(AgentTest):
    maxDiff = 2000

    @classmethod
    def setUpClass(cls):
        cls.folder, cls.texts = standins.folders(cls)

    def each_example(self):
        for path in EXAMPLES:
            agent = self.agent(directives=[f'orvaneInventory {ROOT / path}'])
            agent.wait_for_log('took ')
            expected = walked(agent)
            self.assertGreater(len(expected['entPhysicalDescr']), 50)
            self.assertGreater(len(expected['entPhySensorValue']), 20)
            yield agent, expected

    def test_pysnmp(self):
        subprocess.run(['mibdump', '--quiet', f'--mib-source=file://{self.texts}', f'--mib-source=file://{ROOT / "mibs"}',
                        '--mib-borrower=/nonexistent', f'--mib-searcher={standins.COMPILED}', f'--mib-searcher={self.folder}',
                        '--destination-format=pysnmp', f'--destination-directory={self.folder}', '--no-dependencies', VENDOR_MIB],
                       check=True)
        for agent, expected in self.each_example():
            found = {name: {} for name in expected}
            engine = hlapi.SnmpEngine()
            self.addCleanup(lambda engine=engine: engine.transportDispatcher.closeDispatcher())
            for module, _, columns in TABLES:
                table = [name for name in columns if name is not None]
                objects = [hlapi.ObjectType(hlapi.ObjectIdentity(module, name).addMibSource(standins.COMPILED, str(self.folder)))
                           for name in table]
                for error, status, _, row in hlapi.bulkCmd(
                        engine, hlapi.CommunityData('public'), hlapi.UdpTransportTarget(('127.0.0.1', agent.port), timeout=10),
                        hlapi.ContextData(), 0, 10, *objects, lexicographicMode=False):
                    self.assertFalse(error or status, f'{error} {status}')
                    for identity, value in row:
                        if isinstance(value, EndOfMibView):
                            continue
                        of_module, name, index = identity.getMibSymbol()
                        self.assertEqual(of_module, module)
                        found[name][int(index[0])] = self.as_walked(name, value)
            self.assertEqual(found, expected)
            # Names come from the reader's own modules.
            index, class_ = next((index, class_) for index, class_ in expected['entPhysicalClass'].items() if class_ == 8)
            _, _, _, [(_, value)] = next(hlapi.getCmd(
                engine, hlapi.CommunityData('public'), hlapi.UdpTransportTarget(('127.0.0.1', agent.port)), hlapi.ContextData(),
                hlapi.ObjectType(hlapi.ObjectIdentity('ENTITY-MIB', 'entPhysicalClass', index))))
            self.assertEqual(value.prettyPrint(), CLASSES[class_])

    @staticmethod
    def as_walked(name, value):
        if name == 'entPhysicalVendorType':
            return str(value)
        if name == 'entStateAlarm':
            return bytes(value)
        return bytes(value).decode() if isinstance(value, hlapi.OctetString) else int(value)

    def test_snmp_info(self):
        leaves = [name for _, _, columns in TABLES[:2] for name in columns if name not in (None, 'entPhysicalVendorType')]
        script = r'''
            use strict; use warnings; use JSON::PP; use SNMP; use SNMP::Info::Entity;
            my ($port, $mibs, @leaves) = @ARGV;
            my $info = SNMP::Info::Entity->new(AutoSpecify => 0, DestHost => '127.0.0.1', RemotePort => $port, Version => 2,
              Community => 'public', MibDirs => [$mibs], IgnoreNetSNMPConf => 1, Timeout => 10000000) or die 'no session';
            SNMP::loadModules('ENTITY-SENSOR-MIB');
            my %found = map { ($_ => $info->$_()) } @leaves;
            $found{class} = $info->e_class(); $found{name} = $info->e_name(); $found{parent} = $info->e_parent();
            print JSON::PP->new->canonical->encode(\%found);'''
        for agent, expected in self.each_example():
            run = subprocess.run(['perl', '-e', script, str(agent.port), str(self.texts), *leaves], capture_output=True, text=True,
                                 env={**os.environ, 'SNMP_PERSISTENT_DIR': str(self.folder)}, timeout=120)
            self.assertEqual(run.returncode, 0, run.stderr)
            found = {name: {int(index): value for index, value in (column or {}).items()}
                     for name, column in json.loads(run.stdout).items()}
            named = {**expected,
                     'entPhysicalClass': {index: CLASSES[value] for index, value in expected['entPhysicalClass'].items()},
                     'entPhysicalIsFRU': {index: 'true' if value == 1 else 'false'
                                          for index, value in expected['entPhysicalIsFRU'].items()},
                     'entPhySensorType': {index: SENSOR_TYPES[value] for index, value in expected['entPhySensorType'].items()},
                     'entPhySensorScale': {index: {8: 'milli', 9: 'units'}[value]
                                           for index, value in expected['entPhySensorScale'].items()},
                     'entPhySensorOperStatus': {index: SENSOR_STATES[value]
                                                for index, value in expected['entPhySensorOperStatus'].items()}}
            for name in leaves:
                self.assertEqual(found[name], {index: str(value) for index, value in named[name].items()}, name)
            self.assertEqual(found['class'], found['entPhysicalClass'])
            self.assertEqual(found['name'], found['entPhysicalName'])
            self.assertEqual(found['parent'], found['entPhysicalContainedIn'])

    def test_prometheus(self):
        with socket.socket() as probe:
            probe.bind(('127.0.0.1', 0))
            address = f'127.0.0.1:{probe.getsockname()[1]}'
        with open(self.folder / 'exporter.log', 'wb') as log:
            exporter = subprocess.Popen(['prometheus-snmp-exporter', f'--config.file={EXPORTER}',
                                         f'--web.listen-address={address}'], stdout=log, stderr=log, preexec_fn=die_with_parent)
        self.addCleanup(exporter.wait)
        self.addCleanup(exporter.terminate)
        wait_until(lambda: self.scraped(address) or exporter.poll() is not None, message='no exporter')
        for agent, expected in self.each_example():
            query = urllib.parse.urlencode({'module': 'orvane', 'target': f'127.0.0.1:{agent.port}'})
            metrics = self.metrics(self.scraped(address, f'/snmp?{query}'))
            names, descriptions = expected['entPhysicalName'], expected['entPhysicalDescr']

            def named(index):
                return {'entPhysicalIndex': str(index), 'entPhysicalName': names[index], 'entPhysicalDescr': descriptions[index]}

            def labels(index, name):
                of_sensor = {'entPhySensorUnitsDisplay': expected['entPhySensorUnitsDisplay'][index]} if 'Sensor' in name else {}
                return {**named(index), **of_sensor}

            numbers = [name for name in expected if re.match('kelvraEntSensorThreshold|entPhySensor(Scale|Precision|Value)$', name)]
            for name in ['entPhysicalContainedIn', *numbers]:
                self.same(name, metrics, [(labels(index, name), value) for index, value in expected[name].items()])
            for name, states in (('entPhysicalClass', CLASSES), ('entPhySensorType', SENSOR_TYPES)):
                self.same(f'{name}_info', metrics,
                          [({**labels(index, name), name: states[value]}, 1) for index, value in expected[name].items()])
            for name, states in (('entStateOper', OPER_STATES), ('entPhySensorOperStatus', SENSOR_STATES)):
                self.same(name, metrics, [({**labels(index, name), name: state}, int(number == value))
                                          for index, value in expected[name].items() for number, state in states.items()])
            alarms = ['unknown', 'underRepair', 'critical', 'major', 'minor', 'warning', 'indeterminate']
            self.same('entStateAlarm', metrics, [({**named(index), 'entStateAlarm': alarm}, value[0] >> (7 - bit) & 1)
                                                 for index, value in expected['entStateAlarm'].items()
                                                 for bit, alarm in enumerate(alarms)])
            self.assertEqual(len(metrics['entLastChangeTime']), 1)
            # The formulas of its comment. After a minute all values are above their limits.
            reading, above = re.findall(r'^#   (entPhySensorValue .*)', EXPORTER.read_text(), re.MULTILINE)
            precision, scale = expected['entPhySensorPrecision'], expected['entPhySensorScale']
            rise = 10 ** 10
            self.evaluated(metrics, {'entPhySensorValue': rise}, {
                (0, reading): [(labels(index, reading), value / 10 ** precision[index] * 1000 ** (scale[index] - 9))
                               for index, value in expected['entPhySensorValue'].items()],
                (1, above): [({'__name__': 'entPhySensorValue', **labels(index, above)}, value + rise)
                             for index, value in expected['entPhySensorValue'].items()]})

    def evaluated(self, metrics, rises, expected):
        """`rises`: by how much a metric rises in a minute; `expected`: (labels, value) for each (minute, PromQL)."""
        def written(labels):
            return '{' + ', '.join(f'{name}={json.dumps(value)}' for name, value in labels.items() if value) + '}'

        test = {'interval': '1m',
                'input_series': [{'series': name + written(labels), 'values': f'{value}+{rises.get(name, 0)}x1'}
                                 for name, entries in metrics.items() for labels, value in entries],
                'promql_expr_test': [{'expr': formula, 'eval_time': f'{minute}m',
                                      'exp_samples': [{'labels': written(labels), 'value': value} for labels, value in samples]}
                                     for (minute, formula), samples in expected.items()]}
        file = self.folder / 'formulas.yml'
        file.write_text(json.dumps({'rule_files': [], 'tests': [test]}))
        run = subprocess.run([PROMTOOL, 'test', 'rules', file], capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)

    def same(self, name, metrics, expected):
        def key(entry):
            return sorted(entry[0].items())

        self.assertEqual(sorted(metrics.get(name, []), key=key), sorted(expected, key=key), name)

    @staticmethod
    def scraped(address, path='/'):
        try:
            with urllib.request.urlopen(f'http://{address}{path}', timeout=60) as answer:
                return answer.read().decode()
        except urllib.error.HTTPError as error:
            raise AssertionError(error.read().decode()) from error
        except OSError:
            return ''

    @staticmethod
    def metrics(text):
        """(labels, value) by the metric's name."""
        found = {}
        for name, labels, value in re.findall(r'^(\w+)(?:{(.*)})? (\S+)$', text, re.MULTILINE):
            pairs = {label: json.loads(f'"{content}"') for label, content in re.findall(r'(\w+)="((?:[^"\\]|\\.)*)"', labels)}
            found.setdefault(name, []).append((pairs, int(float(value))))
        return found


if __name__ == '__main__':
    unittest.main()
