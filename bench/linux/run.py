#!/usr/bin/python3
"""What orvane-linux costs: a made-up machine of 500 sensors and 128 ports with modules, at the default periods; and then a few of
them as fast as it goes, to see whether it grows. Processor time and memory are those of it and of all its readers.

Wants the bench preset built; scripts/bench does that.
"""

import os
import pathlib
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
os.environ['ORVANE_BUILD'] = str(ROOT / 'build/bench')
sys.path[:0] = [str(ROOT / 'tests/e2e')]
from described import ENTRY, SENSOR, rows  # noqa: E402
from harness import Agent, wait_until  # noqa: E402
from machine import Collector, Machine  # noqa: E402
from test_linux import sfp  # noqa: E402

CHIPS, INPUTS, PORTS = 50, 10, 128
FEW = 10
SECONDS, ROUNDS, HURRY = 20, 10_000, 0.01


def processes(parent):
    children = pathlib.Path(f'/proc/{parent}/task/{parent}/children').read_text().split()
    return [parent, *map(int, children)]


def cpu(parent):
    """Seconds, of it and of those that it has started. What is counted by ticks misses who works for less than one at a time."""
    return sum(int(pathlib.Path(f'/proc/{process}/schedstat').read_text().split()[0]) for process in processes(parent)) / 1e9


def memory(parent):
    """Megabytes that are of nobody else: of it, and of all its readers."""
    def private(process):
        lines = pathlib.Path(f'/proc/{process}/smaps_rollup').read_text().splitlines()
        return sum(int(line.split()[1]) for line in lines if line.startswith('Private_')) / 1024
    own, *readers = map(private, processes(parent))
    return own, sum(readers)


def main():
    test = unittest.TestCase()
    machine = Machine(test)
    try:
        bus = machine.adapter(0, 'pci0000:00/0000:00:1f.4', 'SMBus')
        for chip in range(CHIPS):
            machine.chip(chip, 'lm75', f'{bus}/0-{chip + 8:04x}', 'i2c',
                         **{f'temp{at}_{what}': value for at in range(1, INPUTS + 1)
                            for what, value in (('input', 30000 + at), ('max', 70000), ('crit', 80000), ('fault', 0))})
        for port in range(PORTS):
            machine.write(f'bus/xcvr{port}', sfp(30, f'KV-{port}'))
        setup = 'ip -batch - <<IP\n' + ''.join(
            f'link add p{port} address 02:00:00:00:01:{port:02x} type veth peer name q{port}\n' for port in range(PORTS)) + 'IP\n:'
        rules = 'found:\n' + ''.join(f'- {{match: p{port}, at: port/{port + 1}, eeprom: /sys/bus/xcvr{port}}}\n'
                                     for port in range(PORTS))
        with tempfile.TemporaryDirectory() as folder:
            socket = f'{folder}/publish.sock'
            agent = Agent(directives=[f'orvanePublish {socket}'])
            print(f'{CHIPS * INPUTS} sensors, {PORTS} ports with modules')
            for periods, measure in (('', at_leisure), (f'periods: {{sensors: {HURRY}, transceivers: 1}}\n', in_a_hurry)):
                collector = Collector(machine, socket, periods + rules, setup)
                collector.wait_for_agent()
                wait_until(lambda: len(rows(agent, SENSOR)) >= CHIPS * INPUTS + 5 * PORTS)
                measure(machine, collector)
                collector.stop()
            print(f'  rows served: {len(rows(agent, ENTRY))}')
            agent.stop()
    finally:
        test.doCleanups()


def at_leisure(machine, collector):
    time.sleep(5)
    before = cpu(collector.pid)
    time.sleep(SECONDS)
    share = (cpu(collector.pid) - before) / SECONDS
    print(f'  at the default periods: {100 * share:.2f} % of a core, {len(processes(collector.pid))} processes, '
          '{:.1f} MB and {:.1f} MB of its readers'.format(*memory(collector.pid)))


def in_a_hurry(machine, collector):
    """A few chips, whose readings change all the time."""
    device = 'pci0000:00/0000:00:1f.4/i2c-0/0-0008'
    for chip in range(FEW, CHIPS):
        machine.gone('lm75', f'pci0000:00/0000:00:1f.4/i2c-0/0-{chip + 8:04x}')
    wait_until(lambda: len(processes(collector.pid)) <= FEW + 4)
    began, done = time.monotonic(), 0
    for goal in (ROUNDS // 10, ROUNDS):
        while done < goal:
            machine.set('lm75', device, temp1_input=30000 + int(time.monotonic() * 1000) % 9000)
            time.sleep(0.1)
            done = int((time.monotonic() - began) / HURRY)
        print('  after {} rounds, {:.0f} s: {:.1f} MB and {:.1f} MB of its readers'.format(
            done, time.monotonic() - began, *memory(collector.pid)), flush=True)


main()
