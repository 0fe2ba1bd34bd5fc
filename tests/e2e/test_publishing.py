"""Publishers beside the inventory file, in the module and in the daemon: what they say is served while it holds."""

import copy
import json
import os
import signal
import stat
import subprocess
import sys
import unittest

from described import CHASSIS, ENTRY, FIXED, SENSOR, Switch
from harness import ROOT, AgentTest, Daemon, SnmpError, wait_until

sys.path.insert(0, str(ROOT / 'tools'))
from orvane_publish import Publisher, Refused, Unreachable  # noqa: E402

VALUE, STATUS = 4, 5
OK, UNAVAILABLE = 1, 2
TEMPERATURE = 100001  # of TempSensor1, in tenths


def temperature(reading, **more):
    return {'tempStatus': {'tempSensor': {'TempSensor1': {'temperature': reading, **more}}}}


class Publishing(AgentTest):
    def served(self, content, through='module', publish=''):
        """Serves what is left of a switch when publishers give the rest."""
        self.switch = Switch(self, content)
        self.socket = str(self.switch.path.parent / 'publish.sock')
        self.inspection = str(self.switch.path.parent / 'inspect.sock')
        directives = [self.switch.directive, f'orvanePublish {self.socket} {publish}', f'orvaneInspect {self.inspection}']
        if through == 'module':
            self.manager = self.process = self.agent(directives=directives)
        else:
            self.manager = self.master()
            self.process = self.daemon(self.manager.agentx, directives)
            self.process.wait_for_log(Daemon.CONNECTED)

    def publisher(self, name, *claims, **options):
        publisher = Publisher(name, claims, socket_path=self.socket, patience=60, **options)
        self.addCleanup(publisher.close)
        return publisher

    def tool(self, *arguments, **options):
        """A running orvane-publish, whose standard input is a pipe."""
        tool = subprocess.Popen([ROOT / 'tools/orvane-publish', '--socket', self.socket, *arguments], stdin=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, **options)
        self.addCleanup(tool.stderr.close)
        self.addCleanup(tool.stdin.close)
        self.addCleanup(tool.wait)
        self.addCleanup(tool.kill)
        return tool

    def cell(self, column, index=TEMPERATURE, table=SENSOR):
        try:
            return self.manager.get(f'{table}.{column}.{index}')[0].value
        except SnmpError:
            return None

    def shows(self, value, *cell, **options):
        wait_until(lambda: self.cell(*cell, **options) == value, f'{cell} does not become {value}')

    def without(self, content, *inputs):
        return {name: value for name, value in copy.deepcopy(content).items() if name not in inputs}

    def side_by_side(self, through):
        self.served(self.without(FIXED, 'tempStatus', 'powerStatus'), through)
        self.assertEqual(self.cell(STATUS), UNAVAILABLE)
        power = self.publisher('power', 'powerStatus', lease=600)
        power.set({'powerStatus': FIXED['powerStatus']})
        thermal = self.tool('--as', 'thermal', '--claim', 'tempStatus', '--lease', '1.5')
        for line in temperature(31.5, hwStatus='ok'), temperature('warm'), temperature(33):
            thermal.stdin.write(json.dumps(line) + '\n')
        thermal.stdin.flush()
        self.shows(330, VALUE)
        self.assertEqual(thermal.stderr.readline(), 'orvane-publish: line 2: tempStatus.tempSensor.TempSensor1.temperature: '
                         'a number is needed, not the text "warm"\n')
        # The file changes what is its own, and nothing else.
        self.switch.system['serialNum'] = 'KV0043'
        self.switch.save()
        self.shows(b'KV0043', 11, 1, table=ENTRY)
        self.assertEqual((self.cell(VALUE), self.cell(STATUS)), (330, OK))
        # It keeps its word while it has nothing new, and is noticed when it is gone.
        thermal.send_signal(signal.SIGKILL)
        self.process.wait_for_log('publisher thermal has been silent for 1.5 s')
        self.shows(UNAVAILABLE, STATUS)
        # Back as if nothing had been; and in time, so that nothing is seen of it.
        again = self.publisher('thermal', 'tempStatus', lease=600)
        again.set(temperature(29, hwStatus='ok'))
        self.assertEqual((self.cell(VALUE), self.cell(STATUS)), (290, OK))
        again.close()
        back = self.publisher('thermal', 'tempStatus', lease=600)
        back.connect()
        self.process.wait_for_log('publisher thermal is back')
        self.assertEqual((self.cell(VALUE), self.cell(STATUS)), (290, OK))
        with self.assertRaises(Refused) as refused:
            self.publisher('other', 'tempStatus').connect()
        self.assertEqual((refused.exception.place, refused.exception.reason), ('tempStatus', 'thermal claims it already'))
        shown = json.loads(subprocess.check_output([ROOT / 'tools/orvane-inspect',
                           '--socket', self.inspection, '--json', 'publishers']))
        self.assertEqual(set(shown), {'the inventory file', 'power', 'thermal'})
        self.assertEqual((shown['thermal']['claims'], shown['thermal']['rows'],
                         shown['thermal']['state']), (['tempStatus'], 1, 'here'))
        back.bye()
        self.shows(UNAVAILABLE, STATUS)

    def test_side_by_side_in_the_module(self):
        self.side_by_side('module')

    def test_side_by_side_in_the_daemon(self):
        self.side_by_side('daemon')

    def test_a_line_card_comes_before_its_chassis(self):
        chassis = copy.deepcopy(CHASSIS)
        slots = chassis['status']['chassis']['cardSlot']
        card = {'status': {'chassis': {'cardSlot': {'3': slots.pop('3')}}}}
        self.served(self.without(CHASSIS, 'status'))
        line_card = self.publisher('card3', 'status/chassis/cardSlot/3', lease=600)
        self.assertEqual(line_card.set(card), ['status.chassis.cardSlot.3'])
        supervisor = self.publisher('supervisor', 'status', lease=600)
        with self.assertRaises(Refused) as refused:
            supervisor.set({'status': CHASSIS['status']})
        self.assertEqual(str(refused.exception), 'status.chassis.cardSlot.3: card3 speaks for it')
        supervisor.set({'status': chassis['status']})
        row = f'{ENTRY}.7.30000001'
        name = self.manager.get(row)[0]
        self.assertEqual(name.type, 'STRING')
        tables = self.manager.walk(ENTRY)
        # An agent on the file alone says the same.
        whole = Switch(self, CHASSIS)
        self.assertEqual(self.agent(directives=[whole.directive]).walk(ENTRY), tables)
        # The chassis goes, and the card waits again.
        supervisor.set({'status': {}})
        self.assertEqual(self.manager.walk(ENTRY), [])
        supervisor.set({'status': chassis['status']})
        self.assertEqual(self.manager.walk(ENTRY), tables)

    def test_an_agent_that_starts_again_is_told_again(self):
        self.served(self.without(FIXED, 'tempStatus'))
        tool = self.tool('--as', 'thermal', '--claim', 'tempStatus', '--lease', '600', '--strict')
        tool.stdin.write(json.dumps(temperature(31.5, hwStatus='ok')) + '\n')
        tool.stdin.flush()
        self.shows(315, VALUE)
        self.process.end()
        self.process.start()
        tool.stdin.write(json.dumps(temperature(32)) + '\n')
        tool.stdin.flush()
        self.shows(320, VALUE)
        self.assertEqual(self.cell(STATUS), OK)
        # Its configuration is read again: the socket and all who are there stay.
        self.process.reload()
        tool.stdin.write('{"tempStatus": {"tempSensor": {"TempSensor1": {"temperature": 33}}}}\n{"tempStatus": 1}\n')
        tool.stdin.flush()
        self.shows(330, VALUE)
        self.assertEqual(tool.wait(60), 1)
        self.assertIn('line 4: tempStatus: an object in braces is needed, not a number', tool.stderr.read())

    def test_who_may_connect(self):
        group = 4711 if os.geteuid() == 0 else os.getgid()
        self.served(FIXED, publish=f'0660 {group}')
        status = os.stat(self.socket)
        self.assertEqual((stat.S_IMODE(status.st_mode), status.st_gid), (0o660, group))
        self.process.reload(self.switch.directive, f'orvanePublish {self.socket} 0999', 'orvanePublish relative')
        self.process.wait_for_log('"0999" is no octal mode')
        self.process.wait_for_log('"relative" is not an absolute path')
        wait_until(lambda: not os.path.exists(self.socket))

    def test_sixty_four_publishers_and_no_more(self):
        """As many as are agreed, which is more than the agent itself has room for."""
        self.served({})
        records = {name: {'temperature': 20 + at} for at, name in enumerate(f'Sensor{at}' for at in range(65))}
        publishers = [self.publisher(name, f'tempStatus/tempSensor/{name}') for name in records]
        for publisher in publishers[:64]:
            publisher.set({'tempStatus': {'tempSensor': {publisher.name: records[publisher.name]}}})
        publishers[64].patience = 0
        with self.assertRaisesRegex(Unreachable, '64 clients are connected already'):
            publishers[64].connect()
        publishers[0].close()
        publishers[64].patience = 60
        publishers[64].connect()

    def test_a_switch_that_is_all_published(self):
        self.served({})
        whole = self.publisher('all', *FIXED, lease=600)
        whole.set(FIXED)
        file = Switch(self, FIXED)
        reference = self.agent(directives=[file.directive])
        self.assertEqual(self.manager.walk(ENTRY), reference.walk(ENTRY))


if __name__ == '__main__':
    unittest.main()
