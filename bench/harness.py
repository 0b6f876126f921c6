"""Starts cameras, servers and viewers for the rows of the bench, and reads what the processes cost."""

import contextlib
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import time

TOP = os.path.realpath(os.path.join(os.path.dirname(__file__), ".."))
BUILD = os.path.join(TOP, "build")
OUT = os.path.join(BUILD, "bench")
LOADGEN = os.path.join(BUILD, "bin", "loadgen")
FLOOR = os.path.join(BUILD, "bin", "floor")
OVELO = os.path.join(BUILD, "bin", "ovelo")
RAW = os.path.join(OUT, "raw.jsonl")

# As a sound server would deliver it: 16 bits, 48000 a second, 25 times a second.
MICROPHONE = ("a|Bench Microphone|audiotestsrc is-live=true wave=pink-noise volume=0.3 samplesperbuffer=1920 ! "
              "audio/x-raw,format=S16LE,rate=48000,channels=1")

# The server leaves at least 1 / (15 v + 5) s between two pictures of a viewer that sent "FrameRate,v". At v = 1 that
# is 0.05 s, so that a camera of 20 pictures a second with any jitter loses some; 4 never holds one back.
UNPACED = 4


class BenchError(Exception):
    """The bench itself could not go on; no verdict on the server."""


_next_port = 20000


def new_port():
    global _next_port
    _next_port += 1
    return _next_port


def wait_for(condition, seconds, what):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise BenchError(f"gave up waiting for {what}")
        time.sleep(0.02)


def accepts(port):
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", port)) == 0


def connections(port):
    """How many connections a server has not closed on its side."""
    established, left_by_peer = "01", "08"
    count = 0
    for table in ("/proc/net/tcp", "/proc/net/tcp6"):
        with open(table, encoding="ascii") as file:
            for line in file:
                local, _, state = line.split()[1:4]
                count += local.endswith(f":{port:04X}") and state in (established, left_by_peer)
    return count


@contextlib.contextmanager
def running(command, env=None, log="process.log"):
    """A child process, ended with SIGTERM and, should it not go, SIGKILL."""
    with open(os.path.join(OUT, log), "ab") as out:
        process = subprocess.Popen(command, env=env, stdin=subprocess.DEVNULL, stdout=out, stderr=out)
    try:
        yield process
    finally:
        process.send_signal(signal.SIGTERM)
        try:
            process.wait(10)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            print(f"** {os.path.basename(command[0])} did not end within 10 s of SIGTERM", file=sys.stderr)


@contextlib.contextmanager
def camera(fps):
    port = new_port()
    with running([LOADGEN, "--feed-raw", "--port", str(port), "--fps", str(fps), "--seconds", "600"], log="camera.log"):
        wait_for(lambda: accepts(port), 5, "the camera")
        yield port


def process_figures(pid):
    """Resident megabytes, threads and descriptors of a process."""
    with open(f"/proc/{pid}/status", encoding="utf-8") as file:
        status = dict(line.split(":", 1) for line in file if ":" in line)
    return {
        "rss_mb": int(status["VmRSS"].split()[0]) / 1024,
        "threads": int(status["Threads"]),
        "fds": len(os.listdir(f"/proc/{pid}/fd")),
    }


def profile(port, settings):
    """A settings folder and home of its own, and the environment that uses them."""
    home = os.path.join(OUT, "home")
    config = os.path.join(home, "config")
    shutil.rmtree(config, ignore_errors=True)
    os.makedirs(os.path.join(config, "Ovelo"))
    os.makedirs(os.path.join(home, "tmp"), exist_ok=True)
    with open(os.path.join(config, "Ovelo", "Ovelo.ini"), "w", encoding="utf-8") as file:
        file.write(f"[General]\nemail=bench@example.com\nport={port}\n")
        for key, value in settings.items():
            file.write(f"{key}={value}\n")
    env = {key: value for key, value in os.environ.items() if key not in ("DISPLAY", "WAYLAND_DISPLAY", "OVELO_DEMO")}
    env.update(HOME=home, XDG_CONFIG_HOME=config, XDG_CACHE_HOME=os.path.join(home, "cache"),
               XDG_RUNTIME_DIR=os.path.join(home, "tmp"), TMPDIR=os.path.join(home, "tmp"))
    os.chmod(os.path.join(home, "tmp"), 0o700)
    return env


class Server:
    """A running server, Ovelo or the floor."""

    def __init__(self, name, process, port):
        self.name = name
        self.process = process
        self.pid = process.pid
        self.port = port
        self.idle = None

    def figures(self):
        return process_figures(self.pid)

    def command(self, label, clients, seconds, **options):
        command = [LOADGEN, "--port", str(self.port), "--clients", str(clients), "--seconds", str(seconds),
                   "--pid", str(self.pid), "--label", f"{self.name}: {label}", "--json", RAW]
        for key, value in options.items():
            command.append("--" + key.replace("_", "-"))
            if value is not True:
                command.append(str(value))
        return command

    def view(self, label, clients, seconds, **options):
        """Runs loadgen and returns its figures."""
        with open(os.path.join(OUT, "loadgen.log"), "ab") as log:
            done = subprocess.run(self.command(label, clients, seconds, **options), stdout=log, stderr=log, check=False)
        if done.returncode not in (0, 1) or self.process.poll() is not None:
            raise BenchError(f"loadgen ended with {done.returncode}, {self.name} with {self.process.poll()} ({label})")
        self.settle()
        return last_raw()

    def cost(self, label, seconds):
        """What the server costs by itself for so long, whoever is connected."""
        command = self.command(label, 0, seconds)
        with open(os.path.join(OUT, "loadgen.log"), "ab") as log:
            subprocess.run(command, stdout=log, stderr=log, check=False)
        return last_raw()["cpu_pct"]

    def settle(self):
        """Waits until the server has closed the connections of the last run, all left by their viewers."""
        wait_for(lambda: not connections(self.port), 30, f"{self.name} to drop its viewers")
        time.sleep(0.5)


