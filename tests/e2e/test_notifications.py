"""Notifications as a receiver gets them: what each one says, by every road, when it leaves, and that no sink holds up the agent."""

import copy
import itertools
import re
import socket
import time
import unittest

from described import LAST_CHANGE, Switch, rows
from harness import AgentTest, Receiver, Var, free_port, wait_until

PHYSICAL_DESCR = '1.3.6.1.2.1.47.1.1.1.1.2'
SENSOR_VALUE = '1.3.6.1.2.1.99.1.1.1.4'
STATE_OPER, STATE_ADMIN, STATE_ALARM = (f'1.3.6.1.2.1.131.1.1.1.{column}' for column in (3, 2, 5))
CONFIG_CHANGE = '1.3.6.1.2.1.47.2.0.1'
OPER_ENABLED, OPER_DISABLED = '1.3.6.1.2.1.131.0.1', '1.3.6.1.2.1.131.0.2'
SENSOR_ALARM = '1.3.6.1.4.1.59871.3.12.0.1'
OURS = ('1.3.6.1.2.1.47.2.0', '1.3.6.1.2.1.131.0', '1.3.6.1.4.1.59871')

LOCKED, UNLOCKED, GONE = 2, 4, 1  # entStateAdmin; a part that is gone says unknown
CLEAR, WARNING, CRITICAL, UNKNOWN = b'\x00', b'\x04', b'\x20', b'\x80'  # entStateAlarm

INLET, PORT, FAN, FAN_SENSOR = 100001, 200001, 1021100, 1021101
DESCRIPTIONS = {INLET: b'Air inlet', PORT: b'Port 1', FAN: b'Fan', FAN_SENSOR: b'Fan speed'}
BENCH = {
    'status': {'fixedSystem': {
        'tag': 'FixedSystem', 'label': '1', 'description': 'Bench switch',
        'port': {'1': {'tag': 'Ethernet', 'label': '1', 'description': 'Port 1'}},
        'sensor': {'1': {'tag': 'TempSensor', 'label': '1', 'description': 'Air inlet'}},
        'fanTraySlot': {'2': {'tag': 'FanTraySlot', 'label': '2', 'fanTray': {
            'tag': 'FanTray', 'label': '2', 'description': 'Fan tray', 'fan': {'1': {
                'tag': 'Fan', 'label': '1', 'description': 'Fan',
                'sensor': {'1': {'tag': 'FanSensor', 'label': '1', 'description': 'Fan speed'}}}}}}}}},
    'tempStatus': {'tempSensor': {'TempSensor1': {'hwStatus': 'ok', 'temperature': 27.5}}},
    'tempConfig': {'tempSensor': {'TempSensor1': {'overheatThreshold': 60.0, 'criticalThreshold': 70.0}}},
    'coolingStatus': {'fan': {'Fan2/1': {'hwStatus': 'ok', 'speed': 42.0, 'properties': {'maxRpm': 18000}}}},
    'intfStatusDir': {'intfStatus': {}},
    'intfConfigDir': {'intfConfig': {'Ethernet1': {'adminEnabledStateLocal': True}}},
}


def state(oid, index, admin):
    """entStateOperEnabled or entStateOperDisabled, whole. Its alarm status is that of a row which was never classified."""
    return oid, (Var(f'{STATE_ADMIN}.{index}', 'INTEGER', admin), Var(f'{STATE_ALARM}.{index}', 'STRING', UNKNOWN),
                 Var(f'{PHYSICAL_DESCR}.{index}', 'STRING', DESCRIPTIONS[index]))


def alarm(index, value, status):
    return SENSOR_ALARM, (Var(f'{PHYSICAL_DESCR}.{index}', 'STRING', DESCRIPTIONS[index]),
                          Var(f'{SENSOR_VALUE}.{index}', 'INTEGER', value), Var(f'{STATE_ALARM}.{index}', 'STRING', status))


