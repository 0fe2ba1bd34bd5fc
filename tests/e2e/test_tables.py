"""Each table as a manager reads it, with the tools that managers use: golden rows, every way to ask, every kind of refusal."""

import bisect
import random
import re
import unittest

from described import CONTAINS, EXAMPLE, LAST_CHANGE, Switch
from harness import AgentTest, oid_key

PHYSICAL = '1.3.6.1.2.1.47.1.1.1.1'
SENSOR = '1.3.6.1.2.1.99.1.1.1'
STATE = '1.3.6.1.2.1.131.1.1.1'
THRESHOLD = '1.3.6.1.4.1.59871.3.12.1.1.1'
TABLES = {PHYSICAL: range(2, 19), CONTAINS.rsplit('.', 1)[0]: range(1, 2), SENSOR: range(1, 9), STATE: range(1, 7),
          THRESHOLD: range(1, 6)}
TIME_STAMP = SENSOR + '.7.'  # the time of the request, by its nature

SMALL = {'status': {'fixedSystem': {
    'tag': 'FixedSystem', 'label': '1', 'description': 'Bench switch', 'serialNum': 'KV7', 'hardwareRev': 'A', 'firmwareRev': 'F2',
    'softwareRev': 'S3', 'mfgName': 'Kelvra', 'modelName': 'KS-1', 'alias': 'bench', 'assetId': 'rack 4',
    'swappability': 'notSwappable',
    'sensor': {'2': {'tag': 'TempSensor', 'label': '2', 'description': 'Inlet'}},
    'powerSupplySlot': {'1': {'tag': 'PowerSupplySlot', 'label': 'P1', 'powerSupply': {
        'tag': 'PowerSupply', 'label': '1', 'serialNum': 'x' * 32, 'swappability': 'hotSwappable',
        'fan': {'1': {'tag': 'Fan', 'label': '1', 'sensor': {'1': {'tag': 'FanSensor', 'label': '1'}}}}}}}}}}

# entPhysicalTable of SMALL: index -> containedIn, class, position, description, name by alias, serial number, FRU
GOLDEN = {
    1: (0, 3, 0, b'Bench switch', b'bench', b'KV7', 2),
    100002: (1000100000, 8, 2, b'Inlet', b'', b'', 2),
    2010000: (1002000000, 5, 1, b'', b'', b'', 2),
    2010001: (2010000, 6, 0, b'', b'', b'x' * 32, 1),
    2011100: (1002011000, 7, 1, b'', b'', b'', 2),
    2011101: (2011100, 8, 1, b'', b'', b'', 2),
    1000100000: (1, 5, 1, b'Sensor Container', b'', b'', 2),
    1000110000: (1, 5, 4, b'Chip Container', b'', b'', 2),
    1000204000: (1, 5, 2, b'Port Container', b'', b'', 2),
    1001000000: (1, 5, 7, b'Fan Tray Slot Container', b'', b'', 2),
    1002000000: (1, 5, 6, b'Power Supply Slot Container', b'', b'', 2),
    1002010100: (2010001, 5, 2, b'Power Supply Sensor Container', b'', b'', 2),
    1002011000: (2010001, 5, 1, b'Power Supply Fan Container', b'', b'', 2),
    1004000000: (1, 5, 3, b'Xcvr Slot Container', b'', b'', 2),
}


def still(variables):
    """Without what changes with every look."""
    return [var for var in variables if not var.oid.startswith(TIME_STAMP)]


