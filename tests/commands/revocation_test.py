"""Chains that fetch what they lack: issuers, lists and OCSP answers of an authority that revokes."""

import json
import os
import socketserver
import subprocess
import threading
import time

from authority import DELEGATE, END, Authority, Web, forget
from kestrel_case import KESTRELCTL, KestrelCase
from tokens import der, take

BAD_CHAIN = 0x20000133
NO_SIGNATURES_GOOD = 0x200001F9


class RevocationCase(KestrelCase):
    def setUp(self):
        super().setUp()
        self.web = Web(self)
        self.root = Authority(self, self.web, "root")
        self.ctl("trust", "root.pem")
        self.root.publish()
        self.high = Authority(self, self.web, "high", self.root, self.root.points())
        self.high.publish()
        self.low = Authority(self, self.web, "low", self.high,
                             self.high.points() + self.high.access())
        self.low.issue("delegate", DELEGATE)
        self.write("in", b"what is signed\n")

    def leaf(self, name, extensions):
        """An identity below "low" that has nothing but its own certificate."""
        self.low.issue(name, END + extensions)
        self.export(name)
        self.ctl("identity", "import", f"{name}.p12", "--password", "p", "--container", name)
        return name

    def chain(self, name, status=0, *more):
        """The rows of `kestrelctl chain`, the end certificate's first; None: any status."""
        done = self.run_ctl("chain", f"{name}.pem", "--json", *more)
        if status is not None:
            self.assertEqual(done.returncode, status, f"{done.stdout!r} {done.stderr!r}")
        return json.loads(done.stdout)

    def notices(self, name):
        self.succeed("-sign", "-dn", name, "-errchain", "-der", "in", f"{name}.msg")
        self.succeed("-verify", "-errchain", f"{name}.msg")


class RevocationTest(RevocationCase):
    def test_an_authority_revokes(self):
        """By list and by OCSP alike: good, then kept though revoked, then noticed."""
        self.low.respond("delegate", "-nmin", "1")
        rows = (
            ("by list", "ann", self.low.points() + self.low.access(), "CRL"),
            ("by OCSP", "bob", self.low.access(responder=True), "OCSP"),
        )
        for title, name, extensions, source in rows:
            with self.subTest(title):
                self.low.publish()
                self.leaf(name, extensions)
                self.notices(name)
                before = len(self.web.asked)
                told = self.chain(name)
                self.assertEqual([row["subject"] for row in told],
                                 [f"CN={name}", "CN=low", "CN=high", "CN=root"])
                self.assertTrue(told[0]["source"].startswith(f"cache: {source} http"), told)
                self.assertEqual([row["revocation"] for row in told],
                                 ["not revoked"] * 3 + ["not asked"])
                self.low.revoke(name)
                self.low.publish()
                self.chain(name)
                self.assertEqual(len(self.web.asked), before, "asked again before the next update")
                forget(self)
                told = self.chain(name, 1)
                self.assertEqual((told[0]["status"], told[0]["revocation"]), ("revoked", "revoked"))
                self.fail_with(BAD_CHAIN, "-sign", "-dn", name, "-errchain", "in", "out")
                self.fail_with(NO_SIGNATURES_GOOD, "-verify", "-errchain", f"{name}.msg")

    def test_next_update(self):
        self.low.publish(seconds=4)
        self.leaf("ann", self.low.points() + self.low.access())
        self.chain("ann")
        self.low.revoke("ann")
        self.low.publish()
        time.sleep(4)
        self.assertEqual(self.chain("ann", 1)[0]["status"], "revoked")
        self.assertEqual(self.web.asked.count("/low.crl"), 2)

    def test_delta_lists(self):
        """The freshest word counts, though the complete list is kept for long."""
        self.leaf("ann", self.low.points() + self.low.access()
                  + f"freshestCRL=URI:{self.web.address('delta')}\n")
        self.low.publish(extensions="base")
        self.low.publish(seconds=2, page="/delta", extensions="delta")
        self.assertEqual(self.chain("ann")[0]["revocation"], "not revoked")
        self.low.revoke("ann")
        self.low.publish(page="/delta", extensions="delta")
        time.sleep(2)
        told = self.chain("ann", 1)[0]
        self.assertEqual((told["revocation"], told["source"]),
                         ("revoked", "CRL " + self.web.address("delta")))
        self.assertEqual([self.web.asked.count(page) for page in ("/low.crl", "/delta")], [1, 2])
        forget(self)
        self.web.pages["/delta"] = None
        self.assertEqual(self.chain("ann")[0]["revocation"], "not revoked", "the complete list alone")


