"""Texts of the IETF's MIB modules, for tools that read MIB modules as text.

Debian does not ship these texts. What ours refers to is written here anew: the language's own modules with what is used of them,
and the ENTITY modules from what python3-pysnmp4-mibs has of them in compiled form (names, numbers, types, index). They are
stand-ins for tests, in a folder of the test's own; whoever has the real modules uses those.
"""

import pathlib
import tempfile

from pysnmp.proto import rfc1902
from pysnmp.smi import builder

COMPILED = '/usr/lib/python3/dist-packages/pysnmp_mibs'
MARK = '-- A stand-in for tests: not the module itself, and not all of it.\n'

LANGUAGE = {
    'SNMPv2-SMI': '''\
        org OBJECT IDENTIFIER ::= { iso 3 }
        dod OBJECT IDENTIFIER ::= { org 6 }
        internet OBJECT IDENTIFIER ::= { dod 1 }
        mgmt OBJECT IDENTIFIER ::= { internet 2 }
        mib-2 OBJECT IDENTIFIER ::= { mgmt 1 }
        private OBJECT IDENTIFIER ::= { internet 4 }
        enterprises OBJECT IDENTIFIER ::= { private 1 }
        snmpV2 OBJECT IDENTIFIER ::= { internet 6 }
        snmpModules OBJECT IDENTIFIER ::= { snmpV2 3 }
        zeroDotZero OBJECT IDENTIFIER ::= { 0 0 }
        Integer32 ::= INTEGER (-2147483648..2147483647)
        Unsigned32 ::= [APPLICATION 2] IMPLICIT INTEGER (0..4294967295)
        TimeTicks ::= [APPLICATION 3] IMPLICIT INTEGER (0..4294967295)
        MODULE-IDENTITY MACRO ::= BEGIN END
        OBJECT-IDENTITY MACRO ::= BEGIN END
        OBJECT-TYPE MACRO ::= BEGIN END
        NOTIFICATION-TYPE MACRO ::= BEGIN END''',
    'SNMPv2-CONF': '''\
        OBJECT-GROUP MACRO ::= BEGIN END
        NOTIFICATION-GROUP MACRO ::= BEGIN END
        MODULE-COMPLIANCE MACRO ::= BEGIN END''',
    'SNMPv2-TC': '''\
        IMPORTS TimeTicks FROM SNMPv2-SMI;
        TEXTUAL-CONVENTION MACRO ::= BEGIN END
        AutonomousType ::= TEXTUAL-CONVENTION STATUS current DESCRIPTION "" SYNTAX OBJECT IDENTIFIER
        RowPointer ::= TEXTUAL-CONVENTION STATUS current DESCRIPTION "" SYNTAX OBJECT IDENTIFIER
        TruthValue ::= TEXTUAL-CONVENTION STATUS current DESCRIPTION "" SYNTAX INTEGER { true(1), false(2) }
        DateAndTime ::= TEXTUAL-CONVENTION DISPLAY-HINT "2d-1d-1d,1d:1d:1d.1d,1a1d:1d" STATUS current DESCRIPTION ""
          SYNTAX OCTET STRING (SIZE (8 | 11))
        TimeStamp ::= TEXTUAL-CONVENTION STATUS current DESCRIPTION "" SYNTAX TimeTicks''',
    'SNMP-FRAMEWORK-MIB': '''\
        IMPORTS MODULE-IDENTITY, snmpModules FROM SNMPv2-SMI TEXTUAL-CONVENTION FROM SNMPv2-TC;
        snmpFrameworkMIB MODULE-IDENTITY LAST-UPDATED "200210140000Z" ORGANIZATION "" CONTACT-INFO "" DESCRIPTION ""
          REVISION "200210140000Z" DESCRIPTION "" ::= { snmpModules 10 }
        SnmpAdminString ::= TEXTUAL-CONVENTION DISPLAY-HINT "255t" STATUS current DESCRIPTION ""
          SYNTAX OCTET STRING (SIZE (0..255))''',
}
IMPORTED = {'AutonomousType': 'SNMPv2-TC', 'RowPointer': 'SNMPv2-TC', 'TruthValue': 'SNMPv2-TC',
            'DateAndTime': 'SNMPv2-TC', 'TimeStamp': 'SNMPv2-TC',
            'SnmpAdminString': 'SNMP-FRAMEWORK-MIB', 'Unsigned32': 'SNMPv2-SMI'}
ENTITY = ('ENTITY-STATE-TC-MIB', 'ENTITY-MIB', 'ENTITY-SENSOR-MIB', 'ENTITY-STATE-MIB')
TABLES = ('entPhysicalTable', 'entPhysicalContainsTable', 'entAliasMappingTable', 'entPhySensorTable', 'entStateTable')
SHOWN = (*TABLES, 'entLastChangeTime', 'entConfigChange', 'entStateOperEnabled', 'entStateOperDisabled')


