"""A TLS client's certificate, asked for once the path is known."""

import select
import ssl

ANSWER_SECONDS = 10


def client_certificate(connection):
    """Asks for it once the path is known (RFC 8446, 4.6.2): other pages are for people without
    one. None when the client has none, or does not take the question."""
    if not isinstance(connection, ssl.SSLSocket):
        return None
    try:
        if connection.getpeercert(True) is None:
            connection.verify_client_post_handshake()
            connection.do_handshake()
            connection.settimeout(0)
            take_handshake(connection)
            while not handshake_done(connection):
                take_handshake(connection)
        return connection.getpeercert(True)
    except OSError:
        return None
    finally:
        connection.settimeout(ANSWER_SECONDS)


def handshake_done(connection):
    try:
        connection.getpeercert()
        return True
    except ValueError:
        return False


def take_handshake(connection):
    if not select.select([connection], [], [], ANSWER_SECONDS)[0]:
        raise TimeoutError("the client does not answer")
    try:
        if not connection.read(1):
            raise ConnectionError("the client is gone")
    except ssl.SSLWantReadError:
        pass  # there was no more than the handshake's messages
