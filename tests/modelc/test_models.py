"""The model compiler: what it refuses, what it writes, and that the models are what the list of types says."""
import difflib
import glob
import os
import subprocess
import sys
import tempfile
import textwrap
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, 'modelc'))

from listing import RENEW, listing  # noqa: E402
from loader import Loader  # noqa: E402
from yamlnode import ModelError  # noqa: E402

# Line 1 of every faulty model below; `types:` is line 2, so that the text of a case begins in line 3.
HEAD = 'namespace: Shop\ntypes:\n'

LAMP = '''\
  Lamp:
    attributes:
      watts: U32
'''

# What is wrong, the types, the line, what the message says.
FAULTS = [
    ('not YAML', '  Lamp: {', 4, 'not YAML'),
    ('an unknown key of a type', '  Lamp:\n    atributes: {}', 4, 'has no key `atributes` (it has: kind, doc, base,'),
    ('a key of another form', LAMP + '      hue: {map: U32, key: U32, fixed: true}', 6, 'of the form `map` has no key `fixed`'),
    ('a key twice', LAMP + '      watts: U8', 6, '`watts` stands here twice, first in line 5'),
    ('a boolean for a name', '  State: {kind: enum, values: {on: 1}}', 3, 'the key `on` as a boolean: quote it'),
    ('a boolean for a text', '  Lamp:\n    doc: yes', 4, '`doc`: a text is needed, but YAML reads `yes` as a boolean'),
    ('yes for true', LAMP + '      hue: {type: U32, fixed: yes}', 6, '`fixed`: true or false is needed, not `yes`'),
    ('an octal number', LAMP + '      hue: {type: U32, default: 010}', 6, 'a plain decimal number is needed, not `010`'),
    ('an alias', LAMP + '      hue: &h U32\n      tone: *h', 6, 'anchors and aliases have no place'),
    ('the type names of a model that is not used', LAMP + 'typeNames: [shop.yaml]', 6, 'shop.yaml is neither this model nor one'),
    ('a list for a mapping', '  Lamp:\n    attributes: [watts]', 4, '`attributes` must be a mapping, and is a list'),
    ('a mapping for a text', '  Lamp:\n    doc: {en: lamp}', 4, '`doc` must be a plain value, and is a mapping'),
    ('a keyword', '  Lamp:\n    attributes:\n      switch: bool', 5, '`switch` is a keyword of C++'),
    ('a name in the wrong case', '  Lamp:\n    attributes:\n      Watts: U32', 5, '`Watts` is no name for an attribute'),
    ('an unknown kind', '  Lamp: {kind: lamp}', 3, 'there is no kind of type `lamp`'),
    ('an unknown type', LAMP + '      hue: Colour', 6, 'type `Colour` is not declared'),
    ('a record as an entity\'s base', '  Light: {kind: record}\n  Lamp: {base: Light}', 4, 'must be a declared entity'),
    ('an attribute of the base again', LAMP + '  Spot:\n    base: Lamp\n    attributes:\n      watts: U32', 9,
     '`watts` is declared already, in `Shop::Lamp`'),
    ('two attributes with one operation', LAMP + '      wattsIs: U32', 6, '`wattsIs` is declared already, in `Shop::Lamp`'),
    ('what every object has', '  Lamp:\n    attributes:\n      parent: U32', 5, 'every object has `parent` already'),
    ('an override of nothing', LAMP + '      hue: {type: U32, override: true}', 6, 'overrides nothing'),
    ('an override of another type', '  Light:\n    kind: record\n    attributes:\n      watts: {type: U32, virtual: true}\n'
     '  Lamp:\n    kind: record\n    base: Light\n    attributes:\n      watts: {type: U8, override: true}', 11,
     'must be a U32, as in `Shop::Light`'),
    ('two forms', LAMP + '      hue: {type: U32, map: U32}', 6, 'must have exactly one of'),
    ('a map without a key', LAMP + '      hue: {map: U32}', 6, 'needs a `key`'),
    ('a key type that is none', LAMP + '      hue: {map: U32, key: float}', 6, '`float` is no type of key'),
    ('a member without links', LAMP + '  Shop:\n    attributes:\n      lamp: {hash: Lamp, key: Zef::Name}', 8,
     '`Shop::Lamp` needs `member: hash`'),
    ('a member by another key', '  Lamp: {member: hash}\n  Shop:\n    attributes:\n      lamp: {hash: Lamp, key: U32}', 6,
     '`Shop::Lamp` is known by Zef::Name, not by U32'),
    ('a value as a child', '  Spot: {kind: value, fields: {x: U32}}\n  Lamp:\n    attributes:\n      spot: {entity: Spot}', 6,
     '`Shop::Spot` is no entity'),
    ('an object as a value', LAMP + '  Shop:\n    attributes:\n      lamp: Lamp', 8, 'is an object: write `Ptr<Lamp>`'),
    ('a pointer to a value', LAMP + '      hue: Ptr<U32>', 6, 'is a value, and cannot be pointed at'),
    ('a collection in a record', '  Lamp:\n    kind: record\n    attributes:\n      hue: {map: U32, key: U32}', 6,
     'a record has no `map`'),
    ('a default out of range', LAMP + '      hue: {type: U8, default: 256}', 6, '256 is not in 0 to 255'),
    ('a bound of what has none', LAMP + '      lit: {type: bool, most: 1}', 6, '`most` is for texts, numbers and groups of them'),
    ('a text of a least size', LAMP + '      hue: {type: Zef::String8, least: 1, most: 8}', 6, 'a text has no `least`'),
    ('half a range', LAMP + '      tilt: {type: S32, least: -90}', 6, 'has `least`, and needs `most` too'),
    ('a bound of what is not set', LAMP + '      half: {type: U32, of: watts, most: 9}', 6, 'cannot be set, so `most`'),
    ('an unknown enumerator', '  State: {kind: enum, values: {lit: 1}}\n  Lamp:\n    attributes:\n'
     '      state: {type: State, default: dark}', 6, '`Shop::State` has no enumerator `dark`'),
    ('a number twice', '  State: {kind: enum, values: {lit: 1, bright: 1}}', 3, 'has the number 1 of `lit`'),
    ('an unknown constant', '  Limits: {kind: record, constants: {most: 9}}\n  Lamp:\n    attributes:\n'
     '      watts: {type: U32, default: Limits::least}', 6, '`Limits` has no constant `least`'),
    ('a constant of another type', '  Limits: {kind: record, constants: {most: 9}}\n  Lamp:\n    attributes:\n'
     '      watts: {type: U8, default: Limits::most}', 6, 'is a U32, and a value of U8 is needed'),
    ('a key that can change', '  Lamp:\n    key: watts\n    attributes:\n      watts: U32', 4,
     'must be an attribute that is `fixed`'),
    ('a part of nothing', LAMP + '      half: {type: U32, of: whole}', 6, '`Lamp` has no attribute `whole` above it'),
    ('a default of no base', LAMP + '  Spot:\n    base: Lamp\n    defaults: {lumen: 7}', 8, '`lumen` is no attribute'),
    ('a queue of values', LAMP + '      waiting: {queue: U32}', 6, 'members of a collection are entities or records'),
    ('a queue by what can change', LAMP + '      order: {queue: Lamp, by: watts}', 6,
     '`watts` is no fixed attribute of `Shop::Lamp`'),
    ('a function that is none', LAMP + '      blink: {function: false}', 6, '`function` is true or not there'),
]

