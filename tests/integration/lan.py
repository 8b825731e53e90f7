"""A network of the test's own, with a system bus and Avahi's daemon in it, and a neighbour who announces services.

enter() first thing in a test program: it starts the program anew in namespaces of users, networks, mounts and processes of
its own, where it is root. The interface "lan" is 10.77.0.1/24; the announcer's packets come from there as well, and the
daemon takes them as any other's.
"""

import contextlib
import os
import pathlib
import select
import shlex
import socket
import struct
import subprocess
import sys
import threading
import urllib.parse

from desktop import running
from harness import BUILD, ROOT, wait_for

HOST = "10.77.0.1"
GROUP = ("224.0.0.251", 5353)
ANSWERING = (20, 22)  # 10.77.0.20 and .22 are here as well, for a Relay
_INSIDE = "KEL_TEST_LAN"

BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>system</type><listen>{}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/><allow user="*"/></policy>
</busconfig>"""
DAEMON = """[server]
use-ipv4=yes
use-ipv6=no
allow-interfaces=lan
[publish]
disable-publishing=yes
"""


def enter():
    """Why there is no such network; empty when there is."""
    if os.environ.get(_INSIDE) is None:
        own = ["unshare", "--user", "--map-root-user", "--net", "--mount", "--pid", "--fork", "--kill-child",
               "--mount-proc"]
        tried = subprocess.run([*own, "true"], stderr=subprocess.PIPE, text=True, check=False)
        if tried.returncode != 0:
            return tried.stderr.strip() or "no namespaces"
        os.environ[_INSIDE] = "yes"
        os.execvp(own[0], [*own, sys.executable, *sys.argv])
    _run("mount -t tmpfs tmpfs /run", "mkdir -m 755 /run/avahi-daemon", "mkdir /run/kept")
    kept = [path for path in {str(ROOT), str(BUILD)} if path.startswith("/tmp/")]  # must stay in sight
    for number, path in enumerate(kept):
        _run(f"mkdir /run/kept/{number}", f"mount --rbind {shlex.quote(path)} /run/kept/{number}")
    _run("mount -t tmpfs -o mode=1777 tmpfs /tmp")
    for number, path in enumerate(kept):
        _run(f"mkdir -p {shlex.quote(path)}", f"mount --rbind /run/kept/{number} {shlex.quote(path)}")
    # The daemon gives its directory to this user, and there is no other in here.
    for name in ("passwd", "group"):
        lines = [line for line in pathlib.Path("/etc", name).read_text().splitlines() if not line.startswith("avahi:")]
        own = "avahi:x:0:0::/:/bin/false" if name == "passwd" else "avahi:x:0:"
        pathlib.Path("/run", name).write_text("\n".join([*lines, own, ""]))
        _run(f"mount --bind /run/{name} /etc/{name}")
    _run("ip link set lo up", "ip link add lan type veth peer name far", "ip link set far up", "ip link set lan up",
         f"ip address add {HOST}/24 dev lan", "ip route add 224.0.0.0/4 dev lan",
         *(f"ip address add 10.77.0.{tail}/24 dev lan" for tail in ANSWERING))
    return ""


def _run(*commands):
    for command in commands:
        subprocess.run(shlex.split(command), check=True)


def bus_address(directory):
    """Where the bus of a directory listens. D-Bus takes few signs as they are."""
    return "unix:path=" + urllib.parse.quote(f"{directory}/bus").replace("~", "%7E")


@contextlib.contextmanager
def system_bus(directory):
    """Yields its address."""
    configuration = pathlib.Path(directory) / "bus.conf"
    configuration.write_text(BUS.format(bus_address(directory)))
    with running(["dbus-daemon", f"--config-file={configuration}", "--nofork", "--print-address=1"]) as daemon:
        yield daemon.stdout.readline().strip()


@contextlib.contextmanager
def avahi(directory, bus):
    """Avahi's daemon on the bus; yields its process when it can be asked."""
    configuration = pathlib.Path(directory) / "avahi.conf"
    configuration.write_text(DAEMON)
    environment = {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": bus}
    with running(["/usr/sbin/avahi-daemon", "--no-drop-root", "--no-chroot", "--no-rlimits", "-f", str(configuration)],
                 DBUS_SYSTEM_BUS_ADDRESS=bus) as daemon:
        def answers():
            if daemon.poll() is not None:
                raise AssertionError(f"Avahi's daemon has ended with {daemon.returncode}")
            return subprocess.run(["dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.Avahi", "/",
                                   "org.freedesktop.Avahi.Server.GetState"], stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL, env=environment).returncode == 0
        wait_for(answers, 60, "Avahi's daemon")
        yield daemon


def _name(*labels):
    return b"".join(bytes([len(label)]) + label for label in labels) + b"\0"


def _labels(text):
    return [label.encode() for label in text.split(".")]


def _record(name, kind, data, flush=0x8000):
    return name + struct.pack(">HHIH", kind, 1 | flush, 120, len(data)) + data


def _lower(labels):
    return [label.lower() for label in labels]


def _asked(packet):
    """The names in a packet's questions, as lists of labels in lower case."""
    at = 12
    for _ in range(struct.unpack_from(">H", packet, 4)[0]):
        labels, here, behind = [], at, None
        while packet[here] != 0:
            if packet[here] >= 0xC0:  # goes on elsewhere
                behind = behind or here + 2
                here = struct.unpack_from(">H", packet, here)[0] & 0x3FFF
            else:
                labels.append(packet[here + 1:here + 1 + packet[here]])
                here += 1 + packet[here]
        at = (behind or here + 1) + 4
        yield _lower(labels)


class Announcer:
    """Answers what is asked for the services that it has, as a printer does, and may say anything (RFC 6762, 6763)."""

    def __init__(self):
        self.services = []  # (instance, service, host, address, port, texts)
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEPORT, 1)
        self._socket.bind(("", GROUP[1]))
        group = socket.inet_aton(GROUP[0]) + socket.inet_aton(HOST)
        self._socket.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, group)
        self._socket.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(HOST))
        self._socket.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 255)
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def stop(self):
        with contextlib.suppress(OSError):  # says that it is not connected, and wakes the thread
            self._socket.shutdown(socket.SHUT_RDWR)
        self._thread.join()
        self._socket.close()

    def add(self, instance, address, service="_ipp._tcp", port=631, texts=()):
        """instance and texts: octets."""
        host = [b"printer-" + address.replace(".", "-").encode(), b"local"]
        self.services.append((instance, _labels(service + ".local"), host, address, port, list(texts)))

    def _run(self):
        while True:
            packet = self._socket.recv(9000)
            if not packet:
                return
            if len(packet) >= 12 and not struct.unpack_from(">H", packet, 2)[0] & 0x8000:  # a question
                self._answer(list(_asked(packet)))

    def _answer(self, asked):
        for instance, service, host, address, port, texts in self.services:
            own = (instance, *service)
            if not any(_lower(name) in asked for name in (service, own, host)):
                continue
            data = b"".join(bytes([len(text)]) + text for text in texts) or b"\0"
            records = (_record(_name(*service), 12, _name(*own), 0)
                       + _record(_name(*own), 33, struct.pack(">HHH", 0, 0, port) + _name(*host))
                       + _record(_name(*own), 16, data)
                       + _record(_name(*host), 1, socket.inet_aton(address)))
            self._socket.sendto(struct.pack(">HHHHHH", 0, 0x8400, 0, 4, 0, 0) + records, GROUP)


class Relay:
    """Makes a simulated printer, which has an address of 127.0.0.0/8, answer at another one."""

    def __init__(self, address, printer, port):
        self._outside = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._outside.bind((address, port))
        self._printer = (printer, port)
        self._stopping = threading.Event()
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def _run(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as inside:
            inside.connect(self._printer)
            peer = None
            while not self._stopping.is_set():
                for ready in select.select([self._outside, inside], [], [], 0.2)[0]:
                    with contextlib.suppress(ConnectionRefusedError):  # nobody is there yet, or any more
                        if ready is inside:
                            self._outside.sendto(inside.recv(9000), peer)
                            continue
                        request, peer = self._outside.recvfrom(9000)
                        if request:
                            inside.send(request)

    def stop(self):
        self._stopping.set()
        self._thread.join()
        self._outside.close()
