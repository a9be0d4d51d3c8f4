"""The README's tour and the guides, typed as they stand, each from an empty home."""

import os
import re
import subprocess

from kestrel_case import HAS_ENGINE, KESTREL, KESTRELCTL, KestrelCase

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../..")
FENCED = re.compile(r"^ *```(\w*)\n(.*?)^ *```$", re.MULTILINE | re.DOTALL)


def commands(page, begin="", end=None):
    """The lines of the blocks without a language, of a page or a part of it; those that want the
    engine where it is there."""
    with open(os.path.join(ROOT, page), encoding="utf-8") as file:
        text = file.read()
    part = text[text.index(begin):text.index(end) if end else None]
    typed = ("", "gost") if HAS_ENGINE else ("",)
    blocks = [block for language, block in FENCED.findall(part) if language in typed]
    return [line for block in blocks for line in block.splitlines()]


class Tour(KestrelCase):
    def type(self, lines):
        self.assertGreater(len(lines), 30)
        path = ":".join([os.path.dirname(os.path.abspath(KESTREL)),
                         os.path.dirname(os.path.abspath(KESTRELCTL)), os.environ["PATH"]])
        for line in lines:
            done = subprocess.run(["bash", "-c", line], cwd=self.folder, stdin=subprocess.DEVNULL,
                                  env={**self.env, "PATH": path}, capture_output=True,
                                  timeout=120, check=False)
            self.assertEqual(done.returncode, 0, f"{line}\n{done.stdout!r}\n{done.stderr!r}")

    def test_readme(self):
        self.type(commands("README.md", "## A tour", "## More"))

    def test_guide(self):
        self.type(commands("docs/guide.md"))

    def test_administration(self):
        self.type(commands("docs/administration.md"))
