"""A test beside a time-stamp service: an authority and a service for all tests of a class, and for
each test a signer, the authority in the machine's "Root" and a policy."""

import os

from kestrel_case import KestrelCase
from stamp_service import StampService

POLICY = r"HKEY_LOCAL_MACHINE\Software\Policies\Ferro-Line\TSP"
HASH = "2.16.840.1.101.3.4.2.1"


class StampCase(KestrelCase):
    @classmethod
    def setUpClass(cls):
        cls.shared = cls("setUp")
        cls.shared.setUp()
        cls.service = StampService(cls.shared.folder, cls.shared.openssl).__enter__()

    @classmethod
    def tearDownClass(cls):
        cls.service.__exit__()
        cls.shared.doCleanups()

    def setUp(self):
        super().setUp()
        if not hasattr(type(self), "service"):  # the one that the others share
            return
        self.ctl("identity", "create", "CN=Signer", "--trust")
        self.ctl("store", "add", "Root", f"{self.shared.folder}/ca.pem", "--machine")
        self.policy(f'"DefaultHashAlg"="{HASH} SHA-256"')
        self.write("in", b"what is stamped\n")

    def policy(self, *lines, lists=()):
        text = "Windows Registry Editor Version 5.00\n\n[" + POLICY + "]\n" + "\n".join(lines) + "\n"
        for name, entries in lists:
            text += f"\n[{POLICY}\\{name}]\n"
            text += "".join(f'"{i}"="{entry}"\n' for i, entry in enumerate(entries))
        os.makedirs(self.path("machine"), exist_ok=True)
        with open(self.path("machine/registry.reg"), "w", encoding="utf-8") as file:
            file.write(text)

    def sign(self, *more, out="out", code=0):
        """Ends with that code, or fails with any (None)."""
        return self.fail_with(code, "-sign", "-dn", "Signer", "-nochain", "-der", "in", out, *more)
