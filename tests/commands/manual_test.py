"""The manual pages name all that the programs take, and the shells complete it."""

import glob
import os
import pathlib
import pty
import re
import shutil
import subprocess
import time

from kestrel_case import KESTRELCTL, KestrelCase

BUILD = os.environ.get("KESTREL_BUILD", ".")
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PAGES = sorted(glob.glob(os.path.join(BUILD, "man", "*")))
BASH = os.path.join(BUILD, "completion", "kestrel.bash")

# The words of a line, the last one half typed; what is offered, all of it or (a set) at least.
ROWS = [
    ("commands by their beginning", ["kestrel", "-cop"], ["-copycert"]),
    ("keys of a command", ["kestrel", "-decr", "-"],
     {"-start", "-pin", "-askpin", "-dn", "-u", "-nochain", "-help"}),
    ("no criterion where none is taken", ["kestrel", "-hash", "-d"], ["-dir"]),
    ("subjects", ["kestrel", "-sign", "-dn", ""], ["Ann\\ Example", "Bob"]),
    ("in quotes", ["kestrel", "-sign", "-dn", "\"Ann"], ["Ann Example"]),
    ("subjects of the store told", ["kestrel", "-sign", "-uFriends", "-dn", ""], ["Carol"]),
    ("of a store in quotes", ["kestrel", "-sign", "\"-uOld Friends\"", "-dn", ""], ["Carol"]),
    ("nothing that is typed runs", ["kestrel", "-sign", "-dn", "$(touch ran)"], []),
    ("containers", ["kestrel", "-CSPcert", "-cont", ""], ["Ann\\ Example", "Bob"]),
    ("no password", ["kestrel", "-sign", "-pin", ""], []),
    ("files", ["kestrel", "-sign", "rep"], ["report.txt"]),
    ("verbs", ["kestrelctl", "identity", "e"], ["export"]),
    ("options", ["kestrelctl", "identity", "list", "--"], ["--help", "--json", "--machine"]),
    ("the machine's", ["kestrelctl", "store", "show", "--machine", ""], ["CA", "My", "Root"]),
    ("names of containers", ["kestrelctl", "identity", "export", "--pin", "1", "B"], ["Bob"]),
    ("behind =", ["kestrelctl", "identity", "create", "--container=B"], ["Bob"]),
    ("settings", ["kestrelctl", "policy", "set", "Nonce"], ["NonceLength"]),
    ("files without end", ["kestrelctl", "trust", "a", "b", "rep"], ["report.txt"]),
]


class Manual(KestrelCase):
    def test_pages_are_well_formed(self):
        self.assertEqual([os.path.basename(page) for page in PAGES],
                         ["kestrel-files.5", "kestrel-settings.5", "kestrel.1", "kestrelctl.1"])
        checkers = [["mandoc", "-T", "lint", "-W", "style"],
                    ["groff", "-man", "-ww", "-K", "utf8", "-T", "utf8", "-z"]]
        checkers = [words for words in checkers if shutil.which(words[0])]
        self.assertTrue(checkers, "neither mandoc nor groff is installed")
        for words in checkers:
            done = subprocess.run([*words, *PAGES], capture_output=True, check=False)
            self.assertEqual((done.stdout, done.stderr), (b"", b""), words)

    def test_every_setting(self):
        names = re.findall(r"^(\w+) ", self.ctl("policy", "show", "--all").decode(), re.M)
        self.assertGreater(len(names), 40)
        # What enrolment and the platform read by a name of their own.
        readers = re.compile(r'(?:ReadMachine\w+\([^,]+, |FindValue\(|TextNamed\(\*key, |AddressOf\()"(\w+)"')
        others = [name for folder in ("platform", "enroll")
                  for path in pathlib.Path(ROOT, folder).rglob("*.cpp")
                  for name in readers.findall(path.read_text(encoding="utf-8"))]
        self.assertGreater(len(others), 8)
        with open(os.path.join(BUILD, "man", "kestrel-settings.5"), encoding="ascii") as page:
            text = re.sub(r"\\f[BIR]", "", page.read())
        tags = re.findall(r"^(?:\.TP\n|\.SS \")([^\n\"]*)", text, re.M)
        self.assertEqual({*names, *others} - {"value"} - set(tags), set())


