"""The folders keep to cmake/layers.txt: no #include of a folder or library that the including folder's row does not name."""

import os
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)


def layers():
    table = {}
    for line in (ROOT / 'cmake/layers.txt').read_text().splitlines():
        if line and not line.startswith('#'):
            folder, _, allowed = line.partition(':')
            table[folder] = set(allowed.split())
    return table


def layer_of(path, table):
    return next((folder for folder in table if path.startswith(folder + '/')), None)


def violations(path, text, table):
    """What is wrong with the #include lines of the file at path, a path relative to the root or to the generated tree."""
    folder = layer_of(path, table)
    # A name stands for its own row, or for all rows below it.
    allowed = {row for row in table for name in table[folder] if row == name or row.startswith(name + '/')} | {folder}
    found = []
    for bracket, header in INCLUDE.findall(text):
        if bracket == '<':
            wrong = header.startswith('net-snmp/') and 'net-snmp' not in table[folder]
        else:
            wrong = layer_of(header, table) not in allowed  # None too: every include is written from the root
        if wrong:
            found.append(f'{path}: {folder} may not include {header}')
    return found


class IncludeRule(unittest.TestCase):
    def test_every_folder_keeps_to_its_row(self):
        table = layers()
        found = []
        for root in (ROOT, pathlib.Path(os.environ.get('ORVANE_BUILD', '/nonexistent')) / 'generated'):
            for folder in table:
                for source in sorted((root / folder).rglob('*')):
                    if source.suffix in ('.h', '.cpp'):
                        found += violations(str(source.relative_to(root)), source.read_text(), table)
        self.assertEqual(found, [], '\n'.join(found))

    def test_the_rule_has_teeth(self):
        table = layers()
        for path, line in (
                ('model/A.h', '#include "mib/Notifications.h"'),
                ('runtime/kit/A.h', '#  include "model/Constants.h"'),
                ('runtime/reactors/A.h', '#include "runtime/reflection/Entity.h"'),
                ('platform/agent/A.h', '#include "platform/store/Vorlin.h"'),
                ('sm/A.cpp', '#include <net-snmp/net-snmp-config.h>'),
                ('host/A.cpp', '#include "Sibling.h"')):
            self.assertTrue(violations(path, line + '\n', table), (path, line))


if __name__ == '__main__':
    unittest.main()
