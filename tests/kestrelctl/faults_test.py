"""Identities and stores stay whole when a run is killed, or fails, at any call that changes files."""

import contextlib
import functools
import os
import re
import resource
import shutil
import sqlite3
import tempfile

from kestrel_case import KESTREL, KESTRELCTL, KestrelCase

# Calls that change files. Of openat only those count that may make one.
CALLS = ("openat,write,pwrite64,fsync,fdatasync,rename,renameat,renameat2,link,unlink,unlinkat,"
         "mkdir,mkdirat,rmdir,chmod,fchmod,fchmodat,ftruncate,fallocate,flock")
MAKING = "O_CREAT"
# A failure that each call may meet; what is not here runs out of room.
ERRORS = {"fsync": "EIO", "fdatasync": "EIO", "flock": "ENOLCK", "unlink": "EIO", "unlinkat": "EIO"}


class Faults(KestrelCase):
    def setUp(self):
        super().setUp()
        self.template = self.home

    def fresh_home(self):
        """A copy of the template as the home of one run, on a disk that costs little."""
        home = tempfile.mkdtemp(dir="/dev/shm" if os.path.isdir("/dev/shm") else None)
        self.addCleanup(shutil.rmtree, home, True)
        self.env["KESTREL_HOME"] = os.path.join(home, "h")
        if os.path.isdir(self.template):
            shutil.copytree(self.template, self.env["KESTREL_HOME"])

    def strace(self, *options, command):
        log = self.path("trace")
        done = self.run_here("strace", "-f", "-o", log, "-e", "trace=" + CALLS, *options, *command)
        with open(log, encoding="utf-8", errors="replace") as file:
            return done, file.read()

    def points(self, command):
        """Every call that changes files: its name and which one of that name it is."""
        self.fresh_home()
        done, trace = self.strace(command=command)
        self.assertEqual(done.returncode, 0, done.stderr)
        counts, points = {}, []
        for name, arguments in re.findall(r"^\d+ +(\w+)\((.*)$", trace, re.M):
            counts[name] = counts.get(name, 0) + 1
            if name == "write" and arguments.startswith(("1,", "2,")):
                continue
            if name != "openat" or MAKING in arguments:
                points.append((name, counts[name]))
        self.assertGreater(len(points), 8)
        return points

    def state(self):
        """What a user sees; the listing must work at any time."""
        return self.columns("identity list", "container", "password", "state")

    def stores(self):
        """How many certificates each store has, by SQLite alone."""
        file = os.path.join(self.env["KESTREL_HOME"], "stores.db")
        with contextlib.closing(sqlite3.connect(file)) as database:
            return dict(database.execute("SELECT name, count(*) FROM certificates AS c "
                                         "JOIN stores AS s ON c.store = s.id GROUP BY name"))

    def leftovers(self):
        """Hidden folders, and key files in clear wherever they lie."""
        hidden, clear = [], []
        for folder, folders, files in os.walk(self.env["KESTREL_HOME"]):
            hidden += [name for name in folders if name.startswith("\\")]
            for name in files:
                with open(os.path.join(folder, name), "rb") as file:
                    if b"BEGIN PRIVATE KEY" in file.read():
                        clear.append(os.path.basename(folder) + "/" + name)
        return hidden, sorted(clear)

    def run_again(self, command, new, stores, clear):
        """The same command ends in the new state, or says that it is so already."""
        done = self.run_here(*command)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        self.assertEqual((self.state(), self.stores()), (new, stores))
        self.assertEqual(self.leftovers(), ([], clear))

    def with_faults(self, command, check):
        """Runs the command with each fault at each call and checks its end."""
        for name, number in self.points(command):
            faults = ["signal=KILL", "error=" + ERRORS.get(name, "ENOSPC")]
            # These come once a file or page, and fail alike.
            repeated = name in ("pwrite64", "fsync", "fdatasync", "fchmod") and number % 4 != 1
            for fault in faults[:1 if repeated else 2]:
                with self.subTest(call=f"{name} {number}", fault=fault):
                    self.fresh_home()
                    done, trace = self.strace("-e", f"inject={name}:{fault}:when={number}",
                                              command=command)
                    killed = fault.startswith("signal")
                    self.assertTrue(("killed by SIGKILL" if killed else "INJECTED") in trace)
                    check(killed, done)

    def sweep(self, words, old, new, stores, clear, between=None):
        """`between`: how an identity looks whose certificate is not in its store yet."""
        command = [KESTRELCTL, *words]

        def check(killed, done):
            state = self.state()
            self.assertIn(state, (old, new, between) if killed else (old, new))
            if not killed:
                self.assertIn(done.returncode, (0, 1), done.stderr)
                self.assertEqual(bool(done.stderr), done.returncode == 1)
                self.assertTrue(done.returncode == 1 or state == new, done.stdout)
            # A run that has told of its work is not typed again.
            if b"Made container 'x'" not in done.stdout:
                self.run_again(command, new, stores, clear)

        self.with_faults(command, check)

    def test_create(self):
        self.sweep(["identity", "create", "CN=x", "--provtype", "16", "--trust"],
                   [], [("x", "no", "")], {"My": 1, "Root": 1}, ["x/exchange.key"],
                   [("x", "no", 'not in "My"')])

    def test_files_that_cannot_grow(self):
        """What is undone after a failure must need no room, either."""
        self.make_certificate("ec", "x")
        self.export("x", "-iter", "1")
        whole = [("x", "no", "")]
        rows = [
            (["create", "CN=x", "--provtype", "16", "--trust"], [], whole),
            (["import", "x.p12", "--password", "p", "--trust"], [], whole),
            (["delete", "x"], whole, []),
        ]
        for words, old, new in rows:
            self.env["KESTREL_HOME"] = self.template
            if old:
                self.ctl("identity", "create", "CN=x", "--provtype", "16")
            for limit in range(0, 1 << 20, 4096):
                with self.subTest(words[0], limit=limit):
                    self.fresh_home()
                    bound = functools.partial(resource.setrlimit, resource.RLIMIT_FSIZE,
                                              (limit, resource.RLIM_INFINITY))
                    done = self.run_here(KESTRELCTL, "identity", *words, preexec_fn=bound)
                    self.assertEqual(self.state(), old if done.returncode else new)
                    self.assertEqual(self.leftovers()[0], [])
                if done.returncode == 0:
                    break

    def test_many_in_a_store(self):
        for name in ("a", "b", "c"):
            self.make_certificate("ec", name)
        files = [self.path(name + ".pem") for name in ("a", "b", "c")]
        self.ctl("store", "add", "From", *files)
        rows = [
            ("add", [KESTRELCTL, "store", "add", "To", *files], {"From": 3, "To": 3}),
            ("copy", [KESTREL, "-copycert", "-nochain", "-uFrom", "-duTo"], {"From": 3, "To": 3}),
            ("delete", [KESTREL, "-delcert", "-nochain", "-uFrom", "-yes"], {}),
        ]
        for name, command, new in rows:
            def check(killed, done, command=command, new=new):
                stores = self.stores()
                self.assertIn(stores, ({"From": 3}, new))
                self.assertTrue(killed or done.returncode or stores == new, done.stdout)
                self.run_here(*command)
                self.assertEqual(self.stores(), new)

            with self.subTest(name):
                self.with_faults(command, check)

    def test_request(self):
        """A key whose request did not get out is whole, and one of a run that failed is gone."""
        command = [KESTREL, "-creatrqst", "-silent", "-provtype", "16", "-dn", "CN=x", "out"]
        self.write("out", b"of another run")

        def check(killed, done):
            keyed = len(self.state())
            self.assertLessEqual(keyed, 1)
            waiting = len(self.listing("request", "list"))
            self.assertTrue(killed or waiting == keyed, done.stdout)
            self.run_here(*command, status=0)
            self.assertEqual(len(self.state()), keyed + 1)
            self.assertEqual(self.stores(), {"REQUEST": waiting + 1})
            self.assertEqual(self.leftovers()[0], [])

        self.with_faults(command, check)

    def test_installation(self):
        self.set_machine('"InstallRoots"=dword:00000002')
        self.self_sign("ca")
        self.succeed("-creatrqst", "-silent", "-provtype", "16", "-dn", "CN=x", "-der", "x.csr")
        self.openssl("x509", "-req", "-days", "60", "-inform", "DER", "-in", "x.csr", "-CA",
                     "ca.pem", "-CAkey", "ca.key", "-CAcreateserial", "-out", "x.pem")
        self.openssl("crl2pkcs7", "-nocrl", "-certfile", "x.pem", "-certfile", "ca.pem", "-out",
                     "x.p7")
        command = [KESTREL, "-instcert", "-provtype", "16", "-cont", "x", "x.p7"]
        whole = ([("x", "no", "")], {"My": 1, "Root": 1})

        def check(killed, done):
            self.assertTrue(killed or done.returncode or (self.state(), self.stores()) == whole)
            self.run_here(*command, status=0)
            self.assertEqual((self.state(), self.stores()), whole)
            self.assertEqual(self.leftovers()[0], [])

        self.with_faults(command, check)

    def test_import(self):
        self.make_certificate("ec", "x")
        self.export("x", "-iter", "1")
        self.sweep(["identity", "import", "x.p12", "--password", "p"], [], [("x", "no", "")],
                   {"My": 1}, ["x/exchange.key"], [("x", "no", 'not in "My"')])

    def test_delete(self):
        self.ctl("identity", "create", "CN=x", "--provtype", "16")
        self.sweep(["identity", "delete", "x"], [("x", "no", "")], [], {}, [],
                   [("x", "no", 'not in "My"')])

    def test_passwd_of_both_keys(self):
        self.ctl("identity", "create", "CN=x", "--provtype", "16")
        folder = os.path.join(self.home, "containers", "x")
        for kind in (".key", ".cer"):
            shutil.copy(os.path.join(folder, "exchange" + kind),
                        os.path.join(folder, "signature" + kind))
        self.sweep(["identity", "passwd", "x", "--pin", "a", "--new-pin", "a"],
                   [("x", "no", "")] * 2, [("x", "yes", "")] * 2, {"My": 1}, [])

    def test_where_names_cannot_be_exchanged(self):
        """File systems without RENAME_EXCHANGE: what stood aside comes back."""
        self.ctl("identity", "create", "CN=x", "--provtype", "16")
        command = [KESTRELCTL, "identity", "passwd", "x", "--pin", "a", "--new-pin", "a"]
        for number in (None, 1, 2, 3):
            with self.subTest(rename=number):
                self.fresh_home()
                kill = ["-e", f"inject=rename:signal=KILL:when={number}"] if number else []
                self.strace("-e", "inject=renameat2:error=EINVAL", *kill, command=command)
                self.run_again(command, [("x", "yes", "")], {"My": 1}, [])
