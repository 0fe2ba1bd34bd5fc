#!/usr/bin/python3
"""What a GETBULK walk of entPhysicalTable costs the agent, beside Net-SNMP's own in-memory table and a bare handler that hold the
same rows in the same snmpd. Prints ratios: the machine drops out of them. Then what the same walk costs through AgentX, where each
variable is a question of the master to the subagent: through orvaned, and through a subagent in Python with the same rows.

Wants the bench preset built; scripts/bench does that. Figures are the median over interleaved repetitions of the agent's processor
time. Memory is what an agent with that table alone has more than one without, for each row; ours holds the inventory too.
"""

import argparse
import json
import os
import pathlib
import re
import signal
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / 'build/bench'
os.environ['ORVANE_BUILD'] = str(BUILD)
sys.path.insert(0, str(ROOT / 'tests/e2e'))
from harness import Agent, Daemon, Process, wait_until  # noqa: E402

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


class PythonSubagent(Process):
    """A running pyagentx_rows.py."""

    def __init__(self, agentx, dump):
        self._command = ['/usr/bin/python3', '-B', str(ROOT / 'bench/walk/pyagentx_rows.py'), str(agentx), str(dump)]
        super().__init__('pyagentx')

    def start(self):
        self._spawn(self._command)


def cpu_seconds(process):
    """Processor time that the main thread has used."""
    return int(pathlib.Path(f'/proc/{process.pid}/schedstat').read_text().split()[0]) / 1e9


def anonymous_bytes(process):
    status = pathlib.Path(f'/proc/{process.pid}/status').read_text()
    return int(re.search(r'^RssAnon:\s+(\d+) kB', status, re.MULTILINE)[1]) * 1024


def walk(agent, oid, bulk, dump=(), behind=None):
    """Walks the table; returns its variables and, for each of them, the processor time of the agent and of a subagent behind it."""
    processes = [agent, behind] if behind else [agent]
    before = [cpu_seconds(process) for process in processes]
    count = int(subprocess.check_output([BUILD / 'walker', f'127.0.0.1:{agent.port}', oid, str(bulk), *dump], text=True))
    return count, [(cpu_seconds(process) - start) / max(count, 1) for process, start in zip(processes, before)]


def medians(repetitions, ways):
    """Interleaved walks of some ways to ask, each of them (name, count, arguments of walk). The medians of their costs, by name."""
    costs = {name: [] for name, *_ in ways}
    for repetition in range(repetitions + 1):
        for name, count, arguments in ways:
            try:
                walked, cost = walk(**arguments)
            except subprocess.CalledProcessError:
                sys.exit(f'{name}: the walk of round {repetition} failed')
            assert walked == count, f'{name}: {walked} variables, not {count}'
            if repetition > 0:  # the first round only warms up
                costs[name].append(cost)
    return {name: [statistics.median(part) for part in zip(*each)] for name, each in costs.items()}


def measure(rows, repetitions, bulk, folder):
    described, dump = folder / 'inventory.json', folder / 'dump'
    described.write_text(json.dumps(inventory(rows)))
    ours, comparison = BUILD / 'orvane.so', BUILD / 'walkbench.so'
    load = {'ours': (ours, f'orvaneInventory {described}'), 'in-memory': (comparison, f'walkMemoryTable {dump}'),
            'floor': (comparison, f'walkBareHandler {dump}')}

    memory = {}
    empty = Agent(module=comparison)
    base = anonymous_bytes(empty)
    empty.stop()
    for name, (module, directive) in load.items():
        agent = Agent(module=module, directives=[directive])
        if name == 'ours':
            count, _ = walk(agent, OURS, bulk, [dump])
        memory[name] = anonymous_bytes(agent) - base
        agent.stop()

    agent = Agent(module=ours, directives=[load['ours'][1], f'dlmod walkbench {comparison}', load['in-memory'][1],
                                           load['floor'][1]])
    tables = {'ours': OURS, 'in-memory': MEMORY, 'floor': BARE}
    costs = medians(repetitions, [(name, count, {'agent': agent, 'oid': oid, 'bulk': bulk}) for name, oid in tables.items()])
    agent.stop()
    median = {name: cost for name, [cost] in costs.items()}
    entities = count // 17
    print(f'{entities:7}  ' + '  '.join(f'{median[name] * 1e6:9.2f}' for name in tables)
          + f'  {median["ours"] / median["in-memory"]:14.2f}  {median["ours"] / median["floor"]:10.2f}  '
          + '  '.join(f'{memory[name] / entities:9.0f}' for name in tables), flush=True)


def measure_agentx(rows, repetitions, bulk, folder):
    described, dump = folder / 'inventory.json', folder / 'dump'
    sockets = folder / 'daemon', folder / 'python'
    described.write_text(json.dumps(inventory(rows)))
    inventory_directive = f'orvaneInventory {described}'
    agent = Agent(module=BUILD / 'orvane.so', directives=[inventory_directive])
    count, _ = walk(agent, OURS, bulk, [dump])
    master, python_master = (Agent(module=None, directives=['master agentx', f'agentXSocket {path}']) for path in sockets)
    daemon, python = Daemon(sockets[0], [inventory_directive]), PythonSubagent(sockets[1], dump)
    for each in master, python_master:
        wait_until(lambda: each.getnext(OURS)[0].oid.startswith(OURS + '.'), timeout=120)

    costs = medians(repetitions, [(name, count, {'agent': asked, 'oid': OURS, 'bulk': bulk, 'behind': behind})
                                  for name, asked, behind in (('module', agent, None), ('orvaned', master, daemon),
                                                              ('Python subagent', python_master, python))])
    for process in daemon, master, agent, python_master:
        process.stop()
    python.end(signal.SIGKILL)
    python.stop()
    for name, (asked, *behind) in costs.items():
        total = asked + sum(behind)
        print(f'{count // 17:7}  {name:15}  {asked * 1e6:9.2f}  {sum(behind) * 1e6:9.2f}  {total * 1e6:9.2f}'
              f'  {total / costs["module"][0]:9.1f}', flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--rows', type=int, nargs='*', default=[1000, 10000, 100000])
    parser.add_argument('--repetitions', type=int, default=9)
    parser.add_argument('--bulk', type=int, default=100, help='max-repetitions of a GETBULK')
    parser.add_argument('--agentx-rows', type=int, nargs='*', default=[10000], help='for the walks through AgentX')
    parser.add_argument('--agentx-repetitions', type=int, default=3)
    options = parser.parse_args()
    if options.rows:
        print('         agent CPU, us per variable          ratios                      memory, bytes per row')
        print('   rows       ours  in-memory      floor  ours/in-memory  ours/floor       ours  in-memory      floor')
    for rows in options.rows:
        with tempfile.TemporaryDirectory() as folder:
            measure(rows, options.repetitions, options.bulk, pathlib.Path(folder))
    if options.agentx_rows:
        print('\n         through AgentX    CPU, us per variable')
        print('   rows  way                   snmpd   subagent       both  times module')
    for rows in options.agentx_rows:
        with tempfile.TemporaryDirectory() as folder:
            measure_agentx(rows, options.agentx_repetitions, options.bulk, pathlib.Path(folder))


if __name__ == '__main__':
    main()
