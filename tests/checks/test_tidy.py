"""clang-tidy finds nothing in the hand-written sources of the system: in those that differ from the upstream's main branch, or whose
headers do; in all of them with ORVANE_TIDY=all. A source that passed is not read again until it, a header of it, its command line or
.clang-tidy changes."""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get('ORVANE_BUILD', ROOT / 'build/dev'))
FOLDERS = 'runtime|platform|model|mib|sm|host'


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


def tidy(path):
    run = subprocess.run(['clang-tidy', '--quiet', '-p', BUILD, f'--header-filter=^{re.escape(str(ROOT))}/({FOLDERS})/',
                          '--extra-arg=-fsized-deallocation', path], capture_output=True, text=True)
    return '' if run.returncode == 0 else run.stdout or run.stderr


def changed():
    """The files that differ from where this branch left the upstream's main, or, without an upstream, from the last commit but one."""
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
        todo = {}
        for command in json.loads((BUILD / 'compile_commands.json').read_text()):
            path = pathlib.Path(command['file'])
            made_from = headers.get(re.search(r' -o (\S+)', command['command'])[1])
            if re.match(f'{re.escape(str(ROOT))}/({FOLDERS})/', command['file']) and (
                    everything or differing.intersection([path, *(made_from or ())])):
                stamp = passed / fingerprint(command, made_from or ())
                if not made_from or not stamp.exists():
                    todo[path] = stamp
        complaints = []
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for (path, stamp), complaint in zip(todo.items(), pool.map(tidy, todo)):
                if complaint:
                    complaints.append(complaint)
                else:
                    stamp.touch()
        if complaints:
            self.fail('\n'.join(complaints))


if __name__ == '__main__':
    unittest.main()
