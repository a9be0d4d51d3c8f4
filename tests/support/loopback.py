"""What the stand-in servers have in common: the loopback address, a thread for each question."""

import http.server
import socketserver
import threading


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def body_of_request(self):
        return self.rfile.read(int(self.headers.get("Content-Length", 0)))

    def answer(self, status, headers=(), body=b"", reason=None, sized=True):
        self.send_response_only(status, reason)
        for name, value in headers:
            self.send_header(name, value)
        if sized:
            self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    """Ends with its process."""
    daemon_threads = True
    block_on_close = False

    def __init__(self, handler, port=0):
        super().__init__(("127.0.0.1", port), handler)

    def handle_error(self, *_):
        pass  # a client that goes away is no matter

    def start(self):
        threading.Thread(target=self.serve_forever, daemon=True).start()
        return self.server_address[1]

    def address(self, path):
        return f"http://127.0.0.1:{self.server_address[1]}/{path}"

    def close(self):
        self.shutdown()
        self.server_close()


class TlsServer(Server):
    """Wants its `context`."""

    # The handshake runs in the connection's own thread, where it may fail.
    def finish_request(self, request, client_address):
        with self.context.wrap_socket(request, server_side=True) as secure:
            super().finish_request(secure, client_address)
