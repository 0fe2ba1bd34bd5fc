"""Writes a model's header and source."""
import os
import re
import textwrap

import jinja2

WIDTH = 120
TEMPLATES = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'templates')


def comment(text, indent=0):
    """A `doc:` as a comment, with its line break; nothing for an empty one."""
    if not text:
        return ''
    prefix = ' ' * indent + '// '
    paragraphs = [textwrap.fill(part, WIDTH, initial_indent=prefix, subsequent_indent=prefix)
                  for part in text.strip().split('\n\n')]
    return f'\n{" " * indent}//\n'.join(paragraphs) + '\n'


def tidy(text):
    """Lays the text out as clang-format would, near enough to read like the rest of the code: breaks what is too long for a
    line, closes short bodies on their line, and keeps single blank lines where they belong."""
    lines = []
    for line in text.split('\n'):
        line = line.rstrip()
        before = lines[-1] if lines else ''
        opened = before.endswith(('{', 'public:', 'private:')) and not before.startswith('namespace')
        if not line and (not before or opened):
            continue
        if line.strip() in ('}', '};') and not before:
            lines.pop()
        if line in ('}', '};') and close(lines, line):
            continue
        body = re.fullmatch(r'( *)(\S.*\)(?: const| override)*) \{ (.*) \}', line)
        constructor = re.fullmatch(r'(\w+::\w+\(.*\)) : (.*)', line)
        if len(line) <= WIDTH or line.lstrip().startswith('//'):
            lines.append(line)
        elif body:
            lines += [f'{body[1]}{body[2]} {{', f'{body[1]}  {body[3]}', f'{body[1]}}}']
        elif constructor:
            lines += [constructor[1], f'    : {constructor[2]}']
        else:
            while len(line) > WIDTH:
                head, line = split(line)
                lines.append(head)
            lines.append(line)
    return '\n'.join(lines).strip('\n') + '\n'


def close(lines, line):
    """Closes the last of `lines`, an empty class or function or a function of one short statement, on its own line."""
    if lines[-1].endswith((') {', '> {')):
        lines[-1] += line
        return True
    head, statement = lines[-2:] if len(lines) > 1 else ('', '')
    one_line = f'{head} {statement.strip()} {line}'
    if not head.startswith((' ', 'class')) and head.endswith((') {', ') const {')) and len(one_line) <= WIDTH:
        if statement.endswith(';') and not statement.strip().startswith(('if ', 'while ')):
            lines[-2:] = [one_line]
            return True
    return False


def split(line):
    """One line in two: broken behind a comma and aligned behind the bracket that is open there, as clang-format does it. The
    outermost comma wins that leaves a rest that fits, then the last."""
    breaks, stack, quoted = [], [], False
    for at, c in enumerate(line[:WIDTH]):
        if c == '"':
            quoted = not quoted
        elif quoted:
            continue
        elif c in '(<{' and '<<' not in line[at - 1:at + 2]:
            stack.append(at)
        elif c in ')>}' and stack and line[at - 1:at + 1] != '->':
            stack.pop()
        elif c == ',':
            indent = stack[-1] + 1 if stack else len(line) - len(line.lstrip())
            rest = ' ' * indent + line[at + 1:].lstrip()
            breaks.append((len(rest) <= WIDTH, -len(stack), at, rest))
    if not breaks or max(breaks)[3] == line:
        raise AssertionError(f'no place to break: {line}')
    _, _, at, rest = max(breaks)
    return line[:at + 1], rest


def joined(parts):
    return ', '.join(part for part in parts if part)


