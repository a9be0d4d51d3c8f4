"""Requests that wait for an answer, as an administrator handles them."""

from kestrel_case import KestrelCase


class Requests(KestrelCase):
    def rows(self, *names):
        return self.columns("request list", *names)

    def test_list_show_delete(self):
        self.assertEqual(self.rows("container"), [])
        for name in ("Ann", "Bob"):
            self.succeed("-creatrqst", "-dn", f"CN={name},O=X", "-provtype", "24", "-silent", name)
        self.assertEqual(self.rows("container", "subject", "days", "state"),
                         [("Ann", "CN=Ann, O=X", "0", ""), ("Bob", "CN=Bob, O=X", "0", "")])
        shown, = self.listing("request", "show", "Ann")
        self.assertEqual((shown["key"], shown["bits"], shown["extensions"]),
                         ("1.2.840.113549.1.1.1", "2048", "2.5.29.37 2.5.29.15!"))
        self.ctl("identity", "delete", "Bob")
        self.assertEqual(self.rows("container", "state"), [("Ann", ""), ("Bob", "key is gone")])
        thumbprint = self.rows("thumbprint")[1][0]
        self.ctl("request", "delete", thumbprint[:8].upper())
        self.assertEqual(self.rows("container"), [("Ann",)])
        for verb in ("show", "delete"):
            self.assertIn(b"no request of 'Bob' waits", self.ctl("request", verb, "Bob", status=1))
        self.ctl("request", "delete", "Ann")
        self.assertIn(b"Ann", self.ctl("identity", "list"))  # its key

    def test_renew(self):
        for kind in ("rsa", "ec", "gost256"):
            with self.subTest(kind):
                self.make_identity(kind, kind, pin="1234")
                self.ctl("request", "renew", kind, "new.csr", "--pin", "1234", "--force")
                _, text = self.openssl("req", "-in", "new.csr", "-verify", "-noout", "-text")
                self.assertIn(f"Subject: CN = {kind}\n".encode(), text)
                self.assertIn(b"Digital Signature, Key Encipherment, Data Encipherment", text)
                self.assertNotIn(b"Basic Constraints", text)
                # Another certificate of the same key takes the place of the old one.
                self.openssl("x509", "-req", "-in", "new.csr", "-signkey", f"{kind}.key", "-days",
                             "20", "-copy_extensions", "copyall", "-out", "new.pem")
                self.succeed("-instcert", "-noCSP", "new.pem")
                self.assertEqual(self.rows("container"), [])
        self.make_identity("rsa", "bare")
        self.ctl("request", "renew", "bare", "new.csr", status=1)  # the file is there
        self.ctl("request", "renew", "nobody", "x.csr", status=1)
        self.assertEqual(self.rows("container"), [])
