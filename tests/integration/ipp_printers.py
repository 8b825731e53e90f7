"""Printers over IPP that are not ours: ippeveprinter, and one made with PAPPL (tests/support/pappl_printer.c)."""

import os
import pathlib
import re
import shutil
import socket
import ssl
import struct
import subprocess
import threading
import urllib.request
import warnings

from harness import BUILD, end, wait_for

SNMP_PORT = 16398  # nobody answers there

LYRA = """\
ATTR mimeMediaType document-format-supported application/octet-stream,text/plain
ATTR mimeMediaType document-format-default text/plain
ATTR text printer-make-and-model "Lyra C310"
ATTR text printer-device-id "MFG:Lyra;MDL:C310;SN:LY310-00077;"
ATTR text printer-serial-number "LY310-00077"
ATTR integer printer-impressions-completed 54321
ATTR octetString printer-input-tray "type=sheetFeedAutoRemovableTray;mediafeed=0;mediaxfeed=0;maxcapacity=250;level=125;status=0;name=Tray 1;"
"""
MARKERS = """\
ATTR name marker-names "Black Toner","Cyan Toner","Waste Toner"
ATTR keyword marker-types toner,toner,waste-toner
ATTR name marker-colors "#000000","#00FFFF","none"
ATTR integer marker-levels 80,61,30
"""
SUPPLIES = """\
ATTR octetString printer-supply "index=1;class=supplyThatIsConsumed;type=toner;unit=percent;maxcapacity=100;level=80;colorantname=black;","index=2;type=toner;maxcapacity=100;level=61;colorantname=cyan"
ATTR text printer-supply-description "Black Toner","Cyan Toner"
"""

JOB = """\
{
  OPERATION Print-Job
  GROUP operation-attributes-tag
  ATTR charset attributes-charset utf-8
  ATTR language attributes-natural-language en
  ATTR uri printer-uri $uri
  ATTR name requesting-user-name test
  ATTR mimeMediaType document-format text/plain
  FILE $filename
  STATUS successful-ok
}
"""


def listens(port):
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", port)) == 0


class EvePrinter:
    """ippeveprinter; it wants a system bus that answers, so it gets a session's."""

    def __init__(self, directory, port, attributes):
        self.directory = pathlib.Path(directory)
        self.port = port
        for name in ("spool", "keys"):
            (self.directory / name).mkdir(parents=True)
        (self.directory / "attributes.conf").write_text(LYRA + attributes)
        (self.directory / "job.test").write_text(JOB)
        command = self.directory / "print.sh"
        command.write_text('#!/bin/sh\ncat "$1" >&2\n')
        command.chmod(0o755)
        self.process = None

    def start(self):
        place = self.directory
        program = shutil.which("ippeveprinter", path=os.environ.get("PATH", "") + ":/usr/sbin:/usr/bin")
        with open(place / "log", "ab") as log:
            self.process = subprocess.Popen(
                ["dbus-run-session", "--", "sh", "-c",
                 'DBUS_SYSTEM_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS; export DBUS_SYSTEM_BUS_ADDRESS; exec "$@"', "sh",
                 program, "-r", "off", "-n", "localhost", "-p", str(self.port), "-d", str(place / "spool"),
                 "-K", str(place / "keys"), "-a", str(place / "attributes.conf"), "-c", str(place / "print.sh"), "Hall"],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True)
        wait_for(lambda: listens(self.port), 20, "ippeveprinter listens")
        return self

    def say(self, *lines):
        """Prints a job that sets the printer's state: "STATE: cover-open", "ATTR: marker-levels=1,2"."""
        (self.directory / "job.txt").write_text("".join(line + "\n" for line in lines))
        subprocess.run(["ipptool", "-q", "-f", str(self.directory / "job.txt"),
                        f"ipp://localhost:{self.port}/ipp/print", str(self.directory / "job.test")], check=True)

    def set_supply(self, index, level):
        """As somebody would on its web page."""
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/supplies?supply{index}={level}", timeout=20) as page:
            page.read()

    def stop(self):
        if self.process is not None and self.process.poll() is None:
            os.killpg(self.process.pid, 15)  # with its bus
            self.process.wait()


