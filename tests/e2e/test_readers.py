"""Managers that others have written read the examples: each must see the rows, the names and the sensors that a plain walk sees."""

import collections
import enum
import functools
import importlib.util
import json
import os
import re
import socket
import subprocess
import sys
import types
import shutil
import unittest
import urllib.parse
import urllib.request

import yaml

from described import CLASS, ENTRY, NAME, SENSOR, STATE, THRESHOLD, Switch, row_index, rows
from harness import ROOT, AgentTest, Process, free_port, wait_until

sys.path.insert(0, str(ROOT / 'tests'))

import standins  # noqa: E402

from pysnmp import hlapi  # noqa: E402
from pysnmp.proto.rfc1905 import EndOfMibView  # noqa: E402
from pysnmp.smi import builder  # noqa: E402

VENDOR_MIB = 'KELVRA-ENT-SENSOR-MIB'
EXPORTER, PACK = ROOT / 'examples/snmp-exporter.yml', ROOT / 'examples/managers/prometheus'
PROMTOOL, PROMETHEUS = ROOT / 'build/promtool', ROOT / 'build/prometheus'  # which scripts/test leaves there
ENTRIES = {'ENTITY-MIB': ENTRY, 'ENTITY-SENSOR-MIB': SENSOR, 'ENTITY-STATE-MIB': STATE, VENDOR_MIB: THRESHOLD}
# What is not compared: it differs from one request to the next, or has no form that is the same everywhere.
NOT_COMPARED = {'entPhySensorValueTimeStamp', 'entStateLastChanged', 'entPhysicalMfgDate', 'entPhysicalUris'}


class Exporter(Process):
    def start(self):
        self.port = free_port(socket.SOCK_STREAM)
        self._spawn(['prometheus-snmp-exporter', f'--config.file={EXPORTER}', f'--web.listen-address=127.0.0.1:{self.port}'])
        self.wait_for_log('Listening on')

    def metrics(self, agent):
        """The values by the metric's name and by all labels."""
        query, found = urllib.parse.urlencode({'module': 'orvane', 'target': f'127.0.0.1:{agent.port}'}), {}
        with urllib.request.urlopen(f'http://127.0.0.1:{self.port}/snmp?{query}', timeout=120) as answer:
            lines = re.findall(r'^(\w+)(?:{(.*)})? (\S+)$', answer.read().decode(), re.MULTILINE)
        for name, labels, value in lines:
            pairs = {label: json.loads(f'"{content}"') for label, content in re.findall(r'(\w+)="((?:[^"\\]|\\.)*)"', labels)}
            found.setdefault(name, {})[frozenset(pairs.items())] = int(float(value))
        return found


class Prometheus(Process):
    """A real one with the pack as it stands, but for its addresses and how often it asks."""

    def __init__(self, exporter, agent):
        self._exporter, self._agent = exporter, agent
        super().__init__('prometheus')

    def start(self):
        self.port = free_port(socket.SOCK_STREAM)
        config = yaml.safe_load((PACK / 'prometheus.yml').read_text())
        job = config['scrape_configs'][0]
        job['static_configs'][0]['targets'] = [f'127.0.0.1:{self._agent.port}']
        job['relabel_configs'][-1]['replacement'] = f'127.0.0.1:{self._exporter.port}'
        config['global'] = {'scrape_interval': '3s', 'scrape_timeout': '3s', 'evaluation_interval': '1s'}
        (self.folder / 'prometheus.yml').write_text(yaml.safe_dump(config))
        shutil.copy(PACK / 'orvane.rules.yml', self.folder)
        self._spawn([PROMETHEUS, f'--config.file={self.folder}/prometheus.yml', f'--storage.tsdb.path={self.folder}/data',
                     f'--web.listen-address=127.0.0.1:{self.port}'])
        self.wait_for_log('Server is ready')

    def query(self, promql):
        """Values by description."""
        url = f'http://127.0.0.1:{self.port}/api/v1/query?{urllib.parse.urlencode({"query": promql})}'
        with urllib.request.urlopen(url, timeout=60) as answer:
            result = json.load(answer)['data']['result']
        found = {series['metric']['entPhysicalDescr']: float(series['value'][1]) for series in result}
        assert len(found) == len(result), result
        return found


