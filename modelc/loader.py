"""Reads model files into modelc's model, strictly: what is not understood is an error with its file and line."""
import os
import re

import yamlnode
from forms import DECLARABLE, FORMS, NO_FLAGS
from model import (BUILTINS, FIRST_ATTRIBUTE_ID, Attribute, Bounds, Class, Constant, Enum, Enumerator, External, Field, Model,
                   Number, Parameter, Use, Value)
from yamlnode import Mapping, ModelError, Scalar, Sequence

KEYWORDS = frozenset('''
alignas alignof and and_eq asm auto bitand bitor bool break case catch char class compl concept const consteval constexpr
constinit continue co_await co_return co_yield decltype default delete do double else enum explicit export extern false float
for friend goto if inline int long mutable namespace new noexcept not not_eq nullptr operator or or_eq private protected public
register requires return short signed sizeof static struct switch template this throw true try typedef typeid typename union
unsigned using virtual void volatile while xor xor_eq final override'''.split())

# What every object and every entity has already, and a model cannot declare again.
INHERITED = frozenset('''
fwkType word wordIs newReference deleteReference isNondestructing isNondestructingIs hasNotificationActive zeroReferencesIs
auditErrors fwkKey name parent parentIs parentAttr parentAttrId parentAttrIdIs fullName uriPath attributeString attributeId
notify notifiees'''.split())

# What a form holds: the test of its type, and what is said of another one.
HOLDS = {
    'record': (lambda type_: isinstance(type_, Class) and type_.kind == 'record', '`{type}` is no record'),
    'entity': (lambda type_: isinstance(type_, Class) and type_.kind == 'entity', '`{type}` is no entity'),
    'member': (lambda type_: isinstance(type_, Class),
               'the members of a collection are entities or records, and `{type}` is neither'),
    'value': (lambda type_: type_.stands_alone, '`{form}` holds values, and `{type}` is none'),
    'object': (lambda type_: type_.is_object, '`{type}` is no object'),
}


def check_name(node_or_mapping, line, name, what, pattern=r'[a-z][A-Za-z0-9]*'):
    file = node_or_mapping.file
    if not re.fullmatch(pattern, name):
        raise ModelError(file, line, f'`{name}` is no name for {what}: it must match {pattern}')
    if name in KEYWORDS:
        raise ModelError(file, line, f'`{name}` is a keyword of C++ and cannot name {what}')