class Cpp:
    """The C++ that a class's templates write, name by name. `t` is the class that is being written."""

    def __init__(self, t):
        self.t = t

    def local(self, text):
        """A name as code within the class writes it."""
        for enum in self.t.enums:
            text = re.sub(rf'(?<![\w:]){self.t.name}::{enum.name}\b', enum.name, text)
        return text

    def value(self, a):
        return a.use.cpp(self.t.namespace)

    def key(self, a):
        return a.key.cpp(self.t.namespace)

    def key_parameter(self, a):
        return f'{a.key.parameter(self.t.namespace)} key'

    def field(self, a):
        """The type of the field that stores an attribute."""
        value = self.value(a)
        return {
            'value': lambda: value,
            'record': lambda: f'Zef::Ptr<{value} const>',
            'entity': lambda: f'Zef::Ptr<{value}>',
            'lazy': lambda: f'Zef::Ptr<{value}>',
            'reactor': lambda: f'Zef::Ptr<{value}>',
            'optional': lambda: f'std::optional<{value}>',
            'map': lambda: f'std::map<{self.key(a)}, {value}>',
            'hash': lambda: f'Zef::HashMap<{value}, {self.key(a)}>',
            'reactors': lambda: f'Zef::HashMap<{value}, {self.key(a)}>',
            'queue': lambda: f'Zef::LinkQueue<{a.entry}>',
            'tree': lambda: f'Zef::RbTreeMap<{a.entry if a.given else value}, {self.key(a)}>',
        }[a.form]()

    def base(self):
        return self.t.base.cpp(self.t.namespace) if self.t.base else 'Zef::Entity' if self.t.is_entity else 'Zef::PtrInterface'

    def bases(self):
        link = {'hash': 'public Zef::HashMapLink', 'tree': 'public Zef::RbTreeLink', '': ''}[self.t.member]
        return joined([f'public {self.base()}', link])

    def base_type(self):
        """The type object of the base."""
        return f'{self.base()}::_fwkType()' if self.t.base else 'Zef::entityType()' if self.t.is_entity else 'nullptr'

    def generic_if(self):
        """The base of the class's reflective view."""
        kind = 'Entity' if self.t.is_entity else 'PtrInterface'
        return f'Zef::GenericIfOf<{self.t.name}, Zef::GenericIf{kind}>'

    def reader(self, a):
        """What a reader of a single value gives."""
        if a.form == 'value':
            return self.value(a) if a.computed or a.of else a.use.result(self.t.namespace)
        return f'{self.field(a)} const&'

    def of(self, a):
        head, dot, rest = a.of.partition('.')
        return f'{head}(){dot}{rest}'

    def argument(self, a, defaults):
        """One parameter of a constructor, or of what makes a member."""
        type_ = a.use.parameter(self.t.namespace) if a.form == 'value' else f'{self.field(a)} const&'
        default = a.default or ('nullptr' if a.form == 'record' else f'{self.field(a)}()')
        return f'{type_} {a.name}{f" = {default}" if defaults else ""}'

    def constructor(self, defaults):
        """A record's key has no default: without it the record has no place."""
        t = self.t
        defaults = defaults and (t.is_entity or not t.key_attribute)
        return joined(['Zef::Name const& name' if t.is_entity else ''] + [self.argument(a, defaults) for a in t.arguments])

    def constructor_types(self):
        """The constructor's parameters: type and name."""
        name = [('Zef::Name', 'name')] if self.t.is_entity else []
        return name + [(self.field(a), a.name) for a in self.t.arguments]

    def initializers(self):
        t = self.t
        inherited = t.base.arguments if t.base else []
        base = joined(['name' if t.is_entity else ''] + [a.name for a in inherited])
        own = [f'{a.name}_({a.name})' for a in t.arguments if a not in inherited]
        return joined([f'{self.base()}({base})' if base else ''] + own)

    def member_arguments(self, a, defaults):
        """What making a member of a collection takes besides its key."""
        member = a.use.type
        return joined(self.argument(m, defaults) for m in member.arguments if m is not member.key_attribute)

    def make_member(self, a):
        member = a.use.type
        name = '' if not member.is_entity else 'Zef::Name(Zef::keyText(key))' if member.key_attribute else 'key'
        values = ['key' if m is member.key_attribute else m.name for m in member.arguments]
        return f'Zef::make<{self.value(a)}>({joined([name] + values)})'

    def writable_iterator(self, a):
        """Its declaration, which seldom fits on one line."""
        name, t = a.cap, self.t.name
        head = f'  using {name}Iterator ='
        type_ = f'Zef::DeletingIterator<{name}IteratorConst, {t}, {self.key(a)}, &{t}::{a.name}Del>;'
        return f'{head} {type_}' if len(f'{head} {type_}') <= WIDTH else f'{head}\n      {type_}'

    def iterator(self, a):
        if a.form == 'queue':
            return f'Zef::QueueIterator<{a.entry}>'
        return f'Zef::GivenIterator<{a.entry}, {self.key(a)}>' if a.given else f'{self.field(a)}::IteratorConst'

    def start(self, a):
        owner = f'Zef::Ptr<{self.t.name} const>(this)'
        queue = a.form == 'queue'
        return f'{a.cap}IteratorConst({a.name}_{".iterator()" if queue else ""}, {owner})'

    def start_at(self, a):
        owner = f'Zef::Ptr<{self.t.name} const>(this)'
        return f'{a.cap}IteratorConst({a.name}_.startAt(key), {owner})' if a.form == 'queue' else f'{a.name}_.startAt(key, {owner})'

    def parameters(self, a):
        return joined(f'{p.use.cpp(self.t.namespace)}{" const&" if p.use.pointer else ""} {p.name}' for p in a.args)

    def function(self, a):
        result = a.use.cpp(self.t.namespace) if a.use else 'void'
        return f'{result} {a.name}({self.parameters(a)}){"" if a.mutates else " const"}'

    def factory(self):
        name = self.t.name[0].lower() + self.t.name[1:]
        return f'Zef::Ptr<{self.t.name}> {name}Factory({"Zef::Name const& name" if self.t.is_entity else ""})'

    def builder(self, a):
        """How the type object learns of an attribute."""
        t, name, scope = self.t.name, a.name, f'&{self.t.name}::'
        if a.form == 'function':
            names = ''.join(f', "{p.name}"' for p in a.args)
            return f'type.function<{scope}{name}>("{name}", {name}Attr{names})'
        if a.form == 'value':
            if a.fixed and a is not self.t.key:
                return f'type.fixed<{scope}{name}_>("{name}", {name}Attr)'
            if not a.has_setter:
                return f'type.readOnly<{scope}{name}>("{name}", {name}Attr)'
            return f'type.value<{scope}{name}, {scope}{name}Is>("{name}", {name}Attr)'
        if a.form == 'record':
            return f'type.record<{scope}{name}_>("{name}", {name}Attr)'
        if a.is_made or a.form == 'metadata':
            return f'type.readOnly<{scope}{name}>("{name}", {name}Attr)'
        ends, method = {
            'entity': (('', 'Is'), 'entity'),
            'optional': (('Valid', '', 'Is', 'Del'), 'optional'),
            'map': (('Map', 'Is', 'Del'), 'valueMap'),
            'hash': (('', 'Is', 'Del', 'IteratorConst', 'StartAt'), 'collection'),
            'tree': (('', 'Is', 'Del', 'IteratorConst', 'StartAt'), 'collection'),
            'reactors': (('', None, 'Del', 'IteratorConst', 'StartAt'), 'collection'),
            'queue': (('', None, 'Del', 'IteratorConst', 'StartAt'), 'collection'),
        }[a.form]
        uses = ['nullptr' if end is None or a.given and end == 'Is' else f'{scope}{name}{end}' for end in ends]
        return f'type.{method}<{joined(uses)}>("{name}", {name}Attr)'


