"""The README's tour, typed as it stands, from an empty home."""

import os
import re
import subprocess
import unittest

from kestrel_case import KESTREL, KESTRELCTL, KestrelCase

README = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../README.md")


def commands():
    """The lines of the blocks without a language, from the tour on."""
    with open(README, encoding="utf-8") as file:
        text = file.read()
    tour = text[text.index("## A tour"):text.index("## More")]
    blocks = re.findall(r"^```\n(.*?)^```$", tour, re.MULTILINE | re.DOTALL)
    return [line for block in blocks for line in block.splitlines()]


class Tour(KestrelCase):
    def test_runs_as_typed(self):
        lines = commands()
        self.assertGreater(len(lines), 30)
        path = ":".join([os.path.dirname(os.path.abspath(KESTREL)),
                         os.path.dirname(os.path.abspath(KESTRELCTL)), os.environ["PATH"]])
        for line in lines:
            done = subprocess.run(["bash", "-c", line], cwd=self.folder, stdin=subprocess.DEVNULL,
                                  env={**self.env, "PATH": path}, capture_output=True,
                                  timeout=120, check=False)
            self.assertEqual(done.returncode, 0, f"{line}\n{done.stdout!r}\n{done.stderr!r}")


if __name__ == "__main__":
    unittest.main()
