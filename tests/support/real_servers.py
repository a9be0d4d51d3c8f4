"""apache2 and squid with a configuration of their own, on free ports of the loopback address.

real_servers.py FOLDER CERT KEY CLIENT_CA [SERVICE] writes what they need into FOLDER, starts both
as children, prints "clear TLS TLS-with-client-certificate proxy" (ports) and ends them with its
standard input. User "ann" has the password "right one" everywhere, and "bob" one that can stand in
an address, "secret". What lies under /open/service/, /basic/service/ and /digest/service/ is asked
of SERVICE, an address that ends in a slash."""

import hashlib
import os
import random
import signal
import socket
import subprocess
import sys
import time

MODULES = "/usr/lib/apache2/modules"
USERS, REALM = {"ann": "right one", "bob": "secret"}, "tests"

APACHE = """
ServerRoot {folder}
ServerName localhost
PidFile {folder}/apache.pid
ErrorLog {folder}/apache.log
Mutex file:{folder}
{load}
{run_as}
Listen 127.0.0.1:{clear}
Listen 127.0.0.1:{tls}
Listen 127.0.0.1:{client}
DocumentRoot {folder}/pages
SSLRandomSeed startup builtin
<Directory {folder}/pages>
  Require all granted
</Directory>
{places}
<VirtualHost 127.0.0.1:{tls}>
  SSLEngine on
  SSLCertificateFile {cert}
  SSLCertificateKeyFile {key}
</VirtualHost>
<VirtualHost 127.0.0.1:{client}>
  SSLEngine on
  SSLCertificateFile {cert}
  SSLCertificateKeyFile {key}
  SSLCACertificateFile {client_ca}
  SSLVerifyClient require
  SSLVerifyDepth 3
</VirtualHost>
"""

LOGIN = """
  AuthType {kind}
  AuthName {realm}
  AuthUserFile {folder}/{file}
  Require valid-user"""

SQUID = """
http_port 127.0.0.1:{proxy}
auth_param basic program /usr/lib/squid/basic_ncsa_auth {folder}/passwords
auth_param basic realm {realm}
acl known proxy_auth REQUIRED
http_access allow known
http_access deny all
cache deny all
access_log stdio:{folder}/squid-access.log
cache_log {folder}/squid.log
pid_filename none
coredump_dir {folder}
hosts_file {folder}/hosts
shutdown_lifetime 0 seconds
"""

LOADED = ["mpm_event", "unixd", "authn_core", "authn_file", "authz_core", "authz_user", "auth_basic",
          "auth_digest", "socache_shmcb", "ssl", "proxy", "proxy_http"]


def built_in():
    listed = subprocess.run(["apache2", "-l"], capture_output=True, text=True, check=True).stdout
    return {line.strip()[4:-2] for line in listed.splitlines() if line.strip().startswith("mod_")}


def is_free(port):
    with socket.socket() as probe:
        try:
            probe.bind(("127.0.0.1", port))
        except OSError:
            return False
    return True


def free_ports(count):
    """Below those that the system gives away, one of which another test might get in between."""
    ports = []
    while len(ports) < count:
        port = random.randrange(20000, 32000)
        if port not in ports and is_free(port):
            ports.append(port)
    return ports


def write(folder, name, text):
    path = os.path.join(folder, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="ascii") as file:
        file.write(text)
    os.chmod(path, 0o644)
    return path


def places(folder, address):
    """Where apache wants a login, and what it asks the service for."""
    text = ""
    for place, file in (("open", ""), ("basic", "passwords"), ("digest", "digests")):
        login = LOGIN.format(kind=place, file=file, realm=REALM, folder=folder) if file else ""
        text += f"<Location /{place}/>{login}\n</Location>\n"
        text += f"ProxyPass /{place}/service/ {address}\n" if address else ""
    return text


def wait_for(port, child):
    for _ in range(200):
        try:
            socket.create_connection(("127.0.0.1", port), 1).close()
            return
        except OSError:
            if child.poll() is not None:
                break
            time.sleep(0.05)
    sys.exit(f"{child.args[0]} did not start")


def main():
    folder, cert, key, client_ca, *address = sys.argv[1:]
    os.makedirs(folder, exist_ok=True)
    # Both give up being root, and have to reach their files all the same.
    for path in (folder, os.path.dirname(folder)):
        os.chmod(path, 0o755)
    os.chmod(folder, 0o777)
    clear, tls, client, proxy = free_ports(4)
    for place in ("open", "basic", "digest"):
        write(folder, f"pages/{place}/page", f"the {place} page")
    hashes, digests = "", ""
    for user, password in USERS.items():
        hashes += user + ":" + subprocess.run(["openssl", "passwd", "-apr1", password],
                                              capture_output=True, text=True, check=True).stdout
        digest = hashlib.md5(f"{user}:{REALM}:{password}".encode()).hexdigest()
        digests += f"{user}:{REALM}:{digest}\n"
    write(folder, "passwords", hashes)
    write(folder, "digests", digests)
    names = dict(folder=folder, cert=cert, key=key, client_ca=client_ca, clear=clear, tls=tls,
                 client=client, proxy=proxy, realm=REALM,
                 places=places(folder, *address or [""]),
                 run_as="User www-data\nGroup www-data" if os.geteuid() == 0 else "",
                 load="\n".join(f"LoadModule {each}_module {MODULES}/mod_{each}.so"
                                for each in LOADED if each not in built_in()))
    apache = write(folder, "apache.conf", APACHE.format(**names))
    # Apache is not at ::1, which is what the machine's own file may say first.
    write(folder, "hosts", "127.0.0.1 localhost\n")
    squid = write(folder, "squid.conf", SQUID.format(**names))
    children = []
    try:
        for port, command in ((client, ["apache2", "-d", folder, "-f", apache, "-DFOREGROUND"]),
                              (proxy, ["squid", "-f", squid, "-N"])):
            with open(os.path.join(folder, command[0] + ".out"), "wb") as out:
                children.append(subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=out,
                                                 stderr=out))
            wait_for(port, children[-1])
        print(clear, tls, client, proxy, flush=True)
        sys.stdin.buffer.read()
    finally:
        for child in children:
            child.send_signal(signal.SIGTERM)
        for child in children:
            try:
                child.wait(10)
            except subprocess.TimeoutExpired:
                child.kill()


if __name__ == "__main__":
    main()
