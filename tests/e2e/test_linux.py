"""orvane-linux on made-up machines, beside a real agent: what the kernel knows is served, whatever becomes of it."""

import json
import os
import signal
import struct
import subprocess
import sys
import time
import unittest
import zlib
from random import Random

from described import ENTRY, LAST_CHANGE, SENSOR, STATE, TABLES, THRESHOLD, TIMES, rows
from harness import ENV, ROOT, AgentTest, SnmpError, wait_until
from machine import Collector, Machine

sys.path.insert(0, str(ROOT / 'tools'))
from orvane_publish import Publisher  # noqa: E402

DESCRIPTION, SERIAL, MAKER, MODEL, ASSET = 2, 11, 12, 13, 15
VALUE, STATUS = 4, 5
OK, UNAVAILABLE, NONOPERATIONAL = 1, 2, 3
CELSIUS = 8
NONE = 0, -1000000000  # without a record, without a reading
ADMIN, OPER = 2, 3
ALARM = f'{STATE}.5.'
ENABLED, DISABLED, UNLOCKED, LOCKED = 3, 2, 4, 2

CORE, LPC, BATTERY = 'platform/coretemp.0', 'platform/nct6775.656', 'acpi/PNP0C0A:00/power_supply/BAT0'
SMBUS = 'pci0000:00/0000:00:1f.4'


def sfp(temperature=31.5, serial='KV-SFP-1', received=5000):
    """The memory of an SFP+ of SFF-8472, calibrated internally."""
    memory = bytearray(512)
    memory[0], memory[3], memory[12], memory[92] = 3, 0x10, 103, 0x68
    for at, text in ((20, 'KELVRA'.ljust(16)), (40, 'KX-10G-SR'.ljust(16)), (68, serial.ljust(16))):
        memory[at:at + len(text)] = text.encode()
    memory[63], memory[95] = sum(memory[:63]) & 255, sum(memory[64:95]) & 255
    struct.pack_into('>4h', memory, 256, 75 * 256, -5 * 256, 70 * 256, 0)
    for at, limits in ((8, (36000, 30000, 35000, 31000)), (16, (5000, 1000, 4500, 1500)), (24, (10000, 1000, 8000, 2000)),
                       (32, (10000, 100, 8000, 200))):
        struct.pack_into('>4H', memory, 256 + at, *limits)
    struct.pack_into('>h4H', memory, 256 + 96, int(temperature * 256), 33000, 3000, 6000, received)
    memory[256 + 95] = sum(memory[256:256 + 95]) & 255
    return bytes(memory)


def onie(**fields):
    """A system EEPROM in ONIE's format; fields by their type, t33=b'...'."""
    content = b''.join(struct.pack('BB', int(name[1:]), len(value)) + value for name, value in fields.items())
    head = b'TlvInfo\0\x01' + struct.pack('>H', len(content) + 6) + content + b'\xfe\x04'
    return head + struct.pack('>I', zlib.crc32(head))