def last_raw():
    with open(RAW, encoding="utf-8") as file:
        return json.loads(file.readlines()[-1])


@contextlib.contextmanager
def ovelo(fps=20, demo=False, env=None, backlog=512, sound=False):
    """Ovelo with the bench's camera, or with its own Demo Camera; with a microphone that hears noise, or without.

    With the usual backlog of 5 the kernel loses connections of many that come at once; only one row is about that.
    """
    port = new_port()
    settings = {} if backlog is None else {"listenBacklog": backlog}
    with contextlib.ExitStack() as stack:
        if not demo:
            feed = stack.enter_context(camera(fps))
            settings["captureSources"] = (
                f'"v|Bench|tcpclientsrc host=127.0.0.1 port={feed} ! '
                f'rawvideoparse width=320 height=240 format=rgb framerate={fps}/1"')
            if sound:
                settings["captureSources"] += f', "{MICROPHONE}"'
        environment = profile(port, settings)
        if demo:
            environment["OVELO_DEMO"] = "1"
        environment.update(env or {})
        process = stack.enter_context(running([OVELO], environment, log="ovelo.log"))
        server = Server("ovelo", process, port)
        yield started(server)


@contextlib.contextmanager
def floor(fps=20, backlog=512):
    port = new_port()
    with camera(fps) as feed, running([FLOOR, str(port), str(feed), str(backlog)], log="floor.log") as process:
        yield started(Server("floor", process, port))


def started(server):
    wait_for(lambda: server.process.poll() is not None or accepts(server.port), 10, server.name)
    if server.process.poll() is not None:
        raise BenchError(f"{server.name} ended with {server.process.returncode}; see {OUT}")
    time.sleep(1.5)  # start-up work and the probes above are not part of any figure
    server.idle = server.figures()
    return server


def encoding_us():
    """Microseconds of CPU that encoding one of the camera's pictures takes with nothing around it."""
    with camera(20) as feed:
        return float(subprocess.run([FLOOR, "--encoding", str(feed)], capture_output=True, check=True).stdout)


@contextlib.contextmanager
def screen():
    """The environment of a virtual screen."""
    read, write = os.pipe()
    os.set_inheritable(write, True)
    process = subprocess.Popen(
        ["Xvfb", "-displayfd", str(write), "-screen", "0", "1280x1024x24", "-nolisten", "tcp"],
        pass_fds=[write], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    os.close(write)
    try:
        with os.fdopen(read) as number:
            display = number.readline().strip()
        if not display:
            raise BenchError("Xvfb did not start")
        yield {"DISPLAY": ":" + display, "QT_QPA_PLATFORM": "xcb"}
    finally:
        process.terminate()
        process.wait()


class Wire:
    """A viewer that speaks by hand."""

    def __init__(self, port):
        self.link = socket.create_connection(("127.0.0.1", port), 10)
        self.link.settimeout(20)
        self.stream = self.link.makefile("rb")
        self.read_line()
        self.read_line()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stream.close()
        self.link.close()

    def send(self, line):
        self.link.sendall(line.encode() + b"\n")

    def read_line(self):
        """The next line; a block that it announces is skipped."""
        line = self.stream.readline()
        if not line:
            raise BenchError("the server closed a connection")
        words = line.decode().rstrip("\n").split(",")
        if words[0] in ("Frame", "Audio"):
            self.stream.read(int(words[2]))
        return ",".join(words)

    def wait_for_line(self, beginning):
        while not (line := self.read_line()).startswith(beginning):
            pass
        return line


class FirstPicture:
    """One start of Ovelo, watched by a viewer that cannot wait."""

    def __init__(self):
        self.port = new_port()
        environment = profile(self.port, {})
        environment["OVELO_DEMO"] = "1"
        with open(os.path.join(OUT, "ovelo.log"), "ab") as log:
            self.began = time.monotonic()
            self.process = subprocess.Popen([OVELO], env=environment, stdin=subprocess.DEVNULL, stdout=log, stderr=log)

    def ms(self):
        return (time.monotonic() - self.began) * 1000

    def connect(self):
        while self.ms() < 10000 and self.process.poll() is None:
            link = socket.socket()
            if link.connect_ex(("127.0.0.1", self.port)) == 0:
                link.settimeout(10)
                return link
            link.close()
            time.sleep(0.0005)
        raise BenchError("Ovelo never accepted a viewer")

    def run(self):
        """return  milliseconds until a viewer was accepted and greeted, and until it had its first picture whole"""
        try:
            with self.connect() as link, link.makefile("rb") as stream:
                if stream.readline() != b"CONNECTED\n":
                    raise BenchError("no greeting")
                accepted = self.ms()
                link.sendall(b"Sync,0\nFrameRate,1\nGetSources,\n")
                while line := stream.readline():
                    words = line.decode().rstrip("\n").split("|" if line.startswith(b"DATA") else ",")
                    if words[0] == "DATA_SOURCE":
                        link.sendall(f"Start,{words[1]}|\n".encode())
                    elif words[0] == "Frame" and len(stream.read(int(words[2]))) == int(words[2]):
                        return accepted, self.ms()
                raise BenchError("Ovelo closed the connection before the first picture")
        finally:
            self.process.terminate()
            self.process.wait(10)
