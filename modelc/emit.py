"""Writes a model's header and source."""
import glob
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
    """The layout that templates cannot give: single blank lines, none behind an opening or before a closing line, empty bodies on
    their line, and no line that is too long."""
    text = re.sub(r'\n{3,}', '\n\n', re.sub(r'[ \n]*\n', lambda blanks: '\n' * blanks[0].count('\n'), text))
    text = re.sub(r'(?m)^(?!namespace)(.*(?:\{|public:|private:))\n\n', r'\1\n', text)
    text = re.sub(r'\n\n(?= *\};?\n)', '\n', text)
    text = re.sub(r'\{\n *(?=\};?\n)', '{', text)
    return '\n'.join(map(fold, text.strip('\n').split('\n'))) + '\n'


def fold(line, indent=None):
    """Breaks a line that is too long where the fewest brackets are open, as late as it can: behind a comma, and rather, outside of
    all brackets, behind `=` and `{` and before `:`. The rest goes on four further, a body two."""
    if len(line) <= WIDTH or line.lstrip().startswith('//'):
        return line
    indent = len(line) - len(line.lstrip()) if indent is None else indent
    depth, breaks = 0, []
    for token in re.finditer(r'->|<<|, | : | = | \{ |[(<{)>}]', line[:WIDTH]):
        if line[:token.start()].strip() and (token[0] == ', ' or depth == 0 and token[0] in (' : ', ' = ', ' { ')):
            breaks.append((-depth, token[0] != ', ', token.start() if token[0] == ' : ' else token.end()))
        depth += (token[0].strip() in '(<{') - (token[0] in ')>}')
    if not breaks:
        raise AssertionError(f'no place to break: {line}')
    at = max(breaks)[2]
    head, rest = line[:at].rstrip(), line[at:].lstrip()
    if head.endswith('{'):
        return '\n'.join([head, fold(' ' * (indent + 2) + rest.removesuffix(' }')), ' ' * indent + '}'])
    return head + '\n' + fold(' ' * (indent + 4) + rest, indent)


def joined(parts):
    return ', '.join(part for part in parts if part)


class Cpp:
    """The C++ that a class's templates write, name by name. `t` is the class that is being written."""

    def __init__(self, t, templates):
        self.t = t
        self.templates = templates

    def section(self, name, a):
        """One section of the template of an attribute's form, or of what such forms share: `types`, `readers`, `operations`,
        `fields`, `source`, `builder`. Nothing where neither has it."""
        form = a.form
        for template in (form.template or form.name, 'collection' if form.collection else 'single'):
            macro = getattr(self.templates.get_template(f'forms/{template}.j2').module, name, None)
            if macro:
                return macro(self.t, a, self)
        return ''

    def uses(self, a, *ends):
        """Pointers to members of the class, named after an attribute, as arguments of a template."""
        return joined(f'&{self.t.name}::{a.name}{end}' for end in ends)

    def tell(self, a):
        """Tells the notifiees."""
        key = 'key' if a.is_keyed else ''
        return f'notify<NotifieeConst>({a.name}Attr, [{key and "&key"}](NotifieeConst& n) {{ n.on{a.cap}({key}); }})'

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
        return a.form.field.format(value=self.value(a), key=a.is_keyed and self.key(a), entry=a.entry)

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
        if a.form.name == 'type':
            return self.value(a) if a.computed or a.of else a.use.result(self.t.namespace)
        return f'{self.field(a)} const&'

    def of(self, a):
        head, dot, rest = a.of.partition('.')
        return f'{head}(){dot}{rest}'

    def argument(self, a, defaults):
        """One parameter of a constructor, or of what makes a member."""
        type_ = a.use.parameter(self.t.namespace) if a.form.name == 'type' else f'{self.field(a)} const&'
        default = a.default or ('nullptr' if a.form.name == 'record' else f'{self.field(a)}()')
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

    def parameters(self, a):
        return joined(f'{p.use.cpp(self.t.namespace)}{" const&" if p.use.pointer else ""} {p.name}' for p in a.args)

    def factory(self):
        name = self.t.name[0].lower() + self.t.name[1:]
        return f'Zef::Ptr<{self.t.name}> {name}Factory({"Zef::Name const& name" if self.t.is_entity else ""})'


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
        queues = any(a.form.name == 'queue' for t in model.types for a in getattr(t, 'attributes', []))
        externals += ['runtime/collections/LinkQueue.h'] if queues else []
        externals += ['runtime/reflection/Attribute.h', 'runtime/reflection/GenericIf.h']
        includes = sorted({*externals, *(used.header for used in model.uses)})
        return tidy(self.environment.get_template(template).render(model=model, includes=includes, registrar=registrar,
                                                                   cpp=lambda t: Cpp(t, self.environment)))


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
    return sources + sorted(glob.glob(f'{TEMPLATES}/**/*.j2', recursive=True))
