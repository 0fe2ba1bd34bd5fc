"""The tables through GETBULK, where a message has room for little."""

import bisect
import random
import unittest

from described import TABLES, Switch
from harness import AgentTest, oid_key


class Tables(AgentTest):
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
