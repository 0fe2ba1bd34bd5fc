"""The chassis of the examples through a manager, at its start and while it is edited: every row against what the file describes."""

import collections
import copy
import math
import re
import struct
import unittest

from described import CHASSIS, CLASS, CONTAINED_IN, DESCRIPTION, POSITION, SENSOR, STATE, THRESHOLD, Switch, contains, rows
from harness import AgentTest, wait_until

ROOT, SUPERVISORS = 650000001, (10000001, 20000001)

# entPhysicalClass; below what a collection stands of which a parent makes a group, and that group's position.
OTHER, CHASSIS_CLASS, CONTAINER, SUPPLY, FAN, SENSOR_CLASS, MODULE, PORT = 1, 3, 5, 6, 7, 8, 9, 10
GROUPS = {'chassis': {'powerSupplySlot': 1, 'cardSlot': 2, 'fanTraySlot': 3},
          'card': {'sensor': 1, 'port': 2, 'xcvrSlot': 3, 'chip': 4},
          'powerSupply': {'fan': 1, 'sensor': 2}}
PORTS = {'Ethernet': 200000, 'Management': 201000}

# entStateAdmin, entStateOper, entStateStandby
DOWN, UP = (2, 2), (4, 3)
HOT_STANDBY, PROVIDING_SERVICE = 2, 4
NONE = 1000000000  # a high threshold that is not there; a low one is its negative

# How a kind of sensor is read: type, scale, precision and units of entPhySensorTable, update rate, the reading's name.
Kind = collections.namedtuple('Kind', 'type scale precision units rate reading')
KINDS = {'TempSensor': Kind(8, 9, 1, b'Celsius', 5000, 'temperature'), 'VoltageSensor': Kind(3, 9, 2, b'Volts', 5000, 'voltage'),
         'CurrentSensor': Kind(5, 9, 2, b'Amperes', 5000, 'current'), 'FanSensor': Kind(10, 9, 0, b'RPM', 2000, 'speed'),
         'DomTemperatureSensor': Kind(8, 9, 1, b'Celsius', 6000, 'temperature'),
         'DomVoltageSensor': Kind(4, 9, 2, b'Volts', 6000, 'voltage'), 'DomTxBiasSensor': Kind(5, 8, 2, b'mA', 6000, 'txBias'),
         'DomTxPowerSensor': Kind(6, 8, 4, b'mW', 6000, 'txPower'), 'DomRxPowerSensor': Kind(6, 8, 4, b'mW', 6000, 'rxPower')}

# A described part: where it stands, and what its own name and its readings' names are made of.
Part = collections.namedtuple('Part', 'index parent kind key described slot fan port')


def parts(chassis):
    """Every part of the chassis that has a row, with its index as docs/inventory.md has it, parents before children."""
    def below(parent, kind, index, slot='', fan=None, port=None):
        for key, described in parent.described.get(kind, {}).items():
            number = int(key)
            yield Part(index(number, described), parent, kind, number, described, slot or parent.slot,
                       fan or parent.fan, port or parent.port)

    def single(parent, kind, offset):
        if kind in parent.described:
            described = parent.described[kind]
            port = described['alias'] if kind == 'xcvr' else None
            slot = parent.slot if port else parent.described['label']
            yield Part(parent.index + offset, parent, kind, 0, described, slot, None, port)

    def fans(owner, slot):
        for fan in below(owner, 'fan', lambda key, _: slot.index + 1000 + 100 * key):
            fan = fan._replace(fan=f'Fan{fan.slot}/{fan.described["label"]}')
            yield fan
            yield from below(fan, 'sensor', lambda key, _: fan.index + key)

    root = Part(ROOT, None, 'chassis', 0, chassis, '', None, None)
    yield root
    yield from single(root, 'cardplane', 1)
    for slot in below(root, 'cardSlot', lambda key, _: 10000000 * key):
        yield slot
        for card in single(slot, 'card', 1):
            yield card
            yield from below(card, 'sensor', lambda key, _: slot.index + 100000 + key)
            yield from below(card, 'chip', lambda key, _: slot.index + 110000 + key)
            yield from below(card, 'port', lambda key, port: slot.index + PORTS[port['tag']] + key)
            for cage in below(card, 'xcvrSlot', lambda key, _: slot.index + 4000000 + 10000 * key):
                yield cage
                for xcvr in single(cage, 'xcvr', 1):
                    yield xcvr
                    yield from below(xcvr, 'sensor', lambda key, _: cage.index + 100 + key)
                    for lane in below(xcvr, 'lane', lambda key, _: cage.index + 1000 + 100 * key):
                        yield lane
                        yield from below(lane, 'sensor', lambda key, _: lane.index + key)
    for slot in below(root, 'fanTraySlot', lambda key, _: 651000000 + 10000 * key):
        yield slot
        for tray in single(slot, 'fanTray', 1):
            yield tray
            yield from fans(tray, slot)
    for slot in below(root, 'powerSupplySlot', lambda key, _: 652000000 + 10000 * key):
        yield slot
        for supply in single(slot, 'powerSupply', 1):
            yield supply
            yield from below(supply, 'sensor', lambda key, _: slot.index + 100 + key)
            yield from fans(supply, slot)


