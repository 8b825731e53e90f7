"""Agents that are not ours, with a printer's objects: Debian's snmpd and snmpsim."""

import os
import pathlib
import shutil
import subprocess

from harness import end, snmp, wait_for

MODULES = ("system_mib,sysORTable,snmp_mib,override,pass,pass_persist,usmUser,usmConf,usmStats,vacm_conf,vacm_vars,"
           "snmpEngine,setSerialNo")

MIB = "1.3.6.1.2.1"
STATE = f"{MIB}.25.3.5.1.1.1"
ERRORS = f"{MIB}.25.3.5.1.2.1"
PAGES = f"{MIB}.43.10.2.1.4.1.1"


def level(supply):
    """The object that holds a supply's level."""
    return f"{MIB}.43.11.1.1.9.1.{supply}"


# A colour printer whose page counter is a Gauge32, since snmpset has no letter for counters: as (object below 1.3.6.1.2.1, type, value), types as snmpd's configuration names them.
PRINTER = [
    ("25.3.2.1.1.1", "integer", 1),
    ("25.3.2.1.2.1", "object_id", "1.3.6.1.2.1.25.3.1.5"),
    ("25.3.2.1.3.1", "octet_str", "Lyra C310"),
    ("25.3.2.1.5.1", "integer", 2),
    ("25.3.5.1.1.1", "integer", 3),
    ("25.3.5.1.2.1", "octet_str", b"\x00"),
    ("43.5.1.1.1.1", "counter", 1),
    ("43.5.1.1.2.1", "integer", 1),
    ("43.5.1.1.16.1", "octet_str", "Lyra C310"),
    ("43.5.1.1.17.1", "octet_str", "LY310-00077"),
    ("43.5.1.1.18.1", "counter", 0),
    ("43.5.1.1.19.1", "counter", 0),
    ("43.7.1.1.4.1.1", "integer", 106),
    ("43.8.2.1.9.1.1", "integer", 500),
    ("43.8.2.1.10.1.1", "integer", 250),
    ("43.8.2.1.11.1.1", "integer", 0),
    ("43.10.2.1.3.1.1", "integer", 7),
    ("43.10.2.1.4.1.1", "uinteger", 54321),
] + [
    (f"43.{table}.1.1.{column}.1.{index}", kind, value)
    for index, (colour, percent) in enumerate([("black", 80), ("cyan", 61), ("magenta", 42), ("yellow", 23)], 1)
    for table, column, kind, value in [
        (11, 2, "integer", 1), (11, 3, "integer", index), (11, 4, "integer", 3), (11, 5, "integer", 21),
        (11, 6, "octet_str", f"{colour} cartridge"), (11, 7, "integer", 19), (11, 8, "integer", 100),
        (11, 9, "integer", percent), (12, 2, "integer", 1), (12, 4, "octet_str", colour)]
]


class PrinterChecks:
    """For test cases: how that printer looks in tarn-status --json."""

    @staticmethod
    def levels(printer):
        return {supply["colour"]: supply["percent"] for supply in printer["supplies"]}

    @staticmethod
    def wait_online(watch, index=0):
        wait_for(lambda: (watch.printer(index) or {}).get("online"), 20, "the printer is read")
        return watch.printer(index)

    def check_picture(self, printer):
        self.assertEqual((printer["model"], printer["serial"], printer["state"], printer["summary"]),
                         ("Lyra C310", "LY310-00077", 3, "就绪"))
        self.assertEqual(printer["counters"]["totalPages"], 54321)
        self.assertEqual(self.levels(printer), {"black": 80, "cyan": 61, "magenta": 42, "yellow": 23})
        self.assertEqual([tray["percent"] for tray in printer["trays"]], [50])
        self.assertEqual(printer["alerts"], [])
        self.assertFalse(any(printer["flags"].values()))


TAGS = {"integer": "2", "octet_str": "4", "object_id": "6", "counter": "65", "uinteger": "66"}


class Snmpd:
    """Debian's snmpd as a printer; every value can be set with the community "private"."""

    def __init__(self, directory, where, port, versions=("1", "2c")):
        self.directory = pathlib.Path(directory)
        self.directory.mkdir(parents=True)
        self.where, self.port, self.versions = where, port, versions
        (self.directory / "snmpd.conf").write_text(self._configuration())
        self.process = None

    def _configuration(self):
        lines = [f"agentaddress udp:{self.where}:{self.port}", "sysDescr Lyra C310 print server",
                 "com2sec reader default public", "com2sec writer default private", "view all included .1"]
        for version in self.versions:
            model = {"1": "v1", "2c": "v2c"}[version]
            lines += [f"group readers {model} reader", f"group writers {model} writer"]
        lines += ['access readers "" any noauth exact all none none', 'access writers "" any noauth exact all all none']
        for oid, kind, value in PRINTER:
            if isinstance(value, bytes):
                value = "0x" + value.hex()
            elif kind == "octet_str":
                value = f'"{value}"'
            lines.append(f"override -rw .{MIB}.{oid} {kind} {value}")
        return "\n".join(lines) + "\n"

    def start(self):
        environment = dict(os.environ, SNMP_PERSISTENT_DIR=str(self.directory / "var"), MIBS="",
                           SNMPCONFPATH=str(self.directory / "conf"))
        # In the sbin directory, which is not in everybody's path.
        environment["PATH"] = environment.get("PATH", "") + ":/usr/sbin"
        log = self.directory / "snmpd.log"
        self.process = subprocess.Popen(["snmpd", "-f", "-Lf", str(log), "-C", "-c", str(self.directory / "snmpd.conf"),
                                         "-I", MODULES], env=environment, stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for(self._answers, 20, f"snmpd at {self.where}:{self.port}, see {log}")
        return self

    def _answers(self):
        try:
            return snmp("snmpget", self.where, self.port, STATE, version=self.versions[0])
        except RuntimeError:
            return None

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self):
        if self.process is not None:
            end(self.process)