class Linux(AgentTest):
    # However busy the machine is, nothing seems to hang but what a test has hang.
    PATIENCE = 60

    def setUp(self):
        self.machine = Machine(self)
        self.folder = self.machine.at('run')
        self.folder.mkdir()
        self.socket = self.folder / 'publish.sock'

    @property
    def periods(self):
        return f'periods: {{sensors: 0.2, transceivers: 0.2, patience: {self.PATIENCE}}}\n'

    def serve(self, map='', **options):
        self.manager = self.agent(directives=[f'orvanePublish {self.socket}'])
        self.collector = self._started(Collector, self.machine, self.socket, self.periods + map, **options)
        self.collector.wait_for_agent()
        wait_until(lambda: self.cell(ENTRY, DESCRIPTION, 1), self.collector.log())

    def cell(self, table, column, index):
        try:
            return self.manager.get(f'{table}.{column}.{index}')[0].value
        except SnmpError:
            return None

    def shows(self, value, table, column, index):
        wait_until(lambda: self.cell(table, column, index) == value,
                   f'{table}.{column}.{index} does not become {value}:\n{self.collector.log()}')

    def names(self):
        """The index of each part by its description; parts may come while they are walked."""
        return {row[DESCRIPTION].decode(): index for index, row in rows(self.manager).items() if DESCRIPTION in row}

    def tables(self, agent=None):
        """All that is served but times, and alarms, which are found a little later."""
        return {var for table in TABLES for var in (agent or self.manager).bulkwalk(table, repetitions=50)
                if not var.oid.startswith((*TIMES, ALARM))}

    def laptop(self):
        self.machine.chip(0, 'coretemp', CORE, 'platform', temp1_input=41500, temp1_label='Package id 0', temp1_max=80000,
                          temp1_crit=100000, temp2_input=40000, temp2_label='Core 0')
        self.machine.chip(1, 'nct6775', LPC, 'platform', in1_input=3312, fan1_input=1200, fan2_input=0, fan2_alarm=1,
                          temp1_input=33000, temp1_fault=0)
        for name, text in {'type': 'Battery', 'present': 1, 'health': 'Good', 'model_name': 'KB-50'}.items():
            self.machine.write(f'devices/{BATTERY}/{name}', text)
        self.machine.link('class/power_supply/BAT0', f'devices/{BATTERY}')
        self.machine.chip(2, 'BAT0', BATTERY, 'acpi', in0_input=12100, curr1_input=1500)
        for name, text in {'sys_vendor': 'Kelvra', 'product_name': 'KX-13', 'product_serial': 'KV-NB-7',
                           'product_version': 'To be filled by O.E.M.', 'board_version': 'B2'}.items():
            self.machine.write(f'class/dmi/id/{name}', text)

    def switch(self, first=0):
        """A 1U switch: two supplies behind a multiplexer, a fan controller, a board sensor; hwmon numbers from `first` on."""
        bus = self.machine.adapter(0, SMBUS, 'SMBus I801 adapter at f000')
        mux = f'{bus}/0-0070'
        for channel in 0, 1:
            at = self.machine.adapter(1 + channel, mux, f'i2c-0-mux (chan_id {channel})')
            self.machine.chip(first + channel, 'dps460', f'{at}/{1 + channel}-0058', 'i2c', in1_input=230000, in1_label='vin',
                              in2_input=12050 + channel, in2_label='vout1', curr1_input=2000, curr1_label='iin',
                              power1_input=460000000, power1_label='pin', temp1_input=35000 + 1000 * channel,
                              fan1_input=8000, fan1_fault=0)
        self.machine.chip(first + 2, 'emc2305', f'{bus}/0-004d', 'i2c', **{f'fan{at}_input': 9000 + at for at in range(1, 5)})
        self.machine.chip(first + 3, 'lm75', f'{bus}/0-0048', 'i2c', temp1_input=27500, temp1_max=70000)


