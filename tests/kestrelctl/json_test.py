"""docs/json.md and what --json prints, key by key."""

import json
import os
import re

from authority import Authority, Web
from kestrel_case import KestrelCase

PAGE = os.path.join(os.path.dirname(__file__), "..", "..", "docs", "json.md")
# What is asked of the sides that setUp fills, so that each answer has a row; its exit status.
LINES = {
    "identity list": ([], 0),
    "request list": ([], 0),
    "request show": (["Waits"], 0),
    "store list": ([], 0),
    "store list NAME": (["My"], 0),
    "store show": (["CA"], 0),
    "chain": (["end.pem"], 1),
    "cache list": ([], 0),
    "cache fetch": (["end.pem"], 1),
    "policy show": ([], 0),
    "policy show --all": ([], 0),
    "providers": ([], 0),
    "doctor": ([], 1),
}


def sections():
    """The keys of each listing, as the page has them."""
    with open(PAGE, encoding="utf-8") as page:
        parts = re.split(r"^## `(.+)`$", page.read(), flags=re.M)[1:]
    return {name: re.findall(r"^\| `([^`]+)` \|", text, re.M)
            for name, text in zip(parts[::2], parts[1::2])}


class Json(KestrelCase):
    def setUp(self):
        super().setUp()
        self.web = Web(self)
        self.ctl("identity", "create", "CN=Ann", "--days", "3")
        self.succeed("-creatrqst", "-dn", "CN=Waits", "-provtype", "24", "-silent", "waits.p10")
        self.ctl("policy", "set", "NonceLength", "16")
        root = Authority(self, self.web, "root")
        root.issue("end", "crlDistributionPoints=URI:" + self.web.address("none.crl"))
        self.ctl("store", "add", "CA", "root.pem")

    def document(self, name):
        words, status = LINES[name]
        verb = re.sub(r" NAME$", "", name).split()
        done = self.run_ctl(*verb, *words, "--json")
        self.assertEqual(done.returncode, status, done.stderr)
        return json.loads(done.stdout)

    def test_every_document_has_its_keys(self):
        page = sections()
        self.assertEqual(list(page), list(LINES))
        for name, keys in page.items():
            with self.subTest(name):
                document = self.document(name)
                self.assertTrue(document)
                for row in document:
                    self.assertEqual(list(row), keys)
                    self.assertEqual({type(value) for value in row.values()}, {str})

    def test_every_verb_fits_and_has_its_section(self):
        """But for what names another page in its help."""
        listing = self.ctl("--help").decode().split("Commands:\n")[1].split("\n\n")[0]
        for verb in (line[2:21].split() for line in listing.splitlines()):
            if not verb:
                continue  # the rest of a sentence
            told = self.ctl(*verb, "--help").decode()
            self.assertLessEqual(max(map(len, told.splitlines())), 80, verb)
            listed = re.search(r"^  --json +(.*)$", told, re.M)
            if listed and "docs/" not in listed.group(1):
                self.assertIn(" ".join(verb), sections())