class GostTest(RevocationCase):
    def test_gost_authorities(self):
        self.need_engine()
        top = Authority(self, self.web, "top", kind=Authority.GOST)
        self.ctl("trust", "top.pem")
        top.publish()
        self.low = Authority(self, self.web, "below", top, top.points(), kind=Authority.GOST)
        self.low.publish()
        self.low.issue("delegate", DELEGATE)
        self.low.respond("delegate")
        self.leaf("bob", self.low.access(responder=True))
        self.notices("bob")
        self.low.revoke("bob")
        forget(self)
        self.assertEqual(self.chain("bob", 1)[0]["status"], "revoked")


class LdapTest(RevocationCase):
    def test_ldap(self):
        """A list in an entry of a directory that answers two messages (RFC 4511)."""
        def message(number, body):
            return der(0x30, bytes([2, 1, number]), body)
        result = b"\x0a\x01\x00\x04\x00\x04\x00"
        entry = der(0x64, der(4, b"CN=low"), der(0x30, der(
            0x30, der(4, b"certificateRevocationList;binary"),
            der(0x31, der(4, self.low.publish())))))

        sent = []

        class Directory(socketserver.StreamRequestHandler):
            def handle(self):
                while request := self.connection.recv(4096):
                    number = request[request.index(b"\x02\x01") + 2]
                    if b"\x02\x01" + bytes([number]) + b"\x60" in request:
                        self.wfile.write(message(number, der(0x61, result)))
                    elif b"endless" in request:
                        self.endless(b"\x30\x84\x60\0\0\0\x02\x01" + bytes([number])
                                     + b"\x64\x84\x5F\xFF\xFF\xF7")
                    elif b"\x02\x01" + bytes([number]) + b"\x63" in request:
                        self.wfile.write(message(number, entry))
                        self.wfile.write(message(number, der(0x65, result)))

            def endless(self, head):
                try:
                    self.connection.sendall(head)
                    while True:
                        sent.append(self.connection.send(bytes(65536)))
                except OSError:
                    pass
        server = socketserver.ThreadingTCPServer(("127.0.0.1", 0), Directory)
        server.daemon_threads, server.block_on_close = True, False
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        address = (f"ldap://127.0.0.1:{server.server_address[1]}/CN={{}}?"
                   "certificateRevocationList;binary?base?(objectClass=*)")
        for name in ("list", "endless"):
            self.leaf(name, f"crlDistributionPoints=points\n{self.low.access()}"
                      f"[points]\nfullname=URI:{address.format(name)}\n")
        self.assertEqual(self.chain("list")[0]["source"], "CRL " + address.format("list"))
        self.assertEqual(self.chain("endless", 1)[0]["status"], UNKNOWN)
        self.assertLess(sum(sent), 100 << 20, "64 MiB, and what lay in the sockets")


UNKNOWN = "nobody told whether it is revoked"
OCSP_STATUS = {"malformed request": 1, "try later": 3, "unauthorized": 6}


