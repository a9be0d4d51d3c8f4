"""kestrelctl doctor: each fault is found once, nothing changes, and the command told mends it."""

import fcntl
import json
import os
import pathlib
import shutil
import sqlite3
import subprocess

from evidence import DAY, NOW, Party, Shop
from kestrel_case import KESTRELCTL, KestrelCase


def damage(test, name):
    with open(test.path(name), "r+b") as file:
        file.write(b"?" * 64)


def forget_container(test):
    os.rename(test.path("home/containers/Ann B"), test.path("kept"))


def sql(test, statement):
    database = sqlite3.connect(test.path("home/stores.db"))
    with database:
        database.execute(statement)
    database.close()


def leave(test, name, mode=0o644, folder=0o777):
    os.makedirs(os.path.dirname(test.path(name)), folder, exist_ok=True)
    test.write(name, b"x")
    os.chmod(test.path(name), mode)


def short_lived(test):
    test.ctl("identity", "create", "CN=Short", "--days", "29")


def expired(test):
    test.write("old.cer", Party(Shop(test.folder), "old", end=NOW - DAY).certificate)
    test.ctl("store", "add", "CA", "old.cer")


def another(test):
    """Of a key with a password, and the certificate stands in "My", too."""
    test.ctl("identity", "passwd", "Ann B", "--new-pin", "pw")
    test.ctl("identity", "create", "CN=Bob", "--container", "Bob")
    shutil.copy(test.path("home/containers/Bob/exchange.cer"), test.path(CONTAINER))
    test.ctl("identity", "bind", "Ann B", CONTAINER + "/exchange.cer", status=1)


def waiting(test):
    test.succeed("-creatrqst", "-dn", "CN=Waits", "-provtype", "24", "-silent", "-cont", "waits",
                 "waits.p10")


def waits(test, mode):
    """As kept for an authority: its address, then the request."""
    waiting(test)
    request = pathlib.Path(test.path("waits.p10")).read_bytes().splitlines()
    body = b"\r\n".join(line for line in request if not line.startswith(b"-"))
    leave(test, "home/waiting/1", mode, 0o700)
    test.write("home/waiting/1", b"https://ca.example/\r\n" + body + b"\r\n")


def without_request(test):
    waiting(test)
    test.ctl("request", "delete", "waits")


def settings(side, *lines):
    """A settings file: keys below "Software\\" without a mark, values with theirs."""
    root = "HKEY_CURRENT_USER" if side == "home" else "HKEY_LOCAL_MACHINE"
    text = "".join(f"{line}\r\n" if line[0] in "\";" else f"[{root}\\Software\\{line}]\r\n"
                   for line in lines)

    def fault(test):
        leave(test, side + "/registry.reg")
        test.write(side + "/registry.reg",
                   b"Windows Registry Editor Version 5.00\r\n" + text.encode())
    return fault


