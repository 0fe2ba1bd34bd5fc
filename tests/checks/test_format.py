"""Every hand-written C++ source is laid out as .clang-format says; `clang-format -i FILE` mends one."""

import subprocess
import unittest

from sources import sources


class Format(unittest.TestCase):
    def test_layout(self):
        files = sources('.h', '.cpp')
        self.assertTrue(files)
        run = subprocess.run(['clang-format', '--dry-run', '--Werror', '-ferror-limit=1', *files],
                             capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stderr)


if __name__ == '__main__':
    unittest.main()
