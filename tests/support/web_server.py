"""A small HTTP server that misbehaves on request, on free ports of the loopback address.

web_server.py LOG [CERT:KEY[:CLIENT_CA] ...] listens in clear and then under each certificate,
prints its ports in one line and ends with its standard input. LOG gets a line a request."""

import base64
import os
import ssl
import struct
import sys
import threading
import time
import urllib.parse
import warnings

import loopback
from late_certificate import client_certificate

BIG = 10 * 1024 * 1024


class Handler(loopback.Handler):
    def answer(self, status, headers=(), body=b""):
        super().answer(status, headers, body, "As Asked" if status == 299 else None,
                       status not in (204, 304))

    def begin(self, size):
        """The head of a good answer of that size."""
        self.send_response_only(200)
        self.send_header("Content-Length", str(size))
        self.end_headers()

    def half(self, size, body):
        """The beginning of an answer of that size."""
        self.begin(size)
        self.wfile.write(body)
        self.wfile.flush()

    def serve(self):
        self.connection.settimeout(30)
        path, _, query = self.path.partition("?")
        self.query = dict(urllib.parse.parse_qsl(query))
        request = self.body_of_request()
        with open(sys.argv[1], "a", encoding="latin-1") as log:
            log.write(f"{self.command} {self.path} auth={self.headers.get('Authorization', '-')} "
                      f"proxy={self.headers.get('Proxy-Authorization', '-')} "
                      f"cookie={self.headers.get('Cookie', '-')} body={len(request)}\n")
        getattr(self, "on_" + path.strip("/").replace("-", "_"), self.on_missing)(request)

    do_GET = do_POST = do_PUT = do_HEAD = do_CONNECT = serve

    # A file of the folder LOG.pages, named after the path with "_" for "/"; to a post the one of
    # its name with ".answer", where there is one. What was posted stays beside them.
    def on_missing(self, request):
        path = self.path.partition("?")[0].strip("/").replace("/", "_")
        file = os.path.join(sys.argv[1] + ".pages", path)
        if not os.path.exists(file):
            return self.answer(404, body=b"nothing here")
        if self.command == "POST":
            with open(file + ".posted", "wb") as posted:
                posted.write(request)
            file = file + ".answer" if os.path.exists(file + ".answer") else file
        with open(file, "rb") as page:
            return self.answer(200, body=page.read())

    def on_(self, _):
        self.answer(200, body=b"root")

    def on_echo(self, request):
        head = "".join(f"{name}: {value}\n" for name, value in self.headers.items())
        self.answer(200, [("X-Twice", "one"), ("X-Twice", "two")],
                    f"{self.requestline}\n{head}\n".encode("latin-1") + request)

    def on_status(self, _):
        headers = [("Location", self.query["to"])] if "to" in self.query else []
        self.answer(int(self.query["code"]), headers, self.query.get("body", "told").encode())

    def on_late(self, _):
        self.answer(200 if client_certificate(self.connection) else 403)

    def on_far(self, _):
        self.answer(302, [("Location", "/" + "x" * int(self.query["size"]))])

    def on_cookies(self, _):
        self.answer(200, [("Set-Cookie", "a=1; path=/"), ("Set-Cookie", "b=2")])

    def on_chunked(self, _):
        self.send_response_only(200)
        self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()
        for piece in (b"one ", b"two ", b"three"):
            self.wfile.write(b"%x\r\n%s\r\n" % (len(piece), piece))
            self.wfile.flush()
        self.wfile.write(b"0\r\nX-Trailer: late\r\n\r\n")

    # Leads on "left" times and then to "echo".
    def on_steps(self, _):
        left = int(self.query["left"])
        self.answer(302, [("Location", f"steps?left={left - 1}" if left else "echo")])

    def on_hang(self, _):
        time.sleep(20)

    def on_hang_in_head(self, _):
        self.wfile.write(b"HTTP/1.1 200 OK\r\n")
        for _ in range(200):
            self.wfile.write(b"X: y\r\n")
            time.sleep(0.1)

    def on_hang_in_body(self, _):
        self.half(10, b"12345")
        time.sleep(20)

    # The second half comes once somebody asked for /release.
    gate = threading.Event()

    def on_two_halves(self, _):
        Handler.gate.clear()
        self.half(10, b"first")
        Handler.gate.wait(20)
        self.wfile.write(b"later")

    def on_release(self, _):
        Handler.gate.set()
        self.answer(200)

    def on_cut(self, _):
        self.half(100, b"half")
        self.close_connection = True

    def on_nothing(self, _):
        self.close_connection = True

    def on_garbage(self, _):
        self.wfile.write(b"this is no answer\r\n\r\n")
        self.close_connection = True

    def on_endless_head(self, _):
        try:
            self.send_response_only(200)
            self.flush_headers()
            while True:
                self.wfile.write(b"X: " + b"y" * 1000 + b"\r\n")
        except OSError:
            self.close_connection = True

    def on_big(self, _):
        self.begin(BIG)
        try:
            for number in range(BIG // 4096):
                self.wfile.write((b"%07d\n" % number) * 512)
        except OSError:
            self.close_connection = True

    def on_challenge(self, request):
        if self.query.get("accept", "-") in self.headers.get("Authorization", ""):
            return self.on_echo(request)
        values = self.query["offer"].split("|")
        name = "Proxy-Authenticate" if "proxy" in self.query else "WWW-Authenticate"
        return self.answer(407 if "proxy" in self.query else 401,
                           [(name, value) for value in values], b"who are you?")


    # Asks for NTLM's three messages (MS-NLMP 2.2.1) and takes any third one.
    def on_ntlm(self, request):
        scheme, _, token = self.headers.get("Authorization", "").partition(" ")
        message = base64.b64decode(token)
        if scheme == "NTLM" and message[:9] == b"NTLMSSP\0\3":
            return self.on_echo(request)
        challenge = "NTLM"
        if scheme == "NTLM" and message[:9] == b"NTLMSSP\0\1":
            flags = 0x00808205  # Unicode, target wanted, NTLM, always sign, target info
            challenge += " " + base64.b64encode(
                b"NTLMSSP\0" + struct.pack("<IHHII8s8xHHI", 2, 0, 0, 48, flags, b"12345678",
                                           4, 4, 48) + bytes(4)).decode()
        return self.answer(401, [("WWW-Authenticate", challenge)], b"who are you?")


def tls_server(files):
    parts = files.split(":")
    server = loopback.TlsServer(Handler)
    server.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    server.context.load_cert_chain(parts[0], parts[1])
    if parts[2:] == ["tls1.1"]:
        warnings.simplefilter("ignore")
        server.context.set_ciphers("ALL:@SECLEVEL=0")
        server.context.minimum_version = ssl.TLSVersion.TLSv1_1
        server.context.maximum_version = ssl.TLSVersion.TLSv1_1
    elif parts[3:] == ["late"]:
        server.context.load_verify_locations(parts[2])
        server.context.verify_mode = ssl.CERT_OPTIONAL
        server.context.post_handshake_auth = True
    elif parts[2:]:
        server.context.load_verify_locations(parts[2])
        server.context.verify_mode = (ssl.CERT_OPTIONAL if "optional" in parts[3:]
                                      else ssl.CERT_REQUIRED)
    return server


def main():
    servers = [loopback.Server(Handler)] + [tls_server(files) for files in sys.argv[2:]]
    print(*(server.start() for server in servers), flush=True)
    sys.stdin.buffer.read()
    os._exit(0)


if __name__ == "__main__":
    main()