CLASSES = {'chassis': CHASSIS_CLASS, 'cardplane': OTHER, 'card': MODULE, 'sensor': SENSOR_CLASS, 'port': PORT, 'chip': OTHER,
           'lane': MODULE, 'fan': FAN, 'powerSupply': SUPPLY}  # all else is a container
STATEFUL = ('chassis', 'card', 'sensor', 'port', 'xcvr', 'fan', 'powerSupply')


def rounded(number):
    """The nearest whole number, halves away from zero."""
    return int(math.copysign(math.floor(abs(number) + 0.5), number))


def scaled(kind, number):
    """A reading or a threshold as the tables give it. Optical power stands in dBm in the file."""
    if kind.units == b'mW':
        return rounded(10 ** (number / 10) * 10000)
    return rounded(number * 10 ** kind.precision)


class Described:
    """What a described chassis says of its parts."""

    def __init__(self, content):
        self.content = content
        self.parts = {part.index: part for part in parts(content['status']['chassis'])}

    def of(self, directory, collection, name):
        return self.content[directory][collection].get(name, {})

    def record(self, part):
        """What is published for a sensor: its values and whether it works."""
        tag, label = part.described['tag'], part.described['label']
        if tag == 'FanSensor':
            fan = self.of('coolingStatus', 'fan', part.fan)
            return {'speed': fan['speed'] * fan['properties']['maxRpm'] / 100}, fan['hwStatus']
        if tag.startswith('Dom'):
            lane = str(int(label.split('/')[1]) - 1) if '/' in label else '0'
            return self.of('xcvrStatusDir', 'xcvrStatus', part.port).get('domInfo', {}).get(lane, {}), 'ok'
        directory, collection = {'TempSensor': ('tempStatus', 'tempSensor'), 'VoltageSensor': ('powerStatus', 'voltageSensor'),
                                 'CurrentSensor': ('powerStatus', 'currentSensor')}[tag]
        record = self.of(directory, collection, f'{tag}{part.slot}/{label}')
        return record, record['hwStatus']

    def sensor(self, part):
        """entPhySensorTable without its time stamp, and the thresholds: low and high warning, low and high critical."""
        kind = KINDS[part.described['tag']]
        values, status = self.record(part)
        value = 0
        if kind.reading in values:
            value = scaled(kind, struct.unpack('f', struct.pack('f', values[kind.reading]))[0])
        oper_status = 2 if not values else 1 if status == 'ok' else 3
        limits = (-NONE, NONE, -NONE, NONE)
        if part.described['tag'] == 'TempSensor':
            config = self.of('tempConfig', 'tempSensor', f'TempSensor{part.slot}/{part.described["label"]}')
            limits = (-NONE, scaled(kind, config['overheatThreshold']), -NONE, scaled(kind, config['criticalThreshold']))
        elif part.described['tag'].startswith('Dom'):
            offered = self.of('xcvrStatusDir', 'xcvrStatus', part.port).get('domThreshold', {}).get(kind.reading)
            if offered:
                limits = tuple(scaled(kind, offered[which]) for which in ('lowWarning', 'highWarning', 'lowAlarm', 'highAlarm'))
        return (kind.type, kind.scale, kind.precision, value, oper_status, kind.units, kind.rate), limits

    def states(self, part):
        """entStateAdmin and entStateOper."""
        if part.kind == 'card':
            status = self.of('cardStatus', 'cardStatus', part.described['tag'] + part.described['label'])
            return UP if status['state'] in ('ok', 'okStandby') else DOWN
        if part.kind == 'fan' or part.fan:
            return UP if self.of('coolingStatus', 'fan', part.fan)['hwStatus'] == 'ok' else DOWN
        if part.kind == 'sensor':
            values, status = self.record(part)
            return UP if values and status == 'ok' else DOWN
        if part.kind == 'powerSupply':
            return UP if self.of('powerStatus', 'powerSupply', 'PowerSupply' + part.described['label'])['state'] == 'ok' else DOWN
        if part.kind == 'xcvr':
            return UP if self.of('xcvrConfigDir', 'xcvrConfig', part.port)['xcvrState'] else DOWN
        if part.kind == 'port':
            name = f'{part.described["tag"]}{part.slot}/{part.described["label"]}'
            enabled = self.of('intfConfigDir', 'intfConfig', name)['adminEnabledStateLocal']
            is_up = self.of('intfStatusDir', 'intfStatus', name)['operStatus'] == 'up'
            # A port that is switched off is no fault.
            return 4 if enabled else 2, 3 if is_up or not enabled else 2
        return UP  # the chassis itself