class OldPrinter:
    """Speaks TLS 1.0 with a key of 1024 bits, and ends the connection without a farewell."""

    ANSWER = (b"\x02\x00\x00\x00\x00\x00\x00\x01\x01" +
              b"".join(struct.pack(">BH", tag, len(name)) + name + struct.pack(">H", len(value)) + value
                       for tag, name, value in ((0x47, b"attributes-charset", b"utf-8"),
                                                (0x48, b"attributes-natural-language", b"en"))) +
              b"\x04" +
              b"".join(struct.pack(">BH", tag, len(name)) + name + struct.pack(">H", len(value)) + value
                       for tag, name, value in ((0x41, b"printer-make-and-model", b"Lyra 1998"),
                                                (0x23, b"printer-state", b"\x00\x00\x00\x03"),
                                                (0x44, b"printer-state-reasons", b"none"))) + b"\x03")

    def __init__(self, directory, port):
        directory = pathlib.Path(directory)
        directory.mkdir(parents=True)
        key, certificate = str(directory / "key.pem"), str(directory / "certificate.pem")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:1024", "-sha1", "-nodes", "-keyout", key, "-out", certificate,
                        "-days", "30", "-subj", "/CN=Lyra"], check=True, stderr=subprocess.DEVNULL)
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.set_ciphers("ALL:@SECLEVEL=0")
        self.context.load_cert_chain(certificate, key)
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", DeprecationWarning)
            self.context.minimum_version = self.context.maximum_version = ssl.TLSVersion.TLSv1
        self.socket = socket.create_server(("127.0.0.1", port))
        self.spoken = set()  # versions of connections that asked
        self.thread = threading.Thread(target=self.serve, daemon=True)

    def start(self):
        self.thread.start()
        return self

    def serve(self):
        while True:
            try:
                connection = self.socket.accept()[0]
            except OSError:
                return  # it was stopped
            try:
                connection.settimeout(10)
                self.answer(self.context.wrap_socket(connection, server_side=True))
            except OSError:
                connection.close()

    def answer(self, peer):
        received = b""
        while not re.search(rb"\r\n\r\n.*\x03$", received, re.DOTALL):
            more = peer.recv(4096)
            if not more:
                break
            received += more
        self.spoken.add(peer.version())
        # Neither a length nor the end of the encryption: the connection just ends.
        peer.sendall(b"HTTP/1.0 200 OK\r\nContent-Type: application/ipp\r\n\r\n" + self.ANSWER)
        socket.socket(fileno=peer.detach()).close()

    def stop(self):
        self.socket.shutdown(socket.SHUT_RDWR)
        self.socket.close()


class Scheduler:
    """A cupsd of the test's own, in a directory and behind a socket of its own, with one queue."""

    PROGRAM = "/usr/sbin/cupsd"

    def __init__(self, directory):
        self.directory = pathlib.Path(directory)
        for name in ("root", "cache", "state", "spool", "tmp"):
            (self.directory / name).mkdir(parents=True)
        self.socket = self.directory / "socket"
        place = self.directory
        (place / "root" / "cups-files.conf").write_text(
            f"ServerRoot {place}/root\nCacheDir {place}/cache\nStateDir {place}/state\nRequestRoot {place}/spool\n"
            f"TempDir {place}/tmp\nAccessLog {place}/access\nErrorLog {place}/error\nPageLog {place}/page\n"
            f"Printcap {place}/printcap\nFileDevice Yes\n")
        (place / "root" / "cupsd.conf").write_text(
            f"Listen {self.socket}\nBrowsing Off\nDefaultAuthType None\nWebInterface No\n"
            "<Location />\nOrder allow,deny\nAllow all\n</Location>\n"
            "<Policy default>\n<Limit All>\nOrder deny,allow\n</Limit>\n</Policy>\n")
        (place / "root" / "printers.conf").write_text(
            "<Printer office>\nInfo Lyra by the window\nLocation hall\nDeviceURI usb://Lyra/C310?serial=1\n"
            "State Idle\nAccepting Yes\nShared No\n</Printer>\n")
        self.process = None

    def start(self):
        root = self.directory / "root"
        self.process = subprocess.Popen([self.PROGRAM, "-f", "-c", str(root / "cupsd.conf"), "-s", str(root / "cups-files.conf")],
                                        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for(self.socket.exists, 20, "cupsd listens")
        return self

    def run(self, program, *arguments):
        subprocess.run([program, "-h", str(self.socket), *arguments], check=True)

    def stop(self):
        if self.process is not None:
            end(self.process)
            self.process = None


class PapplPrinter:
    def __init__(self, directory, port):
        self.directory = pathlib.Path(directory)
        self.directory.mkdir(parents=True)
        self.port = port
        self.process = None

    def start(self):
        self.process = subprocess.Popen([str(BUILD / "tests" / "pappl_printer"), str(self.port), str(self.directory)],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                                        env=dict(os.environ, TMPDIR=str(self.directory), HOME=str(self.directory)))
        if self.process.stdout.readline() != "ready\n":
            raise RuntimeError("pappl_printer did not start")
        wait_for(lambda: listens(self.port), 20, "pappl_printer listens")
        return self

    def say(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()

    def stop(self):
        if self.process is not None:
            end(self.process)
            self.process.stdin.close()
            self.process.stdout.close()
            self.process = None
