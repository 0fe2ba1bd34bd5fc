"""The inspection of a running agent: what it shows, to whom, and that no client can hold the agent up."""

import json
import os
import re
import shutil
import signal
import socket
import subprocess
import unittest

from described import CHASSIS, CONTAINED_IN, ENTRY, FIXED, Switch, rows
from harness import ROOT, AgentTest, meanwhile, wait_until

TOOL = ROOT / 'tools/orvane-inspect'
MODEL = 'snmp/fru/entitymib/physicalEntity'


class Inspection(AgentTest):
    def served(self, content=FIXED):
        self.switch = Switch(self, content)
        self.socket = self.switch.path.parent / 'inspect.sock'
        self.running = self.agent(directives=[self.switch.directive, f'orvaneInspect {self.socket}'])

    def inspect(self, *arguments):
        return subprocess.run([TOOL, '--socket', self.socket, *arguments], capture_output=True, text=True, timeout=120)

    def json(self, *arguments):
        run = self.inspect('--json', *arguments)
        self.assertEqual((run.returncode, run.stderr), (0, ''))
        found = json.loads(run.stdout)
        self.assertEqual(run.stdout, json.dumps(found, indent=1, sort_keys=True) + '\n')
        return found

    def connect(self):
        client = socket.socket(socket.AF_UNIX)
        self.addCleanup(client.close)
        client.settimeout(60)
        client.connect(str(self.socket))
        return client

    def test_what_it_shows(self):
        self.served(CHASSIS)
        self.assertEqual(self.json('--depth', '0'), {'input': 'Zef::Dir', 'snmp': 'Zef::Dir'})
        # Every row's model, by the value that a manager gets too.
        model, table = self.json('--depth', '2', 'snmp/fru/entitymib')['physicalEntity'], rows(self.running)
        self.assertEqual({int(index): entity['containedIn'] for index, entity in model.items()},
                         {index: row[CONTAINED_IN] for index, row in table.items()})
        # The projection itself, names with a "/", a value within a value.
        root = self.json('--depth', '0', 'root')
        self.assertEqual(int(root['component'].split()[0]), len(self.json('root/component')))
        self.assertTrue(any('handleOutStandingTrap' in text for text in self.json('trace').values()))
        ports = self.switch.content['xcvrStatusDir']['xcvrStatus']
        port = next(name for name, status in ports.items() if 'domThreshold' in status)
        shown = self.json('input/xcvrStatusDir/xcvrStatus/' + port.replace('/', '%2F'))
        self.assertEqual(shown['domThreshold'], ports[port]['domThreshold'])
        # As a tree, and again and again.
        self.assertIn('\n  tag = ', self.inspect('--depth', '2', 'input/status').stdout)
        with subprocess.Popen([TOOL, '--socket', self.socket, '--watch', '0.05', '--json', 'root/stateTrapCounter'],
                              stdout=subprocess.PIPE, text=True) as watch:
            self.assertEqual([list(json.loads(watch.stdout.readline())) for _ in range(3)], [['stateTrapCounter']] * 3)
            watch.terminate()
        # What the models declare.
        types = self.json('--depth', '0', 'types')
        declared = re.findall(r'^(?:value|record|entity) (Orvane::\w+):', (ROOT / 'model/types.txt').read_text(), re.M)
        self.assertEqual([name for name in types if name.startswith('Orvane::')], sorted(declared))
        self.assertEqual(self.json('types/EntityMib::CardSlot'), {'card': 'EntityMib::Card, 266'})
        self.assertIn(' by EntityMib::ParentIndex', self.json('types/EntityMib::Card')['port'])
        for path in 'input/state', 'input/status/chassis/cardSlot/9999', 'types/Nothing', '%ZZ', 'x' * 3000:
            run = self.inspect(path)
            self.assertEqual(run.returncode, 1, path)
            self.assertIn('there is no', run.stderr)
        self.assertEqual(self.inspect('--socket', '/nonexistent/socket').returncode, 2)

    def test_any_name_can_be_shown_and_asked_for(self):
        self.served()
        names = ['x\n.\ny', '! bad', '.', '%', '100%', 'a/b', 'tab\there', 'blank ed']
        self.switch.content['coolingStatus']['fan'].update({name: {'speed': number} for number, name in enumerate(names)})
        self.switch.system['sensor']['1'].update(tag='', label='')
        self.switch.publish(self.running)
        shown = self.json('--depth', '2', 'input/coolingStatus')['fan']
        self.assertEqual({name: shown[name]['speed'] for name in names}, {name: number for number, name in enumerate(names)})
        self.assertEqual(self.json('input/coolingStatus/fan/100%25')['speed'], 4)
        self.assertIn('entity', self.json('root/component/%'))

    @unittest.skipUnless(os.geteuid() == 0, 'only root can be somebody else')
    def test_nothing_is_served_to_another_user(self):
        self.served()
        code = 'import socket, sys; s = socket.socket(socket.AF_UNIX); s.connect(sys.argv[1]); s.send(b"root\\n"); print(s.recv(9))'

        def as_nobody():
            return subprocess.run(['/usr/bin/python3', '-c', code, self.socket], user='nobody', capture_output=True, text=True)
        self.assertEqual(self.socket.stat().st_mode & 0o7777, 0o600)
        os.chmod(self.socket.parent, 0o755)
        self.assertIn('PermissionError', as_nobody().stderr)
        # Even if somebody opens it up.
        os.chmod(self.socket, 0o666)
        refused = as_nobody()
        self.assertTrue(refused.stdout == "b''\n" or 'BrokenPipe' in refused.stderr or 'ConnectionReset' in refused.stderr, refused)
        self.assertEqual(self.inspect('root').returncode, 0)

    @unittest.skipUnless(os.geteuid() == 0, 'only root becomes somebody else')
    def test_files_are_touched_with_the_rights_of_the_agents_own_user(self):
        switch = Switch(self)
        folder, self.socket = switch.path.parent, switch.path.with_name('nobody.sock')
        options = {'directives': [switch.directive, f'orvaneInspect {self.socket}'], 'options': ['-u', 'nobody'],
                   'wrapper': ['env', 'ASAN_OPTIONS=detect_leaks=0']}  # which nobody may look for
        folder.chmod(0o755)
        switch.path.chmod(0o600)
        refused = self.agent(**options)
        refused.wait_for_log(f'^orvane: refused {switch.path}: Permission denied$')
        refused.wait_for_log(f'^orvane: orvaneInspect {self.socket}: bind: Permission denied$')
        refused.stop()
        shutil.chown(folder, 'nobody')
        switch.path.chmod(0o644)
        self.agent(**options).wait_for_log(f'^orvane: took {switch.path}$')
        self.assertEqual((self.socket.owner(), self.socket.stat().st_mode & 0o7777), ('nobody', 0o600))
        self.assertEqual(self.inspect('input').returncode, 0)
        # An agent that stays root keeps away from there.
        self.agent(directives=options['directives']).wait_for_log(
            f'orvaneInspect {self.socket}: {folder} is no folder that root alone can write to')

    def test_no_client_holds_the_agent_up(self):
        self.served()
        deaf, rubbish = self.connect(), self.connect()
        deaf.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1)
        deaf.sendall(f'{MODEL}\n'.encode() * 100)
        rubbish.sendall(b'\xff' * 10000)
        many = [self.connect() for _ in range(20)]
        self.assertTrue(self.running.walk(ENTRY + '.5'))
        with self.assertRaises(ConnectionResetError):  # what it sent was not read to its end
            rubbish.recv(1)
        self.running.wait_for_log('dropped a client of the inspection: it sends more than it reads')
        self.running.wait_for_log('dropped a client of the inspection: it does not read')
        for client in many:
            client.close()
        wait_until(lambda: self.inspect('root').returncode == 0, 'no place for a new client')
        # One that has asked all it wants is answered all.
        patient = self.connect()
        patient.sendall(f'{MODEL}\n'.encode() * 20 + b'types\n')
        patient.shutdown(socket.SHUT_WR)
        answer = b''.join(iter(lambda: patient.recv(65536), b''))
        self.assertEqual(answer.count(b'\n.\n'), 21)
        self.assertIn(b'Orvane::Root\tmember\tZef::Entity\n', answer)

    def test_it_is_there_while_the_directive_is(self):
        self.served()
        directives = self.running.directives
        self.running.reload(self.switch.directive)
        self.assertFalse(self.socket.exists())
        in_the_way = self.switch.path.with_name('in-the-way')
        in_the_way.write_text('kept')
        self.running.reload(f'orvaneInspect {in_the_way}')
        self.running.wait_for_log(f'orvaneInspect {in_the_way}: there is something else than a socket')
        self.assertEqual(in_the_way.read_text(), 'kept')
        self.running.reload(*directives)
        self.assertEqual(self.inspect().returncode, 0)
        self.socket.unlink()
        self.running.reload()
        self.assertEqual(self.inspect().returncode, 0)
        # What a killed agent leaves behind is taken over, what another one serves is not.
        self.running.end(signal.SIGKILL)
        self.assertTrue(self.socket.exists())
        self.agent(directives=directives)
        self.assertEqual(self.inspect().returncode, 0)
        self.agent(directives=directives).wait_for_log('another process serves it')
        self.assertEqual(self.inspect().returncode, 0)

    def test_each_answer_is_one_moment_while_cards_come_and_go_under_a_walk(self):
        self.served(CHASSIS)
        slots = self.switch.content['status']['chassis']['cardSlot']
        slot = next(key for key, value in slots.items() if len(value.get('card', {}).get('port', {})) > 4)
        client = self.connect()
        lines = client.makefile('r')

        def ask():
            client.sendall(f'{MODEL}\n'.encode())
            return frozenset(line.split('\t')[0] for line in iter(lines.readline, '.\n'))

        whole, card = ask(), slots[slot].pop('card')
        self.switch.publish(self.running)
        without = ask()
        self.assertGreater(len(whole - without), 10)
        with meanwhile(lambda: self.running.walk(ENTRY + '.5')):
            for change, after in [(lambda: slots[slot].update(card=card), whole), (lambda: slots[slot].pop('card'), without)] * 3:
                change()
                self.switch.save()
                seen = None
                while seen != after:  # all of the card or none of it, never a part
                    seen = ask()
                    self.assertIn(seen, (whole, without))
                    self.json('--depth', '3', f'input/status/chassis/cardSlot/{slot}')  # put together from several answers


if __name__ == '__main__':
    unittest.main()
