"""The process as a calling script sees it: output bytes, exit status, language, start-up."""

import re

from kestrel_case import OK, KestrelCase, closing, error_line

HELP_NOT_ALONE = b"You cannot use '-help' argument along with the others."

# Name, words, code, the whole body behind the banner.
REFUSALS = [
    ("unknown key", ["-sign", "-zzz"], 0x200000C9, b"Unknown key: '-zzz'."),
    ("second command", ["-encr", "-decr"], 0x200000CA, b"Too many commands: '-decr'"),
    ("key without value", ["-verify", "a", "-dn"], 0x200000CB, b"No argument for '-dn' key."),
    ("help and a file", ["-encr", "-help", "file.txt"], 0x20000068, HELP_NOT_ALONE),
    ("help is the value of pin", ["-sign", "-pin", "-help"], 0x200000D0, b"No input file."),
    ("no -q below one", ["-sign", "-q0", "a", "b"], 0x200000CF, b"Integer is required for '-q' key"),
    ("first leftover in set order", ["-encr", "-yes", "-both", "a", "b"], 0x200000CE,
     b"Wrong key: 'both'."),
    ("in usages only", ["-instcert", "-enable-install-root"], 0x200000C9,
     b"Unknown key: '-enable-install-root'."),
    ("a second q", ["-encr", "-q", "-q5", "a", "b"], 0x200000CE, b"Wrong key: 'q'."),
]


class Frame(KestrelCase):
    def test_refusals(self):
        for name, words, code, text in REFUSALS:
            with self.subTest(name):
                self.expect(words, code, error_line(text, code))

    def test_first_questions(self):
        listing = self.kestrel()[1].removesuffix(closing(1)) + OK
        for word in ("--help", "-h", "help"):
            self.assertEqual(self.kestrel(word), (0, listing), word)
        status, body = self.kestrel("--version")
        self.assertEqual(status, 0)
        self.assertRegex(body, rb"^Commit: ([0-9a-f]{12}|unknown)\n" + re.escape(OK) + b"$")
        self.assertRegex(self.raw("--version", env={"LC_ALL": "ru_RU.UTF-8"})[1].decode(),
                         r"\nКоммит: ([0-9a-f]{12}|unknown)\n\[")
        for words, code in ((["-h", "-sign"], 0x200000C9), (["--version", "a"], 0x200000C9),
                            (["help", "help"], 0x200000CC), (["--HELP"], 0x200000C9),
                            (["--help", "--help"], 0x200000C9)):
            self.fail_with(code, *words)

    def test_bare_start_and_help_count_as_failures(self):
        status, listing = self.kestrel()
        self.assertEqual(status, 1)
        self.assertTrue(listing.startswith(b"Supported commands:\n -encr        Create encrypted"))
        self.assertTrue(listing.endswith(closing(1)))
        for words in (["-help"], ["a", "b"], ["-dir", "-hash"]):
            self.expect(words, 0x200000CC, error_line(b"No command.", 0x200000CC) +
                        listing.removesuffix(closing(1)))
        status, body = self.kestrel("-encr", "-help")
        self.assertEqual(status, 2)
        self.assertTrue(body.startswith(b" -encr        Create encrypted message.\nCommand usage:\n"
                                        b" [path]kestrel -encr <CSC> [-der] <input file> <message>\n"))

    def test_language(self):
        rows = [
            ("LC_ALL wins", {"LC_ALL": "ru_RU.UTF-8", "LANG": "en_US"}, True),
            ("LANG alone", {"LANG": "ru"}, True),
            ("LC_ALL wins the other way", {"LC_ALL": "C", "LANG": "ru_RU"}, False),
            ("messages before LANG", {"LC_MESSAGES": "ru_RU", "LANG": "en"}, True),
            ("another language", {"LANG": "uk_UA.UTF-8"}, False),
            ("capitals are another name", {"LANG": "RU"}, False),
            ("none", {}, False),
        ]
        for name, env, russian in rows:
            with self.subTest(name):
                _, output = self.raw("-sign", env=env)
                for text in ("Утилита командной строки для защиты данных.\n", "Не указан входной файл"):
                    self.assertEqual(text in output.decode(), russian)
                self.assertTrue(output.endswith(closing(0x200000D0)))

    def test_strangers_names(self):
        for env, text in (({}, "Can't open file"), ({"LC_ALL": "ru"}, "Не удалось открыть файл")):
            _, body = self.raw("-sign", "-f", "\x1b[2J", "100%d\u202e.msg", "x", env=env)
            self.assertIn(b": '\\x1B[2J'.\n", body)
            _, body = self.raw("-verify", "100%d\u202e.msg", env=env)
            self.assertIn(f"{text} '100%d\\u202E.msg'.".encode(), body)