class Sensors(Linux):
    def test_a_laptop(self):
        self.laptop()
        self.PATIENCE = 2
        self.serve()
        system = rows(self.manager)[1]
        self.assertEqual((system[MAKER], system[MODEL], system[SERIAL], system[8]), (b'Kelvra', b'KX-13', b'KV-NB-7', b'B2'))
        names = self.names()
        package, rail, fan, stopped, board = (names[name] for name in (
            'Package id 0 (coretemp-isa-0000)', 'in1 (nct6775-isa-0290)', 'Speed of fan1 (nct6775-isa-0290)',
            'fan2 (nct6775-isa-0290)', 'temp1 (nct6775-isa-0290)'))
        shown = {(SENSOR, VALUE, package): 415, (SENSOR, VALUE, rail): 331, (SENSOR, VALUE, fan): 1200,
                 (STATE, OPER, stopped): DISABLED, (SENSOR, VALUE, names['in0 (BAT0-acpi-0)']): 1210,
                 (ENTRY, MODEL, names['Battery supply BAT0']): b'KB-50',
                 (STATE, OPER, names['Battery supply BAT0']): ENABLED}
        wait_until(lambda: {cell: self.cell(*cell) for cell in shown} == shown)
        limits = [value for oid, _, value in self.manager.bulkwalk(
            THRESHOLD) if f'.{package}.' in oid or oid.endswith(f'.{package}')]
        self.assertTrue({800, 1000} <= set(limits), limits)
        # What the kernel says from now on, and does not: a value, none, no number, a file that cannot be read, none again.
        file = f'{self.machine.folders["coretemp", CORE]}/temp1_input'
        for change, value, status in ((99000, 990, OK), ('', None, UNAVAILABLE), (98000, 980, OK), ('warm', None, UNAVAILABLE),
                                      (None, None, UNAVAILABLE), (42000, 420, OK)):
            with self.subTest(change=change):
                self.machine.write(file, change)
                self.shows(status, SENSOR, STATUS, package)
                if value:
                    self.shows(value, SENSOR, VALUE, package)
        # One chip that hangs holds up no other, and is back when it answers.
        self.machine.write(file, None)
        os.mkfifo(self.machine.at(file))
        self.collector.wait_for_log('coretemp-isa-0000: it did not answer within 2')
        self.shows(UNAVAILABLE, SENSOR, STATUS, package)
        self.machine.set('nct6775', LPC, temp1_input=34000)
        self.shows(340, SENSOR, VALUE, board)
        self.machine.write(file, None)
        self.machine.write(file, 43000)
        self.shows(430, SENSOR, VALUE, package)
        # Faults, and a supply that goes.
        self.machine.set('nct6775', LPC, temp1_fault=1, fan2_input=900, fan2_alarm=0)
        self.shows(NONOPERATIONAL, SENSOR, STATUS, board)
        self.shows(ENABLED, STATE, OPER, stopped)
        self.machine.write(f'devices/{BATTERY}/health', 'Dead')
        self.shows(DISABLED, STATE, OPER, names['Battery supply BAT0'])
        self.machine.write(f'devices/{BATTERY}/present', 0)
        self.shows(None, ENTRY, DESCRIPTION, names['Battery supply BAT0'])

    def test_nothing_moves(self):
        self.switch()
        self.serve(options=['--lease', '600'])
        names, before = self.names(), self.tables()
        supplies = {name: self.cell(SENSOR, VALUE, names[name]) for name in names if name.startswith('vout1')}
        self.assertEqual(sorted(supplies.values()), [1205, 1205])
        self.assertEqual(self.cell(STATE, OPER, names['Power supply dps460-i2c-1-58']), ENABLED)
        self.assertEqual(self.cell(SENSOR, VALUE, names['Speed of fan4 (emc2305-i2c-0-4d)']), 9004)
        # Other numbers of the kernel's, and one more chip among them.
        self.machine.renumber(7)
        self.machine.chip(3, 'adt7475', f'{SMBUS}/i2c-0/0-002e', 'i2c', temp1_input=50000)
        wait_until(lambda: 'temp1 (adt7475-i2c-0-2e)' in self.names())
        wait_until(lambda: self.tables() >= before, 'parts have moved')
        # A chip goes and comes back to its place.
        self.machine.gone('lm75', f'{SMBUS}/i2c-0/0-0048')
        self.shows(None, ENTRY, DESCRIPTION, names['temp1 (lm75-i2c-0-48)'])
        self.machine.chip(20, 'lm75', f'{SMBUS}/i2c-0/0-0048', 'i2c', temp1_input=27500, temp1_max=70000)
        wait_until(lambda: self.tables() >= before, 'a part has come back elsewhere')
        # Nothing is seen of a restart, after whatever end, nor of one of the agent.
        full, changed = self.tables(), self.manager.get(LAST_CHANGE)
        self.collector.end(signal.SIGKILL)
        self.collector.start()
        self.collector.wait_for_log('is back at the agent')
        self.machine.set('lm75', f'{SMBUS}/i2c-0/0-0048', temp1_input=28000)
        self.shows(280, SENSOR, VALUE, names['temp1 (lm75-i2c-0-48)'])
        self.machine.set('lm75', f'{SMBUS}/i2c-0/0-0048', temp1_input=27500)
        wait_until(lambda: self.tables() == full)
        self.assertEqual(self.manager.get(LAST_CHANGE), changed)
        self.assertEqual(self.manager.end(), 0)
        self.manager.start()
        wait_until(lambda: self.tables() == full)
        # Numbers that were lost are given anew.
        self.collector.end()
        self.collector.places.write_text(self.collector.places.read_text().replace('1', '2', 1))
        self.collector.start()
        self.collector.wait_for_log('places.json: it is damaged, and is begun anew')

        def is_sound():
            numbers, checksum = self.collector.places.read_text().splitlines()
            return f'{zlib.crc32(numbers.encode()):08x}' == checksum
        wait_until(is_sound)
        wait_until(lambda: len(self.names()) == len(names) + 1)

    def test_an_agent_started_on_the_dump_answers_alike(self):
        self.laptop()
        self.switch(first=10)
        self.serve()
        self.machine.at('dump.json').write_text(self.dump())
        other = self.agent(directives=[f'orvaneInventory {self.machine.at("dump.json")}'])
        self.assertEqual(self.tables(other), self.tables())
        # The map that it prints changes nothing, and is taken while it runs; what is in no map any more goes.
        before = self.tables()
        for asset in b'A-1', b'':
            self.collector.map = f'{self.periods}{self.dump("map")}\nsystem: {{assetId: {asset.decode()!r}}}'
            self.collector.write_map()
            os.kill(self.collector.pid, signal.SIGHUP)
            self.shows(asset, ENTRY, ASSET, 1)
        self.assertEqual(self.tables(), before)

    def dump(self, what='inventory'):
        return subprocess.run(self.collector.command('--dump', what), check=True, capture_output=True, text=True, env=ENV).stdout


