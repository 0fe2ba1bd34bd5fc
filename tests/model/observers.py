"""Writes an observer for each observable type of the models: one that overrides every slot and says what it heard.

    observers.py OUT ROOT MODEL...
"""
import os
import sys


def slots(type_):
    for a in (a for c in reversed(list(type_.chain())) for a in c.attributes if a.has_slot):
        if a.is_keyed:
            yield f'  void on{a.cap}({a.key.cpp(None)} key) override {{ hear("{a.name}[" + text(Zef::keyText(key)) + "]"); }}'
            yield f'  void on{a.cap}zefImmediate() override {{ hear("{a.name}zefImmediate"); }}'
            yield f'  void on{a.cap}() override {{ hear("{a.name}[]"); }}'
        else:
            yield f'  void on{a.cap}() override {{ hear("{a.name}"); }}'


def main(out, root, *files):
    sys.path.insert(0, os.path.join(root, 'modelc'))
    from emit import registrar
    from loader import Loader
    loader = Loader(root)
    models = [loader.load(file) for file in files]
    lines = ['#include "tests/model/Observers.h"', '']
    lines += [f'#include "{model.header}"' for model in models]
    lines += ['', 'namespace {', '']
    observed = [t for model in models for t in model.types if t.kind == 'entity' and t.observed]
    for number, type_ in enumerate(observed):
        lines += [f'class Observer{number} final : public {type_.qualified}::NotifieeConst {{', *slots(type_), '};', '']
    lines += ['}  // namespace', '', 'std::map<std::string, MakeObserver> const& observers() {',
              '  static std::map<std::string, MakeObserver> const all = {']
    lines += [f'      {{"{t.qualified}", makeObserver<Observer{n}>}},' for n, t in enumerate(observed)]
    lines += ['  };', '  return all;', '}', '', 'void registerModels() {']
    lines += [f'  Zef::Models::{registrar(model)}();' for model in models]
    lines += ['}']
    with open(out, 'w', encoding='utf-8') as stream:
        stream.write('\n'.join(lines) + '\n')


if __name__ == '__main__':
    sys.dont_write_bytecode = True
    main(*sys.argv[1:])
