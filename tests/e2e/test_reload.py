"""The described switch is edited while the agent serves it: the tables follow each save, and nothing but what it changes."""

import os
import unittest

from described import (ALIAS, CONTAINED_IN, DESCRIPTION, IS_FRU, SERIAL, Switch, contains, in_place, last_change, moved_aside,
                       renamed_over, rows)
from harness import AgentTest, wait_until


class Reload(AgentTest):
    def served(self, content=None):
        switch = Switch(self, content)
        return switch, self.agent(directives=[switch.directive])

    def assert_agree(self, agent, table):
        """entPhysicalContainsTable says the same as entPhysicalContainedIn."""
        expected = {(columns[CONTAINED_IN], index) for index, columns in table.items() if columns[CONTAINED_IN]}
        self.assertEqual(contains(agent), expected)

    def test_parts_come_and_go(self):
        switch, agent = self.served()
        full, time = rows(agent), last_change(agent)
        self.assert_agree(agent, full)
        system = switch.system
        supply = system['powerSupplySlot']['1']['powerSupply']
        below_supply = ([2010001] + [2010100 + int(key) for key in supply['sensor']] +
                        [2011000 + 100 * int(fan) + int(key) for fan in supply['fan'] for key in ('0', *supply['fan'][fan]['sensor'])])
        for name, owner, key, gone in (('sensor', system['sensor'], '1', {100001}),
                                       ('port', system['port'], '7', {200007}),
                                       ('supply', system['powerSupplySlot']['1'], 'powerSupply', set(below_supply))):
            with self.subTest(name):
                part = owner.pop(key)
                switch.publish(agent)
                left = rows(agent)
                lost = {index for index in full.keys() - left.keys() if index < 1000000000}
                self.assertEqual(lost, gone)
                self.assertEqual(left, {index: full[index] for index in left})
                self.assert_agree(agent, left)
                self.assertGreater(last_change(agent), time)
                time = last_change(agent)

                owner[key] = part
                switch.publish(agent)
                self.assertEqual(rows(agent), full)
                self.assert_agree(agent, full)
                self.assertGreater(last_change(agent), time)
                time = last_change(agent)

    def test_attributes_follow_and_readings_move_no_time(self):
        switch, agent = self.served()
        system = switch.system
        supply = system['powerSupplySlot']['2']['powerSupply']
        time = last_change(agent)
        for part, attribute, value, index, column, shown in (
                (system, 'description', 'another text', 1, DESCRIPTION, b'another text'),
                (system, 'serialNum', 'KV-NEW', 1, SERIAL, b'KV-NEW'),
                (system, 'alias', 'core-1', 1, ALIAS, b'core-1'),
                (supply, 'serialNum', 'PS-NEW', 2020001, SERIAL, b'PS-NEW'),
                (supply, 'swappability', 'notSwappable', 2020001, IS_FRU, 2),
                (system['sensor']['2'], 'label', '99', 100002, None, None)):
            with self.subTest(attribute):
                self.assertNotEqual(part.get(attribute), value)
                part[attribute] = value
                switch.publish(agent)
                if column:
                    self.assertEqual(rows(agent)[index][column], shown)
                self.assertGreater(last_change(agent), time)
                time = last_change(agent)

        before = rows(agent)
        reading = next(iter(switch.content['tempStatus']['tempSensor'].values()))
        reading['temperature'] = 77.5
        next(iter(switch.content['coolingStatus']['fan'].values()))['speed'] = 11
        switch.publish(agent)
        switch.publish(agent)  # and a save that changes nothing at all
        self.assertEqual(last_change(agent), time)
        self.assertEqual(rows(agent), before)

    def test_several_changes_are_one(self):
        switch, agent = self.served()
        taken = switch.taken(agent)
        system = switch.system
        del system['sensor']['3']
        system['sensor']['4'].update(tag='VoltageSensor', label='9')
        system['port']['100'] = {'tag': 'Ethernet', 'label': '100', 'description': 'new port'}
        system['serialNum'] = 'KV-BOTH'
        system['powerSupplySlot']['1']['powerSupply']['alias'] = 'left'
        switch.publish(agent)
        table = rows(agent)
        self.assertNotIn(100003, table)
        self.assertIn(100004, table)
        self.assertEqual(table[200100][DESCRIPTION], b'new port')
        self.assertEqual(table[1][SERIAL], b'KV-BOTH')
        self.assertEqual(table[2010001][ALIAS], b'left')
        self.assert_agree(agent, table)
        self.assertEqual(switch.taken(agent), taken + 1)

    def test_every_way_to_save(self):
        switch, agent = self.served()
        for number, how in enumerate((in_place, renamed_over, moved_aside, renamed_over, in_place)):
            with self.subTest(how.__name__):
                switch.system['description'] = f'{number}'
                switch.publish(agent, how)
                self.assertEqual(rows(agent)[1][DESCRIPTION], f'{number}'.encode())

    def test_a_broken_file_is_refused_whole(self):
        switch, agent = self.served()
        table, time = rows(agent), last_change(agent)
        good = switch.path.read_text()

        def write(text):
            return lambda: switch.path.write_text(text)

        for spoil, reason in (
                (write(good.replace('"status"', '"status', 1)), r':\d+:\d+: syntax error|: \d+:\d+: syntax error'),
                (write('{"status": {"fixedSystem": {"sensor": {"1": {"lable": "1"}}}}}'),
                 r'status\.fixedSystem\.sensor\.1\.lable: no such attribute'),
                (write('{"status": {"fixedSystem": {"label": 1}}}'), r'status\.fixedSystem\.label: a text is needed'),
                (write('{"status": {"fixedSystem": {"sensor": {"1025": {}}}}}'),
                 r'status\.fixedSystem\.sensor\.1025: .*outside 1 to 1024'),
                (write(good[:len(good) // 2]), r'\d+:\d+: syntax error'),
                (write(''), r'1:1: syntax error'),
                (lambda: os.remove(switch.path), 'No such file or directory')):
            with self.subTest(reason):
                refused = agent.log().count('refused')
                spoil()
                wait_until(lambda: agent.log().count('refused') > refused, message='nothing was refused')
                self.assertRegex(agent.log().splitlines()[-1], f'^orvane: refused {switch.path}.*({reason})')
                self.assertEqual(rows(agent), table)
                self.assertEqual(last_change(agent), time)
        switch.system['serialNum'] = 'KV-GOOD'
        switch.publish(agent)
        self.assertEqual(rows(agent)[1][SERIAL], b'KV-GOOD')

    def test_foreign_words_stay_in_a_few_lines(self):
        switch, agent = self.served()
        start = len(agent.log())
        name = '\norvane: took over\x1b[2J\u202e' + 'x' * 5000
        sensors = switch.content['tempStatus']['tempSensor']
        sensors.update({f'{number}{name}': {} for number in range(100)})
        switch.publish(agent)
        agent.wait_for_log(r'^orvane: Orvane/0 \S+ States\.cpp:\d+ \w+: \.\.\. and 95 more')
        sensors[name] = 1
        switch.save()
        agent.wait_for_log('^orvane: refused .*took over')
        lines = agent.log()[start:].splitlines()
        self.assertLess(len(lines), 20)
        for line in lines:
            self.assertRegex(line, r'^orvane: (Orvane/0|took /|refused /)[ -~]{1,700}$')

    def test_indexes_are_those_of_the_place(self):
        def backwards(value):
            return {key: backwards(value[key]) for key in reversed(value)} if isinstance(value, dict) else value

        switch, agent = self.served()
        table, pairs = rows(agent), contains(agent)
        self.assertEqual(agent.stop(), 0)
        _, again = self.served(backwards(switch.content))
        self.assertEqual(rows(again), table)
        self.assertEqual(contains(again), pairs)


if __name__ == '__main__':
    unittest.main()