TSP, OURS = "Policies\\Ferro-Line\\TSP", "Kestrel\\Platform"
PROXY = "Microsoft\\Windows\\CurrentVersion\\Internet Settings"
CONTAINER = "home/containers/Ann B"
# Name, what is done, side and kind of what is found, part of its words; whether the remedy is a
# command that mends it.
ROWS = [
    ("a good side", lambda test: None, None, "", True),
    ("home open to others", lambda test: os.chmod(test.home, 0o750), ("user", "mode"),
     "is open to other users (mode 750)", True),
    ("key open to others", lambda test: os.chmod(test.path(CONTAINER + "/exchange.key"), 0o644),
     ("user", "mode"), "exchange.key is open", True),
    ("machine's stores written by others", lambda test: (
        test.ctl("store", "add", "CA", "ann.pem", "--machine"),
        os.chmod(test.path("machine/stores.db"), 0o666)), ("machine", "mode"),
     "may be written by other users", True),
    ("machine's stores not for users", lambda test: (
        test.ctl("store", "add", "CA", "ann.pem", "--machine"),
        os.chmod(test.path("machine/stores.db"), 0o600)), ("machine", "mode"),
     "cannot be read by all users", True),
    ("damaged database", lambda test: damage(test, "home/stores.db"), ("user", "damaged"),
     "stores.db is damaged", False),
    ("damaged settings", lambda test: test.write("home/registry.reg", b"nonsense\n"),
     ("user", "damaged"), "registry.reg is damaged", True),
    ("settings of their kinds", settings(
        "machine", TSP, '"NonceLength"=dword:00000010', '"DefaultTSPURL"="http://tsa.example/"',
        TSP + "\\AllowedTSPs", '"1"="http://tsa.example/"', OURS, '"Retrieve"=dword:00000000',
        '"InstallRoots"=dword:00000002', '"GostCipher"="1.2.643.7.1.1.5.2.2"', '"DefaultCA"=""',
        PROXY, '"ProxyEnable"=dword:00000001', '"MigrateProxy"="of other programs"'), None, "", True),
    ("a number as text", settings("machine", TSP, '"nonceLength"="16"'), ("machine", "setting"),
     "TSP\\nonceLength is text '16' and has to be a number (dword), in ", True),
    ("an entry of a list", settings("home", TSP + "\\AllowedTSPs", '"7"=dword:00000001'),
     ("user", "setting"), "AllowedTSPs\\7 is the number 1 and has to be text", True),
    ("beyond what is known", settings("machine", OURS, '"InstallRoots"=dword:00000003'),
     ("machine", "setting"), "is the number 3 and has to be 0 never, 1 asked for or 2", True),
    ("a password in an address", settings("machine", OURS, '"DefaultCA"="//ann:pw@ca"'),
     ("machine", "setting"), "DefaultCA is text and has to be an address", True),
    ("a name that is none", settings("machine", OURS, '"Retreive"=dword:00000000'),
     ("machine", "setting"), "Retreive is no setting", True),
    ("the machine's on the user's side", settings("home", OURS, '"VerifyTokens"=dword:00000001'),
     ("user", "setting"), "counts on the machine's side alone", True),
    ("damaged key", lambda test: damage(test, CONTAINER + "/exchange.key"), ("user", "damaged"),
     "container 'Ann B' is damaged", False),
    ("type of other keys", lambda test: test.write(CONTAINER + "/provider.type", b"75\n"),
     ("user", "damaged"), "container 'Ann B' is damaged", True),
    ("damaged certificate", lambda test: damage(test, CONTAINER + "/exchange.cer"),
     ("user", "damaged"), "container 'Ann B' is damaged", True),
    ("another key's certificate", another, ("user", "no-certificate"), "not the one of its key",
     True),
    ("no type of container", lambda test: os.remove(test.path(CONTAINER + "/provider.type")),
     ("user", "damaged"), "container 'Ann B' is damaged", True),
    ("damaged answer", lambda test: leave(test, "home/cache/" + "a" * 64), ("user", "damaged"),
     "counts as absent", True),
    ("key without certificate", without_request, ("user", "no-certificate"),
     "container 'waits' has a key without a certificate", False),
    ("key that waits for its certificate", waiting, None, "", True),
    ("certificate whose container is gone", forget_container, ("user", "no-key"),
     "leads to a key that is not there, in container 'Ann B'", True),
    ("certificate whose key is gone",
     lambda test: os.remove(test.path(CONTAINER + "/exchange.key")), ("user", "no-key"),
     "whose key is gone", True),
    ("damaged way to the key", lambda test: sql(test, "UPDATE properties SET value = x'00'"),
     ("user", "no-key"), "damaged way", True),
    ("not in My", lambda test: test.ctl("store", "remove", "My", test.ann), ("user", "not-in-my"),
     "does not stand in \"My\"", True),
    ("soon over", short_lived, ("user", "expires"), "expires in 28 days", False),
    ("over", expired, ("user", "expired"), "CN=old", True),
    ("draft", lambda test: leave(test, "home/kestrel-7-0.tmp"), ("user", "leftover"),
     "was left by a killed run", True),
    ("the whole copy", lambda test: leave(test, "home/kestrel-7-0.tmp", 0o400),
     ("user", "leftover"), "whole copy", False),
    ("container half made", lambda test: test.write(CONTAINER + "/pending", b"My\n") and
     os.chmod(test.path(CONTAINER + "/pending"), 0o600), ("user", "leftover"), "half made", True),
    ("pipe instead of a key", lambda test: (
        os.remove(test.path(CONTAINER + "/exchange.key")),
        os.mkfifo(test.path(CONTAINER + "/exchange.key"), 0o600)), ("user", "damaged"),
     "exchange.key is no file", False),
    ("link to nothing", lambda test: (
        os.remove(test.path("home/stores.db")),
        os.symlink("nowhere", test.path("home/stores.db"))), ("user", "damaged"),
     "stores.db is a link that leads to no file", False),
    ("file among the containers", lambda test: leave(test, "home/containers/notes"),
     ("user", "damaged"), "notes is no container", True),
    ("device instead of the containers", lambda test: (
        os.rename(test.path("home/containers"), test.path("kept")),
        os.symlink("/dev/null", test.path("home/containers"))), ("user", "damaged"),
     "containers is no folder", False),
    ("folder that was being filled",
     lambda test: os.mkdir(test.path("home/containers/\\AbC123"), 0o700), ("user", "leftover"),
     "killed run that changed a container", True),
    ("change that was cut off", lambda test: leave(test, "home/stores.db-journal", 0o600),
     ("user", "leftover"), "cut off", True),
    ("empty journal", lambda test: test.write("home/stores.db-journal", b""),
     ("user", "leftover"), "holds nothing", True),
    ("empty stores", lambda test: os.truncate(test.path("home/stores.db"), 0),
     ("user", "damaged"), "stores.db is empty", True),
    ("key of settings that is none", settings("machine", OURS, "Kestrel\\Platfrom", '"Version"="x"'),
     ("machine", "setting"), "Kestrel\\Platfrom is no key of settings", True),
    ("request open to others", lambda test: waits(test, 0o644), ("user", "mode"),
     "waiting/1 is open to other users", True),
    ("damaged request", lambda test: leave(test, "home/waiting/1", 0o600, 0o700),
     ("user", "damaged"), "waiting/1 is damaged", True),
    ("certificate without a key", lambda test: (
        test.make_certificate("ec", "bob"), test.ctl("store", "add", "My", "bob.pem")),
     ("user", "no-key"), "leads to no key", True),
    ("certificate without the way to its key", lambda test: (
        test.ctl("store", "remove", "My", test.ann),
        test.ctl("store", "add", "My", "ann.pem")), ("user", "no-key"), "leads to no key", True),
]
STRANGER = 12345
if os.geteuid() == 0:
    ROWS += [("a stranger's " + name, lambda test, name=name: (
        test.ctl("store", "add", "CA", "ann.pem", "--machine"),
        settings("machine", OURS)(test), os.chown(test.path(name), STRANGER, -1)),
        (name.split("/")[0].replace("home", "user"), "owner"), "belongs to user 12345", True)
             for name in ("home/stores.db", "home/containers", CONTAINER, CONTAINER + "/exchange.key",
                          "machine/stores.db", "machine/registry.reg")]


