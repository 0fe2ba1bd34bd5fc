"""The tables as a manager reads them, with the tools that managers use: types and values, every way to ask, no way to set."""

import bisect
import random
import re
import unittest

from described import CONTAINS, ENTRY, LAST_CHANGE, SENSOR, STATE, TABLES, THRESHOLD, TIMES, Switch
from harness import AgentTest, Var, oid_key, refusal

SMALL = {'status': {'fixedSystem': {
    'tag': 'FixedSystem', 'label': '1', 'description': 'Bench switch', 'serialNum': 'KV7', 'hardwareRev': 'A', 'firmwareRev': 'F2',
    'softwareRev': 'S3', 'mfgName': 'Kelvra', 'modelName': 'KS-1', 'alias': 'bench', 'assetId': 'rack 4',
    'swappability': 'hotSwappable', 'sensor': {'2': {'tag': 'TempSensor', 'label': '2', 'description': 'Inlet'}}}}}
# Rows of SMALL as they are on the wire, from the table's first column on, without TIMES. No status is bound to the sensor.
GOLDEN = {
    (ENTRY, 1): [b'Bench switch', '0.0', 0, 3, 0, b'', b'A', b'F2', b'S3', b'KV7', b'Kelvra', b'KS-1', b'bench', b'rack 4', 1,
                 bytes(11), b''],
    (SENSOR, 100002): [8, 9, 1, 0, 2, b'Celsius', ('Gauge32', 0)],
    (STATE, 1): [4, 3, 3, b'\x80', 4],
    (THRESHOLD, 100002): [-1000000000, -1000000000, 1000000000, 1000000000, b'No thresholds are defined'],
}


class Tables(AgentTest):
    def test_types_and_values_on_the_wire(self):
        agent, types = self.agent(directives=[Switch(self, SMALL).directive]), {int: 'INTEGER', bytes: 'STRING', str: 'OID'}
        for (table, index), values in GOLDEN.items():
            oids = [f'{table}.{column}.{index}' for column in TABLES[table]]
            expected = [Var(oid, *(value if isinstance(value, tuple) else (types[type(value)], value)))
                        for oid, value in zip((oid for oid in oids if not oid.startswith(TIMES)), values, strict=True)]
            self.assertEqual([var for var in agent.get(*oids) if not var.oid.startswith(TIMES)], expected)
        time_stamp, changed, last_change = agent.get(f'{SENSOR}.7.100002', f'{STATE}.1.1', LAST_CHANGE)
        self.assertEqual((time_stamp.type, changed.type, last_change.type), ('Timeticks', 'STRING', 'Timeticks'))
        self.assertRegex(changed.value, re.compile(rb'^\x07.{7}\+\0\0$', re.DOTALL))
        for table, columns in TABLES.items():
            oid = f'{table}.{columns[-1]}.1000100000.100002' if table == CONTAINS else f'{table}.{columns[-1]}.100002'
            type_ = 's' if agent.get(oid)[0].type == 'STRING' else 'i'
            self.assertEqual(refusal(agent.set, oid, type_, 1), 'notWritable')

    def test_what_a_small_message_has_room_for_is_right(self):
        """GETBULK is what a GETNEXT of each variable gives, and of that, and so on, as far as there is room."""
        agent = self.agent(directives=[Switch(self).directive])
        chain = [oid_key(var.oid) for var in agent.walk('1.3.6.1')]
        roots = [oid_key(table) for table in TABLES]
        ends = [max(name for name in chain if name[:len(root)] == root) for root in roots]
        agent.reload(*agent.directives, '[snmp] sendMessageMaxSize 484')
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


if __name__ == '__main__':
    unittest.main()
