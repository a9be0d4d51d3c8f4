"""Files that are changed in place: several processes at once, and a process that ends anywhere."""

import os
import re
import signal
import subprocess

from kestrel_case import KESTREL, KESTRELCTL, KestrelCase

SHARING = 32
MANY = 12


class SafeWrite(KestrelCase):
    def setUp(self):
        super().setUp()
        # The leak checker of sanitizer builds cannot work beside strace.
        self.env["ASAN_OPTIONS"] = "detect_leaks=0"
        self.make_identity("ec", "ec")
        self.write("in", b"content")
        self.cms_sign("msg", ["ec"])
        self.before = self.read("msg")

    def start(self, *command):
        return subprocess.Popen(command, cwd=self.folder, env=self.env, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def signers(self):
        """How many signatures the message has, all of which openssl must find good."""
        self.cms_verify("msg", "ec.pem")
        return self.cms_printed("msg").count(b"digestAlgorithm:")

    def test_no_signature_is_lost(self):
        one = self.signers()
        running = [self.start(KESTREL, "-addsign", "-dn", "ec", "msg") for _ in range(MANY)]
        statuses = []
        for process in running:
            output, _ = process.communicate(timeout=300)
            statuses.append(process.returncode)
            if process.returncode != 0:
                self.assertEqual(process.returncode, SHARING, output)
                self.assertIn(b"Another process is using the file: msg (0x20)", output)
        self.assertGreater(statuses.count(0), 0)
        self.assertEqual(self.signers(), one + statuses.count(0))
        self.assertEqual(self.leftovers(), [])

    def test_no_setting_is_lost(self):
        running = [self.start(KESTRELCTL, "policy", "add", "AllowedPolicyID", f"1.2.{i}")
                   for i in range(MANY)]
        for process in running:
            self.assertEqual(process.communicate(timeout=300)[1], b"")
        shown = self.ctl("policy", "show").decode()
        self.assertEqual(len(set(re.findall(r"AllowedPolicyID.\d+ +(\S+)", shown))), MANY, shown)

    def last_calls(self, command):
        """The numbers of the system calls from the one that opens the message on."""
        self.write("msg", self.before)
        trace = self.path("trace")
        self.run_here("strace", "-o", trace, *command, status=0)
        with open(trace, encoding="utf-8", errors="replace") as lines:
            calls = [line.split("(", 1)[0] for line in lines if re.match(r"\w+\(", line)]
        counts, numbered = {}, []
        for call in calls:
            counts[call] = counts.get(call, 0) + 1
            numbered.append((call, counts[call]))
        return numbered[calls.index("flock"):]

    def ended_at(self, command, call, number, how):
        self.write("msg", self.before)
        self.run_here("strace", "-o", "/dev/null", "-e",
                      f"inject={call}:signal={how}:when={number}", *command)

    def leftovers(self):
        return [name for name in os.listdir(self.folder) if name.endswith(".tmp")]

    def test_ended_anywhere_the_old_or_the_new_file_is_there(self):
        command = [KESTREL, "-addsign", "-dn", "ec", "msg"]
        old = self.signers()
        calls = [c for c in self.last_calls(command) if c[0] != "exit_group"]
        self.assertGreater(len(calls), 10)
        for how in (signal.SIGKILL, signal.SIGTERM):
            for call, number in calls:
                with self.subTest(f"{how.name} at {call} {number}"):
                    self.ended_at(command, call, number, how.name[3:])
                    if self.read("msg") != self.before:
                        self.assertEqual(self.signers(), old + 1)
                    if how == signal.SIGTERM:
                        self.assertEqual(self.leftovers(), [])
        self.write("msg", self.before)
        self.succeed("-addsign", "-dn", "ec", "msg")
        self.assertEqual(self.leftovers(), [], "the next run clears up")

    def test_no_room_is_an_error_that_leaves_the_old_file(self):
        self.run_here("sh", "-c", 'ulimit -f 1; exec "$0" -addsign -dn ec msg', KESTREL, status=0x65)
        self.assertEqual(self.read("msg"), self.before)
        self.assertEqual(self.leftovers(), [])

    def half_way(self, *command):
        """A command whose input "fifo" has given so much that its output has begun."""
        if not os.path.exists(self.path("fifo")):
            os.mkfifo(self.path("fifo"))
        process = self.start(KESTREL, *command)
        fifo = open(self.path("fifo"), "wb", buffering=0)
        fifo.write(bytes(300000))
        return process, fifo

    def test_two_writers_never_mix(self):
        sign = ("-sign", "-dn", "ec", "-der")
        for name, old in (("new", None), ("old", b"precious")):
            for other in ((*sign, "in", "out"), ("-verify", "msg", "out")):
                with self.subTest(f"{name}: {other[0]}"):
                    if old is not None:
                        self.write("out", old)
                    elif os.path.exists(self.path("out")):
                        os.unlink(self.path("out"))
                    first, fifo = self.half_way(*sign, "fifo", "out")
                    self.assertIn(b"Another process is using the file: out (0x20)",
                                  self.fail_with(SHARING, *other))
                    fifo.close()
                    self.assertEqual(first.communicate(timeout=300)[1], b"")
                    self.assertEqual(first.returncode, 0)
                    self.cms_verify("out", "ec.pem")
                    self.assertEqual(self.read("out2"), bytes(300000))
                    self.assertEqual(self.leftovers(), [])

    def test_an_old_output_goes_at_the_end(self):
        for how in (signal.SIGKILL, signal.SIGTERM):
            with self.subTest(how.name):
                self.write("out", b"precious")
                process, fifo = self.half_way("-sign", "-dn", "ec", "fifo", "out")
                process.send_signal(how)
                process.communicate(timeout=300)
                fifo.close()
                self.assertEqual(self.read("out"), b"precious")
                self.assertEqual(self.leftovers(), [])
        self.run_here("sh", "-c", 'ulimit -f 1; exec "$0" -verify msg out', KESTREL, status=0)
        self.assertEqual(self.read("out"), b"content")

    def test_what_a_failed_stream_leaves(self):
        self.write("in", bytes(300000))
        self.succeed("-sign", "-dn", "ec", "-der", "in", "large")
        self.write("cut", self.read("large")[:200000])
        rows = (("a cut message", "-verify cut out", None, False),
                ("no room", "-verify large out", "ulimit -f 8", True))
        for name, command, limit, stays in rows:
            with self.subTest(name):
                self.write("out", b"precious")
                os.link(self.path("out"), self.path("second"))
                script = f'{limit or ":"}; exec "$0" {command}'
                done = self.run_here("sh", "-c", script, KESTREL)
                self.assertNotEqual(done.returncode, 0, done.stdout)
                left = self.read("out")
                if stays:
                    self.assertEqual(left, b"precious")
                else:
                    self.assertGreater(len(left), 65536)
                    self.assertEqual(left, bytes(len(left)))
                self.assertEqual(self.read("second"), left, "one file under two names")
                self.assertEqual(self.leftovers(), [])
                os.unlink(self.path("second"))

    def test_content_that_does_not_reach_a_second_name_is_whole_beside_it(self):
        for command in (("-sign", "-dn", "ec", "in", "out"), ("-verify", "msg", "out"),
                        ("-addsign", "-dn", "ec", "out")):
            with self.subTest(command[0]):
                self.write("out", self.before)
                os.link(self.path("out"), self.path("second"))
                done = self.run_here("strace", "-o", "/dev/null", "-e",
                                     "inject=ftruncate:error=ENOSPC", KESTREL, *command)
                beside = self.leftovers()
                self.assertEqual(len(beside), 1, done.stdout)
                line = (f"Error: The new content did not fully reach the file; it is whole in the"
                        f" file beside it: {beside[0]} (0x498)\n")
                self.assertEqual(done.stdout.count(b"Error"), 2, "one line and the closing one")
                self.assertIn(line.encode(), done.stdout)
                for name in (beside[0], "second"):
                    os.unlink(self.path(name))

    def test_lost_output_is_a_failure(self):
        digest = self.openssl("dgst", "-sha256", "-binary", "in")[1]
        for program, status, *arguments in ((KESTREL, 29, "-hash", "-provtype", "24", "in"),
                                            (KESTRELCTL, 1, "store", "list")):
            for script in ('exec "$0" "$@" >/dev/full', 'exec "$0" "$@" >&-',
                           '(sleep 1; "$0" "$@"; echo $? >status) | true; exit $(cat status)'):
                self.run_here("sh", "-c", script, program, *arguments, status=status)
                if program == KESTREL:
                    self.assertEqual(self.read("in.hsh"), digest, "the work is done")
                    os.unlink(self.path("in.hsh"))
