"""The inspection of a running agent: what it shows, to whom, and that no client can hold the agent up."""

import collections
import json
import os
import re
import shutil
import socket
import subprocess
import sys
import threading
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from described import ENTRY, Switch, rows  # noqa: E402
from harness import MODULE, ROOT, AgentTest, wait_until  # noqa: E402

TOOL = ROOT / 'tools/orvane-inspect'


class Inspection(AgentTest):
    def setUp(self):
        self.switch = Switch(self)
        self.socket = self.switch.path.parent / 'inspect.sock'
        self.running = self.agent(directives=[self.switch.directive, f'orvaneInspect {self.socket}'])

    def inspect(self, *arguments):
        return subprocess.run([TOOL, '--socket', self.socket, *arguments], capture_output=True, text=True, timeout=60)

    def json(self, *arguments):
        run = self.inspect('--json', *arguments)
        self.assertEqual((run.returncode, run.stderr), (0, ''))
        found = json.loads(run.stdout)
        self.assertEqual(run.stdout, json.dumps(found, indent=1, sort_keys=True) + '\n')
        return found

    def connect(self, path=None):
        client = socket.socket(socket.AF_UNIX)
        self.addCleanup(client.close)
        client.settimeout(20)
        client.connect(str(path or self.socket))
        return client

    def test_what_it_shows(self):
        self.assertEqual(self.json('--depth', '0'), {'input': 'Zef::Dir', 'snmp': 'Zef::Dir'})
        system = self.json('input/status/fixedSystem')
        described = self.switch.system
        self.assertEqual(system['tag'], described['tag'])
        self.assertEqual(sorted(system['sensor'], key=int), sorted(described['sensor'], key=int))
        # Every row's model, by the value that a manager gets too.
        model = self.json('--depth', '2', 'snmp/fru/entitymib')['physicalEntity']
        table = rows(self.running)
        self.assertEqual(sorted(map(int, model)), sorted(table))
        for index, row in table.items():
            self.assertEqual(model[str(index)]['containedIn'], row[4])
        # Names with a "/", the projection itself, values by key, a whole group.
        supply = next(name for name in self.switch.content['powerStatus']['voltageSensor'] if '/' in name)
        path = 'powerStatus/voltageSensor/' + supply.replace('/', '%2F')
        reading = self.switch.content['powerStatus']['voltageSensor'][supply]['voltage']
        self.assertAlmostEqual(self.json('input/' + path)['voltage'], reading, places=5)
        root = self.json('--depth', '0', 'root')
        self.assertEqual(int(root['component'].split()[0]), len(self.json('root/component')))
        self.assertGreaterEqual(root['stateTrapCounter'], 1)
        waiting = self.json('root/pendingStateTrap')
        self.assertTrue(all(trap['alarmStatus'] == 128 for trap in waiting.values()))
        self.assertTrue(any('handleOutStandingTrap' in text for text in self.json('trace').values()))
        # As a tree, and again and again.
        self.assertIn('\n  tag = ', self.inspect('--depth', '2', 'input/status').stdout)
        with subprocess.Popen([TOOL, '--socket', self.socket, '--watch', '0.05', '--json', 'root/stateTrapCounter'],
                              stdout=subprocess.PIPE, text=True) as watch:
            lines = [json.loads(watch.stdout.readline()) for _ in range(5)]
            watch.terminate()
        self.assertEqual([list(line) for line in lines], [['stateTrapCounter']] * 5)

    def test_what_it_refuses(self):
        for path in ('input/state', 'input/status/fixedSystem/sensor/9999', 'root/root', '%ZZ', 'x' * 3000):
            run = self.inspect(path)
            self.assertEqual(run.returncode, 1, path)
            self.assertIn('there is nothing at', run.stderr)
        self.assertEqual(self.inspect('--socket', '/nonexistent/socket').returncode, 2)
        self.assertEqual(self.socket.stat().st_mode & 0o7777, 0o600)

    @unittest.skipUnless(os.geteuid() == 0, 'only root can be somebody else')
    def test_nothing_is_served_to_another_user(self):
        code = 'import socket, sys; s = socket.socket(socket.AF_UNIX); s.connect(sys.argv[1]); s.send(b"root\\n"); print(s.recv(9))'

        def as_nobody():
            return subprocess.run(['/usr/bin/python3', '-c', code, self.socket], user='nobody', capture_output=True, text=True)
        os.chmod(self.socket.parent, 0o755)
        self.assertIn('PermissionError', as_nobody().stderr)
        # Even if somebody opens it up.
        os.chmod(self.socket, 0o666)
        refused = as_nobody()
        self.assertTrue(refused.stdout == "b''\n" or 'BrokenPipe' in refused.stderr or 'ConnectionReset' in refused.stderr, refused)
        self.assertEqual(self.inspect('root').returncode, 0)

    @unittest.skipUnless(os.geteuid() == 0, 'only root becomes somebody else')
    def test_files_are_touched_with_the_rights_of_the_agents_own_user(self):
        folder = self.switch.path.parent
        socket = folder / 'nobody.sock'
        self.running.directives[1] = f'orvaneInspect {socket}'
        options = {'directives': self.running.directives, 'options': ['-u', 'nobody'],
                   'wrapper': ['env', 'ASAN_OPTIONS=detect_leaks=0']}  # which nobody may look for
        folder.chmod(0o755)
        self.switch.path.chmod(0o600)
        refused = self.agent(**options)
        refused.wait_for_log(f'^orvane: refused {self.switch.path}: Permission denied$')
        refused.wait_for_log(f'^orvane: orvaneInspect {socket}: bind: Permission denied$')
        refused.stop()
        shutil.chown(folder, 'nobody')
        self.switch.path.chmod(0o644)
        self.agent(**options).wait_for_log(f'^orvane: took {self.switch.path}$')
        self.assertEqual((socket.owner(), socket.stat().st_mode & 0o7777), ('nobody', 0o600))
        self.assertEqual(self.inspect('--socket', socket, 'input').returncode, 0)
        # An agent that stays root keeps away from there.
        self.running.write_config()
        self.running.reload()
        self.running.wait_for_log(f'orvaneInspect {socket}: {folder} is no folder that root alone can write to')

    def test_no_client_holds_the_agent_up(self):
        deaf = self.connect()
        deaf.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1)
        deaf.sendall(b'snmp/fru/entitymib/physicalEntity\n' * 100)
        rubbish = self.connect()
        rubbish.sendall(b'\xff' * 10000)
        many = [self.connect() for _ in range(20)]
        began = time.monotonic()
        self.assertTrue(self.running.walk(ENTRY + '.5'))
        self.assertLess(time.monotonic() - began, 5)
        with self.assertRaises(ConnectionResetError):  # what it sent was not read to its end
            rubbish.recv(1)
        self.running.wait_for_log('dropped a client of the inspection: it sends more than it reads')
        self.running.wait_for_log('dropped a client of the inspection: it does not read', timeout=20)
        for client in many:
            client.close()
        wait_until(lambda: self.inspect('root').returncode == 0, message='no place for a new client')

    def test_it_is_there_while_the_directive_is(self):
        self.running.directives = [self.switch.directive]
        self.running.write_config()
        self.running.reload()
        self.assertFalse(self.socket.exists())
        in_the_way = self.switch.path.parent / 'in-the-way'
        in_the_way.write_text('kept')
        self.running.directives = [self.switch.directive, f'orvaneInspect {in_the_way}']
        self.running.write_config()
        self.running.reload()
        self.running.wait_for_log(f'orvaneInspect {in_the_way}: there is something else than a socket')
        self.assertEqual(in_the_way.read_text(), 'kept')
        self.running.directives = [self.switch.directive, f'orvaneInspect {self.socket}']
        self.running.write_config()
        self.running.reload()
        self.assertEqual(self.inspect().returncode, 0)
        self.socket.unlink()
        self.running.reload()
        self.assertEqual(self.inspect().returncode, 0)
        # What a killed agent leaves behind is taken over.
        self.running.kill()
        shutil.rmtree(self.running.folder)
        self.assertTrue(self.socket.exists())
        self.agent(directives=[self.switch.directive, f'orvaneInspect {self.socket}'])
        self.assertEqual(self.inspect().returncode, 0)
        third = self.agent(directives=[f'orvaneInspect {self.socket}'])
        third.wait_for_log('another process serves it')
        self.assertEqual(self.inspect().returncode, 0)

    def test_it_agrees_with_itself_while_parts_come_and_go(self):
        supplies = self.switch.system['powerSupplySlot']
        slot, held = next((key, value['powerSupply']) for key, value in supplies.items() if 'powerSupply' in value)
        for _ in range(5):
            for part in (None, held):
                supplies[slot].pop('powerSupply', None)
                if part:
                    supplies[slot]['powerSupply'] = part
                self.switch.publish(self.running)
                model = self.json('--depth', '1', 'snmp/fru/entitymib/physicalEntity')
                self.assertEqual(sorted(map(int, model)), sorted(rows(self.running)))

    def test_each_answer_is_one_moment_while_cards_come_and_go_under_a_walk(self):
        switch = Switch(self, json.loads((ROOT / 'examples/chassis-switch.json').read_text()))
        inspected = switch.path.parent / 'chassis.sock'
        agent = self.agent(directives=[switch.directive, f'orvaneInspect {inspected}'])
        slots = switch.content['status']['chassis']['cardSlot']
        slot = next(key for key, value in slots.items() if len(value.get('card', {}).get('port', {})) > 4)
        card = slots[slot]['card']
        client = self.connect(inspected)
        lines = client.makefile('r')

        def ask(path):
            client.sendall(path.encode() + b'\n')
            answer = list(iter(lines.readline, '.\n'))
            return frozenset(line.split('\t')[0] for line in answer)

        whole = ask('snmp/fru/entitymib/physicalEntity')
        slots[slot].pop('card')
        switch.publish(agent)
        without = ask('snmp/fru/entitymib/physicalEntity')
        self.assertGreater(len(whole - without), 10)
        walks, seen = [], collections.Counter()
        stop = threading.Event()
        walker = threading.Thread(target=lambda: [walks.append(len(agent.walk(ENTRY + '.5'))) for _ in iter(stop.is_set, True)])
        walker.start()
        self.addCleanup(walker.join)
        self.addCleanup(stop.set)
        for turn in range(10):
            if turn % 2:
                slots[slot].pop('card')
            else:
                slots[slot]['card'] = card
            switch.save()
            until = time.monotonic() + 0.7
            while time.monotonic() < until:
                seen[ask('snmp/fru/entitymib/physicalEntity')] += 1
                subprocess.run([TOOL, '--socket', inspected, '--depth', '3', f'input/status/chassis/cardSlot/{slot}'], check=True,
                               stdout=subprocess.DEVNULL)
        # All of the card or none of it, never a part; and both were met.
        self.assertEqual(set(seen), {whole, without})
        self.assertTrue(walks)

    def test_any_name_can_be_shown_and_asked_for(self):
        names = ['x\n.\ny', '! bad', '.', '%', '100%', 'a/b', 'tab\there', 'blank ed']
        fans = self.switch.content['coolingStatus']['fan']
        fans.update({name: {'speed': number} for number, name in enumerate(names)})
        nameless = self.switch.system['sensor']['1']
        nameless['tag'] = nameless['label'] = ''
        self.switch.publish(self.running)
        shown = self.json('--depth', '2', 'input/coolingStatus')['fan']
        self.assertEqual({name: shown[name]['speed'] for name in names}, {name: number for number, name in enumerate(names)})
        self.assertEqual(self.json('input/coolingStatus/fan/100%25')['speed'], 4)
        self.assertIn('entity', self.json('--depth', '3', 'root')['component'][''])
        self.assertIn('entity', self.json('root/component/%'))
        # A value within a value, as it is read back too.
        switch = Switch(self, json.loads((ROOT / 'examples/chassis-switch.json').read_text()))
        self.running.directives[0] = switch.directive
        self.running.write_config()
        self.running.reload()
        port = next(name for name, status in switch.content['xcvrStatusDir']['xcvrStatus'].items() if 'domThreshold' in status)
        threshold = self.json('input/xcvrStatusDir/xcvrStatus/' + port.replace('/', '%2F'))['domThreshold']
        self.assertEqual(threshold, switch.content['xcvrStatusDir']['xcvrStatus'][port]['domThreshold'])

    def test_a_client_that_has_asked_all_it_wants_is_answered(self):
        client = self.connect()
        client.sendall(b'snmp/fru/entitymib/physicalEntity\n' * 20 + b'types\n')
        client.shutdown(socket.SHUT_WR)
        answer = b''.join(iter(lambda: client.recv(65536), b''))
        self.assertEqual(answer.count(b'\n.\n'), 21)
        self.assertIn(b'Orvane::Root\tmember\tZef::Entity\n', answer)

    def test_it_shows_what_the_models_declare(self):
        types = self.json('--depth', '0', 'types')
        self.assertEqual(types['EntityMib::Card'], 'EntityMib::Fru')
        declared = (ROOT / 'model/types.txt').read_text()
        declared = re.findall(r'^(?:value|record|entity) (Orvane::\w+):', declared, re.M)
        self.assertEqual([name for name in types if name.startswith('Orvane::')], sorted(declared))
        dump = subprocess.run(['readelf', '--string-dump=.zef.type', MODULE], capture_output=True, text=True, check=True)
        self.assertEqual(re.findall(r'Orvane::\w+', dump.stdout), declared)
        card = self.json('types/EntityMib::CardSlot')
        self.assertEqual(card, {'card': 'EntityMib::Card, 266'})
        self.assertIn(' by EntityMib::ParentIndex', self.json('types/EntityMib::Card')['port'])
        self.assertEqual(self.inspect('types/Nothing').returncode, 1)


if __name__ == '__main__':
    unittest.main()