class BadAnswersTest(RevocationCase):
    def verdict(self, name):
        """What the chain says of the end certificate, nothing being kept."""
        self.ctl("cache", "clear")
        return self.chain(name, None)[0]["status"]

    def test_lists(self):
        good = self.low.publish()
        self.openssl("crl", "-in", "low.crl", "-out", "low.crl.pem")
        pages = self.web.pages
        rows = [
            ("the list", good, "good"),
            ("as PEM", self.read("low.crl.pem"), "good"),
            ("a page", b"<html><body>Log in first</body></html>", UNKNOWN),
            ("a list of another authority", pages["/high.crl"], UNKNOWN),
            ("one that was cut", good[:-1], UNKNOWN),
        ]
        self.leaf("ann", f"crlDistributionPoints=URI:{self.web.address('list')}\n"
                  + self.low.access())
        for title, page, status in rows:
            with self.subTest(title):
                pages["/list"] = page
                self.assertEqual(self.verdict("ann"), status)

    def test_responders(self):
        self.leaf("ann", self.low.access(responder=True))
        self.low.publish()
        for name, more in (("gone", ""), ("never", "noCheck=ignored\n"), ("there", "")):
            self.low.issue(name, END + "extendedKeyUsage=OCSPSigning\n" + self.low.points() + more)
            if name != "there":
                self.low.revoke(name)
        self.low.publish()
        rows = [  # whose answers count: tests/platform/chain/ocsp_test.cpp
            ("the issuer, by its key, without next update",
             lambda r: self.low.answer(r, "low", ("-resp_key_id",)), "good"),
            ("a revoked delegate", lambda r: self.low.answer(r, "gone"), UNKNOWN),
            ("one that is not", lambda r: self.low.answer(r, "there"), "good"),
            ("one that need not be asked about", lambda r: self.low.answer(r, "never"), "good"),
        ]
        rows += [(title, bytes([0x30, 3, 0x0A, 1, code]), UNKNOWN)
                 for title, code in OCSP_STATUS.items()]
        for title, page, status in rows:
            with self.subTest(title):
                self.web.pages["/low.ocsp"] = page
                self.web.asked.clear()
                self.assertEqual(self.verdict("ann"), status)
                # Only what may be about the digest is asked with the other one.
                times = 2 if title in ("malformed request", "unauthorized") else 1
                self.assertEqual(self.web.asked.count("/low.ocsp"), times)
                self.chain("ann", None)
                self.assertEqual(self.web.asked.count("/low.ocsp"), times, "asked again")

    def test_next_source(self):
        self.low.publish()
        self.web.pages["/second"] = self.web.pages["/low.crl"]
        both = (f"crlDistributionPoints=URI:{self.web.address('missing')},"
                f"URI:{self.web.address('second')}\n" + self.low.access(responder=True))
        self.leaf("ann", both)
        told = self.chain("ann")
        self.assertEqual(told[0]["source"], "CRL " + self.web.address("second"))

    def test_digests_of_responders(self):
        """One that knows SHA-256 alone is asked with that; one that is gone, once."""
        self.leaf("ann", self.low.access(responder=True))
        sha256 = bytes.fromhex("0609608648016503040201")
        self.web.pages["/low.ocsp"] = lambda request: (
            self.low.answer(request, "delegate") if sha256 in request else
            bytes([0x30, 3, 0x0A, 1, 6]))
        self.assertEqual(self.verdict("ann"), "good")
        self.web.pages["/low.ocsp"] = (500, {}, b"")
        self.web.asked.clear()
        self.assertEqual(self.verdict("ann"), UNKNOWN)
        self.assertEqual(self.web.asked.count("/low.ocsp"), 1)

    def test_long_lists(self):
        for authority in (self.low, self.high, self.root):
            head = take(take(authority.publish())[1])[1]  # of version 1, up to its next update
            filler = der(0x30, bytes.fromhex("06032a0304"), der(4, bytes(62 << 20)))
            signed = der(0x30, b"\x02\x01\x01", head, der(0xA0, der(0x30, filler)))
            self.write("signed", signed)
            _, signature = self.openssl("dgst", "-sha256", "-sign", f"{authority.name}.key",
                                        "signed")
            self.web.pages[f"/{authority.name}.crl"] = der(
                0x30, signed, head[:2 + head[1]], der(3, b"\0", signature))
        self.leaf("ann", self.low.points() + self.low.access())
        self.assertEqual(self.verdict("ann"), "good")
        self.assertEqual({row["status"] for row in self.chain("ann")}, {"good"}, "kept")
        self.assertEqual(len(self.web.asked), 5)

    def test_strangers(self):
        """Addresses of a good authority in certificates of another one."""
        self.low.publish()
        self.low.respond("delegate")
        self.leaf("ann", self.low.points() + self.low.access())
        self.leaf("bob", self.low.access(responder=True))
        evil = Authority(self, self.web, "evil")
        named = [self.web.address(page) for page in ("low.crl", "low.cer", "low.ocsp", "high.crl")]
        evil.issue("eve", END + f"crlDistributionPoints={','.join('URI:' + a for a in named)}\n"
                   f"authorityInfoAccess={','.join('caIssuers;URI:' + a for a in named)},"
                   f"caIssuers;URI:{self.web.address('evil.cer')},"
                   f"OCSP;URI:{named[0]},OCSP;URI:ldap://127.0.0.1:1/x\n")
        for kept in (False, True):
            self.ctl("cache", "clear")
            if kept:
                self.chain("ann")
                self.chain("bob")
            self.chain("eve", 1)
            self.assertNotIn(b"ldap", self.ctl("cache", "list"))
            before = len(self.web.asked)
            self.assertEqual([self.chain(name)[0]["status"] for name in ("ann", "bob")],
                             ["good", "good"])
            if kept:
                self.assertEqual(len(self.web.asked), before, "what is kept stays")
        self.low.revoke("ann")
        self.low.publish()
        self.ctl("cache", "clear")
        self.chain("eve", 1)
        self.assertEqual(self.chain("ann", 1)[0]["status"], "revoked")

    def test_silence(self):
        """15 s an address, 30 s a chain; and not again for a while."""
        for number in range(3):
            self.web.pages[f"/silent{number}"] = lambda _: time.sleep(60)
        points = ",".join(f"URI:{self.web.address(f'silent{n}')}" for n in range(3))
        self.leaf("ann", f"crlDistributionPoints={points}\n" + self.low.access())
        begin = time.monotonic()
        self.assertEqual(self.verdict("ann"), UNKNOWN)
        self.assertLess(time.monotonic() - begin, 34)
        silent = [path for path in self.web.asked if "silent" in path]
        self.assertEqual(silent, ["/silent0", "/silent1"])