def syntax(type_):
    """A type of a compiled module as SMI writes it."""
    if getattr(type_, 'namedValues', None):
        names = ', '.join(f'{name}({number})' for name, number in sorted(type_.namedValues.items(), key=lambda item: item[1]))
        return ('BITS' if issubclass(type_, rfc1902.Bits) else 'INTEGER') + f' {{ {names} }}'
    if issubclass(type_, rfc1902.OctetString):
        return 'OCTET STRING'
    if issubclass(type_, rfc1902.TimeTicks):
        return 'TimeTicks'
    ranges = [f'{part.start}..{part.stop}' for part in type_.subtypeSpec if hasattr(part, 'start')]
    return 'Integer32' + (f' ({ranges[-1]})' if ranges else '')


def entity_module(symbols, types):
    """The body of a module: what it imports, its types, what is shown of its objects. `types`: the module of each name so far."""
    own = {name: symbol for name, symbol in symbols.items() if isinstance(symbol, type)}
    identity = symbols['PYSNMP_MODULE_ID']
    label = next(name for name, symbol in symbols.items() if symbol is identity and name != 'PYSNMP_MODULE_ID')
    lines = [f'{label} MODULE-IDENTITY LAST-UPDATED "200001010000Z" ORGANIZATION "" CONTACT-INFO "" DESCRIPTION ""',
             f'  REVISION "200001010000Z" DESCRIPTION "" ::= {{ mib-2 {identity.name[-1]} }}']
    used = set()
    for name, type_ in own.items():
        lines.append(f'{name} ::= TEXTUAL-CONVENTION STATUS current DESCRIPTION "" SYNTAX {syntax(type_)}')
    for name, symbol in symbols.items():
        oid = getattr(symbol, 'name', ())
        if not any(oid[:len(symbols[shown].name)] == symbols[shown].name for shown in SHOWN if shown in symbols):
            continue
        where = f'::= {{ {label} {" ".join(map(str, oid[len(identity.name):]))} }}'
        if name in SHOWN[len(TABLES) + 1:]:
            lines.append(f'{name} NOTIFICATION-TYPE STATUS current DESCRIPTION "" {where}')
            continue
        if name in TABLES:
            kind, access = f'SEQUENCE OF {name.capitalize()}Row', 'not-accessible'
        elif name.endswith('Entry'):
            row = name.removesuffix('Entry').capitalize() + 'tableRow'
            indexes = [part[2] for part in symbol.getIndexNames()]
            used |= {index for index in indexes if index not in symbols}
            kind, access = row, 'not-accessible'
            where = f'INDEX {{ {", ".join(indexes)} }} {where}'
        else:
            kind = type(symbol.syntax).__name__
            kind = kind if kind in own or kind in types or kind in IMPORTED else syntax(type(symbol.syntax))
            used |= {kind} - set(own)
            access = {'readonly': 'read-only', 'readwrite': 'read-write', 'noaccess': 'not-accessible'}[symbol.maxAccess]
        lines.append(f'{name} OBJECT-TYPE SYNTAX {kind} MAX-ACCESS {access} STATUS current DESCRIPTION "" {where}')
        if name.endswith('Entry'):
            columns = [(below, column) for below, column in symbols.items() if getattr(column, 'name', ())[:-1] == oid]
            lines.append(f'{kind} ::= SEQUENCE {{ ' + ', '.join(f'{below} INTEGER' for below, _ in columns) + ' }')
    imports = ['MODULE-IDENTITY, OBJECT-TYPE, NOTIFICATION-TYPE, Integer32, TimeTicks, mib-2 FROM SNMPv2-SMI',
               'TEXTUAL-CONVENTION FROM SNMPv2-TC']
    imports += [f'{name} FROM {IMPORTED.get(name) or types[name]}' for name in sorted(used) if name in IMPORTED or name in types]
    return ['IMPORTS ' + '\n  '.join(imports) + ';', *lines]


def write(folder):
    """Writes the modules into the folder, each into a file of its name."""
    bodies = {name: [text] for name, text in LANGUAGE.items()}
    mibs = builder.MibBuilder()
    mibs.addMibSources(builder.DirMibSource(COMPILED))
    types = {}
    for name in ENTITY:
        mibs.loadModules(name)
        symbols = mibs.mibSymbols[name]
        bodies[name] = entity_module(symbols, types)
        types.update({symbol: name for symbol in symbols})
    for name, lines in bodies.items():
        text = '\n'.join([MARK + f'{name} DEFINITIONS ::= BEGIN', *lines, 'END', ''])
        pathlib.Path(folder, name).write_text(text)


def folders(tests):
    """A folder that lasts as long as a class of tests, and one within it that holds the modules."""
    folder = tempfile.TemporaryDirectory(prefix='standins-')
    tests.addClassCleanup(folder.cleanup)
    texts = pathlib.Path(folder.name, 'texts')
    texts.mkdir()
    write(texts)
    return texts.parent, texts