# How the users below are named to Net-SNMP's tools, and to the access library.
AUTH_PASSWORD, PRIV_PASSWORD = "authpass12", "privpass12"
USERS = {"md5": ("MD5", False), "md5aes": ("MD5", True), "sha": ("SHA", False), "shaaes": ("SHA", True),
         "sha256": ("SHA-256", False), "sha256aes": ("SHA-256", True)}


def users_for_tarn(**changes):
    """The "users" of a tarn.json; changes: {user: {member: value}}."""
    users = {}
    for name, (auth, private) in USERS.items():
        users[name] = {"auth": auth, "authPassword": AUTH_PASSWORD}
        if private:
            users[name].update(priv="AES", privPassword=PRIV_PASSWORD)
        users[name].update(changes.get(name, {}))
    return users


class UsmSnmpd(Snmpd):
    """Debian's snmpd as a printer that speaks version 3 only, to the users of USERS.

    engine: its engine ID in hexadecimal, so that it is the same even when it forgets all it kept; None: one of its own.
    more: further addresses at which it listens.
    """

    def __init__(self, directory, where, port, engine=None, more=()):
        self.engine, self.more = engine, more
        super().__init__(directory, where, port, versions=())

    def _configuration(self):
        lines = [super()._configuration().replace(
            f"agentaddress udp:{self.where}:{self.port}",
            "agentaddress " + ",".join(f"udp:{where}:{self.port}" for where in (self.where, *self.more)))]
        if self.engine:
            lines.append(f"exactEngineID 0x{self.engine}")
        for name, (auth, private) in USERS.items():
            lines += [f'createUser {name} {auth} "{AUTH_PASSWORD}"' + (f' AES "{PRIV_PASSWORD}"' if private else ""),
                      f"rwuser {name} " + ("priv" if private else "auth")]
        return "\n".join(lines) + "\n"

    def _answers(self):
        try:
            return self.run("snmpget", STATE)
        except RuntimeError:
            return None

    def run(self, tool, *arguments):
        """Runs a Net-SNMP tool against it; its lines of output."""
        done = subprocess.run([tool, "-m", "", "-v3", "-l", "authNoPriv", "-u", "sha", "-a", "SHA", "-A", AUTH_PASSWORD, "-Onq",
                               "-t", "1", "-r", "3", f"{self.where}:{self.port}", *arguments],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if done.returncode != 0:
            raise RuntimeError(f"{tool}: {done.stderr.strip()}")
        return done.stdout.splitlines()

    def set(self, oid, kind, value):
        self.run("snmpset", oid, kind, str(value))

    def forget(self):
        """While it is not running: all that it kept, how often it booted above all."""
        shutil.rmtree(self.directory / "var")


class Snmpsim:
    """snmpsim with the same printer as a recording; the first level can be set with the community "public"."""

    def __init__(self, directory, where, port):
        self.directory = pathlib.Path(directory)
        (self.directory / "data").mkdir(parents=True)
        (self.directory / "cache").mkdir()
        for path in (self.directory, self.directory / "data", self.directory / "cache"):
            path.chmod(0o777)  # as root it becomes nobody
        self.where, self.port = where, port
        self.process = None
        self._write()

    def _write(self):
        rows = [("1.1.0", "octet_str", "Lyra C310"), ("1.2.0", "object_id", "1.3.6.1.4.1.32473.7")] + PRINTER
        rows.sort(key=lambda row: [int(arc) for arc in row[0].split(".")])
        lines = []
        for oid, kind, value in rows:
            tag = TAGS[kind]
            if isinstance(value, bytes):
                tag, value = tag + "x", value.hex()
            elif oid == "43.11.1.1.9.1.1":
                tag, value = tag + ":writecache", f"value={value}"
            lines.append(f"{MIB}.{oid}|{tag}|{value}\n")
        (self.directory / "data" / "public.snmprec").write_text("".join(lines))

    def start(self):
        user = ["--process-user=nobody", "--process-group=nogroup"] if os.geteuid() == 0 else []
        environment = dict(os.environ, HOME=str(self.directory))
        self.process = subprocess.Popen(
            ["/usr/bin/python3", "/usr/bin/snmpsimd", *user, f"--data-dir={self.directory / 'data'}",
             f"--cache-dir={self.directory / 'cache'}", f"--agent-udpv4-endpoint={self.where}:{self.port}",
             "--logging-method=null"], env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        wait_for(self._answers, 60, f"snmpsim at {self.where}:{self.port}")
        return self

    def _answers(self):
        try:
            return snmp("snmpget", self.where, self.port, STATE)
        except RuntimeError:
            return None

    def stop(self):
        if self.process is not None:
            end(self.process)