def columns(agent, table, numbers):
    """The rows of a table, by index: a tuple of these columns."""
    return {index: tuple(row[number] for number in numbers) for index, row in rows(agent, table).items()}


class ChassisSwitch(Switch):
    def take_out(self, slot):
        """Takes a card out, with all that is published for it and its parts."""
        card = self.content['status']['chassis']['cardSlot'][slot].pop('card')
        own = re.compile(rf'((Ethernet|Management|TempSensor|VoltageSensor|CurrentSensor){slot}/.*|{card["tag"]}{card["label"]})')
        for directory in (content for name, content in self.content.items() if name not in ('status', 'redundancy')):
            for collection in directory.values():
                for name in filter(own.fullmatch, list(collection)):
                    del collection[name]

    def unplug(self, slot, port):
        """Takes a transceiver out, with its status."""
        del self.content['status']['chassis']['cardSlot'][slot]['card']['xcvrSlot'][port]['xcvr']
        del self.content['xcvrStatusDir']['xcvrStatus'][f'Ethernet{slot}/{port}']

    def port(self, what, name, **attributes):
        self.content[f'intf{what}Dir'][f'intf{what}'][name].update(attributes)


class Chassis(AgentTest):
    def served(self):
        switch = ChassisSwitch(self, CHASSIS)
        return switch, self.agent(directives=[switch.directive, 'orvaneSupervisorSlot 1'])

    def assert_same(self, found, expected):
        differing = {key: (found.get(key), expected.get(key)) for key in found.keys() | expected.keys()
                     if found.get(key) != expected.get(key)}
        if differing:
            self.fail(f'{len(differing)} rows differ; found and expected of the first: {dict(sorted(differing.items())[:5])}')

    def assert_tree(self, agent, described):
        """Each part is a row below its parent or below its parent's group for its like, and there are no others."""
        table, pairs = rows(agent), contains(agent)
        self.assertEqual({index for index in table if index < 1000000000}, set(described.parts))
        groups = {(row[CONTAINED_IN], row[POSITION]): index for index, row in table.items() if index >= 1000000000}
        self.assertEqual(set(groups), {(part.index, position) for part in described.parts.values()
                                       for position in GROUPS.get(part.kind, {}).values()})
        for index, part in described.parts.items():
            expected = (0 if part.parent is None else
                        groups.get((part.parent.index, GROUPS.get(part.parent.kind, {}).get(part.kind)), part.parent.index),
                        CLASSES.get(part.kind, CONTAINER), part.key, part.described.get('description', '').encode())
            self.assertEqual(tuple(table[index][column] for column in (CONTAINED_IN, CLASS, POSITION, DESCRIPTION)), expected, part)
        self.assertEqual(pairs, {(row[CONTAINED_IN], index) for index, row in table.items() if index != ROOT})

    def assert_sensors(self, agent, described):
        sensors = {index: described.sensor(part) for index, part in described.parts.items() if part.kind == 'sensor'}
        self.assert_same(columns(agent, SENSOR, (1, 2, 3, 4, 5, 6, 8)), {index: row for index, (row, _) in sensors.items()})
        thresholds = columns(agent, THRESHOLD, (1, 3, 2, 4, 5))
        self.assert_same({index: row[:4] for index, row in thresholds.items()},
                         {index: limits for index, (_, limits) in sensors.items()})
        return sensors, {index: row[4] for index, row in thresholds.items()}

    def assert_states(self, agent, described):
        expected = {index: described.states(part) for index, part in described.parts.items() if part.kind in STATEFUL}
        self.assert_same(columns(agent, STATE, (2, 3)), expected)

    def assert_served(self, agent, content):
        described = Described(content)
        self.assert_tree(agent, described)
        self.assert_sensors(agent, described)
        self.assert_states(agent, described)

    def test_all_that_the_example_describes(self):
        switch, agent = self.served()
        described = Described(switch.content)
        self.assertGreater(len(described.parts), 400)
        self.assert_tree(agent, described)
        sensors, texts = self.assert_sensors(agent, described)
        with self.subTest('states'):
            self.assert_states(agent, described)
            self.assertNotIn('Orvane/0', agent.log(), 'a whole description gives no reason to complain')

        # Port 5 of card 3 gets no light on any of its four lanes: 0.001 mW.
        dark = [34050000 + 1000 + 100 * lane + 3 for lane in (1, 2, 3, 4)]
        for index in dark:
            self.assertEqual(texts[index], b'Sensor value 10 is below the low critical threshold (398)')
        self.assertEqual(texts[34050101], b'Sensor value 348 is within bounds')
        self.assertEqual(texts[651011101], b'No thresholds are defined')
        alarms = {index: b'\x80' for index, part in described.parts.items() if part.kind in STATEFUL}
        alarms |= {index: b'\x20' if index in dark else b'\x00' for index, (_, limits) in sensors.items()
                   if limits != (-NONE, NONE, -NONE, NONE)}
        wait_until(lambda: agent.get(f'{STATE}.5.{dark[0]}')[0].value != b'\x80', 'no sensor was classified')
        self.assert_same(columns(agent, STATE, (5,)), {index: (alarm,) for index, alarm in alarms.items()})
        self.assert_same(columns(agent, STATE, (6,)),
                         {index: (HOT_STANDBY if index == SUPERVISORS[1] else PROVIDING_SERVICE,) for index in alarms})

    def test_parts_come_and_go(self):
        switch, agent = self.served()
        table, pairs = rows(agent), contains(agent)
        whole = copy.deepcopy(switch.content)
        for name, change, is_visible in (
                ('a line card', lambda: switch.take_out('3'), True),
                ('a supervisor', lambda: switch.take_out('1'), True),
                ('a transceiver', lambda: switch.unplug('3', '5'), True),
                ('a port goes down', lambda: switch.port('Status', 'Ethernet4/1', operStatus='down'), False),
                ('a port that is down is switched off',
                 lambda: switch.port('Config', 'Ethernet4/14', adminEnabledStateLocal=False), False)):
            with self.subTest(name):
                change()
                switch.publish(agent)
                self.assertEqual(len(rows(agent)) < len(table), is_visible)
                self.assert_served(agent, switch.content)
                switch.content = copy.deepcopy(whole)
                switch.publish(agent)
                self.assertEqual((rows(agent), contains(agent)), (table, pairs))
                self.assert_served(agent, switch.content)
        # The sensors of a transceiver that was plugged in again are watched again.
        wait_until(lambda: agent.get(f'{STATE}.5.34051103')[0].value == b'\x20', 'no light is no alarm any more')

    def test_a_switch_over(self):
        switch, agent = self.served()
        election, whole = switch.content['redundancy']['election'], copy.deepcopy(switch.content)
        active, hot = (*UP, PROVIDING_SERVICE), (*UP, HOT_STANDBY)

        def published():
            switch.publish(agent)
            return supervisors()

        def supervisors():
            found = columns(agent, STATE, (2, 3, 6))
            return [found.get(index) for index in SUPERVISORS]

        self.assertEqual(supervisors(), [active, hot])
        # It gives its work away, and shows its peer as one that was never active would; next time it tells of it again.
        election.update(redundancyMode='standby', peerRedundancyMode='active')
        self.assertEqual(published(), [active, active])
        for mode, row in (('disabled', (*DOWN, 1)), ('standby', hot)):
            election.update(redundancyMode='active', peerRedundancyMode=mode)
            self.assertEqual(published(), [active, row])
        # The peer leaves and comes back, with word of the election before its card is there.
        switch.take_out('2')
        election.update(peerState='absent', peerRedundancyMode='unknown')
        self.assertEqual(published(), [active, None])
        election.update(peerState='present', peerRedundancyMode='standby')
        switch.publish(agent)
        switch.content = {**whole, 'redundancy': switch.content['redundancy']}
        switch.publish(agent)
        wait_until(lambda: supervisors() == [active, hot], 'the peer was not shown as hot standby')
        # The slot is read anew with the configuration: the election speaks for the supervisor that it runs on.
        agent.reload(switch.directive, 'orvaneSupervisorSlot 2')
        self.assertEqual(supervisors(), [hot, active])


if __name__ == '__main__':
    unittest.main()