class Emitter:
    def __init__(self):
        self.environment = jinja2.Environment(
            loader=jinja2.FileSystemLoader(TEMPLATES), trim_blocks=True, lstrip_blocks=True, undefined=jinja2.StrictUndefined,
            keep_trailing_newline=True)
        self.environment.filters['comment'] = comment
        self.environment.filters['bounds'] = bounds

    def header(self, model):
        return self.render('header.h.j2', model)

    def source(self, model):
        return self.render('source.cpp.j2', model)

    def render(self, template, model):
        externals = [t.header for t in model.types if t.kind == 'external']
        queues = any(a.form == 'queue' for t in model.types for a in getattr(t, 'attributes', []))
        externals += ['runtime/collections/LinkQueue.h'] if queues else []
        externals += ['runtime/reflection/Attribute.h', 'runtime/reflection/GenericIf.h']
        includes = sorted({*externals, *(used.header for used in model.uses)})
        return tidy(self.environment.get_template(template).render(model=model, includes=includes, registrar=registrar,
                                                                   cpp=Cpp))


def bounds(of):
    """A Zef::Bounds."""
    ends = [('least', of.bounds.least), ('most', of.bounds.most)]
    return f'{{{joined(f".{end} = {number}" for end, number in ends if number is not None)}}}'


def registrar(model):
    """The function that registers a model's types."""
    return model.stem[0].lower() + model.stem[1:]


def dependencies():
    """The files that every output depends on: the compiler's own."""
    here = os.path.dirname(os.path.abspath(__file__))
    sources = [os.path.join(here, name) for name in sorted(os.listdir(here)) if name.endswith('.py')]
    return sources + [os.path.join(TEMPLATES, name) for name in sorted(os.listdir(TEMPLATES))]
