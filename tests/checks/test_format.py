"""Every hand-written source is laid out as .clang-format and .flake8 say, and the linters of Python and of the shell find nothing.
`clang-format -i FILE` mends the layout of one in C++, `autopep8 -i --max-line-length 132 FILE` of one in Python."""

import pathlib
import re
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
# Which files, by their name or by their first line.
PYTHON = r'.*(\.py\n|\n#!.*python)'
CHECKS = [
    (r'.*\.(h|cpp)\n', ['clang-format', '--dry-run', '--Werror', '-ferror-limit=1']),
    (PYTHON, ['flake8']),
    (PYTHON, ['autopep8', '--diff', '--exit-code', '--max-line-length', '132']),
    (r'.*(\.sh\n|\n#!.*sh\b)', ['shellcheck', '--external-sources']),
]


class Format(unittest.TestCase):
    def test_nothing_is_found(self):
        listed = subprocess.check_output(['git', 'ls-files', '--cached', '--others', '--exclude-standard'], cwd=ROOT, text=True)
        texts = {name: (ROOT / name).read_text(errors='replace') for name in listed.splitlines() if (ROOT / name).is_file()}
        for pattern, command in CHECKS:
            files = [name for name, text in texts.items() if re.match(pattern, f'{name}\n{text}')]
            with self.subTest(command[0]):
                self.assertGreater(len(files), 5)
                run = subprocess.run([*command, *files], cwd=ROOT, capture_output=True, text=True)
                self.assertEqual((run.returncode, run.stdout + run.stderr), (0, ''))


if __name__ == '__main__':
    unittest.main()
