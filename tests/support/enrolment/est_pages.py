"""Enrolment over secure transport (RFC 7030): cacerts and simpleenroll. The label in the path
chooses how the authority behaves, so that a client can be shown every outcome."""

import base64

from enrolment.exchange import Answer
from enrolment.issuing import lines_of
from enrolment.openssl import OpenSslError
from enrolment.state import DENIED, ISSUED, PENDING

ROOT = "/.well-known/est"
WAIT_SECONDS = "60"


def message(octets, **more):
    return Answer(200, {"Content-Type": "application/pkcs7-mime; smime-type=certs-only",
                        "Content-Transfer-Encoding": "base64"}, lines_of(octets).encode(), **more)


def words(status, text, **headers):
    return Answer(status, {"Content-Type": "text/plain", **headers}, text.encode())


class EstPages:
    """`decision` is that of the path without a label; `user` is "name:password" or nothing."""

    def __init__(self, issuer, decision=ISSUED, user=None):
        self.issuer, self.decision, self.user = issuer, decision, user

    def handle(self, question):
        label, _, operation = question.path[len(ROOT):].strip("/").rpartition("/")
        if (self.user or label == "private") and not self.knows(question):
            return words(401, "Who are you?\n", **{"WWW-Authenticate": 'Basic realm="EST"'})
        if label in ODD_ANSWERS:
            return ODD_ANSWERS[label](self)
        if operation == "cacerts" and label != "alone":
            return message(self.issuer.chain())
        if operation in ("simpleenroll", "simplereenroll") and question.method == "POST":
            return self.enroll(question, label)
        return words(404, "No such operation.\n")

    def knows(self, question):
        scheme, _, token = question.headers.get("Authorization", "").partition(" ")
        user = self.user or "ann:secret"
        return scheme == "Basic" and base64.b64decode(token) == user.encode()

    def enroll(self, question, label):
        if question.headers.get("Content-Type") != "application/pkcs10":
            return words(400, "The request is not of the type application/pkcs10.\n")
        request, owner = base64.b64decode(question.body), f"EST {label}".strip()
        try:
            number = self.number_of(owner, request) or self.issuer.take(
                owner, request, {"pend": PENDING, "deny": DENIED}.get(label, self.decision))
        except OpenSslError:
            return words(400, "The request cannot be read.\n")
        return self.outcome(self.issuer.state.request(number))

    def number_of(self, owner, request):
        """The same request again asks for what became of it."""
        text = base64.b64encode(request).decode()
        rows = self.issuer.state.requests_of(owner)
        return next((number for number, row in rows if row["request"] == text), None)

    def outcome(self, row):
        if row["state"] == ISSUED:
            return message(self.issuer.alone(row["certificate"].encode()))
        if row["state"] == PENDING:
            return words(202, "Wait.\n", **{"Retry-After": WAIT_SECONDS})
        return words(403, "The administrator said no.\x1b[31m\nAnd more.\n")


ODD_ANSWERS = {
    "html": lambda _: Answer(200, {"Content-Type": "text/html"}, b"<html>Welcome</html>"),
    "empty": lambda pages: message(pages.issuer.openssl("crl2pkcs7", "-nocrl", "-outform", "DER")),
    "stranger": lambda pages: message(pages.issuer.alone(pages.issuer.read("root.pem"))),
    "cut": lambda pages: message(pages.issuer.chain(), cut=True),
    "broken": lambda _: words(500, "Out of order.\n"),
    "moved": lambda _: Answer(302, {"Location": "http://127.0.0.1:1/"}),
}