class Loader:
    """Loads models with those that they use. All paths are relative to the root."""

    def __init__(self, root):
        self.root = root
        self.models = {}   # file -> Model, a used model before its user
        self.loading = []
        self.types = dict(BUILTINS)

    def load(self, file, node=None):
        if file in self.models:
            return self.models[file]
        if file in self.loading:
            node.fail(f'{file} uses itself through {" and ".join(self.loading)}')
        path = os.path.join(self.root, file)
        if node is not None and not os.path.exists(path):
            node.fail(f'there is no model {file}')
        self.loading.append(file)
        model = Model(file)
        for number, document in enumerate(yamlnode.read(path, file)):
            if not isinstance(document, Mapping):
                document.fail('a document of a model is a mapping with `namespace` and `types`')
            uses = document.take('uses', Sequence) if number == 0 else None
            for item in uses.items if uses else []:
                if not isinstance(item, Scalar):
                    item.fail('`uses` lists model files')
                model.uses.append(self.load(item.string('`uses`'), item))
            named = document.take('typeNames', Sequence) if number == 0 else None
            self.block(model, document)
            for item in named.items if named else []:
                model.named.append(self.named(model, item))
        if not model.types:
            raise ModelError(file, 1, 'the model declares no type')
        self.loading.pop()
        self.models[file] = model
        return model

    def named(self, model, item):
        """A model that `typeNames` lists: this one, or one that it uses."""
        if not isinstance(item, Scalar):
            item.fail('`typeNames` lists model files')
        file = item.string('`typeNames`')
        found = next((m for m in [*model.uses, model] if m.file == file), None)
        if found is None:
            item.fail(f'{file} is neither this model nor one that it uses')
        return found

    def block(self, model, document):
        namespace = document.string('namespace')
        if namespace is None:
            document.fail('`namespace` is missing')
        if not re.fullmatch(r'[A-Z][A-Za-z0-9]*(::[A-Z][A-Za-z0-9]*)*', namespace):
            document.fail(f'`{namespace}` is no namespace')
        types = document.take('types', Mapping)
        if types is None:
            document.fail('`types` is missing')
        doc = document.string('doc', '')
        document.done('a document')
        block = (namespace, doc, [])
        model.blocks.append(block)
        for name, node in types.pairs():
            line = types.entries[name][0]
            check_name(types, line, name, 'a type', r'[A-Z][A-Za-z0-9]*')
            if not isinstance(node, Mapping):
                node.fail(f'type `{name}` must be a mapping')
            qualified = f'{namespace}::{name}'
            if qualified in self.types:
                other = self.types[qualified]
                raise ModelError(model.file, line, f'type `{qualified}` is declared already, in {other.file}:{other.line}')
            kind = node.string('kind', 'entity')
            build = {'enum': self.enum, 'number': self.number, 'value': self.value, 'external': self.external,
                     'record': self.klass, 'entity': self.klass}.get(kind)
            if build is None:
                node.fail(f'there is no kind of type `{kind}` (there are enum, number, value, external, record, entity)')
            common = {'name': name, 'namespace': namespace, 'doc': node.string('doc', ''), 'file': model.file, 'line': line}
            if build == self.klass:
                common['kind'] = kind
            block[2].append(build(node, common))
            node.done(f'type `{name}` of kind {kind}')

    # The kinds of type.

    def declare(self, type_):
        self.types[type_.qualified] = type_
        return type_

    def enum(self, node, common, owner=None):
        enum = Enum(**common, open=node.flag('open'), owner=owner)
        values = node.take('values', Mapping)
        if values is None or not values.entries:
            node.fail(f'enumeration `{enum.name}` needs `values`')
        numbers = {}
        for name, value in values.pairs():
            check_name(values, values.entries[name][0], name, 'an enumerator')
            doc = ''
            if isinstance(value, Mapping):
                doc = value.string('doc', '')
                number = value.take('value', Scalar)
                value.done(f'enumerator `{name}`')
                if number is None:
                    value.fail(f'enumerator `{name}` needs a `value`')
                value = number
            if not isinstance(value, Scalar):
                value.fail(f'enumerator `{name}` must be a number')
            number = value.integer(f'enumerator `{name}`', 0, 0xFFFFFFFF)
            if number in numbers:
                value.fail(f'enumerator `{name}` has the number {number} of `{numbers[number]}`')
            numbers[number] = name
            enum.values.append(Enumerator(name, number, doc))
        return self.declare(enum)

    def number(self, node, common):
        base = node.string('type')
        if base not in ('U8', 'U32'):
            node.fail(f'number `{common["name"]}` needs `type`: U8 or U32')
        return self.declare(Number(**common, base=BUILTINS[base]))

    def external(self, node, common):
        header = node.string('header')
        if header is None:
            node.fail(f'external type `{common["name"]}` needs its `header`')
        return self.declare(External(**common, header=header, is_key=node.flag('key')))

    def value(self, node, common):
        value = Value(**common, ordered=node.flag('ordered'), empty_test=node.flag('emptyTest'))
        fields = node.take('fields', Mapping)
        if fields is None or not fields.entries:
            node.fail(f'value type `{value.name}` needs `fields`')
        for name, entry in fields.pairs():
            check_name(fields, fields.entries[name][0], name, 'a field')
            default, bounds = None, None
            doc = ''
            if isinstance(entry, Mapping):
                text, where = entry.string('type'), entry
                default = entry.take('default', Scalar)
                doc = entry.string('doc', '')
                bounds = self.bounds(entry, f'field `{name}`')
                entry.done(f'field `{name}`')
                if text is None:
                    entry.fail(f'field `{name}` needs a `type`')
            else:
                text, where = self.scalar(entry, f'field `{name}`'), entry
            use = self.use(text, where, value.namespace)
            if use.pointer:
                where.fail(f'field `{name}`: a value holds no pointers')
            self.check_bounds(bounds, use, where, f'field `{name}`')
            value.fields.append(Field(name, use, self.default(use, default, value.namespace), doc, bounds))
        return self.declare(value)

    def klass(self, node, common):
        kind = common['kind']
        base = None
        base_name = node.string('base')
        if base_name is not None and base_name != 'Zef::Entity':
            base = self.find(base_name, node, common['namespace'])
            if not isinstance(base, Class) or base.kind != kind:
                node.fail(f'the base of {kind} `{common["name"]}` must be a declared {kind}, and `{base_name}` is none')
        elif base_name is not None and kind == 'record':
            node.fail(f'record `{common["name"]}` cannot have the base Zef::Entity: it has no name and no notifiees')
        class_ = Class(**common, base=base)
        self.declare(class_)
        observed = node.take('observed', Scalar)
        if kind == 'entity':
            class_.observed = observed is None or observed.boolean('`observed`')
        elif observed is not None:
            observed.fail('a record has no notifiees: `observed` is for entities')
        if base and base.is_entity and base.observed != class_.observed:
            node.fail(f'`{class_.name}` must be observed if and only if its base `{base.name}` is')
        class_.generic_notifiee = node.flag('genericNotifiee')
        if class_.generic_notifiee and (base or not class_.observed):
            node.fail('`genericNotifiee` is for an observed entity without a base: it tells of the attributes of its own type')
        class_.virtual_setters = node.flag('virtualSetters')
        class_.destructor = node.flag('destructor')
        class_.member = node.string('member', '')
        if class_.member not in ('', 'hash', 'tree'):
            node.fail(f'`member` is hash or tree, not `{class_.member}`')
        class_.factory = node.string('factory', '')
        if class_.factory not in ('', 'new', 'single'):
            node.fail(f'`factory` is new or single, not `{class_.factory}`')
        for name, entry in self.entries(node, 'enums'):
            check_name(node, entry.line, name, 'an enumeration', r'[A-Z][A-Za-z0-9]*')
            if not isinstance(entry, Mapping):
                entry.fail(f'enumeration `{name}` must be a mapping with `values`')
            nested = {'name': name, 'namespace': common['namespace'], 'doc': entry.string('doc', ''),
                      'file': common['file'], 'line': entry.line}
            class_.enums.append(self.enum(entry, nested, class_))
            entry.done(f'enumeration `{name}`')
        self.body(node, class_)
        return class_

    def entries(self, node, key):
        mapping = node.take(key, Mapping)
        return mapping.pairs() if mapping else []

    def body(self, node, class_):
        taken = {}  # member name -> who has it
        for c in class_.chain():
            for a in c.attributes:
                taken.update(dict.fromkeys(a.members, (a, c)))
        next_id = class_.base.last_id + 1 if class_.base else FIRST_ATTRIBUTE_ID
        slot = class_.base.slot_count if class_.base else 1

        def enter(entry, what, members, owner, attribute=None):
            for member in sorted(members):
                if member in INHERITED:
                    entry.fail(f'{what}: every object has `{member}` already')
                if member in taken:
                    other, where = taken[member]
                    overrides = (attribute is not None and attribute.override and isinstance(other, Attribute)
                                 and other.name == attribute.name and where is not class_)
                    if not overrides:
                        entry.fail(f'{what}: `{member}` is declared already, in `{where.qualified}`')
            taken.update(dict.fromkeys(members, (owner, class_)))

        for name, entry in self.entries(node, 'constants'):
            check_name(node, entry.line, name, 'a constant')
            constant = self.constant(name, entry)
            enter(entry, f'constant `{name}`', {name}, constant)
            constant.id, next_id = next_id, next_id + 1
            class_.constants.append(constant)

        for name, entry in self.entries(node, 'attributes'):
            check_name(node, entry.line, name, 'an attribute')
            attribute = self.attribute(name, entry, class_)
            self.check_override(attribute, entry)
            for each in [attribute.metadata(), attribute] if attribute.form.name == 'queue' else [attribute]:
                enter(entry, f'attribute `{each.name}`', each.members, each, each)
                each.id, next_id = next_id, next_id + 1
                each.first_slot, slot = slot, slot + len(each.slots)
                class_.attributes.append(each)

        for name, entry in self.entries(node, 'defaults'):
            attribute = class_.base.find(name) if class_.base else None
            if attribute is None or not attribute.has_setter or attribute.form.name != 'type':
                entry.fail(f'`{name}` is no attribute with a setter that a base of `{class_.name}` declares')
            class_.defaults.append((attribute, self.default(attribute.use, self.need_scalar(entry), class_.namespace)))

        key = node.string('key')
        if key is not None:
            class_.key = class_.find(key)
            if class_.key is None or not class_.key.fixed:
                node.fail(f'the key `{key}` of `{class_.name}` must be an attribute that is `fixed`')
            if class_.key.use.pointer or not class_.key.use.type.is_key:
                node.fail(f'the key `{key}` is a {class_.key.use.type.qualified}, which is no type of key')
        if class_.member and class_.key_type() is None:
            node.fail(f'`{class_.name}` is a member of collections and needs a `key`')
        if class_.member and class_.base and class_.base.member_kind():
            node.fail(f'`{class_.name}` has the links of its base already: `member` cannot stand twice')

    @staticmethod
    def check_override(attribute, entry):
        base = attribute.owner.base.find(attribute.name) if attribute.owner.base else None
        if attribute.override and (base is None or not (base.virtual or base.override)):
            entry.fail(f'attribute `{attribute.name}` overrides nothing: no base has it as `virtual`')
        if attribute.override and (base.use.type is not attribute.use.type):
            entry.fail(f'attribute `{attribute.name}` must be a {base.use.type.qualified}, as in `{base.owner.qualified}`')

    # Parts of a class.

    def constant(self, name, entry):
        doc = ''
        type_ = BUILTINS['U32']
        value = entry
        if isinstance(entry, Mapping):
            type_name = entry.string('type', 'U32')
            doc = entry.string('doc', '')
            value = entry.take('value', Scalar)
            entry.done(f'constant `{name}`')
            type_ = BUILTINS.get(type_name)
            if type_ is None or type_name not in ('U8', 'U32', 'Zef::String8'):
                entry.fail(f'constant `{name}`: a constant is a U8, a U32 or a Zef::String8, not `{type_name}`')
            if value is None:
                entry.fail(f'constant `{name}` needs a `value`')
        value = self.need_scalar(value)
        return Constant(name, type_, self.literal(type_, value, None), doc)

    def attribute(self, name, entry, class_):
        what = f'attribute `{name}`'
        if isinstance(entry, Scalar):
            use = self.use(entry.string(what), entry, class_.namespace, class_)
            return Attribute(name, class_, FORMS['type'], self.plain(use, entry, what), entry.line,
                             default=self.default(use, None, class_.namespace))
        if not isinstance(entry, Mapping):
            entry.fail(f'{what} must be a type or a mapping')
        forms = [form for form in DECLARABLE if form in entry.entries]
        if len(forms) != 1:
            entry.fail(f'{what} must have exactly one of {", ".join(DECLARABLE)}')
        form = FORMS[forms[0]]
        if form.name == 'function' and not entry.flag('function'):
            entry.fail(f'{what}: `function` is true or not there')
        type_text = entry.string('returns' if form.name == 'function' else form.name)
        doc = entry.string('doc', '')
        options = form.options.split()
        flags = {flag: entry.flag(flag) for flag in options if flag not in NO_FLAGS}
        key_text = entry.string('key') if 'key' in options else None
        args = self.parameters(entry, class_, what) if 'args' in options else []
        of = entry.string('of', '') if 'of' in options else ''
        by = entry.string('by') if 'by' in options else None
        default = entry.take('default', Scalar) if 'default' in options else None
        bounds = self.bounds(entry, what) if 'most' in options else None
        entry.done(f'{what} of the form `{form.name}`')
        use = None if type_text is None else self.use(type_text, entry, class_.namespace, class_)
        if flags.pop('given', False):
            form = FORMS['given']
        attribute = Attribute(name, class_, form, use, entry.line, doc=doc, args=args, of=of, **flags)
        attribute.fixed |= form.name == 'record'
        if form.name == 'function':
            return attribute
        if form.name == 'type':
            self.plain(use, entry, what)
            self.check_bounds(bounds, use, entry, what)
            attribute.bounds = bounds
            attribute.default = '' if of else self.default(use, default, class_.namespace)
            self.check_flags(attribute, entry, what)
            return attribute
        if use.pointer:
            entry.fail(f'{what}: `{form.name}` takes a type by its name')
        self.check_form(attribute, entry, what)
        if 'key' in options:
            if key_text is None:
                entry.fail(f'{what} needs a `key`')
            attribute.key = self.use(key_text, entry, class_.namespace, class_)
            if attribute.key.pointer or not attribute.key.type.is_key:
                entry.fail(f'{what}: `{key_text}` is no type of key')
        if form.name == 'queue':
            attribute.key = Use(BUILTINS['U32'])
            attribute.by = attribute.use.type.find(by) if by else None
            if by and not (attribute.by and attribute.by.fixed and attribute.by.use.type.is_key):
                entry.fail(f'{what}: `{by}` is no fixed attribute of `{attribute.use.type.qualified}` that can be a key')
        elif form.holds == 'member':
            self.check_member(attribute, entry, what)
        return attribute

    @staticmethod
    def plain(use, entry, what):
        if not use.pointer and not use.type.stands_alone:
            entry.fail(f'{what}: `{use.type.qualified}` is an object: write `Ptr<{use.type.name}>`, or entity:, record:, lazy:')
        if use.pointer and not use.type.is_object:
            entry.fail(f'{what}: `{use.type.qualified}` is a value, and cannot be pointed at')
        return use

    @staticmethod
    def bounds(entry, what):
        """What publishers may set of what the type holds; None for all of it."""
        least, most = (entry.take(end, Scalar) for end in ('least', 'most'))
        if most is None:
            if least is not None:
                least.fail(f'{what} has `least`, and needs `most` too')
            return None
        high = most.integer('`most`', 1, 0xFFFFFFFF)
        return Bounds(None if least is None else least.integer('`least`', -0x80000000, high - 1), high)

    @staticmethod
    def check_bounds(bounds, use, entry, what):
        if not bounds:
            return
        numbers = use.type.qualified in ('U32', 'S32', 'float', 'double') or isinstance(use.type, Value)
        if use.pointer or not (numbers or use.type.qualified == 'Zef::String8'):
            entry.fail(f'{what}: `most` is for texts, numbers and groups of them, not for a {use.type.qualified}')
        if bounds.least is not None and not numbers:
            entry.fail(f'{what}: a text has no `least`')

    @staticmethod
    def check_flags(attribute, entry, what):
        class_ = attribute.owner
        exclusive = [flag for flag in ('fixed', 'argument', 'placed', 'of') if getattr(attribute, flag)]
        if len(exclusive) > 1:
            entry.fail(f'{what} cannot be `{exclusive[0]}` and `{exclusive[1]}`')
        if attribute.of:
            head = attribute.of.split('.')[0]
            if class_.find(head) is None:
                entry.fail(f'{what}: `{class_.name}` has no attribute `{head}` above it')
        if attribute.bounds and not (attribute.has_setter or attribute.fixed):
            entry.fail(f'{what} cannot be set, so `most` has no meaning')
        if attribute.changed and not attribute.has_setter:
            entry.fail(f'{what} has no setter, so `changed` has no meaning')
        if attribute.placed and not class_.is_entity:
            entry.fail(f'{what}: a record has no place in the tree')

    @staticmethod
    def check_form(attribute, entry, what):
        form, type_ = attribute.form, attribute.use.type
        holds, refusal = HOLDS[form.holds]
        if not holds(type_):
            entry.fail(f'{what}: {refusal.format(type=type_.qualified, form=form.name)}')
        if form.of_entity and not attribute.owner.is_entity:
            entry.fail(f'{what}: a record has no `{form.declared_as or form.name}`')

    @staticmethod
    def check_member(attribute, entry, what):
        member = attribute.use.type
        if member.key_type() is not attribute.key.type:
            has = member.key_type().qualified if member.key_type() else 'nothing'
            entry.fail(f'{what}: `{member.qualified}` is known by {has}, not by {attribute.key.type.qualified}')
        if attribute.form.name != 'given' and member.member_kind() != attribute.form.name:
            entry.fail(f'{what}: `{member.qualified}` needs `member: {attribute.form.name}`')

    def parameters(self, entry, class_, what):
        parameters = []
        for parameter, node in self.entries(entry, 'args'):
            check_name(entry, node.line, parameter, 'a parameter')
            parameters.append(Parameter(parameter, self.use(self.scalar(node, what), node, class_.namespace, class_)))
        return parameters

    # Types and values.

    @staticmethod
    def scalar(node, what):
        return Loader.need_scalar(node).string(what)

    @staticmethod
    def need_scalar(node):
        if not isinstance(node, Scalar):
            node.fail(f'a plain value is needed, not {node.kind}')
        return node

    def find(self, name, node, namespace, class_=None):
        """A type by its name: an enumeration of the class or its bases, a type of the namespace, a qualified name."""
        candidates = [f'{c.qualified}::{name}' for c in class_.chain()] if class_ else []
        candidates += [f'{namespace}::{name}', name]
        for candidate in candidates:
            if candidate in self.types:
                return self.types[candidate]
        node.fail(f'type `{name}` is not declared (a type must stand above its use, or in a model that is used)')

    def use(self, text, node, namespace, class_=None):
        if text is None:
            node.fail('a type is missing')
        match = re.fullmatch(r'Ptr<\s*([\w:]+)(\s+const)?\s*>', text)
        if match:
            return Use(self.find(match[1], node, namespace, class_), True, bool(match[2]))
        return Use(self.find(text, node, namespace, class_))

    def default(self, use, node, namespace):
        """The C++ text of a default; empty when C++'s own default does."""
        if use.pointer:
            if node is not None:
                node.fail('a pointer has no default: it starts null')
            return ''
        type_ = use.type
        if node is not None:
            return self.literal(type_, node, namespace)
        if isinstance(type_, Enum):
            return f'{type_.cpp(namespace)}::{type_.values[0].name}'
        return {'bool': 'false', 'U8': '0', 'U32': '0', 'S32': '0', 'float': '0', 'double': '0'}.get(type_.qualified, '')

    def literal(self, type_, node, namespace):
        what = f'a value of {type_.qualified}'
        named = re.fullmatch(r'(\w+(?:::\w+)*)::(\w+)', node.text) if node.tag == 'str' else None
        owner = None
        if named:
            owner = self.types.get(named[1]) or self.types.get(f'{namespace}::{named[1]}')
        if isinstance(owner, Class):
            constant = next((c for c in owner.constants if c.name == named[2]), None)
            if constant is None:
                node.fail(f'`{named[1]}` has no constant `{named[2]}`')
            if constant.type is not type_:
                node.fail(f'`{node.text}` is a {constant.type.qualified}, and {what} is needed')
            return f'{owner.cpp(namespace)}::{constant.name}'
        if isinstance(type_, Enum):
            name = node.string(what)
            if name not in [value.name for value in type_.values]:
                node.fail(f'`{type_.qualified}` has no enumerator `{name}`')
            return f'{type_.cpp(namespace)}::{name}'
        if isinstance(type_, Number):
            return f'{type_.cpp(namespace)}({self.literal(type_.base, node, namespace)})'
        name = type_.qualified
        if name == 'bool':
            return 'true' if node.boolean(what) else 'false'
        if name in ('U8', 'U32', 'S32'):
            number = node.integer(what, type_.low, type_.high)
            return f'{number}U' if number > 0x7FFFFFFF else str(number)
        if name in ('float', 'double'):
            return f'{node.real(what)!r}{"F" if name == "float" else ""}'
        if name in ('Zef::String8', 'Zef::Name'):
            text = node.string(what)
            if not re.fullmatch(r'[ !#-\[\]-~]*', text):
                node.fail(f'{what}: plain ASCII without quotes and backslashes is needed')
            return f'"{text}"'
        node.fail(f'{what} cannot be written in a model')
