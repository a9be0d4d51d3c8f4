"""What the authority knows, in one file of its folder. A change is read, made and written under a
lock, so that a decision on the command line reaches a server that runs."""

import contextlib
import fcntl
import json
import os

PENDING, ISSUED, DENIED, REVOKED, FAILED = "pending", "issued", "denied", "revoked", "failed"


class State:
    def __init__(self, folder):
        self.folder = folder
        self.file = os.path.join(folder, "state.json")

    def read(self):
        try:
            with open(self.file, encoding="utf-8") as file:
                return json.load(file)
        except FileNotFoundError:
            return {"requests": {}, "users": {}}

    @contextlib.contextmanager
    def change(self):
        """The knowledge, to be changed in place; it is kept when the block ends well."""
        with open(self.file + ".lock", "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            data = self.read()
            yield data
            with open(self.file + ".new", "w", encoding="utf-8") as file:
                json.dump(data, file, ensure_ascii=False, indent=1)
            os.replace(self.file + ".new", self.file)

    def requests_of(self, owner):
        """Number and record of each, in order."""
        rows = self.read()["requests"].items()
        return [(int(number), row) for number, row in rows if row["owner"] == owner]

    def request(self, number):
        return self.read()["requests"].get(str(number))