def state(folder):
    """Names, modes, times and bytes of all that there is."""
    found = {}
    for parent, folders, files in os.walk(folder):
        for name in folders + files:
            path = os.path.join(parent, name)
            status = os.lstat(path)
            content = pathlib.Path(path).read_bytes() if os.path.isfile(path) else None
            found[path] = (status.st_mode, status.st_mtime_ns, content)
    return found


class Doctor(KestrelCase):
    def setUp(self):
        super().setUp()
        self.ctl("identity", "create", "CN=Ann", "--container", "Ann B")
        self.ann = self.listing("identity", "list")[0]["thumbprint"]
        self.ctl("store", "export", "My", "ann.pem")

    def examine(self):
        """What is found of the two sides; packages are the computer's own affair."""
        before = state(self.folder)
        done = self.run_ctl("doctor", "--json")
        self.assertEqual((done.stderr, state(self.folder)), (b"", before))
        findings = json.loads(done.stdout)
        self.assertEqual(done.returncode, 1 if findings else 0)
        return [one for one in findings if one["side"] != "system"]

    def key(self):
        file = pathlib.Path(self.path(CONTAINER + "/exchange.key"))
        return file.read_bytes() if file.is_file() else None

    def mend(self, remedy):
        # Who is asked to edit a file takes its last line out.
        self.write("editor", b"#!/bin/sh\nsed -i '$d' \"$1\"\n")
        os.chmod(self.path("editor"), 0o700)
        path = ":".join([self.folder, os.path.dirname(KESTRELCTL), os.environ["PATH"]])
        self.status = subprocess.run(
            ["sh", "-c", remedy], cwd=self.folder, env={**self.env, "PATH": path},
            stdin=subprocess.DEVNULL, capture_output=True, timeout=60, check=False).returncode
        return self.examine()

    def test_finds_and_mends(self):
        for name, fault, found, words, mended in ROWS:
            with self.subTest(name):
                self.tearDown()
                self.doCleanups()
                self.setUp()
                fault(self)
                findings = self.examine()
                self.assertEqual([(one["side"], one["kind"]) for one in findings],
                                 [found] if found else [], findings)
                for one in findings:
                    self.assertIn(words, one["place"] + " " + one["finding"])
                # What one command mends may show what another one has to do.
                key = self.key()
                further = self.mend(findings[0]["remedy"]) if findings else []
                if findings and mended:
                    self.assertEqual(self.status, 0, findings)
                for one in findings + further:
                    self.mend(one["remedy"])
                if mended:
                    self.assertEqual((self.examine(), self.key()), ([], key))

    def test_in_use(self):
        """What another process holds is no fault, and nothing is to be moved away."""
        database = sqlite3.connect(self.path("home/stores.db"), isolation_level=None)
        database.execute("BEGIN EXCLUSIVE")
        # Reading the file here would let go of the lock.
        of_stores = json.loads(self.run_ctl("doctor", "--json").stdout)[0]
        database.execute("ROLLBACK")
        database.close()
        with open(self.path("home/containers/\\lock"), "rb") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            [of_containers] = self.examine()
        for found in of_stores, of_containers:
            self.assertEqual((found["kind"], found["finding"], found["remedy"][:19]),
                             ("unreadable", "is in use by another process", "kestrelctl doctor  "))
        self.assertEqual(self.examine(), [])

    def test_missing_package(self):
        """As on a computer without it: the library cannot be loaded."""
        self.write("libcurl.so.4", b"")
        self.env["LD_LIBRARY_PATH"] = self.folder
        done = self.run_ctl("doctor")
        self.assertIn(b"system: libcurl4 is not installed", done.stdout)
        self.assertIn(b"\n    sudo apt-get install libcurl4\n", done.stdout)
        self.assertEqual(done.returncode, 1)

    def test_empty_sides(self):
        for side in ("HOME", "MACHINE_HOME"):
            self.env["KESTREL_" + side] = self.path("nowhere")
        self.assertEqual(self.examine(), [])
        self.assertFalse(os.path.exists(self.path("nowhere")))
