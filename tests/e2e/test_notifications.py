"""Notifications as a receiver gets them: what each one says, by every road, in which order, and that no sink holds up another."""

import re
import socket
import unittest

from described import ENTRY, SENSOR, STATE, Switch, row_index
from harness import AgentTest, Receiver, Var, free_port, wait_until

PHYSICAL_DESCR, SENSOR_VALUE, STATE_ADMIN, STATE_ALARM = f'{ENTRY}.2', f'{SENSOR}.4', f'{STATE}.2', f'{STATE}.5'
CONFIG_CHANGE = '1.3.6.1.2.1.47.2.0.1'
OPER_ENABLED, OPER_DISABLED = '1.3.6.1.2.1.131.0.1', '1.3.6.1.2.1.131.0.2'
SENSOR_ALARM = '1.3.6.1.4.1.59871.3.12.0.1'

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


def state(oid, part, admin):
    """entStateOperEnabled or entStateOperDisabled, whole. Its alarm status is that of a row which was never classified."""
    return oid, (Var(f'{STATE_ADMIN}.{part}', 'INTEGER', admin), Var(f'{STATE_ALARM}.{part}', 'STRING', UNKNOWN),
                 Var(f'{PHYSICAL_DESCR}.{part}', 'STRING', DESCRIPTIONS[part]))


def alarm(part, value, status):
    return SENSOR_ALARM, (Var(f'{PHYSICAL_DESCR}.{part}', 'STRING', DESCRIPTIONS[part]),
                          Var(f'{SENSOR_VALUE}.{part}', 'INTEGER', value), Var(f'{STATE_ALARM}.{part}', 'STRING', status))


class Bench(Switch):
    """What is edited of BENCH."""

    def __init__(self, test):
        super().__init__(test, BENCH)
        self.inlet = self.content['tempStatus']['tempSensor']['TempSensor1']
        self.fan = self.content['coolingStatus']['fan']['Fan2/1']


def assert_told(test, switch, agent, receiver, kinds):
    """What an agent that serves the bench tells of it, and of each change, in notifications of these kinds."""
    seen = {kind: 0 for kind in kinds}

    def of(kind):
        return receiver.notifications(kind)[seen[kind]:]

    def expect(*expected):
        """The next ones are these on each road. The order is that of two timers, and not looked at here."""
        wait_until(lambda: all(len(of(kind)) >= len(expected) for kind in seen), f'not all of {expected} came')
        for kind in seen:
            test.assertCountEqual(of(kind), expected, kind)
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


class Notifications(AgentTest):
    def test_what_each_one_says_by_every_road(self):
        switch, receiver = Bench(self), self.receiver()
        agent = self.agent(directives=[receiver.trap, receiver.inform, receiver.v3_trap, switch.directive])
        assert_told(self, switch, agent, receiver, (Receiver.TRAP, Receiver.INFORM, Receiver.V3_TRAP))

    def test_disabled_ones_stay_away_until_they_are_enabled(self):
        switch, receiver = Bench(self), self.receiver()
        names = {'entConfigChange': CONFIG_CHANGE, 'entStateOperDisabled': OPER_DISABLED, 'kelvraEntSensorAlarm': SENSOR_ALARM}
        enabled = [receiver.trap, switch.directive, 'orvaneTrace Snmp/4']
        agent = self.agent(directives=[*enabled, *(f'orvaneNotification {name} disable' for name in names)])

        def received():
            return {oid for oid, _ in receiver.notifications()}

        switch.inlet['temperature'] = 65.0
        switch.fan['hwStatus'] = 'failed'
        switch.publish(agent)
        for name in names:
            agent.wait_for_log(f'Snmp/4 .*: {name} notification not sent. .* returned orvaneNotification disables it')
        wait_until(received, 'the one that is not disabled did not come')
        self.assertEqual(received(), {OPER_ENABLED})
        agent.reload(*enabled)
        switch.inlet['temperature'] = 75.0
        switch.system['description'] = 'Another switch'
        for status in 'ok', 'failed':
            switch.fan['hwStatus'] = status
            switch.publish(agent)
        wait_until(lambda: received() >= set(names.values()), 'not all that are enabled came')

    def test_a_cold_start_is_told_in_order_whatever_the_other_sinks_do(self):
        """One sink is not there, one never answers, and the one beside them gets all, at most 21 at a time."""
        numbers = range(1, 61)
        switch, receiver = Switch(self, {
            'status': {'fixedSystem': {'tag': 'FixedSystem', 'label': '1', 'sensor': {
                str(number): {'tag': 'TempSensor', 'label': str(number)} for number in numbers}}},
            'tempStatus': {'tempSensor': {f'TempSensor{number}': {'hwStatus': 'ok'} for number in numbers}}}), self.receiver()
        silent = self.enterContext(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
        silent.bind(('127.0.0.1', 0))
        agent = self.agent(directives=[switch.directive, 'orvaneTrace Orvane/9', receiver.trap,
                                       f'trap2sink 127.0.0.1:{free_port()} public',
                                       f'informsink 127.0.0.1:{silent.getsockname()[1]} public'])
        wait_until(lambda: len(receiver.notifications()) > len(numbers), 'not all came')
        silent.settimeout(60)
        self.assertTrue(silent.recv(65536), 'the sink that never answers was never spoken to')
        # The queue is served in its order: a row that was put in twice stands where it was put in last.
        queued = [int(row) for row in re.findall(r'doAppendStateTrap\( (\d+) \)', agent.log())]
        order = list(dict.fromkeys(reversed(queued)))[::-1]
        self.assertEqual(sorted(order), [100000 + number for number in numbers])
        told = receiver.notifications()
        self.assertEqual([row_index(variables[0].oid) for oid, variables in told if oid == OPER_ENABLED], order)
        # The change of the inventory is told once, before all else of its tick.
        self.assertEqual([at % 21 for at, (oid, _) in enumerate(told) if oid != OPER_ENABLED], [0])


if __name__ == '__main__':
    unittest.main()
