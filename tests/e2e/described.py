"""A described switch in a file of its own, and what the tables of an agent show of it."""

import copy
import json
import pathlib
import shutil
import tempfile

from harness import ROOT, wait_until

ENTRY = '1.3.6.1.2.1.47.1.1.1.1'
CONTAINS = '1.3.6.1.2.1.47.1.3.3.1'
ALIAS = '1.3.6.1.2.1.47.1.3.2.1.2'
LAST_CHANGE = '1.3.6.1.2.1.47.1.4.1.0'
SENSOR, STATE, THRESHOLD = '1.3.6.1.2.1.99.1.1.1', '1.3.6.1.2.1.131.1.1.1', '1.3.6.1.4.1.59871.3.12.1.1.1'
TABLES = {ENTRY: range(2, 19), CONTAINS: range(1, 2), SENSOR: range(1, 9), STATE: range(1, 7), THRESHOLD: range(1, 6)}
# What tells a time of the agent that answers: entPhySensorValueTimeStamp, that of the request; entStateLastChanged.
TIMES = (f'{SENSOR}.7.', f'{STATE}.1.', LAST_CHANGE)
DESCRIPTION, CONTAINED_IN, CLASS, POSITION, NAME, SERIAL = 2, 4, 5, 6, 7, 11

FIXED, CHASSIS = (json.loads((ROOT / f'examples/{name}-switch.json').read_text()) for name in ('fixed', 'chassis'))


class Switch:
    """`content` is the switch as a dictionary, to be changed at will and then saved."""

    def __init__(self, test, content=FIXED):
        folder = tempfile.mkdtemp(prefix='switch-')
        test.addCleanup(shutil.rmtree, folder)
        self.path = pathlib.Path(folder, 'switch.json')
        self.content = copy.deepcopy(content)
        self.save()

    @property
    def directive(self):
        return f'orvaneInventory {self.path}'

    @property
    def system(self):
        return self.content['status']['fixedSystem']

    def save(self):
        self.path.write_text(json.dumps(self.content, indent=1))

    def taken(self, agent):
        return agent.log().count(f'took {self.path}')

    def publish(self, agent):
        """Saves, and waits until the agent has taken it."""
        before = self.taken(agent)
        self.save()
        wait_until(lambda: self.taken(agent) > before, 'the file was not taken')


def row_index(oid):
    return int(oid.rpartition('.')[2])


def rows(agent, table=ENTRY):
    """A dictionary of columns for each index."""
    found = {}
    for oid, _, value in agent.bulkwalk(table, repetitions=50):
        found.setdefault(row_index(oid), {})[int(oid.split('.')[-2])] = value
    return found


def contains(agent):
    """entPhysicalContainsTable: (container, contained) pairs."""
    return {tuple(map(int, var.oid.split('.')[-2:])) for var in agent.bulkwalk(CONTAINS, repetitions=50)}


def last_change(agent):
    return agent.get(LAST_CHANGE)[0].value