def ticks(notifications):
    """Those of one tick of the agent together: they leave within moments, and the next ones seconds later."""
    groups = []
    for notification in notifications:
        if not groups or notification.uptime - groups[-1][-1].uptime > 300:
            groups.append([])
        groups[-1].append(notification)
    return groups


class Bench(Switch):
    """What is edited of BENCH."""

    def __init__(self, test):
        super().__init__(test, BENCH)
        self.inlet = self.content['tempStatus']['tempSensor']['TempSensor1']
        self.fan = self.content['coolingStatus']['fan']['Fan2/1']


class Notifications(AgentTest):
    def test_what_each_one_says_by_every_road(self):
        switch, receiver = Bench(self), self.receiver()
        agent = self.agent(directives=[receiver.trap, receiver.inform, receiver.v3_trap, switch.directive])
        seen = {kind: 0 for kind in (Receiver.TRAP, Receiver.INFORM, Receiver.V3_TRAP)}

        def of(kind):
            return [(each.oid, tuple(each.variables)) for each in receiver.notifications(*OURS) if each.kind == kind][seen[kind]:]

        def expect(*expected):
            """The next ones are these on each road. The order is that of two timers, and not looked at here."""
            wait_until(lambda: all(len(of(kind)) >= len(expected) for kind in seen), 20, f'not all of {expected} came')
            for kind in seen:
                self.assertCountEqual(of(kind), expected, kind)
                seen[kind] += len(expected)

        expect(state(OPER_ENABLED, INLET, UNLOCKED), state(OPER_ENABLED, FAN, UNLOCKED))
        # A port that is down is a fault while it is wanted up.
        switch.inlet['temperature'] = 65.0
        switch.fan['hwStatus'] = 'failed'
        switch.content['intfStatusDir']['intfStatus']['Ethernet1'] = {'operStatus': 'down'}
        switch.publish(agent)
        expect((CONFIG_CHANGE, ()), alarm(INLET, 650, WARNING), state(OPER_DISABLED, FAN, LOCKED),
               state(OPER_DISABLED, PORT, UNLOCKED))
        # What flaps between two ticks is told once, as it is at the end.
        switch.inlet['temperature'] = 75.25
        for status in 'ok', 'failed', 'ok':
            switch.fan['hwStatus'] = status
            switch.publish(agent)
        switch.content['intfConfigDir']['intfConfig']['Ethernet1']['adminEnabledStateLocal'] = False
        switch.publish(agent)
        expect(alarm(INLET, 753, CRITICAL), state(OPER_ENABLED, FAN, UNLOCKED), state(OPER_ENABLED, PORT, LOCKED))
        # Every part that goes and had a state says so, each by itself.
        switch.inlet['temperature'] = 30.0
        del switch.system['fanTraySlot']['2']['fanTray']
        switch.publish(agent)
        expect(alarm(INLET, 300, CLEAR), state(OPER_DISABLED, FAN, GONE), state(OPER_DISABLED, FAN_SENSOR, GONE))

    def test_disabled_ones_stay_away_until_they_are_enabled(self):
        switch, receiver = Bench(self), self.receiver()
        names = {'entConfigChange': CONFIG_CHANGE, 'entStateOperDisabled': OPER_DISABLED, 'kelvraEntSensorAlarm': SENSOR_ALARM}
        both = [receiver.trap, switch.directive, 'orvaneTrace Snmp/4']
        agent = self.agent(directives=[*both, *(f'orvaneNotification {name} disable' for name in names)])

        def received(*oids):
            return {each.oid for each in receiver.notifications(*OURS)}.intersection(oids)

        switch.inlet['temperature'] = 65.0
        switch.fan['hwStatus'] = 'failed'
        switch.publish(agent)
        for name in names:
            agent.wait_for_log(f'Snmp/4 .*: {name} notification not sent. .* returned orvaneNotification disables it', 20)
        wait_until(lambda: received(OPER_ENABLED), message='the one that is not disabled did not come')
        self.assertEqual(received(*names.values()), set())

        agent.directives = both
        agent.write_config()
        agent.reload()
        refusals = agent.log().count('notification not sent')
        switch.inlet['temperature'] = 75.0
        switch.system['description'] = 'Another switch'
        for status in 'ok', 'failed':
            switch.fan['hwStatus'] = status
            switch.publish(agent)
        wait_until(lambda: received(*names.values()) == set(names.values()), 30, 'not all that are enabled came')
        for name in names:
            agent.wait_for_log(f'Snmp/4 .*: Adding {name} notification to trap queue')
        self.assertEqual(agent.log().count('notification not sent'), refusals)

    def test_a_cold_start_is_paced_and_no_sink_holds_it_up(self):
        """Three agents serve 500 sensors: one has a good sink, one has two bad ones beside it, one has none at all."""
        count = 500
        content = copy.deepcopy(BENCH)
        numbers = range(1, count + 1)
        content['status'] = {'fixedSystem': {'tag': 'FixedSystem', 'label': '1', 'sensor': {
            str(number): {'tag': 'TempSensor', 'label': str(number), 'description': f'Sensor {number}'} for number in numbers}}}
        content['tempStatus'] = {'tempSensor': {f'TempSensor{number}': {'hwStatus': 'ok'} for number in numbers}}
        content['coolingStatus'] = {}
        switch = Switch(self, content)
        good, beside = self.receiver(), self.receiver()
        silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(silent.close)
        silent.bind(('127.0.0.1', 0))
        silent.setblocking(False)
        both = [switch.directive, 'orvaneTrace Orvane/9']
        served = self.agent(directives=[good.trap, *both])
        troubled = self.agent(directives=[f'trap2sink 127.0.0.1:{free_port()} public',
                                          f'informsink 127.0.0.1:{silent.getsockname()[1]} public', beside.trap, *both])
        lonely = self.agent(directives=both)

        slowest = dict.fromkeys((served, troubled, lonely), 0.0)
        unanswered = 0
        deadline = time.monotonic() + 30
        while time.monotonic() < deadline and any(len(each.notifications(*OURS)) < 3 * 21 for each in (good, beside)):
            for agent in slowest:
                start = time.monotonic()
                self.assertEqual({var.value for var in agent.getbulk(STATE_OPER, repetitions=40)[1:]}, {3})
                slowest[agent] = max(slowest[agent], time.monotonic() - start)
            try:
                while silent.recv(65536):
                    unanswered += 1
            except BlockingIOError:
                time.sleep(0.1)
        self.assertLess(max(slowest.values()), 1.0, list(slowest.values()))
        self.assertGreater(unanswered, 3 * 21, 'the sink that never answers was never spoken to')

        for agent, receiver in ((served, good), (troubled, beside)):
            # The queue is served in its order: a row that was put in twice stands where it was put in last.
            queued = [int(index) for index in re.findall(r'doAppendStateTrap\( (\d+) \)', agent.log())]
            order = list(dict.fromkeys(reversed(queued)))[::-1]
            self.assertEqual(sorted(order), [100000 + number for number in numbers])
            first, second, third, *_ = ticks(receiver.notifications(*OURS))
            for tick in first, second, third:
                self.assertEqual(len(tick), 21)
                self.assertEqual({each.oid for each in tick[1:]}, {OPER_ENABLED})
            for before, after in itertools.pairwise((first, second, third)):
                self.assertGreaterEqual(after[0].uptime - before[0].uptime, 599)
                self.assertLess(after[0].uptime - before[0].uptime, 900)
            states = [each for each in first + second + third if each.oid != CONFIG_CHANGE]
            self.assertEqual([int(each.variables[0].oid.rsplit('.', 1)[1]) for each in states], order[:62])
            # The change of the inventory is told once, before all else of its tick, when the tables have been quiet.
            self.assertEqual(second[0].oid, CONFIG_CHANGE)
            self.assertGreater(second[0].uptime - agent.get(LAST_CHANGE)[0].value, 600)
            self.assertEqual([len(rows(agent)), agent.get(LAST_CHANGE)[0].type], [count + 7, 'Timeticks'])


if __name__ == '__main__':
    unittest.main()