class Mapped(Linux):
    RULES = '''
system: {eeprom: /sys/bus/i2c/eeprom, assetId: A-4711}
parts:
  fanTraySlot:
    1: {description: Fan tray slot, fanTray: {serialNum: KV-FT-1, swappability: hotSwappable}}
    2: {description: Empty fan tray slot}
found:
  - {match: emc2305-i2c-0-4d/fan1, at: fanTraySlot/1/fanTray/fan/3, maxRpm: 18000, description: Rear fan}
  - {match: emc2305-*/fan4, leave: yes}
  - {match: "*(channel 1)/0058", at: powerSupplySlot/1, modelName: KP-460}
  - {match: dps460-i2c-1-58, supply: no}
  - {match: lm75-*, at: sensor/9, label: inlet, description: Air inlet, warning: 40, critical: 50}
  - {match: p1, at: port/5, label: "5", eeprom: /sys/bus/i2c/xcvr1}
  - {match: "mac/02:00:00:00:00:0b", at: port/6, eeprom: /sys/bus/i2c/xcvr2}
  - {match: q1, at: port/7}
'''
    LINKS = ('ip link add p1 address 02:00:00:00:00:0a type veth peer name q1 && '
             'ip link add p2 address 02:00:00:00:00:0b type veth peer name q2 && ip link set q1 up && ip link set q2 up')

    def test_a_switch_whose_builder_knows_better(self):
        self.switch()
        self.machine.write('bus/i2c/eeprom', onie(t33=b'KX-48', t35=b'KV0048', t43=b'Kelvra', t36=b'\x02\0\0\0\0\x10', t39=b'R0C'))
        self.machine.write('bus/i2c/xcvr1', sfp())
        self.serve(self.RULES, setup=self.LINKS)
        system, names = rows(self.manager)[1], self.names()
        self.assertEqual((system[MAKER], system[MODEL], system[SERIAL], system[8], system[ASSET]),
                         (b'Kelvra', b'KX-48', b'KV0048', b'R0C', b'A-4711'))
        self.assertEqual({name: names.get(name) for name in (
            'Air inlet', 'Rear fan', 'Empty fan tray slot', 'Power supply dps460-i2c-2-58', 'fan4 (emc2305-i2c-0-4d)',
            'Network port p1', 'Network port p2', 'SFP+ 10GBASE-SR')}, {
            'Air inlet': 100009, 'Rear fan': 1011300, 'Empty fan tray slot': 1020000, 'Power supply dps460-i2c-2-58': 2010001,
            'fan4 (emc2305-i2c-0-4d)': None, 'Network port p1': 200005, 'Network port p2': 200006, 'SFP+ 10GBASE-SR': 4050001})
        self.assertEqual(self.cell(ENTRY, SERIAL, 1010001), b'KV-FT-1')
        # Ports: up, down, renamed, gone and back.
        self.assertEqual(self.cell(STATE, ADMIN, 200006), LOCKED)
        self.collector.inside('ip link set p2 up')
        self.shows(UNLOCKED, STATE, ADMIN, 200006)
        self.shows(ENABLED, STATE, OPER, 200006)
        self.collector.inside('ip link set q2 down')
        self.shows(DISABLED, STATE, OPER, 200006)
        self.collector.inside('ip link set p2 name uplink')
        self.shows(b'Network port uplink', ENTRY, DESCRIPTION, 200006)
        self.collector.inside('ip link del q2')
        self.shows(None, ENTRY, DESCRIPTION, 200006)
        self.collector.inside('ip link add p2 address 02:00:00:00:00:0b type veth peer name q2')
        self.shows(b'Network port p2', ENTRY, DESCRIPTION, 200006)
        # A port whose driver knows of no cage has none.
        self.assertEqual(self.cell(ENTRY, DESCRIPTION, 200007), b'Network port q1')
        self.assertIsNone(self.cell(ENTRY, DESCRIPTION, 4070000))
        self.assertNotIn("q1's transceiver", self.collector.log())
        # Transceivers: readings, limits, another one in the cage, none, one that cannot be read.
        temperature, received = 4050101, 4051103
        self.shows(315, SENSOR, VALUE, temperature)
        self.machine.write('bus/i2c/xcvr1', sfp(80, 'KV-SFP-2', 0))
        self.shows(800, SENSOR, VALUE, temperature)
        self.assertEqual(self.cell(ENTRY, SERIAL, 4050001), b'KV-SFP-2')
        self.assertEqual(self.cell(SENSOR, STATUS, received), OK)
        self.machine.write('bus/i2c/xcvr1', None)
        self.shows(None, ENTRY, DESCRIPTION, 4050001)
        self.assertIsNotNone(self.cell(ENTRY, DESCRIPTION, 4050000))
        self.machine.write('bus/i2c/xcvr1', sfp()[:256])
        self.shows(b'SFP+ 10GBASE-SR', ENTRY, DESCRIPTION, 4050001)
        self.collector.wait_for_log("p1's transceiver: its readings cannot be read: ")
        self.assertEqual(self.cell(SENSOR, STATUS, temperature), UNAVAILABLE)
        self.machine.write('bus/i2c/xcvr2', sfp(40))
        self.shows(400, SENSOR, VALUE, 4060101)

    def test_a_place_that_somebody_else_speaks_for(self):
        self.switch()
        operator = Publisher('operator', ['coolingStatus/fan/Fan1%2F2'], socket_path=str(self.socket), patience=60)
        self.addCleanup(operator.close)
        self.manager = self.agent(directives=[f'orvanePublish {self.socket}'])
        operator.set({'coolingStatus': {'fan': {'Fan1/2': {'hwStatus': 'failed'}}}})
        self.collector = self._started(Collector, self.machine, self.socket, self.periods, options=['--lease', '10'])
        self.collector.wait_for_log('the agent refuses coolingStatus.fan.Fan1/2: operator speaks for it')
        fans = [f'fan{number} (emc2305-i2c-0-4d)' for number in (1, 2)]
        wait_until(lambda: set(fans) <= set(self.names()))
        first, second = (self.names()[name] for name in fans)
        self.shows(ENABLED, STATE, OPER, first)
        self.shows(DISABLED, STATE, OPER, second)
        self.machine.set('emc2305', f'{SMBUS}/i2c-0/0-004d', fan1_input=5000)
        self.shows(5000, SENSOR, VALUE, first + 1)
        operator.bye()
        self.shows(ENABLED, STATE, OPER, second)

    def test_mistakes_in_the_map(self):
        self.switch()
        self.collector = self._started(Collector, self.machine, self.socket)
        wait_until(self.collector.places.exists)
        for text, refusal in (
                ('found: [{match: a, at: sensor/1}, {match: b, at: sensor/1}]', ':1: sensor/1 is given away in line 1 already'),
                ('found:\n- {match: a,\n   at: sensor/1025}', ':3: a place such as sensor/3, '),
                ('found:\n- {at: sensor/1}', ':2: a rule needs match'),
                ('found:\n- {match: a, lable: b}', ':2: a rule has no lable'),
                ('system:\n  serial: 5', ':2: serial: no such attribute'),
                ('system: {label: a, label: b}', ':1: label stands there twice'),
                ('parts:\n  fanTraySlot:\n    65: {}', ':3: fanTraySlot.65: a number from 1 to 64 is needed'),
                ('periods: {sensors: often}', ':1: a number from 0.01 to 3600'),
                ('found: {', ':1: end of map flow not found')):
            with self.subTest(text=text):
                self.collector.map = text
                self.collector.write_map()
                run = subprocess.run(self.collector.command('--dump'), capture_output=True, text=True, env=ENV)
                self.assertEqual(run.returncode, 1)
                self.assertIn(f'linux.yaml{refusal}', run.stderr)
        # A running one goes on with the map that it has.
        os.kill(self.collector.pid, signal.SIGHUP)
        self.collector.wait_for_log('refused .*linux.yaml:1: ')
        json.loads(self.collector.places.read_text().splitlines()[0])