# Lines that stand one after the other in what the compiler makes of tests/model/Forms.yaml. The build compiles it with all
# warnings, and the models' own code is tested where it is used.
FORMS_HEADER = '''\
// Generated by modelc from tests/model/Forms.yaml: change the model, not this file.
// One type with each form of attribute that can be observed, which all types of the models are written alike.
namespace Forms {
// What stands elsewhere, or below.
class Part : public Zef::Entity, public Zef::HashMapLink {
  // How full it is.
  S32 level() const { return level_; }
'''


class ModelTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, text):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), 'w', encoding='utf-8') as stream:
            stream.write(text)

    def read(self, name):
        with open(self.path(name), encoding='utf-8') as stream:
            return stream.read()

    def modelc(self, *arguments):
        command = [sys.executable, '-B', os.path.join(ROOT, 'modelc', 'modelc.py'), '--root', self.folder.name, *arguments]
        return subprocess.run(command, capture_output=True, text=True, check=False)

    def compile(self, *files):
        result = self.modelc('--out', self.path('out'), *files)
        self.assertEqual((result.returncode, result.stderr), (0, ''))

    def test_a_faulty_model_is_refused_with_its_line_and_the_reason(self):
        for what, types, line, reason in FAULTS:
            with self.subTest(what):
                self.write('Faulty.yaml', HEAD + types + '\n')
                with self.assertRaises(ModelError) as refusal:
                    Loader(self.folder.name).load('Faulty.yaml')
                self.assertRegex(str(refusal.exception), f'^Faulty.yaml:{line}: ')
                self.assertIn(reason, str(refusal.exception))

    def test_a_fault_in_a_used_model_is_shown_where_it_stands(self):
        self.write('Base.yaml', 'namespace: Shop\ntypes:\n  Lamp:\n    attributes:\n      watts: U33\n')
        self.write('User.yaml', 'uses: [Base.yaml]\n' + HEAD + '  Shade: {}\n')
        result = self.modelc('--out', self.path('out'), 'User.yaml')
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, '^Base.yaml:5: type `U33` is not declared')
        self.assertFalse(os.path.exists(self.path('out')))

    def test_models_that_use_each_other_are_refused(self):
        self.write('One.yaml', 'uses: [Other.yaml]\n' + HEAD + LAMP)
        self.write('Other.yaml', 'uses: [One.yaml]\n' + HEAD + '  Shade: {}\n')
        with self.assertRaisesRegex(ModelError, '^Other.yaml:1: One.yaml uses itself'):
            Loader(self.folder.name).load('One.yaml')

    def test_the_generated_code_reads_as_expected(self):
        self.compile('--root', ROOT, 'tests/model/Forms.yaml')
        header = self.read('out/tests/model/Forms.h')
        at = 0
        for line in FORMS_HEADER.splitlines():
            at = header.find(line + '\n', at)
            self.assertGreaterEqual(at, 0, f'{line!r} is missing, or not in its place, in:\n{header}')
        for text in (header, self.read('out/tests/model/Forms.cpp')):
            self.assertLessEqual(max(map(len, text.splitlines())), 120)
            self.assertNotIn('\n\n\n', text)

    def test_a_change_touches_what_rests_on_it_and_nothing_else(self):
        models = 'Base.yaml', 'User.yaml', 'Other.yaml'
        self.write('Base.yaml', HEAD + LAMP)
        self.write('User.yaml',
                   'uses: [Base.yaml]\nnamespace: User\ntypes:\n  Owner: {attributes: {lamp: Ptr<Shop::Lamp const>}}\n')
        self.write('Other.yaml', 'namespace: Other\ntypes:\n  Thing: {}\n')
        self.compile(*models)
        self.assertIn('Base.yaml', self.read('out/User.d'))
        self.assertNotIn('Base.yaml', self.read('out/Other.d'))
        for part in ('loader.py', 'class.h.j2'):
            self.assertIn(part, self.read('out/Other.d'))

        outputs = [f'out/{name}.{end}' for name in ('Base', 'User', 'Other') for end in ('h', 'cpp')]
        for output in outputs:
            os.utime(self.path(output), (1, 1))
        self.write('Base.yaml', HEAD + LAMP + '      hue: U32\n')
        self.compile(*models)
        rewritten = [output for output in outputs if os.stat(self.path(output)).st_mtime != 1]
        self.assertEqual(rewritten, ['out/Base.h', 'out/Base.cpp'])

    def test_the_list_of_types_is_what_the_models_declare(self):
        files = [file for pattern in ('model/input/*.yaml', 'model/*.yaml', 'sm/*.yaml')
                 for file in sorted(glob.glob(pattern, root_dir=ROOT))]
        loader = Loader(ROOT)
        declared = listing([loader.load(file) for file in files])
        with open(os.path.join(ROOT, 'model/types.txt'), encoding='utf-8') as stream:
            checked_in = stream.read()
        difference = ''.join(difflib.unified_diff(checked_in.splitlines(True), declared.splitlines(True),
                                                  'model/types.txt', 'the models', n=0))
        self.assertEqual(difference, '', textwrap.dedent(f'''
            The models declare something else than the list says. If that is meant, renew the list and commit it:
              {RENEW}'''))


if __name__ == '__main__':
    unittest.main()