@functools.cache
def checkmk_api():
    """What the pack for Checkmk uses of its API, as that is documented."""
    api = types.ModuleType('cmk.agent_based.v2')
    api.State = enum.Enum('State', 'OK WARN CRIT UNKNOWN')
    for name in 'CheckPlugin', 'Service', 'SNMPSection', 'Result':
        setattr(api, name, type(name, (types.SimpleNamespace,), {}))
    api.SNMPTree = collections.namedtuple('SNMPTree', 'base oids')
    api.OIDEnd = object
    api.startswith = lambda oid, start: lambda value: value.startswith(start)

    def check_levels(value, *, levels_upper, levels_lower, metric_name, label, render_func):
        state = api.State.OK
        for at, beyond in (1, api.State.WARN), (2, api.State.CRIT):
            if (levels_upper[0] == 'fixed' and value >= levels_upper[1][at - 1]
                    or levels_lower[0] == 'fixed' and value < levels_lower[1][at - 1]):
                state = beyond
        yield api.Result(state=state, summary=f'{label}: {render_func(value)}')
    api.check_levels = check_levels
    return api


@functools.cache
def checkmk_pack():
    for name in 'cmk', 'cmk.agent_based':
        sys.modules[name] = types.ModuleType(name)
    sys.modules['cmk.agent_based.v2'] = checkmk_api()
    loader = importlib.util.spec_from_file_location('orvane_checkmk', ROOT / 'examples/managers/checkmk/orvane.py')
    pack = importlib.util.module_from_spec(loader)
    loader.loader.exec_module(pack)
    return pack


