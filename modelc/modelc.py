"""modelc, the model compiler: from the types that a YAML file declares to C++.

    modelc.py --out DIR MODEL...     writes DIR/MODEL's path .h, .cpp and .d (what they were made from) for each model
    modelc.py --list FILE MODEL...   writes the list of the types of the models
"""
import argparse
import os
import sys

from emit import Emitter, dependencies
from listing import listing
from loader import Loader
from yamlnode import ModelError


def write(path, text):
    """Leaves a file alone that says the same already, so that nothing is rebuilt for it."""
    try:
        with open(path, encoding='utf-8') as stream:
            if stream.read() == text:
                return
    except FileNotFoundError:
        os.makedirs(os.path.dirname(path) or '.', exist_ok=True)
    with open(path, 'w', encoding='utf-8') as stream:
        stream.write(text)


def used(model):
    """The model and all that it rests on."""
    files = [model.file]
    for other in model.uses:
        files += [file for file in used(other) if file not in files]
    return files


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--root', default='.', help='what the models and their includes are relative to')
    target = parser.add_mutually_exclusive_group(required=True)
    target.add_argument('--out', help='the directory for the generated code')
    target.add_argument('--list', help='the file for the list of types, - for the standard output')
    parser.add_argument('models', nargs='+', metavar='MODEL', help='a model file, relative to the root')
    arguments = parser.parse_args()

    loader = Loader(arguments.root)
    try:
        models = [loader.load(file) for file in arguments.models]
    except ModelError as error:
        print(error, file=sys.stderr)
        return 1
    if arguments.list:
        text = listing(models)
        if arguments.list == '-':
            sys.stdout.write(text)
        else:
            write(arguments.list, text)
        return 0
    emitter = Emitter()
    for model in models:
        stem = os.path.join(arguments.out, model.file.removesuffix('.yaml'))
        write(f'{stem}.h', emitter.header(model))
        write(f'{stem}.cpp', emitter.source(model))
        inputs = [os.path.join(arguments.root, file) for file in used(model)] + dependencies()
        write(f'{stem}.d', f'{stem}.h {stem}.cpp: ' + ' \\\n  '.join(inputs) + '\n')
    return 0


if __name__ == '__main__':
    sys.exit(main())
