"""Brokers (nats-server) on the loopback interface, and what they use of the machine."""
import ctypes
import json
import os
import random
import re
import signal
import socket
import subprocess
import tempfile
import time
import urllib.request
from pathlib import Path

HOST = "127.0.0.1"
TICKS = os.sysconf("SC_CLK_TCK")
# The longest time in which a broker starts or answers.
LIMIT = 30
PR_SET_PDEATHSIG = 1


def die_with_parent():
    """Runs in the broker's process, so that an interrupted measurement leaves no broker behind."""
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


def free_port():
    """Returns a port that no program uses.

    It is below those that the kernel gives to clients: a client that tries to connect to a broker that
    is down could otherwise connect to itself.
    """
    while True:
        with socket.socket() as probe:
            try:
                probe.bind((HOST, random.randrange(10000, 32768)))
            except OSError:
                continue
            return probe.getsockname()[1]


class Broker:
    """One nats-server; `with` starts and ends it. `configuration` is added to its configuration file.

    The attribute `port` is the port of clients; a broker that is started again has the same one.
    """

    def __init__(self, configuration=""):
        self.port = free_port()
        self._monitor = free_port()
        self._profile = free_port()
        self._folder = tempfile.TemporaryDirectory(prefix="fleet-")
        self._process = None
        self.file("broker.conf").write_text(
            f'listen: "{HOST}:{self.port}"\nhttp: "{HOST}:{self._monitor}"\n'
            f'prof_port: {self._profile}\nmax_connections: 1000000\n{configuration}\n')

    def __enter__(self):
        try:
            self.start()
        except BaseException:  # a signal, too
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()
        self._folder.cleanup()

    def file(self, name):
        """Returns the path of a file in the folder of the broker."""
        return Path(self._folder.name) / name

    def start(self):
        """Starts the process and waits until it listens. Raises RuntimeError if it does not."""
        log = self.file("log")
        self._process = subprocess.Popen(
            ["nats-server", "-c", self.file("broker.conf"), "-l", log], preexec_fn=die_with_parent)
        deadline = time.monotonic() + LIMIT
        while not (log.exists() and "Server is ready" in log.read_text()):
            if self._process.poll() is not None or time.monotonic() > deadline:
                raise RuntimeError("nats-server does not start: "
                                   + (log.read_text() if log.exists() else "it has no log"))
            time.sleep(0.02)

    def stop(self):
        """Ends the process at once, as a crash does, and forgets its log."""
        if self._process:
            self._process.kill()
            self._process.wait()
            self._process = None
            self.file("log").unlink(missing_ok=True)

    def cpu(self):
        """Returns the processor time of the process in seconds, in steps of 10 ms."""
        fields = Path(f"/proc/{self._process.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / TICKS

    def memory(self):
        """Returns the bytes that live objects and stacks use, and the resident bytes of the process.

        Lets the broker collect its garbage first.
        """
        profile = self._get(self._profile, "/debug/pprof/heap?gc=1&debug=1").decode()
        live = sum(int(re.search(rf"^# {name} = (\d+)", profile, re.MULTILINE).group(1))
                   for name in ("HeapAlloc", "Stack"))
        status = Path(f"/proc/{self._process.pid}/status").read_text()
        return live, int(re.search(r"VmRSS:\s*(\d+)", status).group(1)) * 1024

    def report(self, page):
        """Returns a page of the broker's monitoring, such as "varz"."""
        return json.loads(self._get(self._monitor, "/" + page))

    @staticmethod
    def _get(port, path):
        with urllib.request.urlopen(f"http://{HOST}:{port}{path}", timeout=LIMIT) as answer:
            return answer.read()