class Readers(AgentTest):
    maxDiff = 2000

    @classmethod
    def setUpClass(cls):
        """The columns of each module in `columns`, the words for their numbers in `words`: both from the compiled modules."""
        cls.folder, cls.texts = standins.folders(cls)
        subprocess.run(['mibdump', '--quiet', f'--mib-source=file://{cls.texts}', f'--mib-source=file://{ROOT / "mibs"}',
                        '--mib-borrower=/nonexistent', f'--mib-searcher={standins.COMPILED}', f'--mib-searcher={cls.folder}',
                        '--destination-format=pysnmp', f'--destination-directory={cls.folder}', '--no-dependencies', VENDOR_MIB],
                       check=True)
        mibs = builder.MibBuilder()
        mibs.addMibSources(builder.DirMibSource(standins.COMPILED), builder.DirMibSource(str(cls.folder)))
        mibs.loadModules(*ENTRIES)
        cls.columns, cls.words = {}, {}
        for module, entry in ENTRIES.items():
            cls.columns[module] = {}
            for name, column in mibs.mibSymbols[module].items():
                path = '.'.join(map(str, getattr(column, 'name', ())))
                if path.rpartition('.')[0] == entry and column.maxAccess != 'noaccess' and name not in NOT_COMPARED:
                    cls.columns[module][name] = path
                    named = getattr(column.syntax, 'namedValues', None) or {}
                    cls.words[name] = {number: word for word, number in named.items()}

    def each_example(self):
        """An agent and what a plain walk sees: for each column its values by index, texts as such."""
        for example in 'fixed', 'chassis':
            agent = self.agent(directives=[f'orvaneInventory {ROOT}/examples/{example}-switch.json'])
            agent.wait_for_log('took ')
            expected = {}
            for name, column in ((name, column) for columns in self.columns.values() for name, column in columns.items()):
                variables = agent.bulkwalk(column, repetitions=50)
                self.assertGreater(len(variables), 20, name)
                is_text = variables[0].type == 'STRING' and not self.words[name]
                expected[name] = {row_index(var.oid): var.value.decode() if is_text else var.value for var in variables}
            yield agent, expected

    def test_pysnmp(self):
        def as_walked(name, value):
            if isinstance(value, hlapi.OctetString):
                return bytes(value) if self.words[name] else bytes(value).decode()
            return str(value) if name == 'entPhysicalVendorType' else int(value)

        for agent, expected in self.each_example():
            found = {name: {} for name in expected}
            engine = hlapi.SnmpEngine()
            self.addCleanup(lambda engine=engine: engine.transportDispatcher.closeDispatcher())
            for module, columns in self.columns.items():
                objects = [hlapi.ObjectType(hlapi.ObjectIdentity(module, name).addMibSource(standins.COMPILED, str(self.folder)))
                           for name in columns]
                for error, status, _, row in hlapi.bulkCmd(
                        engine, hlapi.CommunityData('public'), hlapi.UdpTransportTarget(('127.0.0.1', agent.port), timeout=60),
                        hlapi.ContextData(), 0, 10, *objects, lexicographicMode=False):
                    self.assertFalse(error or status, f'{error} {status}')
                    for identity, value in row:
                        if not isinstance(value, EndOfMibView):
                            of_module, name, index = identity.getMibSymbol()
                            self.assertEqual(of_module, module)
                            found[name][int(index[0])] = as_walked(name, value)
            self.assertEqual(found, expected)

    def test_snmp_info(self):
        leaves = [name for module in ('ENTITY-MIB', 'ENTITY-SENSOR-MIB') for name in self.columns[module]
                  if name != 'entPhysicalVendorType']
        script = r'''
            use strict; use warnings; use JSON::PP; use SNMP; use SNMP::Info::Entity;
            my ($port, $mibs, @leaves) = @ARGV;
            my $info = SNMP::Info::Entity->new(AutoSpecify => 0, DestHost => '127.0.0.1', RemotePort => $port, Version => 2,
              Community => 'public', MibDirs => [$mibs], IgnoreNetSNMPConf => 1, Timeout => 60000000) or die 'no session';
            SNMP::loadModules('ENTITY-SENSOR-MIB');
            my %found = map { ($_ => $info->$_()) } @leaves;
            $found{class} = $info->e_class(); $found{name} = $info->e_name(); $found{parent} = $info->e_parent();
            print JSON::PP->new->canonical->encode(\%found);'''
        for agent, expected in self.each_example():
            run = subprocess.run(['perl', '-e', script, str(agent.port), str(self.texts), *leaves], capture_output=True, text=True,
                                 env={**os.environ, 'SNMP_PERSISTENT_DIR': str(self.folder)}, timeout=600)
            self.assertEqual(run.returncode, 0, run.stderr)
            found = json.loads(run.stdout)
            for name in leaves:
                self.assertEqual(found[name], {str(index): str(self.words[name].get(value, value))
                                               for index, value in expected[name].items()}, name)
            self.assertEqual([found['class'], found['name'], found['parent']],
                             [found[name] for name in ('entPhysicalClass', 'entPhysicalName', 'entPhysicalContainedIn')])

    def test_prometheus(self):
        exporter = Exporter('exporter')
        self.addCleanup(exporter.stop)
        for agent, expected in self.each_example():
            metrics = exporter.metrics(agent)

            def labels(index, name, **more):
                units = {'entPhySensorUnitsDisplay': expected['entPhySensorUnitsDisplay'][index]} if 'Sensor' in name else {}
                part = {which: expected[which][index] for which in ('entPhysicalName', 'entPhysicalDescr')}
                return frozenset({'entPhysicalIndex': str(index), **part, **units, **more}.items())

            numbers = [name for name in expected if re.match('kelvraEntSensorThreshold|entPhySensor(Scale|Precision|Value)$', name)]
            for name in 'entPhysicalContainedIn', *numbers:
                self.assertEqual(metrics[name], {labels(index, name): value for index, value in expected[name].items()})
            for name in 'entPhysicalClass', 'entPhySensorType':
                self.assertEqual(metrics[f'{name}_info'], {labels(index, name, **{name: self.words[name][value]}): 1
                                                           for index, value in expected[name].items()})
            for name in 'entStateOper', 'entPhySensorOperStatus', 'entStateAlarm':
                self.assertEqual(metrics[name], {
                    labels(index, name, **{name: word}): number == value if isinstance(value, int) else value[0] >> (7 - number) & 1
                    for index, value in expected[name].items() for number, word in self.words[name].items()})
            self.assertEqual(len(metrics['entLastChangeTime']), 1)
            # The formulas of its comment. After a minute all values are above their limits.
            reading, above = re.findall(r'^#   (entPhySensorValue .*)', EXPORTER.read_text(), re.MULTILINE)
            precision, scale = expected['entPhySensorPrecision'], expected['entPhySensorScale']
            rise, values = 10 ** 10, expected['entPhySensorValue']
            self.evaluate(metrics, {'entPhySensorValue': rise}, {
                (0, reading): [(labels(index, reading), value / 10 ** precision[index] * 1000 ** (scale[index] - 9))
                               for index, value in values.items()],
                (1, above): [(labels(index, above, __name__='entPhySensorValue'), value + rise)
                             for index, value in values.items()]})

    def test_prometheus_pack(self):
        subprocess.run([PROMTOOL, 'check', 'rules', PACK / 'orvane.rules.yml'], check=True, capture_output=True)
        switch = Switch(self)
        agent = self.agent(directives=[switch.directive])
        exporter = Exporter('exporter')
        self.addCleanup(exporter.stop)
        server = Prometheus(exporter, agent)
        self.addCleanup(server.stop)
        content = switch.content
        described = {part['tag'] + part['label']: part['description'] for part in switch.system['sensor'].values()}
        xcvr, light = switch.system['xcvrSlot']['49']['xcvr'], content['xcvrStatusDir']['xcvrStatus']['Ethernet49']['domInfo']
        records = {'celsius': content['tempStatus']['tempSensor'], 'volts': content['powerStatus']['voltageSensor']}
        attributes = {'celsius': 'temperature', 'volts': 'voltage'}
        expected = {kind: {described[name]: each[attributes[kind]] for name, each in records[kind].items() if name in described}
                    for kind in records}
        expected['dbm'] = {part['description']: light[str(int(lane) - 1)]['rxPower'] for lane, each in xcvr['lane'].items()
                           for part in each['sensor'].values() if part['tag'] == 'DomRxPowerSensor'}
        for kind, values in expected.items():
            self.assertTrue(values)

            def is_recorded():
                found = server.query(f'orvane:{kind}')
                return found if values.keys() <= found.keys() else None
            found = wait_until(is_recorded, f'{kind} of {values.keys()} is not recorded')
            for name, value in values.items():
                self.assertAlmostEqual(found[name], value, delta=0.051, msg=name)

        def firing(alert):
            return set(server.query(f'ALERTS{{alertname="{alert}", alertstate="firing"}}'))
        name = next(name for name in content['tempConfig']['tempSensor'] if name in described)
        record, fan = content['tempStatus']['tempSensor'][name], content['coolingStatus']['fan']['Fan1/1']
        good = record['temperature'], fan['hwStatus']
        self.assertEqual((firing('OrvaneSensorCritical'), firing('OrvanePartFailed')), (set(), set()))
        record['temperature'], fan['hwStatus'] = 150, 'failed'
        switch.publish(agent)
        wait_until(lambda: firing('OrvaneSensorCritical') == {described[name]} and len(firing('OrvanePartFailed')) == 1)
        record['temperature'], fan['hwStatus'] = good
        switch.publish(agent)
        wait_until(lambda: not firing('OrvaneSensorCritical') and not firing('OrvanePartFailed'))
        switch.system['powerSupplySlot']['1'].pop('powerSupply')
        switch.publish(agent)
        wait_until(lambda: len(firing('OrvanePartAbsent')) > 0)

    def test_checkmk(self):
        pack = checkmk_pack()
        self.assertTrue(pack.snmp_section_orvane.detect('.1.3.6.1.4.1.59871.1.1'))
        ok, warn, crit, unknown = checkmk_api().State
        switch = Switch(self)
        agent = self.agent(directives=['orvanePhysicalName component', switch.directive])
        sensor, limits = (switch.content[which]['tempSensor']['TempSensor1'] for which in ('tempStatus', 'tempConfig'))
        fan = switch.content['coolingStatus']['fan']['Fan1/1']

        def check(plugin, item=None):
            """State and summary of a service, or of all of them."""
            section = pack.snmp_section_orvane.parse_function(
                [[[str(row_index(cells[0].oid)), *(as_text(cell.value) for cell in cells)] for cells in zip(
                    *(agent.bulkwalk(f'{tree.base[1:]}.{column}', repetitions=50) for column in tree.oids[1:]))]
                 for tree in pack.snmp_section_orvane.fetch])
            items = [service.item for service in plugin.discovery_function(section)]
            self.assertEqual(len(items), len(set(items)))
            found = {each: next(iter(plugin.check_function(each, section))) for each in items}
            return found[item] if item else found

        def as_text(value):
            return value.decode() if isinstance(value, bytes) else str(value)
        every = check(pack.check_plugin_orvane_sensors)
        self.assertEqual(every.keys(), {row[NAME].decode() for index, row in rows(agent).items() if row[CLASS] == 8})
        light = switch.content['xcvrStatusDir']['xcvrStatus']['Ethernet49']['domInfo']['0']['rxPower']
        self.assertEqual(every['DomRxPowerSensor49/1'].summary.rpartition(': ')[2], f'{light:.2f} dBm')
        every, stated = check(pack.check_plugin_orvane_parts), rows(agent, STATE)
        self.assertEqual(len(every), len([index for index, row in rows(agent).items()
                                          if str(row[CLASS]) in pack.PARTS and index in stated]))
        self.assertNotIn(crit, {found.state for found in every.values()})
        sensors, parts = pack.check_plugin_orvane_sensors, pack.check_plugin_orvane_parts
        for change, plugin, item, expected in (
                (lambda: sensor.update(temperature=limits['criticalThreshold'] + 1), sensors, 'TempSensor1', crit),
                (lambda: sensor.update(temperature=limits['overheatThreshold'] + 1), sensors, 'TempSensor1', warn),
                (lambda: sensor.update(temperature=20.5), sensors, 'TempSensor1', ok),
                (lambda: sensor.update(hwStatus='failed'), sensors, 'TempSensor1', crit),
                (lambda: switch.content['tempStatus']['tempSensor'].pop('TempSensor1'), sensors, 'TempSensor1', unknown),
                (lambda: fan.update(hwStatus='failed'), parts, 'Fan1/1', crit)):
            change()
            switch.publish(agent)
            found = check(plugin, item)
            self.assertEqual(found.state, expected, found)

    def evaluate(self, metrics, rises, expected):
        """`rises`: by how much a metric rises in a minute; `expected`: (labels, value) for each (minute, PromQL)."""
        def written(labels):
            return '{' + ', '.join(f'{name}={json.dumps(value)}' for name, value in labels if value) + '}'

        test = {'interval': '1m',
                'input_series': [{'series': name + written(labels), 'values': f'{value}+{rises.get(name, 0)}x1'}
                                 for name, entries in metrics.items() for labels, value in entries.items()],
                'promql_expr_test': [{'expr': formula, 'eval_time': f'{minute}m',
                                      'exp_samples': [{'labels': written(labels), 'value': value} for labels, value in samples]}
                                     for (minute, formula), samples in expected.items()]}
        file = self.folder / 'formulas.yml'
        file.write_text(json.dumps({'rule_files': [], 'tests': [test]}))
        run = subprocess.run([PROMTOOL, 'test', 'rules', file], capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)


if __name__ == '__main__':
    unittest.main()