class CacheTest(RevocationCase):
    def setUp(self):
        super().setUp()
        self.low.publish()
        self.leaf("ann", self.low.points() + self.low.access())

    def test_what_is_fetched(self):
        listing = self.listing("cache", "fetch", "ann.pem")
        self.assertEqual([(row["kind"], row["address"], row["outcome"]) for row in listing],
                         [(kind, self.web.address(page), "fetched") for kind, page in (
                             ("certificates", "low.cer"), ("certificates", "high.cer"),
                             ("crl", "low.crl"), ("crl", "high.crl"), ("crl", "root.crl"))])
        kept = self.listing("cache", "list")
        self.assertEqual({row["address"] for row in kept}, {row["address"] for row in listing})
        again = self.listing("cache", "fetch", "ann.pem")
        self.assertEqual({row["outcome"] for row in again}, {"kept"})
        self.assertEqual(len(self.web.asked), 5)

    def test_the_library_is_loaded_late(self):
        def loads():
            done = self.run_ctl("chain", "ann.pem", env={"LD_DEBUG": "files"})
            self.assertEqual(done.returncode, 0)
            return b"libcurl" in done.stderr
        self.assertEqual([loads(), loads()], [True, False], "what is kept needs no network")

    def test_never_more_than_asked(self):
        setting = ('Windows Registry Editor Version 5.00\n\n[HKEY_{}\\Software\\Kestrel\\Platform]'
                   '\n"Retrieve"=dword:0\n')
        def put(home, root):
            os.makedirs(self.path(home), exist_ok=True)
            self.write(f"{home}/registry.reg", setting.format(root).encode())
        rows = [
            ("-norev", ["-norev"], None),
            ("-nochain", ["-nochain"], None),
            ("the user's setting", [], lambda: put("home", "CURRENT_USER")),
            ("the machine's setting", [], lambda: put("machine", "LOCAL_MACHINE")),
        ]
        for title, keys, prepare in rows:
            with self.subTest(title):
                if prepare:
                    prepare()
                self.kestrel("-sign", "-dn", "ann", *keys, "-der", "in", "out", stdin=b"y")
                self.assertEqual(self.web.asked, [])
                for home in ("home", "machine"):
                    if os.path.exists(self.path(f"{home}/registry.reg")):
                        os.remove(self.path(f"{home}/registry.reg"))
        self.succeed("-sign", "-dn", "ann", "-errchain", "-der", "in", "out")
        self.assertEqual(len(self.web.asked), 5, "the twin that may ask")

    def test_batches(self):
        self.web.pages["/high.crl"] = None
        names = [self.write(f"f{n}", b"%d" % n) and f"f{n}" for n in range(200)]
        self.kestrel("-signf", "-dn", "ann", "-cert", *names, stdin=b"y")
        self.kestrel("-vsignf", *names, stdin=b"y" * 200)
        self.assertEqual(sorted(self.web.asked), sorted(
            ["/low.cer", "/high.cer", "/low.crl", "/high.crl", "/root.crl"]))
        self.assertIn(b"failed", self.ctl("cache", "list"))
        self.assertIn(UNKNOWN.encode(), self.ctl("cache", "fetch", "ann.pem", status=1))

    def test_folders_that_take_nothing(self):
        """Somebody else's file in the way stands for a full or read-only folder."""
        self.write("home/cache", b"in the way")
        self.assertEqual(self.chain("ann")[0]["status"], "good")
        self.assertEqual(self.read("home/cache"), b"in the way")
        self.assertEqual(len(self.web.asked), 5, "each once, though nothing was kept")

    def test_many_at_once(self):
        runs = [subprocess.Popen([KESTRELCTL, "chain", "ann.pem"], cwd=self.folder, env=self.env,
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
                for _ in range(6)]
        for run in runs:
            output, _ = run.communicate(timeout=60)
            self.assertEqual(run.returncode, 0, output)
        self.assertEqual(len(self.listing("cache", "list")), 5)
        self.assertEqual(len(os.listdir(self.path("home/cache"))), 5, "nothing half-written")
