"""A test authority for a person, or for a test that runs it as a child: starts the servers, or
decides on requests that wait in the authority's folder. scripts/authority is the way to it."""

import argparse
import os
import shutil
import signal
import sys
import tempfile

from enrolment import state
from enrolment.issuing import Issuer
from enrolment.server import Desk, Server, TlsServer
from standard_pages import StandardPages

HINTS = """
The authority listens at {secure} (everything) and {clear} (standard pages alone).
Its files are in {folder}. Trust its web server once:

  kestrelctl trust {folder}/web-root.pem

and its certificates, so that chains hold:

  kestrelctl trust {folder}/root.pem

EST:
  kestrel -creatcert -provtype {type} -dn "CN=Ann" -cont ann -CA {secure}
  kestrel -creatcert -provtype {type} -dn "CN=Bob" -cont bob -CA {secure}/.well-known/est/pend
  scripts/authority --approve last{folder_option}
  kestrel -pendcert -provtype {type} -cont bob -CA {secure}/.well-known/est/pend

FLCA, by token:
  kestrel -listDN -FLCA {secure}
  kestrel -creatuser -field CommonName=Ann -FLCA {secure}
  kestrel -checkreg -FLCA {secure} -token T -tpassword P
  kestrel -creatcert -provtype {type} -dn "CN=Ann" -cont token -FLCA {secure} -token T -tpassword P

FLCA, renewed with a certificate of this authority:
  kestrel -creatcert -provtype {type} -dn "CN=Ann" -cont again -FLCA {secure} -thumbprint SHA1

Standard pages (RSA, with a root of their own; their number N is web-N to --approve and --deny, and
-pendcert goes by the pages when there are two addresses and this one is the greater text):
  kestrelctl trust {folder}/standard/ca.pem
  kestrel -creatcert -provtype 24 -dn "CN=Ann" -cont web -CA {clear}/certsrv
  kestrel -pendcert -provtype 24 -cont web -CA - -CA {clear}/certsrv

Ctrl-C ends it.
"""


def parse(arguments):
    parser = argparse.ArgumentParser(prog="scripts/authority", description="A test authority: "
                                     "standard pages, FLCA pages, and EST on 127.0.0.1.")
    parser.add_argument("--folder", help="where its state stands; kept when it is named here")
    parser.add_argument("--port", type=int, default=0, help="of the TLS server (default: any)")
    parser.add_argument("--kind", choices=("rsa", "gost"), default="rsa", help="of its keys")
    parser.add_argument("--pend", dest="decision", action="store_const", const=state.PENDING,
                        default=state.ISSUED, help="requests wait for --approve")
    parser.add_argument("--pend-registrations", action="store_true",
                        help="so do those who register (--admit)")
    parser.add_argument("--est-user", metavar="NAME:PASSWORD", help="who may use EST")
    parser.add_argument("--stored", choices=("plain", "once", "twice", "armoured", "utf16"),
                        help="how FLCA pages keep requests")
    parser.add_argument("--quiet", action="store_true",
                        help="print the two ports alone, and end with standard input")
    orders = parser.add_mutually_exclusive_group()
    orders.add_argument("--list", action="store_true", help="what was asked for")
    for order in ("approve", "deny", "revoke"):
        orders.add_argument(f"--{order}", metavar="N", help=f"{order} request N, or the last")
    orders.add_argument("--admit", metavar="TOKEN", help="let a registered person ask")
    return parser.parse_args(arguments)


def usual_folder():
    return os.path.join(tempfile.gettempdir(), f"kestrel-authority-{os.getuid()}")


def list_requests(issuer):
    data = issuer.state.read()
    for number, row in data["requests"].items():
        print(f"{number}\t{row['state']}\t{row['owner']}\t{row.get('serial', '-')}")
    for name, decision in standard_requests(issuer)[1].items():
        print(f"{name}\t{decision}")
    for token, user in data["users"].items():
        print(f"{token}\t{'registered' if user['registered'] else 'waits'}\t"
              f"{user['subject']['CommonName']}")


def standard_requests(issuer):
    """Number and state of each; as `web-N` they are told from the others."""
    pages = StandardPages(issuer.path("standard"))
    numbers = sorted(int(name[:-4]) for name in os.listdir(pages.folder) if name.endswith(".csr"))
    return pages, {f"web-{number}": pages.read(f"{number}.state") for number in numbers}


def decide(issuer, number, decision):
    pages, standard = standard_requests(issuer)
    if number in standard:
        return pages.write(f"{number[4:]}.state", decision)
    if number == "last":
        number = max(issuer.state.read()["requests"], key=int, default=0)
    if issuer.state.request(number) is None:
        return f"There is no request {number}."
    issuer.decide(number, decision)
    return None


def admit(issuer, token):
    with issuer.state.change() as data:
        if token not in data["users"]:
            return f"Nobody has the token {token}."
        data["users"][token]["registered"] = True
    return None


def carry_out(options, folder):
    """What went wrong, or nothing; False when there was no order."""
    decisions = {state.ISSUED: options.approve, state.DENIED: options.deny,
                 state.REVOKED: options.revoke}
    chosen = [(number, decision) for decision, number in decisions.items() if number is not None]
    if not (chosen or options.list or options.admit):
        return False
    if not os.path.exists(os.path.join(folder, "kind")):
        return f"There is no authority in {folder}."
    issuer = Issuer(folder)
    if options.list:
        return list_requests(issuer)
    return decide(issuer, *chosen[0]) if chosen else admit(issuer, options.admit)


def hints(options, issuer, secure, clear):
    return HINTS.format(type=80 if issuer.kind == "gost" else 24, folder=issuer.folder,
                        secure=f"https://127.0.0.1:{secure}", clear=f"http://127.0.0.1:{clear}",
                        folder_option=f" --folder {issuer.folder}" if options.folder else "")


def serve(options, folder):
    issuer = Issuer(folder, options.kind)
    desk = Desk(issuer, options)
    try:
        secure, clear = TlsServer(options.port, desk).start(), Server(0, desk).start()
    except OSError as error:
        sys.exit(f"Port {options.port}: {error.strerror}.")
    if options.quiet:
        print(secure, clear, flush=True)
        sys.stdin.buffer.read()
    else:
        print(hints(options, issuer, secure, clear), flush=True)
        signal.sigwait({signal.SIGINT, signal.SIGTERM})


def main():
    options = parse(sys.argv[1:])
    folder = os.path.abspath(options.folder or usual_folder())
    outcome = carry_out(options, folder)
    if outcome is False:
        signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT, signal.SIGTERM})
        serve(options, folder)
        if not options.folder:
            shutil.rmtree(folder)
        outcome = None
    sys.exit(outcome)


if __name__ == "__main__":
    main()
