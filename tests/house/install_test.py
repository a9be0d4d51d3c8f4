"""What `cmake --install` puts where, and that the settings file it brings can be used.

Usage: install_test.py BUILD
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest

BUILD = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else "build/dev"
ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../..")
PAGES = ["man1/kestrel.1", "man1/kestrelctl.1", "man5/kestrel-files.5", "man5/kestrel-settings.5"]
FILES = {"bin/kestrel", "bin/kestrelctl", "share/bash-completion/completions/kestrel",
         "share/bash-completion/completions/kestrelctl", "share/zsh/site-functions/_kestrel",
         "share/doc/kestrel/LICENSE", "share/doc/kestrel/README.md", "share/doc/kestrel/CHANGELOG.md",
         "share/doc/kestrel/SECURITY.md", "share/doc/kestrel/CONTRIBUTING.md",
         "share/doc/kestrel/examples/registry.reg"} | {"share/man/" + page for page in PAGES}


def files_under(folder):
    return {os.path.relpath(os.path.join(at, name), folder)
            for at, _, names in os.walk(folder) for name in names}


class Install(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kestrel-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        subprocess.run(["cmake", "--install", BUILD, "--prefix", "/usr"], check=True,
                       capture_output=True, env={**os.environ, "DESTDIR": self.folder})

    def test_files(self):
        docs = {"share/doc/kestrel/docs/" + file for file in files_under(os.path.join(ROOT, "docs"))}
        self.assertEqual(files_under(self.folder), {"usr/" + file for file in FILES | docs})

    def test_every_setting_stands_commented_and_is_taken_once_it_does_not(self):
        with open(self.folder + "/usr/share/doc/kestrel/examples/registry.reg", encoding="utf-8") as file:
            text = file.read()
        self.assertIsNone(re.search(r'^["@]', text, re.MULTILINE))
        program = self.folder + "/usr/bin/kestrelctl"
        env = {**os.environ, "KESTREL_HOME": self.folder + "/user",
               "KESTREL_MACHINE_HOME": self.folder + "/machine"}

        def run(*words):
            return subprocess.run([program, *words], env=env, check=True, capture_output=True,
                                  text=True).stdout

        without = run("policy", "show", "--all")
        names = [line.split()[0] for line in without.splitlines()[1:]]
        self.assertGreater(len(names), 40)
        for name in names:
            self.assertRegex(text, r'(?m)^;"%s"=|^;\[.*\\%s\]$' % (name, name))
        os.mkdir(self.folder + "/machine", 0o755)
        taken = re.sub(r'^;(?=["[])', "", text, flags=re.MULTILINE)
        for written, nonce in ((text, "8"), (taken.replace("dword:00000008", "dword:00000010"), "16")):
            with open(self.folder + "/machine/registry.reg", "w", encoding="utf-8") as file:
                file.write(written)
            shown = run("policy", "show", "--all")
            self.assertRegex(shown, r"(?m)^NonceLength +number +8 +%s " % nonce)
            if written == text:
                self.assertEqual(shown, without)
                run("doctor")


if __name__ == "__main__":
    unittest.main()
