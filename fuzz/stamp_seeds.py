"""Writes into FOLDER every form of answer that the tests' time-stamp service can give.

Usage: stamp_seeds.py FOLDER"""

import os
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "support"))
import tokens  # noqa: E402
from stamp_service import Answers, write_config  # noqa: E402

NO_SEEDS = ("build", "granted", "signer")


def main():
    seeds = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as folder:
        def openssl(*words):
            done = subprocess.run(["openssl", *words], cwd=folder, capture_output=True, check=True)
            return 0, done.stdout

        tokens.make_authority(folder, openssl)
        write_config(folder)
        openssl("ts", "-query", "-digest", "5a" * 32, "-sha256", "-cert", "-out", "asked")
        with open(f"{folder}/asked", "rb") as file:
            asked = file.read()
        answers = Answers(folder)
        for name in dir(answers):
            if name.startswith("_") or name in NO_SEEDS or not callable(getattr(answers, name)):
                continue
            with open(os.path.join(seeds, name), "wb") as file:
                file.write(getattr(answers, name)(asked)[1])


if __name__ == "__main__":
    main()
