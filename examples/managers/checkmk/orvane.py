"""Checkmk: the sensors and parts of a switch that Orvane serves. It needs the check API v2, which is there from Checkmk 2.3 on."""

import math
from collections import Counter
from typing import NamedTuple

from cmk.agent_based.v2 import (CheckPlugin, OIDEnd, Result, Service, SNMPSection, SNMPTree, State, check_levels, startswith)

NO_READING, NO_LIMIT = -1_000_000_000, 1_000_000_000
PARTS = {'3': 'Chassis', '6': 'Power supply', '7': 'Fan', '9': 'Module', '12': 'Processor'}  # by entPhysicalClass


class Kind(NamedTuple):
    metric: str
    unit: str
    places: int
    shown: object = float


def dbm(watts):
    """No light is -40 dBm, which is less than a transceiver measures."""
    return 10 * math.log10(max(watts * 1000, 0.0001))


VOLTS = Kind('voltage', 'V', 2)
# By entPhySensorType.
KINDS = {'3': VOLTS, '4': VOLTS, '5': Kind('current', 'A', 2), '6': Kind('signal_power_dbm', 'dBm', 2, dbm),
         '8': Kind('temp', '°C', 1), '10': Kind('fan', 'RPM', 0)}


class Part(NamedTuple):
    description: str
    class_: str
    state: str  # entStateOper


class Sensor(NamedTuple):
    description: str
    kind: Kind
    status: str  # entPhySensorOperStatus
    value: float | None
    lower: tuple  # warning and critical, as check_levels has them
    upper: tuple


def levels(warning, critical, beyond):
    """Limits as check_levels has them. A limit that is not there is beyond all values, or as the other one."""
    if warning is None and critical is None:
        return 'no_levels', None
    return 'fixed', (critical if warning is None else warning, beyond if critical is None else critical)


def parse(string_table):
    entities, sensors, thresholds, states = ({row[0]: row[1:] for row in table} for table in string_table)
    found = {'parts': {}, 'sensors': {}}
    names = Counter(name for _, _, name in entities.values())
    for index, (description, class_, name) in entities.items():
        # Trays and cards may share a name.
        item = name if name and names[name] == 1 else f'{name} {index}'.strip()
        if class_ in PARTS and index in states:
            found['parts'][item] = Part(description, class_, states[index][0])
        if index not in sensors or (kind := KINDS.get(sensors[index][0])) is None:
            continue
        _, scale, precision, value, status = sensors[index]

        def reading(text, none):
            number = int(text) if text else none
            return None if number == none else kind.shown(number / 10 ** int(precision) * 1000 ** (int(scale) - 9))

        low_warning, low_critical, high_warning, high_critical = thresholds.get(index, [''] * 4)
        found['sensors'][item] = Sensor(
            description, kind, status, reading(value, NO_READING),
            levels(reading(low_warning, -NO_LIMIT), reading(low_critical, -NO_LIMIT), -math.inf),
            levels(reading(high_warning, NO_LIMIT), reading(high_critical, NO_LIMIT), math.inf))
    return found


snmp_section_orvane = SNMPSection(
    name='orvane',
    detect=startswith('.1.3.6.1.2.1.1.2.0', '.1.3.6.1.4.1.59871.'),
    fetch=[
        SNMPTree('.1.3.6.1.2.1.47.1.1.1.1', [OIDEnd(), '2', '5', '7']),  # entPhysicalDescr, Class, Name
        SNMPTree('.1.3.6.1.2.1.99.1.1.1', [OIDEnd(), '1', '2', '3', '4', '5']),  # type, scale, precision, value, status of a sensor
        SNMPTree('.1.3.6.1.4.1.59871.3.12.1.1.1', [OIDEnd(), '1', '2', '3', '4']),  # low warning, low critical, high ones
        SNMPTree('.1.3.6.1.2.1.131.1.1.1', [OIDEnd(), '3']),  # entStateOper
    ],
    parse_function=parse,
)


def discovery(kind):
    def discover(section):
        yield from (Service(item=item) for item in section[kind])
    return discover


def check_sensor(item, section):
    sensor = section['sensors'].get(item)
    if sensor is None:
        return
    if sensor.status == '3':
        yield Result(state=State.CRIT, summary=f'{sensor.description}: the sensor has failed')
    elif sensor.status != '1' or sensor.value is None:
        yield Result(state=State.UNKNOWN, summary=f'{sensor.description}: no reading')
    else:
        yield from check_levels(
            sensor.value, levels_lower=sensor.lower, levels_upper=sensor.upper, metric_name=sensor.kind.metric,
            label=sensor.description, render_func=lambda value: f'{value:.{sensor.kind.places}f} {sensor.kind.unit}')


check_plugin_orvane_sensors = CheckPlugin(
    name='orvane_sensors', sections=['orvane'], service_name='Sensor %s', discovery_function=discovery('sensors'),
    check_function=check_sensor)


def check_part(item, section):
    part = section['parts'].get(item)
    if part is None:
        return
    state, text = {'2': (State.CRIT, 'does not work'), '3': (State.OK, 'works'), '4': (State.WARN, 'is being tested')}.get(
        part.state, (State.UNKNOWN, 'nothing is known of its state'))
    yield Result(state=state, summary=f'{PARTS[part.class_]}, {part.description}: {text}')


check_plugin_orvane_parts = CheckPlugin(
    name='orvane_parts', sections=['orvane'], service_name='Part %s', discovery_function=discovery('parts'),
    check_function=check_part)