class Completion(KestrelCase):
    def setUp(self):
        super().setUp()
        self.env["PATH"] = os.path.dirname(KESTRELCTL) + ":" + os.environ["PATH"]
        self.write("report.txt", b"")

    def complete(self, words):
        # The last word comes without its quote and what is before "=", as Readline hands it over.
        script = ('source "$0"; COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}; last=${@: -1}; '
                  'last=${last##*=}; "_$1" "$1" "${last#[\\"\\\']}"; printf "%s\\n" "${COMPREPLY[@]}"')
        done = subprocess.run(["bash", "-c", script, BASH, *words], cwd=self.folder, env=self.env,
                              capture_output=True, check=True)
        self.assertEqual(done.stderr, b"", words)
        return done.stdout.decode().split("\n")[:-1] if done.stdout != b"\n" else []

    def test_bash(self):
        for name in ("Ann Example", "Bob", "Carol"):
            self.ctl("identity", "create", f"CN={name}, O=Example")
        for store in ("-duFriends", "-duOld Friends"):
            self.succeed("-copycert", "-dn", "Carol", "-uMy", store, "-nochain")
        self.ctl("identity", "delete", "Carol")
        for name, words, offered in ROWS:
            with self.subTest(name):
                found = self.complete(words)
                if isinstance(offered, set):
                    self.assertLessEqual(offered, set(found))
                else:
                    self.assertEqual(sorted(found), offered)
        self.assertFalse(os.path.exists(self.path("ran")))

    def press_tab(self, begun):
        """What kestrel would be called with when Tab and Enter follow on the words begun."""
        script = ("kestrel() { printf '%s\\n' \"$@\" >taken; exit; }; "
                  f"bind 'set enable-bracketed-paste off'; . '{BASH}'; PS1='rea''dy>'\n")
        self.write("taken", b"")
        child, terminal = pty.fork()
        if child == 0:
            os.chdir(self.folder)
            os.execvpe("timeout", ["timeout", "--foreground", "20", "bash", "--norc", "--noprofile", "-i"],
                       {**self.env, "LC_ALL": "C.UTF-8"})
        os.write(terminal, script.encode())
        shown = b""
        try:
            while b"ready>" not in shown:
                shown += os.read(terminal, 4096)
            os.write(terminal, f"kestrel -encr -dn {begun}\t\n".encode())
            while os.read(terminal, 4096):
                pass
        except OSError:
            pass  # the shell is gone
        os.close(terminal)
        os.waitpid(child, 0)
        return self.read("taken").decode().splitlines()

    def test_names_of_strangers_stand_for_themselves(self):
        names = ["Eve $(touch ran)", "Sue' ;touch ran; '", 'Two  "q" !x; \\$HOME, {a,b}', "Zoë:#1"]
        for number, name in enumerate([*names, "Ivy `touch ran`"]):
            quoted = name.replace('"', '""')
            self.ctl("identity", "create", f'CN="{quoted}"', "--container", str(number), "--provtype", "16")
        for quote in ("", "'", '"'):
            for name in names:
                self.assertEqual(self.press_tab(quote + name[:2]), ["-encr", "-dn", name], quote)
        self.assertEqual(self.press_tab("Iv"), ["-encr", "-dn", "Iv"])
        self.assertFalse(os.path.exists(self.path("ran")))

    def test_quick_and_quiet_in_an_empty_home(self):
        begin = time.monotonic()
        for words in (["kestrel", "-sign", "-dn", ""], ["kestrel", "-CSPcert", "-cont", ""],
                      ["kestrelctl", "identity", "delete", ""]):
            self.assertEqual(self.complete(words), [])
        self.assertLess(time.monotonic() - begin, 3)
        self.assertFalse(os.path.exists(self.home))

    def test_zsh_reads_its_script(self):
        if not shutil.which("zsh"):
            self.skipTest("zsh is not installed")
        subprocess.run(["zsh", "-n", os.path.join(BUILD, "completion", "_kestrel")], check=True)
