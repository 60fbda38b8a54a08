"""What reach, rate and web share: the box's network, and sockets at its hosts.

A process may hold sockets of several network namespaces: each stays where it was made.
"""

import contextlib
import ctypes
import ipaddress
import os
import socket
import subprocess
import sys
import time

NAMESPACES = "/run/netns"
HOSTS = os.path.join(os.path.dirname(__file__), "..", "hosts")
GATEWAY = "192.168.1.1", "fd00:1::1"
LIBC = ctypes.CDLL(None, use_errno=True)


class Misuse(Exception):
    """What was asked for makes no sense in this box; the message says why."""


class End:
    """One end of a connection: a host and one of its addresses."""

    def __init__(self, host, address):
        self.host = host
        self.address = str(address)
        self.family = socket.AF_INET6 if address.version == 6 else socket.AF_INET

    def socket(self, kind, port=0, shared=False):
        """A socket of the host, bound to the address and port (0: any free one), which others may have too."""
        with at(self.host):
            made = socket.socket(self.family, kind)
            try:
                if shared or kind == socket.SOCK_STREAM:
                    made.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                made.bind((self.address, port))
            except OSError:
                made.close()
                raise
            return made


@contextlib.contextmanager
def at(host):
    """Within it, sockets are made at the host."""
    with open("/proc/self/ns/net") as here, open(f"{NAMESPACES}/{host}") as there:
        enter(there)
        try:
            yield
        finally:
            enter(here)


def enter(namespace):
    if LIBC.setns(namespace.fileno(), 0) != 0:
        raise OSError(ctypes.get_errno(), "setns")


def end_of(text, version=None):
    """The end that a host's name or an address stands for; a name means its first address (of that version)."""
    if text in os.listdir(NAMESPACES):
        return next(End(text, a) for a in addresses_of(text) if version in (None, a.version))
    try:
        address = ipaddress.ip_address(text)
    except ValueError:
        raise Misuse(f"no host {text}") from None
    return End(owner_of(address), address)


def addresses_of(host):
    with open(HOSTS) as rows:
        texts = next((row.split()[3:] for row in rows if row.startswith(host + " ")), GATEWAY)
    return [ipaddress.ip_interface(text).ip for text in texts]


def owner_of(address):
    """The host that has the address: where it can be both ends of a flow, which a broadcast cannot."""
    family = socket.AF_INET6 if address.version == 6 else socket.AF_INET
    everywhere = address.is_loopback or address.is_unspecified or address.is_multicast
    for host in [] if everywhere else sorted(os.listdir(NAMESPACES)):
        with at(host), socket.socket(family, socket.SOCK_DGRAM) as asked, contextlib.suppress(OSError):
            asked.bind((str(address), 0))
            asked.connect((str(address), 1))
            return host
    raise Misuse(f"nobody in the box has the address {address}")


def ends(source, target):
    """Both ends, of one IP version: that of whichever is an address, else IPv4."""
    version = 6 if ":" in source + target else 4
    pair = end_of(source, version), end_of(target, version)
    if pair[0].family != pair[1].family:
        raise Misuse(f"{source} and {target} are not of one IP version")
    return pair


def hello(name):
    """What a TLS client says first to the host of that name."""
    import ssl  # costs more than all the rest of a tool that does without

    context = ssl.create_default_context()
    context.check_hostname = False
    said = ssl.MemoryBIO()
    client = context.wrap_bio(ssl.MemoryBIO(), said, server_hostname=name or None)
    try:
        client.do_handshake()
    except ssl.SSLWantReadError:
        return said.read()


def number(text, lowest, highest, kind=int):
    """A number within its bounds."""
    with contextlib.suppress(ValueError):
        if lowest <= kind(text) <= highest:
            return kind(text)
    raise Misuse(f"{text} is no number from {lowest} to {highest}")


def await_kernel():
    """Waits until the platform's calls so far are in force, as they are a moment after the last one."""
    end = time.monotonic() + 1
    while time.monotonic() < end:
        with contextlib.suppress(subprocess.TimeoutExpired):
            done = subprocess.run(["platformctl", "state", "enforcement"], stdout=subprocess.PIPE,
                                  stderr=subprocess.DEVNULL, timeout=1)
            if b"waiting=1" not in done.stdout:
                return
        time.sleep(0.01)


def run(usage, fewest, most, main):
    """Calls main with the command's arguments; 2 and what is wrong with them if anything is."""
    words = sys.argv[1:]
    if not fewest <= len(words) <= most:
        print(usage.strip(), file=sys.stderr)
        sys.exit(2)
    try:
        await_kernel()
        print(main(*words))
    except (Misuse, OSError) as error:
        print(f"{os.path.basename(sys.argv[0])}: {error}", file=sys.stderr)
        sys.exit(2)
