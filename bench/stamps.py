"""Time and memory of stamped signatures, beside curl with the same requests."""

import os
import socket
import subprocess
import sys
import threading
import time

import measure

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "support"))
import tokens  # noqa: E402
from stamp_service import Answers, write_config  # noqa: E402

SHA256 = "2.16.840.1.101.3.4.2.1"
FEW = 10  # the share of the stamps that the memory of all of them is held against


class Service(threading.Thread):
    """Signs what it is asked for the first time and repeats that answer from then on. `busy` is
    the time from a request's first byte to its answer's last."""

    def __init__(self, answers):
        super().__init__(daemon=True)
        self.answers, self.known, self.busy, self.count = answers, {}, 0.0, 0
        self.listening = socket.create_server(("127.0.0.1", 0), backlog=128)
        self.url = f"http://127.0.0.1:{self.listening.getsockname()[1]}/stamp"

    def run(self):
        while True:
            connection = self.listening.accept()[0]
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            with connection:
                while self.answer(connection):
                    pass

    def answer(self, connection):
        data = connection.recv(65536)
        begin = time.perf_counter()
        while data and b"\r\n\r\n" not in data:
            data += connection.recv(65536)
        head, _, body = data.partition(b"\r\n\r\n")
        if not data:
            return False
        size = int(head.lower().partition(b"content-length:")[2].split()[0])
        while len(body) < size:
            body += connection.recv(65536)
        if body not in self.known:
            self.known[body] = self.answers.good(body)[1]
        reply = self.known[body]
        connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Type: application/timestamp-reply\r\n"
                           b"Content-Length: %d\r\n\r\n" % len(reply) + reply)
        self.busy += time.perf_counter() - begin
        self.count += 1
        return True


def prepare(bench):
    for index in range(bench.options.stamps):
        measure.write_file(bench.path(f"f{index:06}"), 4096)
    os.mkdir(bench.path("tsa"))

    def openssl(*words):
        subprocess.run(["openssl", *words], cwd=bench.path("tsa"), capture_output=True, check=True)

    tokens.make_authority(bench.path("tsa"), openssl)
    write_config(bench.path("tsa"))
    bench.call("kestrelctl", "identity", "create", "CN=Bench", "--trust")
    bench.call("kestrelctl", "store", "add", "Root", "tsa/ca.pem", "--machine")
    # The same signature is then the same request, and an answer of an hour ago still fresh.
    for name, data in (("DefaultHashAlg", SHA256), ("UseNonceByDefault", "0"),
                       ("StampAccuracy", "4294967")):
        bench.call("kestrelctl", "policy", "set", name, data)
    service = Service(Answers(bench.path("tsa")))
    service.start()
    # The answers are made here, before any clock runs.
    bench.call(*sign(bench, bench.options.stamps, service.url))
    write_curl_config(bench, service)
    return service


def sign(bench, count, url=None):
    names = [f"f{index:06}" for index in range(count)]
    return ["kestrel", "-signf", "-nochain", "-dn", "Bench", "-der",
            *(["-ss" + url] if url else []), *names]


def write_curl_config(bench, service):
    blocks = []
    for index, body in enumerate(service.known):
        with open(bench.path(f"request{index}"), "wb") as file:
            file.write(body)
        blocks.append(f'url = "{service.url}"\ndata-binary = "@request{index}"\noutput = "reply"\n'
                      'header = "Content-Type: application/timestamp-query"\nsilent\n')
    with open(bench.path("curl.cfg"), "w", encoding="ascii") as file:
        file.write("next\n".join(blocks))


def measure_beside(bench, service, name, command):
    """The run as any other, and what of its time was not the service's."""
    service.busy, service.count = 0.0, 0
    begin = time.perf_counter()
    bench.measure(name, command)
    own = time.perf_counter() - begin - service.busy
    shares, busy = bench.results.setdefault("shares", {}), bench.results.setdefault("busy", {})
    shares[name] = min(own, shares.get(name, own))
    busy[name] = min(service.busy, busy.get(name, service.busy))
    if service.count != bench.options.stamps:
        sys.exit(f"{name} asked {service.count} times")


def judge(bench, count):
    def each(seconds):
        return 1000 * seconds / count

    results, shares = bench.results, bench.results["shares"]
    own = shares["-signf -ss"] - results["-signf"].seconds
    own_cpu = results["-signf -ss"].cpu - results["-signf"].cpu
    few, many = results["-signf -ss, few"].memory, results["-signf -ss"].memory
    print("Targets, for one stamp beside its signature and the service")
    bench.target("time of the client", each(own), 2.0, " ms")
    bench.target("processor time of the client", each(own_cpu), 2.0, " ms")
    bench.target(f"peak memory, all stamps : every {FEW}th of them", many / few, 1.05, "")
    print("For comparison")
    for name in ("-signf -ss", "curl"):
        print(f"  {'service by itself, asked by ' + name:62}{each(results['busy'][name]):8.2f} ms")
    print(f"  {'curl, time beside the service':62}{each(shares['curl']):8.2f} ms")
    print(f"  {'client : curl':62}{own / shares['curl']:8.2f}")


def run(bench):
    service = prepare(bench)
    count = bench.options.stamps
    print(f"{count} stamped signatures, best of {bench.options.runs}, in {bench.folder}", flush=True)
    for _ in range(bench.options.runs):
        bench.measure("-signf", sign(bench, count))
        bench.measure("-signf -ss, few", sign(bench, max(count // FEW, 1), service.url))
        measure_beside(bench, service, "-signf -ss", sign(bench, count, service.url))
        measure_beside(bench, service, "curl", ["curl", "-K", "curl.cfg"])
    bench.show("Stamped signatures", ("-signf", "-signf -ss", "curl"), count, "files")
    judge(bench, count)


if __name__ == "__main__":
    measure.main(__doc__, run, lambda options: measure.memory_folder(2**15 * options.stamps))
