"""The program and the platform cannot share their list of characters that do not show."""

import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]


def hidden(path):
    table = re.search(r"kHidden\[\] = \{(.*?)\n\};", (ROOT / path).read_text(), re.S)[1]
    return re.findall(r"0x[0-9A-F]+", table)


program, platform = hidden("front/core/escape.cpp"), hidden("platform/base/text.cpp")
assert len(program) > 30 and program == platform, "front/core/escape.cpp, platform/base/text.cpp"
