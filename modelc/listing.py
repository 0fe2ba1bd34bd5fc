"""The list of types: what a change of a model changes for everyone who relies on names, ids and slots."""
RENEW = '/usr/bin/python3 -B modelc/modelc.py --list model/types.txt model/input/*.yaml model/*.yaml sm/*.yaml'


def listing(models):
    lines = ['# What the models declare, as others rely on it. Renew it from the root of the repository, and read the difference:',
             f'#   {RENEW}',
             '# Each type with its base; below it: attribute id, slots of its notifiee (0 is onIsNondestructing), name, form.']
    for model in models:
        lines += ['', f'[{model.file}]']
        for type_ in model.types:
            lines += _type(type_)
    return '\n'.join(lines) + '\n'


def _type(type_):
    lines = []
    if type_.kind == 'enum':
        lines.append(_enum(type_))
    elif type_.kind == 'number':
        lines.append(f'number {type_.qualified}: {type_.base.name}')
    elif type_.kind == 'value':
        fields = ', '.join(f'{f.name} {f.type.cpp(None)}{f" {f.bounds.describe()}" if f.bounds else ""}' for f in type_.fields)
        lines.append(f'value {type_.qualified}: {fields}')
    elif type_.kind == 'external':
        lines.append(f'external {type_.qualified}')
    else:
        root = 'Zef::Entity' if type_.is_entity else 'Zef::PtrInterface'
        base = type_.base.qualified if type_.base else root
        key = f', key {type_.key.name}' if type_.key else ''
        lines.append(f'{type_.kind} {type_.qualified}: {base}{key}')
        lines += [f'  {_enum(e)}' for e in type_.enums]
        lines += [f'  {c.id} - {c.name} constant {c.type.qualified} {c.value}' for c in type_.constants]
        lines += [f'  {a.id} {_slots(a)} {a.name} {a.describe()}' for a in type_.attributes]
    return lines


def _slots(attribute):
    if not attribute.has_slot:
        return '-'
    first, count = attribute.first_slot, len(attribute.slots)
    return str(first) if count == 1 else f'{first}..{first + count - 1}'


def _enum(enum):
    values = ' '.join(f'{v.name}={v.number}' for v in enum.values)
    return f'enum {enum.qualified}{" open" if enum.open else ""}: {values}'