class Tables(AgentTest):
    def served(self, content=None):
        return self.agent(directives=[Switch(self, content).directive])

    def test_golden_rows(self):
        agent = self.served(SMALL)
        for index, (contained, kind, position, description, alias, serial, fru) in GOLDEN.items():
            expected = {4: contained, 5: kind, 6: position, 2: description, 14: alias, 11: serial, 16: fru, 17: bytes(11), 18: b'', 7: b''}
            found = {column: agent.get(f'{PHYSICAL}.{column}.{index}')[0].value for column in expected}
            self.assertEqual(found, expected, index)
        revisions = agent.get(*(f'{PHYSICAL}.{column}.1' for column in (8, 9, 10, 12, 13, 15)))
        self.assertEqual([var.value for var in revisions], [b'A', b'F2', b'S3', b'Kelvra', b'KS-1', b'rack 4'])
        vendor = agent.get(f'{PHYSICAL}.3.1')[0]
        self.assertEqual(vendor.value.lstrip('.'), '0.0')
        self.assertEqual({var.oid for var in agent.walk(PHYSICAL + '.4')}, {f'{PHYSICAL}.4.{index}' for index in GOLDEN})

        # No status is bound to the sensors: unavailable, without thresholds.
        sensor = {column: agent.get(f'{SENSOR}.{column}.100002')[0].value for column in (1, 2, 3, 4, 5, 6, 8)}
        self.assertEqual(sensor, {1: 8, 2: 9, 3: 1, 4: 0, 5: 2, 6: b'Celsius', 8: 0})
        threshold = [agent.get(f'{THRESHOLD}.{column}.100002')[0].value for column in range(1, 6)]
        self.assertEqual(threshold, [-1000000000, -1000000000, 1000000000, 1000000000, b'No thresholds are defined'])
        self.assertEqual([agent.get(f'{STATE}.{column}.1')[0].value for column in range(2, 7)], [4, 3, 3, b'\x80', 4])
        self.assertRegex(agent.get(f'{STATE}.1.1')[0].value, re.compile(rb'^\x07.{7}\+\0\0$', re.DOTALL))
        stated = {int(var.oid.rsplit('.', 1)[1]) for var in agent.walk(STATE + '.3')}
        self.assertEqual(stated, {1, 100002, 2010001, 2011100, 2011101})

    def test_every_way_to_ask_gives_the_same(self):
        agent = self.served()
        for table, columns in TABLES.items():
            with self.subTest(table):
                walked = agent.walk(table)
                oids = [var.oid for var in walked]
                self.assertGreater(len(oids), 50)
                self.assertEqual(oids, sorted(set(oids), key=oid_key), 'in order, each exactly once')
                self.assertEqual({int(oid[len(table) + 1:].split('.')[0]) for oid in oids}, set(columns))
                bulk = agent.bulkwalk(table, repetitions=37)
                self.assertEqual(still(bulk), still(walked))
                for some in range(0, len(oids), 20):
                    self.assertEqual(still(agent.get(*oids[some:some + 20])), still(walked[some:some + 20]))
                for version in ('1', '3'):
                    self.assertEqual(still(agent.walk(table, version=version)), still(walked), version)
        # Columns and tables side by side in one request.
        mixed = [f'{PHYSICAL}.2', f'{STATE}.3', f'{SENSOR}.5', f'{CONTAINS}', f'{THRESHOLD}.5', f'{PHYSICAL}.5']
        alone = [agent.getnext(oid)[0] for oid in mixed]
        self.assertEqual(agent.getnext(*mixed), alone)
        self.assertEqual(agent.get(LAST_CHANGE, *(var.oid for var in alone))[1:], alone)
        self.assertEqual(agent.getbulk(*mixed, repetitions=1), alone)

    def test_what_a_small_message_has_room_for_is_right(self):
        """GETBULK is what a GETNEXT of each variable gives, and of that, and so on, as far as there is room."""
        agent = self.served()
        chain = [oid_key(var.oid) for var in agent.walk('1.3.6.1')]
        roots = [oid_key(table) for table in TABLES]
        ends = [max(name for name in chain if name[:len(root)] == root) for root in roots]
        agent.directives.append('[snmp] sendMessageMaxSize 484')
        agent.write_config()
        agent.reload()
        drawn = random.Random(484)
        for _ in range(100):
            asked = [oid_key('1.3.6.1.2.1.1.3')] * drawn.randint(0, 6) + drawn.choices(roots + 2 * ends, k=drawn.randint(1, 4))
            once = drawn.randint(0, len(asked) - 1)
            places = [bisect.bisect(chain, name) for name in asked]
            expected = places[:once] + [place + row for row in range(50) for place in places[once:]]
            found = agent.getbulk(*('.'.join(map(str, name)) for name in asked), non_repeaters=once, repetitions=50)
            self.assertGreater(len(found), 8)
            self.assertEqual([(oid_key(var.oid), var.type != 'NULL') for var in found],
                             [(chain[place], True) for place in expected[:len(found)]], (asked, once))

    def test_past_the_end_and_in_the_holes(self):
        agent = self.served(SMALL)
        last = max(GOLDEN)
        for index in (0, 2, 100001, 2010002, last + 1, 4294967295):
            self.assertEqual(agent.get(f'{PHYSICAL}.2.{index}')[0].type, 'noSuchInstance', index)
            following = [row for row in sorted(GOLDEN) if row > index]
            expected = f'{PHYSICAL}.2.{following[0]}' if following else f'{PHYSICAL}.3.1'
            self.assertEqual(agent.getnext(f'{PHYSICAL}.2.{index}')[0].oid, expected)
        for oid in (f'{PHYSICAL}.1.1', f'{PHYSICAL}.19.1', f'{STATE}.7.1'):
            self.assertIn(agent.get(oid)[0].type, ('noSuchObject', 'noSuchInstance'), oid)
        self.assert_error('noSuchName', agent.get, f'{PHYSICAL}.2.2', version='1')
        self.assertFalse(agent.getnext(f'{PHYSICAL}.18.{last}')[0].oid.startswith(PHYSICAL))
        self.assertEqual(agent.getnext(f'{CONTAINS}.1.100002')[0].oid, f'{CONTAINS}.1.1000100000')
        self.assertEqual(agent.getnext(f'{CONTAINS}.1')[0].oid, f'{CONTAINS}.1.1000100000')

    def test_nothing_can_be_set(self):
        agent = self.served(SMALL)
        before = {table: still(agent.bulkwalk(table)) for table in TABLES}
        for oid, letter, value in [(f'{PHYSICAL}.{column}.1', 's', 'x') for column in (2, 7, 8, 9, 10, 11, 12, 13, 14, 15, 17, 18)] + [
                (f'{PHYSICAL}.{column}.1', 'i', 1) for column in (4, 5, 6, 16)] + [
                (f'{PHYSICAL}.3.1', 'o', '1.3'), (f'{STATE}.2.1', 'i', 4), (f'{STATE}.3.1', 'i', 2), (f'{STATE}.5.1', 'x', '00'),
                (f'{SENSOR}.4.100002', 'i', 5), (f'{THRESHOLD}.1.100002', 'i', 5), (f'{CONTAINS}.1.1000100000', 'i', 1),
                (f'{PHYSICAL}.14.77', 's', 'no such row'), (LAST_CHANGE, 't', 5)]:
            with self.subTest(oid):
                self.assert_error('notWritable', agent.set, oid, letter, value)
        self.assertEqual({table: still(agent.bulkwalk(table)) for table in TABLES}, before)

    def test_indexes_are_the_same_whatever_the_order_of_the_file(self):
        def turned(node):
            return {key: turned(node[key]) for key in reversed(node)} if isinstance(node, dict) else node

        first, second = self.served(), self.served(turned(EXAMPLE))
        for table in TABLES:
            if table != STATE:  # which tells the time of its rows
                self.assertEqual(still(first.bulkwalk(table, repetitions=50)), still(second.bulkwalk(table, repetitions=50)))


if __name__ == '__main__':
    unittest.main()
