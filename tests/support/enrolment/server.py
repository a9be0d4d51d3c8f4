"""The servers in front of the pages: one over TLS for all of them, one in clear for the standard
authority's."""

import os
import ssl
import threading
import urllib.parse

import loopback
from enrolment.est_pages import ROOT, EstPages
from enrolment.exchange import Answer, Question
from enrolment.flca_parts import chain_page
from enrolment.flca_token_pages import TokenPages
from enrolment.flca_user_pages import UserPages
from late_certificate import ANSWER_SECONDS, client_certificate
from standard_pages import StandardPages

LONGEST_BODY = 16 * 1024 * 1024


class Desk:
    """Hands each question to the pages that its path belongs to."""

    def __init__(self, issuer, options):
        self.issuer = issuer
        self.est = EstPages(issuer, options.decision, options.est_user)
        self.tokens = TokenPages(issuer, options.decision, options.stored,
                                 not options.pend_registrations)
        self.users = UserPages(issuer, options.decision, options.stored)
        self.standard = StandardPages(issuer.path("standard"))
        self.standard.write("policy", options.decision)

    def answer(self, question):
        path = question.path.lower()
        if path.startswith(ROOT):
            return self.est.handle(question)
        if path.startswith("/register/"):
            return self.tokens.handle(question)
        if path.startswith("/user/"):
            return self.users.handle(question)
        if path == "/certnew.asp":
            return chain_page(self.issuer)

        return Answer(*self.standard.handle(question.method, question.path, question.headers,
                                            question.body))


class Handler(loopback.Handler):
    def serve(self):
        self.connection.settimeout(ANSWER_SECONDS)
        path, _, query = self.path.partition("?")
        size = int(self.headers.get("Content-Length", 0))
        if size > LONGEST_BODY:
            return self.send(Answer(413))
        question = Question(self.command, urllib.parse.unquote(path), query, self.headers,
                            self.rfile.read(size), lambda: client_certificate(self.connection))
        answer = self.server.desk.answer(question)
        self.server.note(f"{self.command} {self.path} {answer.status}")
        return self.send(answer)

    do_GET = do_POST = serve

    def send(self, answer):
        self.send_response_only(answer.status)
        for name, value in answer.headers.items():
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(answer.body)))
        self.end_headers()
        self.wfile.write(answer.body[:len(answer.body) // 2] if answer.cut else answer.body)
        self.close_connection |= answer.cut


class Server(loopback.Server):
    """Questions are taken one after the other: the authority has one set of files."""
    turn = threading.Lock()

    def __init__(self, port, desk):
        super().__init__(Handler, port)
        self.desk = desk
        self.log = os.path.join(desk.issuer.folder, "asked.log")

    def note(self, line):
        with self.turn, open(self.log, "a", encoding="latin-1") as log:
            log.write(line + "\n")


class TlsServer(loopback.TlsServer, Server):
    def __init__(self, port, desk):
        super().__init__(port, desk)
        issuer = desk.issuer
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(issuer.path("web.pem"), issuer.path("web.key"))
        self.context.load_verify_locations(issuer.path("root.pem"))
        self.context.load_verify_locations(issuer.path("ca.pem"))
        self.context.verify_mode = ssl.CERT_OPTIONAL
        self.context.post_handshake_auth = True
