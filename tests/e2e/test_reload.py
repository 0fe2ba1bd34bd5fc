"""The described switch is edited while the agent serves it: the tables follow each save, and nothing but what it changes."""

import socket
import unittest

from described import ALIAS, CONTAINED_IN, DESCRIPTION, NAME, SERIAL, Switch, contains, last_change, rows
from harness import AgentTest


class Reload(AgentTest):
    def setUp(self):
        self.switch = Switch(self)
        self.running = self.agent(directives=[self.switch.directive])

    def published(self):
        """Publishes, and returns the rows, on which the table of containment agrees."""
        self.switch.publish(self.running)
        table = rows(self.running)
        pairs = {(row[CONTAINED_IN], index) for index, row in table.items() if row[CONTAINED_IN]}
        self.assertEqual(contains(self.running), pairs)
        return table

    def test_parts_come_and_go(self):
        full, system, times = self.published(), self.switch.system, [last_change(self.running)]
        supply = system['powerSupplySlot']['1']['powerSupply']
        below_supply = ({2010001} | {2010100 + int(key) for key in supply['sensor']} | {
            2011000 + 100 * int(fan) + int(key) for fan in supply['fan'] for key in ('0', *supply['fan'][fan]['sensor'])})
        for owner, key, gone in ((system['sensor'], '1', {100001}), (system['port'], '7', {200007}),
                                 (system['powerSupplySlot']['1'], 'powerSupply', below_supply)):
            part = owner.pop(key)
            left = self.published()
            times.append(last_change(self.running))
            self.assertEqual({index for index in full.keys() - left.keys() if index < 1000000000}, gone)
            self.assertEqual(left, {index: full[index] for index in left})
            owner[key] = part
            self.assertEqual(self.published(), full)
            times.append(last_change(self.running))
        for part, attribute, value, index, column, shown in (
                (system, 'description', 'another text', 1, DESCRIPTION, b'another text'),
                (supply, 'serialNum', 'PS-NEW', 2010001, SERIAL, b'PS-NEW')):
            part[attribute] = value
            table = self.published()
            self.assertEqual(table[index][column], shown)
            times.append(last_change(self.running))
        self.assertEqual(times, sorted(set(times)), 'each change has a later time')
        # But readings have none.
        next(iter(self.switch.content['tempStatus']['tempSensor'].values()))['temperature'] = 77.5
        self.assertEqual((self.published(), last_change(self.running)), (table, times[-1]))

    def test_ports_and_their_transceivers_lead_to_interfaces(self):
        table, status = self.published(), self.switch.content['intfStatusDir']['intfStatus']
        port, other, xcvr = 200001, 200049, 4490001
        loopback = f'1.3.6.1.2.1.2.2.1.1.{socket.if_nametoindex("lo")}'
        for names, found in (({}, []), ({'Ethernet1': 'lo'}, [port]), ({'Ethernet49': 'lo', 'Nobody1': 'lo'}, [other, xcvr]),
                             ({'Ethernet1': 'lo', 'Ethernet2': 'none-such', 'Ethernet3': 'l' * 99, 'Ethernet49': 'lo'},
                              [port, other, xcvr])):
            for name in {**status, **names}:
                status.setdefault(name, {})['deviceName'] = names.get(name, '')
            with self.subTest(names=names):
                self.assertEqual(self.published(), table)
                expected = [(f'{ALIAS}.{index}.0', 'OID', loopback) for index in found]
                self.assertEqual(self.running.walk(ALIAS), expected)
                self.assertEqual(self.running.bulkwalk(ALIAS), expected)
        self.assertEqual(self.running.get(f'{ALIAS}.{port}.0', f'{ALIAS}.{port}.1', f'{ALIAS}.{port + 1}.0')[0].value, loopback)
        self.assertEqual([var.type for var in self.running.get(f'{ALIAS}.{port}.1', f'{ALIAS}.{port + 1}.0')],
                         2 * ['noSuchInstance'])

    def test_rows_have_names_where_they_are_asked_for(self):
        def names():
            return {row[NAME] for row in self.published().values()}
        self.assertEqual(names(), {b''})
        self.running.reload('orvanePhysicalName component', self.switch.directive)
        self.assertTrue({b'Ethernet49', b'TempSensor1', b'PowerSupplyP1/1'} <= names())
        self.switch.system['port']['1']['label'] = '1a'
        self.assertIn(b'Ethernet1a', names())
        self.running.reload(self.switch.directive)
        self.assertEqual(names(), {b''})

    def test_foreign_words_stay_in_a_few_lines(self):
        start, name = len(self.running.log()), '\norvane: took over\x1b[2J\u202e' + 'x' * 5000
        sensors = self.switch.content['tempStatus']['tempSensor']
        sensors.update({f'{number}{name}': {} for number in range(100)})
        self.switch.publish(self.running)
        self.running.wait_for_log(r'^orvane: Orvane/0 \S+ States\.cpp:\d+ \w+: \.\.\. and \d+ more')
        table, sensors[name] = rows(self.running), 1
        self.switch.save()
        self.running.wait_for_log('^orvane: refused .*took over')
        self.assertEqual(rows(self.running), table)
        lines = self.running.log()[start:].splitlines()
        self.assertLess(len(lines), 50)
        for line in lines:
            self.assertRegex(line, r'^orvane: (Orvane/0|took /|refused /)[ -~]{1,700}$')


if __name__ == '__main__':
    unittest.main()
