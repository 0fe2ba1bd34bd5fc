"""A strict reading of YAML: every value keeps its line, every key is read once, and nothing is guessed.

YAML 1.1 takes `no`, `off`, `yes`, `on` for booleans, 010 for eight and 1:30 for ninety. A model that means a name or a
number must not fall into that, so what YAML would turn into something else than it looks like is an error here.
"""
import re
from dataclasses import dataclass

import yaml


class ModelError(Exception):
    """What is wrong with a model, and where: its text is `file:line: what and why`."""

    def __init__(self, file, line, text):
        super().__init__(f'{file}:{line}: {text}')


_TAG = 'tag:yaml.org,2002:'
_KIND = {'bool': 'a boolean', 'null': 'nothing', 'int': 'a number', 'float': 'a number', 'timestamp': 'a date', 'str': 'a text'}


@dataclass
class Node:
    file: str
    line: int

    def fail(self, text):
        raise ModelError(self.file, self.line, text)


@dataclass
class Scalar(Node):
    text: str
    tag: str  # 'str', 'int', 'bool', ... as YAML resolves it

    kind = 'a plain value'

    def string(self, what):
        if self.tag != 'str':
            self.fail(f'{what}: a text is needed, but YAML reads `{self.text}` as {_KIND.get(self.tag, self.tag)}: quote it')
        return self.text

    def boolean(self, what):
        if self.tag != 'bool' or self.text not in ('true', 'false'):
            self.fail(f'{what}: true or false is needed, not `{self.text}`')
        return self.text == 'true'

    def integer(self, what, low, high):
        if self.tag != 'int' or not re.fullmatch(r'0|-?[1-9][0-9]*', self.text):
            self.fail(f'{what}: a plain decimal number is needed, not `{self.text}`')
        if not low <= int(self.text) <= high:
            self.fail(f'{what}: {self.text} is not in {low} to {high}')
        return int(self.text)

    def real(self, what):
        if self.tag not in ('int', 'float') or not re.fullmatch(r'-?[0-9]+(\.[0-9]+)?', self.text):
            self.fail(f'{what}: a plain decimal number is needed, not `{self.text}`')
        return float(self.text)


@dataclass
class Sequence(Node):
    items: list

    kind = 'a list'


@dataclass
class Mapping(Node):
    """Keys in their order. Whoever reads one takes out the keys that it knows; done() refuses what is left."""

    entries: dict  # name -> (line of the key, node)

    kind = 'a mapping'

    def __post_init__(self):
        self.known = []
        self.left = dict(self.entries)

    def take(self, key, kind=None):
        self.known.append(key)
        entry = self.left.pop(key, None)
        if entry is None:
            return None
        node = entry[1]
        if kind is not None and not isinstance(node, kind):
            node.fail(f'`{key}` must be {kind.kind}, and is {node.kind}')
        return node

    def string(self, key, default=None):
        node = self.take(key, Scalar)
        return default if node is None else node.string(f'`{key}`')

    def flag(self, key):
        node = self.take(key, Scalar)
        return node is not None and node.boolean(f'`{key}`')

    def pairs(self):
        """All entries, as (name, node): for mappings whose keys are names that the model invents."""
        self.left = {}
        return [(key, node) for key, (_, node) in self.entries.items()]

    def done(self, what):
        for key, (line, _) in self.left.items():
            raise ModelError(self.file, line, f'{what} has no key `{key}` (it has: {", ".join(self.known)})')


def _convert(file, node):
    line = node.start_mark.line + 1
    tag = node.tag.removeprefix(_TAG)
    if isinstance(node, yaml.ScalarNode):
        return Scalar(file, line, node.value, tag)
    if isinstance(node, yaml.SequenceNode):
        return Sequence(file, line, [_convert(file, item) for item in node.value])
    entries = {}
    for key, value in node.value:
        key_line = key.start_mark.line + 1
        if not isinstance(key, yaml.ScalarNode):
            raise ModelError(file, key_line, 'a key must be a name')
        key_tag = key.tag.removeprefix(_TAG)
        if key_tag != 'str':
            raise ModelError(file, key_line, f'YAML reads the key `{key.value}` as {_KIND.get(key_tag, key_tag)}: '
                             'quote it or choose another name')
        if key.value in entries:
            raise ModelError(file, key_line, f'`{key.value}` stands here twice, first in line {entries[key.value][0]}')
        entries[key.value] = (key_line, _convert(file, value))
    return Mapping(file, line, entries)


def read(path, shown):
    """The documents of a file. `shown` is the file's name in errors."""
    try:
        with open(path, encoding='utf-8') as stream:
            text = stream.read()
    except OSError as error:
        raise ModelError(shown, 1, f'cannot be read: {error.strerror}') from error
    try:
        for event in yaml.parse(text, Loader=yaml.SafeLoader):
            if isinstance(event, yaml.AliasEvent) or getattr(event, 'anchor', None):
                raise ModelError(shown, event.start_mark.line + 1, 'anchors and aliases have no place in a model')
        return [_convert(shown, node) for node in yaml.compose_all(text, Loader=yaml.SafeLoader) if node is not None]
    except yaml.MarkedYAMLError as error:
        line = error.problem_mark.line + 1 if error.problem_mark else 1
        raise ModelError(shown, line, f'not YAML: {error.problem or error}') from error
