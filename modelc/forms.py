"""The forms of attribute. What a form is stands in its row here, and the C++ that it becomes in its template below
templates/forms: a new form is a row, a template and a line of docs/models.md."""
from dataclasses import dataclass


@dataclass(frozen=True)
class Form:
    """In `names` x stands for the attribute's name and X for the same with a capital; in `field` {value}, {key} and {entry} are
    C++ types."""

    name: str
    options: str = ''         # the further keys that a model may give it, besides `doc`
    holds: str = ''           # what its type has to be, by loader.HOLDS
    names: str = ''           # what it takes in its class, besides x and xAttr
    field: str = ''           # the type of the field that stores it; nothing is stored without one
    of_entity: bool = False   # only an entity has it, since it notifies
    settable: bool = False    # xIs sets it as a whole
    made: bool = False        # the owner makes the object by itself, and nobody sets it
    collection: bool = False  # objects by key
    owned: bool = False       # its objects have this one for a parent, if they are entities
    declared_as: str = ''     # the form that a model writes, where that is another
    template: str = ''        # where two forms share one
    words: str = '{value}'    # on the manual page: {type} is its name, {value} what a value may be, {key} what the key is


COLLECTION = 'xIs xDel xDelAll xNotify xCount xIterator xIteratorConst newX XIterator XIteratorConst'

FORMS = {form.name: form for form in (
    Form('type', 'default least most fixed argument placed virtual override computed of changed', settable=True, field='{value}'),
    Form('record', holds='record', field='Zef::Ptr<{value} const>',
         words='a group {type}; with another value the object counts as another one'),
    Form('entity', holds='entity', field='Zef::Ptr<{value}>', of_entity=True, settable=True, owned=True,
         words='one {type}, or none'),
    Form('hash', 'key', 'member', COLLECTION, 'Zef::HashMap<{value}, {key}>', of_entity=True, collection=True, owned=True,
         template='children', words='{type} objects by {key}'),
    Form('tree', 'key given', 'member', COLLECTION, 'Zef::RbTreeMap<{value}, {key}>', of_entity=True, collection=True, owned=True,
         template='children', words='{type} objects by {key}'),
    Form('map', 'key', 'value', 'xValid xIs xDel xDelAll xMap xNotify', 'std::map<{key}, {value}>', of_entity=True,
         words='values by {key}, each {value}'),
    Form('optional', holds='value', names='xValid xDel', field='std::optional<{value}>', of_entity=True, settable=True,
         words='{value}, or nothing'),
    Form('lazy', holds='object', names='xIs xDel newX', field='Zef::Ptr<{value}>', made=True),
    Form('reactor', 'args', 'object', 'xIs xDel', 'Zef::Ptr<{value}>', made=True),
    Form('reactors', 'key args', 'object', COLLECTION, 'Zef::HashMap<{value}, {key}>', collection=True),
    Form('queue', 'by', 'member', f'{COLLECTION} xEnq xDeq xBy', 'Zef::LinkQueue<{entry}>', of_entity=True, collection=True),
    Form('function', 'args returns mutates'),
    # Those that no model writes: a tree of objects that are handed in, and what goes before a queue and tells its indexes.
    Form('given', '', 'member', COLLECTION, 'Zef::RbTreeMap<{entry}, {key}>', of_entity=True, collection=True, declared_as='tree'),
    Form('metadata', names='X'),
)}

DECLARABLE = [form.name for form in FORMS.values() if form.name not in ('given', 'metadata')]
# Those options that are no flags.
NO_FLAGS = ('default', 'least', 'most', 'key', 'of', 'by', 'args', 'returns')
