"""What makes kestrelctl pleasant: tables that fit, the word that was meant, which one it is."""

import re
import unicodedata

from kestrel_case import KESTRELCTL, KestrelCase

LONG = "CN=Ann Example, O=A company whose name goes on and on and on, C=DE"
# Line, width, what the head of the table (or the first line) is.
TABLES = [
    (["identity", "list"], 200, "container       provtype  key       password  subject"),
    (["identity", "list"], 80, "container       key       subject"),
    (["identity", "list"], 40, "container   Ann Example"),
    (["store", "list", "My"], 80, "thumbprint            not_after             key  subject"),
    (["policy", "show", "--all"], 80, "value "),
    (["store", "list"], 30, "store         Bob's"),
    (["providers"], 80, "type  provider "),
]
# Line, what is suggested.
WORDS = [
    (["stroe", "list"], "store"), (["help me"], None), ([], None), (["identity", "create"], None),
    (["identity", "lst"], "identity list"), (["policy", "ste"], "policy set"),
    (["store", "zzzzzz"], None), (["store", "list", "--jsn"], "--json"),
    (["store", "list", "-machine"], "--machine"), (["a" * 100000], None),
]


def width_of(line):
    """Columns on a terminal, as Unicode tells widths."""
    return sum(0 if unicodedata.combining(c) else 1 + (unicodedata.east_asian_width(c) in "WF")
               for c in line)


class Comfort(KestrelCase):
    def shown(self, words, columns):
        """The lines that a terminal of that width gets."""
        return self.on_terminal(b"?", b"", *words, program=KESTRELCTL, columns=columns).decode().splitlines()

    def test_tables_fit_and_lose_nothing(self):
        self.ctl("identity", "create", LONG, "--days", "10")
        self.ctl("identity", "create", "CN=Борис Примеров")
        self.ctl("identity", "create", "CN=Taro, O=" + "株式会社 " * 12)
        self.ctl("identity", "create", "CN=Zoe, O=" + "e\u0301e\u0301e\u0301 " * 14)
        self.ctl("store", "export", "My", "all.pem")
        self.ctl("store", "add", "Bob's certificates of old", "all.pem")
        for words, columns, head in TABLES:
            with self.subTest((words, columns)):
                lines = self.shown(words, columns)
                begins = lines[4:] if words == ["store", "list"] else lines
                self.assertTrue(any(line.startswith(head) for line in begins), lines)
                self.assertLessEqual(max(map(width_of, lines)), columns)
                piped = self.ctl(*words).decode()
                missing = re.findall(r"^\(no room for: (.*)\)$", lines[-1])
                if not missing and lines[0].split() == piped.split("\n")[0].split():
                    self.assertEqual(sorted(re.sub(r"\s", "", "".join(lines))),
                                     sorted(re.sub(r"\s", "", piped)))
        self.assertIn("(no room for: thumbprint, password, provtype)",
                      self.shown(["identity", "list"], 80))
        self.assertIn(LONG + "  ", self.ctl("identity", "list").decode())

    def test_the_word_that_was_meant(self):
        for words, meant in WORDS:
            told = self.ctl(*words, status=2).decode()
            found = re.findall(r"; did you mean '(.*)'\?$", told, re.M)
            self.assertEqual(found, [meant] if meant else [], told[:200])

    def test_version(self):
        self.assertRegex(self.ctl("--version"),
                         rb"^kestrelctl \d+\.\d+\.\d+ \(commit ([0-9a-f]{12}|unknown), \w+\)\n$")
        self.ctl("--version", "store", status=2)
