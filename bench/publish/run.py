#!/usr/bin/python3
"""What publishers cost a running agent, and what a manager feels of them: chassis of three sizes, published whole through the
socket, and then their readings. Figures of processor time are the agent's own; those of a manager stand beside the same without
publishers.

Wants the bench preset built; scripts/bench does that.
"""

import argparse
import json
import os
import pathlib
import socket
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
os.environ['ORVANE_BUILD'] = str(ROOT / 'build/bench')
sys.path[:0] = [str(ROOT / 'tests/e2e'), str(ROOT / 'tools')]
from harness import Agent, wait_until  # noqa: E402
from orvane_publish import Publisher  # noqa: E402

SIZES = {1_000: '--slots 2 --ports 32 --transceivers 22', 10_000: '--slots 12 --ports 48 --transceivers 36',
         100_000: '--slots 59 --ports 128 --transceivers 63'}
SENSOR, ROW = 'TempSensor3/1', '1.3.6.1.2.1.99.1.1.1.4.30100001'
TICK = os.sysconf('SC_CLK_TCK')


def cpu(agent):
    """Seconds of processor time that it has used."""
    fields = pathlib.Path(f'/proc/{agent.pid}/stat').read_text().rpartition(')')[2].split()
    return (int(fields[11]) + int(fields[12])) / TICK


def memory(agent, what='VmRSS'):
    status = pathlib.Path(f'/proc/{agent.pid}/status').read_text()
    return int(status.partition(f'{what}:')[2].split()[0]) / 1024


def patch(reading):
    return b'{"patch":{"tempStatus":{"tempSensor":{"%s":{"temperature":%d}}}}}\n' % (SENSOR.encode(), reading)


class Manager:
    """A GET of one reading, again and again, over one UDP socket."""

    def __init__(self, port):
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.settimeout(10)
        self._socket.connect(('127.0.0.1', port))
        parts = [int(part) for part in ROW.split('.')]
        oid = bytes([43]) + b''.join(self._base128(part) for part in parts[2:])
        binding = self._tlv(0x30, self._tlv(6, oid) + b'\x05\x00')
        pdu = self._tlv(0xa0, b'\x02\x04\x00\x00\x00\x01' + b'\x02\x01\x00' * 2 + self._tlv(0x30, binding))
        self._request = self._tlv(0x30, b'\x02\x01\x01' + self._tlv(4, b'public') + pdu)

    @staticmethod
    def _base128(number):
        digits = [number & 127]
        while number := number >> 7:
            digits.insert(0, number & 127 | 128)
        return bytes(digits)

    @staticmethod
    def _tlv(tag, value):
        assert len(value) < 128
        return bytes([tag, len(value)]) + value

    def get(self):
        """The reading: the last bytes of the answer."""
        self._socket.send(self._request)
        answer = self._socket.recv(2000)
        oid = answer.rindex(self._base128(30100001))
        return int.from_bytes(answer[oid + 6:], 'big')

    def latencies(self, count):
        """The median and the 99th percentile, in microseconds."""
        times = []
        for _ in range(count):
            began = time.perf_counter()
            self.get()
            times.append((time.perf_counter() - began) * 1e6)
        return statistics.median(times), statistics.quantiles(times, n=100)[98]


class Client:
    """A publisher of readings without the module, which waits for each answer: this one sends many lines at once."""

    def __init__(self, path, name, claim):
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.connect(path)
        self.say(json.dumps({'publisher': name, 'claims': [claim], 'lease': 600}).encode() + b'\n', 1)

    def say(self, lines, count):
        self._socket.sendall(lines)
        answers = b''
        while answers.count(b'\n') < count:
            answers += self._socket.recv(65536)
        assert b'error' not in answers, answers


def measured(rows, folder):
    content = json.loads(subprocess.check_output([ROOT / 'examples/make-chassis', *SIZES[rows].split()]))
    path = str(folder / 'publish.sock')
    file = folder / 'switch.json'
    file.write_text(json.dumps(content))
    print(f'{rows} rows')

    agent = Agent(directives=[f'orvaneInventory {file}'])
    from_file = cpu(agent)
    print(f'  all of it from the file:   {from_file:7.2f} s of the agent, start included; {memory(agent):5.0f} MB, '
          f'{memory(agent, "VmHWM"):.0f} at most')
    agent.stop()

    agent = Agent(directives=[f'orvanePublish {path}'])
    before = cpu(agent)
    with Publisher('hardware', [name for name in content if name != 'tempStatus'], lease=600, socket_path=path) as whole:
        temperatures = Client(path, 'thermal', 'tempStatus')
        whole.set({name: value for name, value in content.items() if name != 'tempStatus'})
        temperatures.say(json.dumps({'set': {'tempStatus': content['tempStatus']}}).encode() + b'\n', 1)
        print(f'  all of it from publishers: {cpu(agent) - before:7.2f} s of the agent; {memory(agent):5.0f} MB, '
              f'{memory(agent, "VmHWM"):.0f} at most')
        manager = Manager(agent.port)

        count = 20_000
        before = cpu(agent)
        for reading in range(count):
            temperatures.say(patch(20 + reading % 60), 1)
        print(f'  a reading, one by one:     {(cpu(agent) - before) / count * 1e6:7.1f} us of the agent')

        before, began, count = cpu(agent), time.monotonic(), 0
        while time.monotonic() - began < 5:
            temperatures.say(b''.join(map(patch, range(20, 84))), 64)
            count += 64
        busy = cpu(agent) - before
        print(f'  a reading, at full speed:  {busy / count * 1e6:7.1f} us of the agent: '
              f'{count / busy / 2:.0f} a second at half a core')

        quiet = manager.latencies(3000)
        clients = [subprocess.Popen([sys.executable, __file__, '--flood', path, str(number)]) for number in range(2)]
        wait_until(lambda: 'flood1' in agent.log())
        loud = manager.latencies(3000)
        for client in clients:
            client.kill()
            client.wait()
        print(f'  a GET, p50 and p99:        {quiet[0]:7.0f} and {quiet[1]:.0f} us; with two publishers at full speed '
              f'{loud[0]:.0f} and {loud[1]:.0f}')

        delays = []
        for reading in range(200):
            began = time.perf_counter()
            temperatures.say(patch(20 + reading % 2 * 30), 1)
            while manager.get() != (20 + reading % 2 * 30) * 10:
                pass
            delays.append((time.perf_counter() - began) * 1e6)
        print(f'  from a line to the GET that shows it: {statistics.median(delays):.0f} us')

        again = cpu(agent)
        whole.set({name: value for name, value in content.items() if name != 'tempStatus'})
        print(f'  all of it again:           {cpu(agent) - again:7.2f} s of the agent')
    agent.stop()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--rows', type=int, choices=SIZES, help='one of the sizes alone')
    parser.add_argument('--flood', nargs=2, metavar=('SOCKET', 'NUMBER'), help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    if arguments.flood:
        path, number = arguments.flood
        client = Client(path, f'flood{number}', f'powerConfig/voltageSensor/Flood{number}')
        line = b'{"patch":{"powerConfig":{"voltageSensor":{"Flood%s":{"sensorPollInterval":%d}}}}}\n'
        while True:
            client.say(b''.join(line % (number.encode(), value) for value in range(64)), 64)
    with tempfile.TemporaryDirectory(prefix='publish-') as folder:
        for rows in [arguments.rows] if arguments.rows else SIZES:
            measured(rows, pathlib.Path(folder))


if __name__ == '__main__':
    main()
