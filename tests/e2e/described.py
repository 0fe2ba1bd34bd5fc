"""A described switch in a file of its own, and what the tables of an agent show of it."""

import copy
import json
import os
import pathlib
import shutil
import tempfile

from harness import ROOT, wait_until

ENTRY = '1.3.6.1.2.1.47.1.1.1.1'
CONTAINS = '1.3.6.1.2.1.47.1.3.3.1.1'
LAST_CHANGE = '1.3.6.1.2.1.47.1.4.1.0'
DESCRIPTION, CONTAINED_IN, CLASS, SERIAL = 2, 4, 5, 11

EXAMPLE = json.loads((ROOT / 'examples/fixed-switch.json').read_text())


def in_place(path, text):
    path.write_text(text)


def renamed_over(path, text):
    beside = path.with_name(f'.{path.name}.new')
    beside.write_text(text)
    os.replace(beside, path)


class Switch:
    """`content` is the switch as a dictionary, to be changed at will and then saved."""

    def __init__(self, test, content=None):
        folder = tempfile.mkdtemp(prefix='switch-')
        test.addCleanup(shutil.rmtree, folder)
        self.path = pathlib.Path(folder, 'switch.json')
        self.content = copy.deepcopy(EXAMPLE if content is None else content)
        self.save()

    @property
    def directive(self):
        return f'orvaneInventory {self.path}'

    @property
    def system(self):
        return self.content['status']['fixedSystem']

    def save(self, how=in_place):
        how(self.path, json.dumps(self.content, indent=1))

    def taken(self, agent):
        return agent.log().count(f'took {self.path}')

    def publish(self, agent, how=in_place):
        """Saves, and waits until the agent has taken it."""
        before = self.taken(agent)
        self.save(how)
        wait_until(lambda: self.taken(agent) > before, 'the file was not taken')


def rows(agent):
    """entPhysicalTable: a dictionary of columns for each index."""
    table = {}
    for oid, _, value in agent.bulkwalk(ENTRY, repetitions=50):
        column, index = map(int, oid[len(ENTRY) + 1:].split('.'))
        table.setdefault(index, {})[column] = value
    return table


def contains(agent):
    """entPhysicalContainsTable: (container, contained) pairs."""
    return {tuple(map(int, var.oid[len(CONTAINS) + 1:].split('.'))) for var in agent.bulkwalk(CONTAINS, repetitions=50)}


def last_change(agent):
    return agent.get(LAST_CHANGE)[0].value
