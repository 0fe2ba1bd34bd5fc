#!/usr/bin/python3
"""What a GETBULK walk of entPhysicalTable costs the agent, beside Net-SNMP's own in-memory table and a bare handler that hold the
same rows in the same snmpd. Prints ratios: the machine drops out of them.

Wants the bench preset built; scripts/bench does that. Figures are the median over interleaved repetitions of the agent's processor
time. Memory is what an agent with that table alone has more than one without, for each row; ours holds the inventory too.
"""

import argparse
import json
import pathlib
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / 'tests/e2e'))
from harness import Agent  # noqa: E402

BUILD = ROOT / 'build/bench'
OURS, MEMORY, BARE = '1.3.6.1.2.1.47.1.1.1', '1.3.6.1.4.1.8072.9999.9999.1', '1.3.6.1.4.1.8072.9999.9999.2'


class Filler:
    """Fills the collections of a fixed system until a number of entities stands in it."""

    def __init__(self, rows):
        self.left = rows

    def entity(self, tag, label):
        self.left -= 1
        entity = {'tag': tag, 'label': str(label), 'description': f'{tag} {label} of a switch'}
        if not tag.endswith('Slot'):
            entity |= {'serialNum': f'KV{self.left:06}', 'modelName': 'KV-7048', 'mfgName': 'Kelvra'}
        return entity

    def several(self, most, tag, labels=str, parts=lambda key: {}):
        """A collection of up to `most` members; parts(key) fills a member, which itself counts first."""
        members = {}
        for key in range(1, most + 1):
            if self.left <= 0:
                break
            members[str(key)] = self.entity(tag, labels(key))
            members[str(key)].update(parts(key))
        return members


def inventory(rows):
    """A described fixed system with about that many physical entities: a switch first, then ever more fans with sensors."""
    fill = Filler(rows)

    def fans(key):
        return {'fan': fill.several(32, 'Fan', parts=lambda fan: {
            'sensor': fill.several(32, 'FanSensor', labels=lambda sensor: f'{fan}/{sensor}')})}

    def tray(key):
        return {'fanTray': fill.entity('FanTray', key) | fans(key)}

    def supply(key):
        return {'powerSupply': fill.entity('PowerSupply', key) | {'sensor': fill.several(32, 'TempSensor')} | fans(key)}

    system = fill.entity('FixedSystem', 1)
    system['port'] = fill.several(min(512, rows // 10), 'Ethernet')
    system['sensor'] = fill.several(min(1024, rows // 10), 'TempSensor')
    system['chip'] = fill.several(min(512, rows // 10), 'Chip')
    system['fanTraySlot'] = fill.several(64, 'FanTraySlot', parts=tray)
    system['powerSupplySlot'] = fill.several(32, 'PowerSupplySlot', labels=lambda key: f'P{key}', parts=supply)
    assert fill.left <= 0, f'a fixed system has room for {rows - fill.left} entities'
    return {'status': {'fixedSystem': system}}


def walk(agent, oid, bulk, dump=()):
    """Walks the table; returns its variables and the agent's processor time for each."""
    before = agent.cpu_seconds()
    run = subprocess.run([BUILD / 'walker', f'127.0.0.1:{agent.port}', oid, str(bulk), *dump],
                         stdout=subprocess.PIPE, text=True, check=True)
    count = int(run.stdout)
    return count, (agent.cpu_seconds() - before) / count if count else 0


def measure(rows, repetitions, bulk, folder):
    described, dump = folder / 'inventory.json', folder / 'dump'
    described.write_text(json.dumps(inventory(rows)))
    ours, comparison = BUILD / 'orvane.so', BUILD / 'walkbench.so'
    load = {'ours': (ours, f'orvaneInventory {described}'), 'in-memory': (comparison, f'walkMemoryTable {dump}'),
            'floor': (comparison, f'walkBareHandler {dump}')}

    memory = {}
    empty = Agent(module=comparison)
    base = empty.memory_bytes('RssAnon')
    empty.stop()
    for name, (module, directive) in load.items():
        agent = Agent(module=module, directives=[directive])
        if name == 'ours':
            count, _ = walk(agent, OURS, bulk, [dump])
        memory[name] = agent.memory_bytes('RssAnon') - base
        agent.stop()

    agent = Agent(module=ours, directives=[load['ours'][1], f'dlmod walkbench {comparison}', load['in-memory'][1], load['floor'][1]])
    tables = {'ours': OURS, 'in-memory': MEMORY, 'floor': BARE}
    times = {name: [] for name in tables}
    for repetition in range(repetitions + 1):
        for name, oid in tables.items():
            walked, each = walk(agent, oid, bulk)
            assert walked == count, f'{name}: {walked} variables, not {count}'
            if repetition > 0:  # the first round only warms up
                times[name].append(each)
    agent.stop()
    median = {name: statistics.median(values) for name, values in times.items()}
    entities = count // 17
    print(f'{entities:7}  ' + '  '.join(f'{median[name] * 1e6:9.2f}' for name in tables)
          + f'  {median["ours"] / median["in-memory"]:14.2f}  {median["ours"] / median["floor"]:10.2f}  '
          + '  '.join(f'{memory[name] / entities:9.0f}' for name in tables), flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--rows', type=int, nargs='+', default=[1000, 10000, 100000])
    parser.add_argument('--repetitions', type=int, default=9)
    parser.add_argument('--bulk', type=int, default=100, help='max-repetitions of a GETBULK')
    options = parser.parse_args()
    print('         agent CPU, us per variable          ratios                      memory, bytes per row')
    print('   rows       ours  in-memory      floor  ours/in-memory  ours/floor       ours  in-memory      floor')
    for rows in options.rows:
        with tempfile.TemporaryDirectory() as folder:
            measure(rows, options.repetitions, options.bulk, pathlib.Path(folder))


if __name__ == '__main__':
    main()
