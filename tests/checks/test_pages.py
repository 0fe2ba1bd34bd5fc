"""The manual pages: that groff has nothing to say, and that they tell of all directives, options and attributes that there are."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get('ORVANE_BUILD', ROOT / 'build/dev'))
PAGES = ['orvane.8', 'orvaned.8', 'orvane-linux.8', 'orvane-inspect.1', 'orvane-publish.1', 'orvane-inventory.5',
         'orvane-publish.5']
DIRECTORY = 'redundancy'  # the input that is no entity itself


def listed():
    """The types of model/types.txt: each with its base, and its attributes with their forms."""
    types, at = {}, None
    for line in (ROOT / 'model/types.txt').read_text().splitlines():
        if head := re.match(r'(?:entity|record) (\S+): ([\w:]+)', line):
            at = types.setdefault(head[1], (head[2], {}))[1]
        elif value := re.match(r'value (\S+): (.*)', line):
            fields = [field.split(' ', 1) for field in value[2].split(', ')]
            types[value[1]] = ('', dict(fields))
        elif attribute := re.match(r'  \d+ \S+ (\w+) (.*)', line):
            at[attribute[1]] = attribute[2]
        elif not line.startswith('  '):
            at = None
    return types


def inputs(types):
    """What a file may hold at its top, as the host has it, with the type of each."""
    names = re.search(r'inputNames{(.*?)};', (ROOT / 'host/Bootstrap.cpp').read_text(), re.DOTALL)[1]
    root = types['Orvane::Root'][1]
    found = {name: re.search(r'Ptr<([\w:]+)', root[name])[1] for name in re.findall(r'"(\w+)"', names)}
    del found[DIRECTORY]
    for path, namespace in re.findall(r'all\["(\S+)"\] = (\w+)::Status::_fwkType', (ROOT / 'host/Bootstrap.cpp').read_text()):
        found[path.replace('/', '.')] = f'{namespace}::Status'
    return found


def reachable(types, start):
    """The types below one, itself included. What a reference leads to stands elsewhere in the file."""
    found, waiting = [], [start]
    while waiting:
        name = waiting.pop()
        if name in types and name not in found:
            found.append(name)
            base, attributes = types[name]
            waiting.append(base)
            waiting += [word for form in attributes.values() if not form.startswith('Zef::Ptr<') for word in form.split()]
    return found


class Pages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix='pages-')
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        subprocess.run([sys.executable, '-B', str(ROOT / 'modelc/pages.py'), '--root', str(ROOT), '--out', folder.name,
                        '--define', 'version=1.2.3', '--define', 'module=/usr/lib/some-where/orvane.so',
                        *(str(ROOT / f'man/{page}.j2') for page in PAGES)], check=True)

    def text(self, page):
        return (self.folder / page).read_text()

    def bold(self, text):
        return set(re.findall(r'^\.B (\w+)$', text, re.MULTILINE))

    def test_groff_has_nothing_to_say(self):
        self.assertEqual(sorted(template.name.removesuffix('.j2') for template in (ROOT / 'man').glob('*.j2')), sorted(PAGES))
        for page in PAGES:
            for command in (['groff', '-t', '-man', '-ww', '-z', '-K', 'utf-8'], ['man', '--warnings', '-E', 'UTF-8', '-l']):
                with self.subTest(page, command=command[0]):
                    run = subprocess.run([*command, str(self.folder / page)], capture_output=True, text=True,
                                         env={'PATH': '/usr/bin:/bin', 'LC_ALL': 'C.UTF-8', 'MANWIDTH': '80'})
                    self.assertEqual((run.returncode, run.stderr), (0, ''))

    def test_the_inventory_page_has_every_input_and_attribute(self):
        types = listed()
        sections = dict(re.findall(r'^\.SH "THE INPUT (\S+)"\n(.*?)(?=^\.SH)', self.text('orvane-inventory.5'),
                                   re.MULTILINE | re.DOTALL))
        all_inputs = inputs(types)
        self.assertEqual(set(sections), set(all_inputs))
        described = {}  # by the type's short name, over all inputs: a type is described where it is first met
        for text in sections.values():
            described.update(re.findall(r'^\.SS (\w+)\n(.*?)(?=^\.S[SH]|\Z)', text, re.MULTILINE | re.DOTALL))
        count = 0
        for name, start in all_inputs.items():
            for type_ in reachable(types, start):
                text = sections[name].split('.SS ')[0] if type_ == start else described[type_.rsplit('::', 1)[-1]]
                wanted = set(types[type_][1])
                count += len(wanted)
                with self.subTest(name, type=type_):
                    self.assertEqual(self.bold(text), wanted)
                    for attribute, form in types[type_][1].items():
                        if bound := re.search(r'most (\d+)', form):
                            self.assertRegex(text, rf'(?m)^\.B {attribute}\n.* {bound[1]}\b')
        self.assertGreater(count, 150)

    def test_every_attribute_says_what_it_is(self):
        sections = self.text('orvane-inventory.5').partition('.SH "THE INPUT')[2].partition('.SH FILES')[0]
        silent = re.findall(r'^\.B (\w+)\n[^.]*\.$', sections, re.MULTILINE)
        self.assertEqual(silent, [], 'these have no doc: in the model')

    def test_pages_have_every_directive(self):
        directives = re.findall(r'{"(orvane\w+)", "([^"]*)"', (ROOT / 'host/Directives.cpp').read_text())
        self.assertGreaterEqual(len(directives), 5)
        for page in ('orvane.8', 'orvaned.8'):
            shown = re.sub(r'[" ]', '', self.text(page))
            for name, words in directives:
                self.assertIn(f'.BI{name}{words}'.replace(' ', ''), shown, page)
        for conf in ('orvane/module.conf', 'orvaned.conf'):
            lines = re.findall(r'^#?(orvane\w+) ', (ROOT / 'packaging' / conf).read_text(), re.MULTILINE)
            self.assertEqual(set(lines), {name for name, _ in directives}, conf)

    def test_pages_have_every_option(self):
        tools = {'orvane-inspect.1': ROOT / 'tools/orvane-inspect', 'orvane-publish.1': ROOT / 'tools/orvane-publish',
                 'orvane-linux.8': BUILD / 'orvane-linux'}
        helped = {page: set(re.findall(r'--[a-z]+', subprocess.check_output([tool, '--help'], text=True)))
                  for page, tool in tools.items()}
        known = re.findall(r'{"(\w+)", \w+_argument, nullptr, \'(\w)\'}', (ROOT / 'host/Daemon.cpp').read_text())
        for page, options, form in (
                *((page, options, r'--[a-z]+') for page, options in helped.items()),
                ('orvaned.8', [f'-{short}' for _, short in known] + [f'--{long}' for long, _ in known], r'(?<![\w-])--?[a-zA-Z]+')):
            self.assertGreaterEqual(len(set(options)), 4)
            text = self.text(page).partition('.SH OPTIONS')[2].partition('.SH')[0].replace('\\-', '-')
            self.assertEqual(set(re.findall(form, text)), set(options), page)


if __name__ == '__main__':
    unittest.main()
