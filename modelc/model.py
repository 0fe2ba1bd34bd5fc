"""What a model says, and how it is written in C++."""
import re
from dataclasses import dataclass, field

from forms import FORMS, Form

FIRST_ATTRIBUTE_ID = 258


@dataclass
class Type:
    """Anything that a model can name: a built-in type or one that a model declares."""

    name: str
    namespace: str
    doc: str = ''
    file: str = ''
    line: int = 0

    is_key = False         # may be the key of a collection
    by_value = False       # small: passed and returned by value
    stands_alone = False   # may be the type of a plain attribute
    is_object = False      # lives behind a Zef::Ptr
    is_registered = False  # has a type object that its model registers

    @property
    def qualified(self):
        return f'{self.namespace}::{self.name}' if self.namespace else self.name

    def cpp(self, namespace):
        """The name as code in `namespace` writes it."""
        return self.name if self.namespace == namespace else self.qualified


@dataclass
class Builtin(Type):
    is_key: bool = False
    by_value: bool = True
    stands_alone = True
    low: int = 0
    high: int = 0


BUILTINS = {
    type_.qualified: type_
    for type_ in (
        Builtin('bool', ''),
        Builtin('U8', '', is_key=True, high=0xFF),
        Builtin('U32', '', is_key=True, high=0xFFFFFFFF),
        Builtin('S32', '', low=-0x80000000, high=0x7FFFFFFF),
        Builtin('float', ''),
        Builtin('double', ''),
        Builtin('String8', 'Zef', is_key=True, by_value=False),
        Builtin('Name', 'Zef', is_key=True, by_value=False),
    )
}


@dataclass
class Enumerator:
    name: str
    number: int
    doc: str = ''


@dataclass
class Enum(Type):
    open: bool = False
    values: list = field(default_factory=list)
    owner: 'Class' = None  # the class that it is nested in

    kind = 'enum'
    by_value = True
    stands_alone = True

    @property
    def qualified(self):
        return f'{self.owner.qualified}::{self.name}' if self.owner else super().qualified

    def cpp(self, namespace):
        return f'{self.owner.cpp(namespace)}::{self.name}' if self.owner else super().cpp(namespace)


@dataclass
class Number(Type):
    """A strong integer."""

    base: Builtin = None

    kind = 'number'
    is_registered = True
    is_key = True
    by_value = True
    stands_alone = True


@dataclass
class Bounds:
    """What publishers may set of what the type holds: a text's size in bytes has no `least`."""

    least: int  # or None
    most: int

    def describe(self):
        return f'{"" if self.least is None else f"least {self.least} "}most {self.most}'


@dataclass
class Field:
    name: str
    type: 'Use'
    default: str = ''
    doc: str = ''
    bounds: Bounds = None


@dataclass
class Value(Type):
    fields: list = field(default_factory=list)
    ordered: bool = False
    empty_test: bool = False

    kind = 'value'
    is_registered = True
    stands_alone = True

    @property
    def is_key(self):
        return self.ordered


@dataclass
class External(Type):
    """A hand-written class."""

    header: str = ''
    is_key: bool = False

    kind = 'external'

    @property
    def stands_alone(self):
        return self.is_key

    @property
    def is_object(self):
        return not self.is_key


@dataclass
class Use:
    """A type as an attribute, a parameter or a result uses it: by itself, or behind a pointer."""

    type: Type
    pointer: bool = False
    const: bool = False

    def cpp(self, namespace):
        name = self.type.cpp(namespace)
        return f'Zef::Ptr<{name}{" const" if self.const else ""}>' if self.pointer else name

    @property
    def by_value(self):
        return self.type.by_value and not self.pointer

    def parameter(self, namespace):
        """As a setter takes it. A double goes by reference, as the clock's values do everywhere."""
        if self.by_value and self.type.name != 'double':
            return self.cpp(namespace)
        return f'{self.cpp(namespace)} const&'

    def result(self, namespace):
        """As a reader of a stored value gives it."""
        return self.cpp(namespace) if self.by_value else f'{self.cpp(namespace)} const&'


@dataclass
class Parameter:
    name: str
    use: Use


