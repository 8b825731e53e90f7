"""A /tmp and a loopback network of the test's own: the program's lock file, which all instances on a machine share, X
displays, whose sockets are known to the whole network namespace, and ports are nobody else's. Nor are the keyboard maps
that X servers compile: /var/lib/xkb/server-0.xkm is the same file for every display :0, and two that start at the same
moment take it from each other.

Call enter() first thing in a test program, before any thread or child. Where the system refuses, the tests of several
checkouts take turns instead, and a user's own running instance is reported as what it is.
"""

import ctypes
import fcntl
import os
import socket
import struct

CLONE_NEWNS = 0x00020000
CLONE_NEWUSER = 0x10000000
CLONE_NEWNET = 0x40000000
SIOCSIFFLAGS = 0x8914
IFF_UP = 1
MS_BIND = 0x1000
MS_REC = 0x4000
MS_PRIVATE = 1 << 18
MNT_DETACH = 2

KEYBOARD_MAPS = "/var/lib/xkb"

_turn = None


def _unshared(libc):
    user, group = os.getuid(), os.getgid()
    if libc.unshare(CLONE_NEWNS | CLONE_NEWNET) != 0:
        if libc.unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET) != 0:
            return False
        for name, line in (("setgroups", "deny"), ("uid_map", f"{user} {user} 1"), ("gid_map", f"{group} {group} 1")):
            with open(f"/proc/self/{name}", "w") as file:
                file.write(line)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sh14x", b"lo", IFF_UP))
    return libc.mount(b"none", b"/", None, MS_REC | MS_PRIVATE, None) == 0


def enter(*needed):
    """True: /tmp, the network and the place of compiled keyboard maps are private from here on, for this process and its
    children. needed: directories that must stay in sight where they lie below /tmp, the build tree for example."""
    global _turn
    libc = ctypes.CDLL(None, use_errno=True)
    unshared = _unshared(libc)
    # Opened in the new mount namespace: a descriptor of the old one cannot be mounted here.
    kept = [(os.path.realpath(path), os.open(path, os.O_PATH | os.O_DIRECTORY)) for path in needed]
    if not unshared or libc.mount(b"tmpfs", b"/tmp", b"tmpfs", 0, b"mode=1777") != 0:
        _turn = open("/tmp/kel-tests.flock", "w")
        fcntl.flock(_turn, fcntl.LOCK_EX)
        return False
    for path, descriptor in kept:
        if path.startswith("/tmp/"):
            os.makedirs(path, exist_ok=True)
            if libc.mount(f"/proc/self/fd/{descriptor}".encode(), os.fsencode(path), None, MS_BIND, None) != 0:
                raise OSError(ctypes.get_errno(), "cannot keep in sight", path)
        os.close(descriptor)
    if os.path.isdir(KEYBOARD_MAPS) and libc.mount(b"tmpfs", KEYBOARD_MAPS.encode(), b"tmpfs", 0, b"mode=755") != 0:
        raise OSError(ctypes.get_errno(), "cannot have keyboard maps of one's own", KEYBOARD_MAPS)
    return True


def mount_small(directory, kibibytes):
    """Mounts a file system of that size over a directory; False where the system refuses. Only after enter()."""
    libc = ctypes.CDLL(None, use_errno=True)
    return libc.mount(b"tmpfs", os.fsencode(directory), b"tmpfs", 0, f"size={kibibytes}k".encode()) == 0


def unmount(directory):
    """Takes it away again. umount(8) could not: who is not root has the right in this process, and in no other program."""
    ctypes.CDLL(None, use_errno=True).umount2(os.fsencode(directory), MNT_DETACH)
