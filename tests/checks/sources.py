"""The hand-written C++ sources of the repository."""

import pathlib

ROOT = pathlib.Path(__file__).resolve().parents[2]


def sources(*suffixes):
    return [path for path in sorted(ROOT.rglob('*'))
            if path.suffix in suffixes and path.relative_to(ROOT).parts[0] not in ('build', '.git')]