@dataclass
class Attribute:
    name: str
    owner: 'Class'
    form: Form
    use: Use               # the value, the child, the member; a function's result, or None
    line: int
    key: Use = None        # of a collection
    doc: str = ''
    default: str = ''
    fixed: bool = False    # set at construction
    argument: bool = False  # of the constructor, with a setter all the same
    placed: bool = False   # written by the hand-written hook that runs when the object gets its place
    virtual: bool = False
    override: bool = False
    computed: bool = False  # the reader is written by hand
    of: str = ''           # the reader gives a part of another attribute
    bounds: Bounds = None
    by: 'Attribute' = None  # by which a member of a queue is found
    changed: bool = False  # a hand-written handler runs before anyone is told
    args: list = field(default_factory=list)  # of a function, or of the hand-written operation that makes a reactor
    mutates: bool = False  # the function changes its object
    id: int = 0
    first_slot: int = 0

    @property
    def cap(self):
        return self.name[0].upper() + self.name[1:]

    @property
    def is_keyed(self):
        return self.key is not None

    @property
    def is_stored(self):
        return bool(self.form.field) and not self.of

    @property
    def is_argument(self):
        return self.fixed or self.argument

    @property
    def has_setter(self):
        return self.form.settable and not (self.fixed or self.placed or self.of)

    def metadata(self):
        """The attribute that goes before a queue and tells its indexes."""
        return Attribute(f'{self.name}Metadata', self.owner, FORMS['metadata'], None, self.line, doc=f'The indexes of {self.name}.')

    @property
    def has_slot(self):
        return self.owner.observed and (self.has_setter or self.is_keyed)

    @property
    def slots(self):
        if not self.has_slot:
            return []
        if self.is_keyed:
            return [f'on{self.cap}(key)', f'on{self.cap}zefImmediate', f'on{self.cap}']
        return [f'on{self.cap}']

    @property
    def has_entries(self):
        return '{entry}' in self.form.field

    @property
    def entry(self):
        """The entry class of a queue, or of a collection of given objects."""
        return f'Zef{self.cap}'

    @property
    def members(self):
        """The names that this attribute takes in its class."""
        names = ['x', 'xAttr', *self.form.names.split()] + (['xIs'] if self.has_setter else [])
        return {re.sub('^x|X', lambda x: self.name if x[0] == 'x' else self.cap, name) for name in names}

    def describe(self):
        """The attribute's form in the list of types."""
        form = self.form.declared_as or self.form.name
        if not self.form.field:
            return form
        if self.is_keyed:
            text = f'{form} of {self.use.type.qualified} by {self.key.type.qualified}'
            text += f', found by {self.by.name}' if self.by else ''
        elif form == 'type':
            text = self.use.cpp(None)
        else:
            text = f'{form} {self.use.type.qualified}'
        flags = [flag for flag in ('fixed', 'argument', 'placed', 'virtual', 'override', 'computed') if getattr(self, flag)]
        bounds = [self.bounds.describe()] if self.bounds else []
        flags += ['given'] if self.form.name == 'given' else []
        return ' '.join([text] + bounds + flags + ([f'of {self.of}'] if self.of else []))


@dataclass
class Constant:
    name: str
    type: Builtin
    value: str
    doc: str = ''
    id: int = 0

    @property
    def cpp_type(self):
        return 'char const*' if self.type.name == 'String8' else self.type.name


@dataclass
class Class(Type):
    kind: str = 'entity'
    base: 'Class' = None
    key: Attribute = None
    member: str = ''       # hash or tree: what kind of collection it carries the links of
    observed: bool = False
    generic_notifiee: bool = False  # hands its changes to listeners that know no type
    virtual_setters: bool = False
    factory: str = ''
    enums: list = field(default_factory=list)
    constants: list = field(default_factory=list)
    attributes: list = field(default_factory=list)
    defaults: list = field(default_factory=list)  # of base attributes: (attribute, C++ value)
    destructor: bool = False  # written by hand

    is_object = True
    is_registered = True

    def chain(self):
        """This class, its base, and so on up."""
        at = self
        while at is not None:
            yield at
            at = at.base

    def find(self, name):
        return next((a for c in self.chain() for a in c.attributes if a.name == name), None)

    @property
    def is_entity(self):
        return self.kind == 'entity'

    @property
    def key_attribute(self):
        return next((c.key for c in self.chain() if c.key), None)

    def key_type(self):
        """The type of the key by which a collection knows this class: an entity without a `key` is known by its name."""
        key = self.key_attribute
        if key:
            return key.use.type
        return BUILTINS['Zef::Name'] if self.is_entity else None

    def member_kind(self):
        return next((c.member for c in self.chain() if c.member), '')

    @property
    def arguments(self):
        """The constructor's arguments behind the name, the base's first."""
        base = self.base.arguments if self.base else []
        return base + [a for a in self.attributes if a.is_argument and not a.override]

    @property
    def last_id(self):
        own = [x.id for x in self.constants + self.attributes]
        return max(own) if own else (self.base.last_id if self.base else FIRST_ATTRIBUTE_ID - 1)

    @property
    def slot_count(self):
        """Slots up to and with this class; slot 0 is onIsNondestructing."""
        if not self.observed:
            return 0
        before = self.base.slot_count if self.base else 1
        return before + sum(len(a.slots) for a in self.attributes)

    @property
    def owns(self):
        """The attributes whose objects have this one for a parent."""
        return [a for a in self.attributes
                if a.form.owned and a.use.type.is_entity]

    @property
    def is_placed(self):
        return any(a.placed for a in self.attributes)


@dataclass
class Model:
    file: str              # relative to the root
    uses: list = field(default_factory=list)
    blocks: list = field(default_factory=list)  # (namespace, doc, types) in their order
    named: list = field(default_factory=list)   # the models whose types the program file lists by name

    @property
    def types(self):
        return [type_ for _, _, types in self.blocks for type_ in types]

    @property
    def type_names(self):
        return [type_ for model in self.named for type_ in model.types if type_.is_registered]

    @property
    def header(self):
        return self.file.removesuffix('.yaml') + '.h'

    @property
    def stem(self):
        return self.file.rsplit('/', 1)[-1].removesuffix('.yaml')
