"""What handlers of pages are given and answer."""

import dataclasses
import typing
import urllib.parse

CODE_PAGE = "cp1251"


@dataclasses.dataclass
class Question:
    method: str
    path: str
    query: str
    headers: typing.Any
    body: bytes
    # The TLS client's certificate (DER), asked for by the first call; None without one.
    client: typing.Callable[[], typing.Optional[bytes]]

    def form(self):
        """The fields of a posted form. Keys and values are bytes of the code page."""
        return dict(urllib.parse.parse_qsl(self.body.decode("latin-1"), True, encoding=CODE_PAGE))

    def parameter(self, name):
        return dict(urllib.parse.parse_qsl(self.query)).get(name, "")


@dataclasses.dataclass
class Answer:
    status: int = 200
    headers: dict = dataclasses.field(default_factory=dict)
    body: bytes = b""
    cut: bool = False  # the connection ends in the middle of the body


def page(text, status=200, **headers):
    """A page for people, in the code page."""
    content = f"<HTML><BODY>\r\n{text}\r\n</BODY></HTML>\r\n".encode(CODE_PAGE)
    return Answer(status, {"Content-Type": "text/html; charset=windows-1251", **headers}, content)
