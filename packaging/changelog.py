"""Writes the package's changelog, in Debian's form, from CHANGELOG.md: one entry for each released version.

    changelog.py CHANGELOG.md VERSION > changelog

The newest release must be VERSION, the one that is packaged. What is unreleased is not in it."""

import datetime
import re
import sys

MAINTAINER = 'Orvane maintainers <maintainers@orvane.example>'


def entries(text):
    """(version, day, items) of each release, newest first. A paragraph is an item, as a point of a list is."""
    for heading, body in re.findall(r'^## (.*)\n((?:(?!## ).*\n?)*)', text, re.MULTILINE):
        if heading == 'Unreleased':
            continue
        release = re.fullmatch(r'(\d+(?:\.\d+)+) \((\d{4}-\d\d-\d\d)\)', heading)
        if not release:
            sys.exit(f'CHANGELOG.md: `## {heading}` is neither Unreleased nor VERSION (YYYY-MM-DD)')
        items = [' '.join(item.split()) for item in re.split(r'\n(?:- |\n)', '\n' + body) if item.strip()]
        yield release[1], datetime.date.fromisoformat(release[2]), [item.removeprefix('- ') for item in items]


def wrapped(item):
    lines = ['  *']
    for word in item.split():
        if len(lines[-1]) + 1 + len(word) > 80:
            lines.append('   ')
        lines[-1] += ' ' + word
    return lines


def main(path, version):
    with open(path, encoding='utf-8') as file:
        releases = list(entries(file.read()))
    if not releases or releases[0][0] != version:
        sys.exit(f'CHANGELOG.md: its newest release is not {version}, the version in CMakeLists.txt')
    for version, day, items in releases:
        print(f'orvane ({version}) unstable; urgency=medium\n')
        print('\n'.join(line for item in items for line in wrapped(item)))
        print(f'\n -- {MAINTAINER}  {day:%a, %d %b %Y} 00:00:00 +0000\n')


if __name__ == '__main__':
    main(*sys.argv[1:])