class Faults(Linux):
    """Chips whose every reading tells whose it is, and a bus on which anything happens."""

    CHIPS, INPUTS, CAGES, PATIENCE = 8, 6, 4, 1

    def chip(self, chip, number):
        files = {f'temp{at}_input': 1000 * (chip * 10 + at) for at in range(1, self.INPUTS + 1)}
        self.machine.chip(number, 'lm75', self.device(chip), 'i2c', **files)

    def device(self, chip):
        return f'{SMBUS}/i2c-0/0-00{0x48 + chip:02x}'

    def strike(self, random, kind):
        chip, at = random.randrange(self.CHIPS), random.randint(1, self.INPUTS)
        device = self.device(chip)
        if kind == 'renumbered':
            least = min(map(self.machine.number, self.machine.folders.items()), default=0)
            self.machine.renumber(random.choice((-3, 3, 50)) if least > 3 else 3)
        elif kind == 'gone' and ('lm75', device) in self.machine.folders:
            self.machine.gone('lm75', device)
        elif kind == 'swapped':
            # Two chips exchange their numbers while they may be read.
            here = [key for key in self.machine.folders]
            if len(here) > 1:
                self.machine.exchange(*random.sample(here, 2))
        elif kind == 'module':
            cage = random.randrange(self.CAGES)
            memory = sfp(20 + cage, f'KV-{random.randrange(3)}')
            self.machine.write(f'bus/xcvr{cage}', random.choice((memory, memory, memory[:random.randrange(512)], None)))
        elif ('lm75', device) in self.machine.folders:
            file = f'{self.machine.folders["lm75", device]}/temp{at}_input'
            self.machine.write(file, 'x')
            if kind != 'no number':
                self.machine.write(file, None)
            if kind == 'fails':
                self.machine.at(file).symlink_to('/proc/self/mem')  # which cannot be read at its beginning: EIO
            elif kind == 'hangs':
                os.mkfifo(self.machine.at(file))

    def mend(self):
        for chip in range(self.CHIPS):
            key = 'lm75', self.device(chip)
            if key in self.machine.folders:
                self.machine.gone(*key)
        for chip in range(self.CHIPS):
            self.chip(chip, 10 + chip)
        for cage in range(self.CAGES):
            self.machine.write(f'bus/xcvr{cage}', sfp(20 + cage, f'KV-{cage}'))

    def test_no_number_is_wrong_and_no_part_moves(self):
        random = Random(4711)
        self.machine.adapter(0, SMBUS, 'SMBus')
        self.mend()
        setup = ' && '.join(f'ip link add p{cage} address 02:00:00:00:01:{cage:02x} type veth peer name q{cage}'
                            for cage in range(self.CAGES))
        rules = ''.join(f'- {{match: "p{cage}", at: port/{cage + 1}, eeprom: /sys/bus/xcvr{cage}}}\n' for cage in range(self.CAGES))
        self.serve('found:\n' + rules, setup=setup)
        described = {index: row[DESCRIPTION].decode() for index, row in rows(self.manager).items()}
        expected = {100_000 + chip * self.INPUTS + at: 10 * (chip * 10 + at) for chip in range(self.CHIPS)
                    for at in range(1, self.INPUTS + 1)}
        expected.update({4_000_101 + 10_000 * (cage + 1): 10 * (20 + cage) for cage in range(self.CAGES)})
        kinds = ['gone', 'swapped', 'renumbered', 'no number', 'vanishes', 'fails', 'hangs', 'module', 'module']
        end = time.monotonic() + float(os.environ.get('ORVANE_FAULTS', 10))
        while time.monotonic() < end:
            for _ in range(random.randint(1, 4)):
                self.strike(random, random.choice(kinds))
            if random.random() < 0.2:
                self.mend()
            time.sleep(random.random() * 0.3)
            for index, row in rows(self.manager).items():
                self.assertIn(row.get(DESCRIPTION, b'').decode(), (described.get(index), 'Transceiver that cannot be read', ''),
                              f'{index} in {self.collector.places.read_text()}')
            for index, row in rows(self.manager, SENSOR).items():
                # A walk takes several answers, so that a row can be of two moments.
                if row.get(1) == CELSIUS:
                    self.assertIn(row.get(VALUE, 0), (expected[index], *NONE), described[index])
        self.mend()
        for index, value in expected.items():
            self.shows(value, SENSOR, VALUE, index)


if __name__ == '__main__':
    unittest.main()
