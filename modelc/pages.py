"""Makes the manual pages from their templates. What the inventory file may hold is taken from the models.

    pages.py --out DIR --define NAME=TEXT... PAGE.j2...     writes DIR/PAGE for each
"""
import argparse
import os
import re
import sys

import jinja2

from loader import Loader
from model import Class, Enum, Number, Value
from modelc import used, write
from yamlnode import ModelError

ROOT_MODEL, ROOT_TYPE = 'sm/OrvaneSm.yaml', 'Orvane::Root'
INPUTS = 'model/input/'
# What an input that is a directory holds.
DIRECTORIES = {'redundancy': [('election', 'Election::Status')]}

SCALARS = {'bool': 'true or false', 'U8': 'a whole number from 0 to 255', 'U32': 'a whole number',
           'S32': 'a whole number, also a negative one', 'float': 'a number', 'double': 'a number', 'Zef::String8': 'a text',
           'Zef::Name': 'a name'}
KEYS = {'EntityMib::ParentIndex': 'number', 'Morvet::IntfId': 'interface', 'Xcvr::LaneId': 'lane', 'Zef::Name': 'name',
        'Zef::String8': 'text', 'U32': 'number'}
IMPLIED = ('', '0', 'false')


def roff(text):
    """Plain text as roff: nothing in it is a request, and a minus is one."""
    text = text.replace('\\', '\\e').replace("'", '\\(aq')
    text = re.sub(r'(?<!\w)-(?=\d)', r'\\-', text)
    return re.sub(r'^\.', r'\\&.', text, flags=re.MULTILINE)


def roff_words(text):
    """Names and paths as roff, with minus signs that can be copied."""
    return roff(text).replace('\\-', '-').replace('-', '\\-')


def value(type_, bounds=None):
    """What a type's value is in the file, in words."""
    if bounds:
        return f'{value(type_)}{", its numbers" if isinstance(type_, Value) else ""} {extent(type_, bounds)}'
    if isinstance(type_, Enum):
        names = ', '.join(f'{each.name} ({each.number})' for each in type_.values)
        return f'one of {names}' + (', or another number' if type_.open else '')
    if isinstance(type_, Number):
        return SCALARS[type_.base.qualified]
    return SCALARS.get(type_.qualified) or f'a group {type_.name}'


def extent(type_, bounds):
    if bounds.least is not None:
        return f'from {bounds.least} to {bounds.most}'
    return f'of at most {bounds.most}' + (' bytes' if type_.qualified == 'Zef::String8' else '')


def form(attribute):
    """What an attribute holds, in words."""
    type_ = attribute.use.type
    key = KEYS[attribute.key.type.qualified] if attribute.key else ''
    if attribute.use.pointer:
        return f'the steps that lead to a {type_.name}'
    return attribute.form.words.format(type=type_.name, key=key, value=value(type_, attribute.bounds))


def default(text, type_):
    """What an attribute starts with, where that is not what everyone expects."""
    text = re.sub(r'(?<=\d)[FU]$', '', text).rsplit('::', 1)[-1].removesuffix('.0')
    if text in IMPLIED or isinstance(type_, Enum) and text == type_.values[0].name:
        return ''
    return f'; {text} when left out'


def attribute_lines(name, words, doc):
    return ['.TP', f'.B {name}', roff(f'{words[0].upper()}{words[1:]}. {doc}'.strip())]


class Inventory:
    """The types that a file's objects have, each described once, where it is first met."""

    def __init__(self, root):
        loader = Loader(root)
        self.root = loader.load(ROOT_MODEL)
        self.types = {t.qualified: t for file in used(self.root) for t in loader.load(file).types}
        self.described = set()

    def inputs(self):
        """(name, type) of all inputs, in Root's order; the name of one that stands in a directory has its steps."""
        found = []
        for attribute in self.types[ROOT_TYPE].attributes:
            if attribute.name in DIRECTORIES:
                found += [(f'{attribute.name}.{name}', self.types[type_]) for name, type_ in DIRECTORIES[attribute.name]]
            elif attribute.form.name == 'type' and attribute.use.pointer and attribute.use.type.file.startswith(INPUTS):
                found.append((attribute.name, attribute.use.type))
        return found

    def sections(self):
        lines = []
        for name, type_ in self.inputs():
            lines += [f'.SH "THE INPUT {name}"', roff(type_.doc), *self.attributes(type_), *self.below(type_)]
        return '\n'.join(line for line in lines if line)

    def below(self, type_):
        """The types that the attributes of one have, in their order."""
        uses = [a.use for a in type_.attributes] if isinstance(type_, Class) else [field.type for field in type_.fields]
        return [line for use in uses if not use.pointer for line in self.type(use.type)]

    def type(self, type_):
        """A type that was not yet described, its base before it and what stands below it behind."""
        if not isinstance(type_, (Class, Value)) or type_.qualified in self.described:
            return []
        self.described.add(type_.qualified)
        base = type_.base if isinstance(type_, Class) else None
        lines = self.type(base) if base else []
        lines += [f'.SS {type_.name}', roff(type_.doc)]
        if base:
            lines.append(f'It has all that a {base.name} has' + (', and:' if type_.attributes else '.'))
        return lines + self.attributes(type_) + self.below(type_)

    def attributes(self, type_):
        lines = []
        if not isinstance(type_, Class):
            for field in type_.fields:
                words = value(field.type.type, field.bounds) + default(field.default, field.type.type)
                lines += attribute_lines(field.name, words, field.doc)
            return lines
        for attribute in type_.attributes:
            words = form(attribute)
            if attribute.placed or attribute.of or attribute is type_.key:
                words = 'not written in a file'
            elif attribute.form.name == 'type' and not attribute.use.pointer:
                words += default(attribute.default, attribute.use.type)
            lines += attribute_lines(attribute.name, words, attribute.doc)
        return lines


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--root', default='.', help='what the models are relative to')
    parser.add_argument('--out', required=True, help='the directory for the pages')
    parser.add_argument('--define', action='append', default=[], metavar='NAME=TEXT', help='what a page is told besides')
    parser.add_argument('templates', nargs='+', metavar='PAGE.j2')
    arguments = parser.parse_args()
    try:
        inventory = Inventory(arguments.root)
    except ModelError as error:
        print(error, file=sys.stderr)
        return 1
    sections = inventory.sections()
    inputs = [(name, roff(type_.doc)) for name, type_ in inventory.inputs()]
    for template in arguments.templates:
        folder, name = os.path.split(template)
        pages = jinja2.Environment(loader=jinja2.FileSystemLoader(folder), trim_blocks=True, lstrip_blocks=True,
                                   undefined=jinja2.StrictUndefined, keep_trailing_newline=True)
        told = {key: roff_words(text) for key, text in (define.split('=', 1) for define in arguments.define)}
        text = pages.get_template(name).render(inputs=inputs, sections=sections, **told)
        write(os.path.join(arguments.out, name.removesuffix('.j2')), text)
    return 0


if __name__ == '__main__':
    sys.exit(main())
