"""clang-tidy finds nothing in the hand-written sources of the system: in those that differ from the upstream's main branch, or
whose headers do; in all of them with ORVANE_TIDY=all. A source that passed is not read again until it, a header of it, its command
line or .clang-tidy changes."""

import collections
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get('ORVANE_BUILD', ROOT / 'build/dev'))
FOLDERS = 'runtime|platform|model|mib|sm|host|collect'


def headers_by_object():
    """What each object was compiled from, by Ninja's own record."""
    found = {}
    lines = subprocess.check_output(['ninja', '-C', BUILD, '-t', 'deps'], text=True, stderr=subprocess.DEVNULL).splitlines()
    for line in lines:
        if not line.startswith(' '):
            headers = found[line.partition(':')[0]] = []
        elif line.strip():
            headers.append(pathlib.Path(os.path.normpath(BUILD / line.strip())))
    return found


def fingerprint(command, headers):
    digest = hashlib.sha256(json.dumps(command, sort_keys=True).encode())
    for path in [ROOT / '.clang-tidy', pathlib.Path(__file__), *headers]:
        if path.is_relative_to(ROOT) or path.is_relative_to(BUILD):
            digest.update(path.read_bytes())
    return digest.hexdigest()


def tidy(paths, flags):
    """What is wrong with sources that are compiled alike. Several are read as one, which takes little longer than one of them,
    since most of it is headers, and misses nothing but unused using declarations; and each by itself where they do not pass so."""
    with tempfile.NamedTemporaryFile('w', suffix='.cpp') as together:
        together.write(''.join(f'#include "{path}"\n' for path in paths))
        together.flush()
        source = paths[0] if len(paths) == 1 else together.name
        run = subprocess.run(['clang-tidy', '--quiet', f'--config-file={ROOT}/.clang-tidy', '--checks=-bugprone-suspicious-include',
                              f'--header-filter=^{re.escape(str(ROOT))}/({FOLDERS})/', source, '--', *flags,
                              '-fsized-deallocation'], capture_output=True, text=True)
    if run.returncode == 0:
        return ''
    return run.stdout or run.stderr if len(paths) == 1 else ''.join(tidy([path], flags) for path in paths)


def changed():
    """The files that differ from where this branch left the upstream's main; without an upstream, from the last commit but one."""
    def git(*arguments):
        run = subprocess.run(['git', *arguments], cwd=ROOT, capture_output=True, text=True)
        return run.stdout.splitlines() if run.returncode == 0 else None

    upstreams = ('origin/main', 'main@{upstream}')
    base, *_ = next(filter(None, (git('merge-base', 'HEAD', upstream) for upstream in upstreams)), ['HEAD~1'])
    differing, untracked = git('diff', '--name-only', base), git('ls-files', '--others', '--exclude-standard')
    return None if differing is None else {ROOT / name for name in differing + untracked}


class Tidy(unittest.TestCase):
    def test_nothing_to_tidy(self):
        passed = BUILD / 'tidy'
        passed.mkdir(exist_ok=True)
        headers = headers_by_object()
        differing = None if os.environ.get('ORVANE_TIDY') == 'all' else changed()
        everything = differing is None or ROOT / '.clang-tidy' in differing
        todo = collections.defaultdict(list)
        for command in json.loads((BUILD / 'compile_commands.json').read_text()):
            path = pathlib.Path(command['file'])
            flags, written = re.fullmatch(r'\S+ (.*) -o (\S+) -c \S+', command['command']).groups()
            made_from = headers.get(written)
            if re.match(f'{re.escape(str(ROOT))}/({FOLDERS})/', command['file']) and (
                    everything or differing.intersection([path, *(made_from or ())])):
                stamp = passed / fingerprint(command, made_from or ())
                if not made_from or not stamp.exists():
                    todo[path.parent, flags].append((path, stamp))
        size = 6 if everything else 1
        batches = [(flags, files[some:some + size]) for (_, flags), files in todo.items() for some in range(0, len(files), size)]

        def complaint(batch):
            flags, files = batch
            found = tidy([path for path, _ in files], shlex.split(flags))
            if not found:
                for _, stamp in files:
                    stamp.touch()
            return found

        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            complaints = [*filter(None, pool.map(complaint, batches))]
        if complaints:
            self.fail('\n'.join(complaints))


if __name__ == '__main__':
    unittest.main()
