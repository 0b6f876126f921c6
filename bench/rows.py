"""The rows of the bench: each measures one promise and says whether it holds."""

import dataclasses
import json
import os
import statistics
import subprocess
import time

import harness
from harness import UNPACED, floor, ovelo


@dataclasses.dataclass
class Figure:
    what: str
    goal: str
    measured: str
    holds: bool | None  # None: said for the record, nothing is promised

    @staticmethod
    def at_most(what, value, limit, unit, digits=1):
        return Figure(what, f"<= {limit} {unit}", f"{value:.{digits}f} {unit}", value <= limit)

    @staticmethod
    def at_least(what, value, limit, unit, digits=2):
        return Figure(what, f">= {limit} {unit}", f"{value:.{digits}f} {unit}", value >= limit)

    @staticmethod
    def none(what, value):
        return Figure(what, "none", str(value), value == 0)

    @staticmethod
    def note(what, measured):
        return Figure(what, "", measured, None)


def trouble(run):
    """Everything that must not happen to a viewer that reads."""
    return run["broken"] + run["dropped_live"] + run["starved"] + run["protocol_errors"]


def noise(run):
    """A remark when the machine was too busy for the figures to be the server's own."""
    if run["loadgen_pct"] > 85:
        return [Figure.note("** the viewers had no CPU left", f"{run['loadgen_pct']:.0f} % of a core")]
    if run["others_pct"] > 30:
        return [Figure.note("** others kept the machine busy", f"{run['others_pct']:.0f} % of a core")]
    return []


# ---- Cost


def cpu_per_picture(server, label, clients, seconds, repeats, fps=20):
    """Microseconds of CPU per captured picture, the least of several runs, for the rest of the machine only adds."""
    costs = []
    for _ in range(repeats):
        run = server.view(label, clients, seconds, rate=UNPACED)
        if run["frames"] < 0.97 * clients * run["seconds"] * fps:
            raise harness.BenchError(f"the viewers of \"{label}\" did not get every picture; costs cannot be compared")
        costs.append(run["cpu_s"] * 1e6 / (run["seconds"] * fps))
    return min(costs)


def slope(quick):
    seconds, repeats = (4, 1) if quick else (10, 3)
    us = {}
    for start in (ovelo, floor):
        with start(fps=20) as server:
            few = cpu_per_picture(server, "slope, 100 viewers", 100, seconds, repeats)
            many = cpu_per_picture(server, "slope, 1000 viewers", 1000, seconds, repeats)
            us[server.name] = (many - few) / 900
    return [
        Figure.note("CPU per picture and further viewer, floor", f"{us['floor']:.2f} us"),
        Figure.note("CPU per picture and further viewer, Ovelo", f"{us['ovelo']:.2f} us"),
        Figure.at_most("Ovelo against the floor, 100 to 1000 viewers", us["ovelo"] / us["floor"], 1.5, "x", 2),
    ]


def one(quick):
    seconds, repeats = (5, 1) if quick else (10, 3)
    bare = harness.encoding_us()
    with ovelo(fps=20) as server:
        without = cpu_per_picture(server, "one, no viewer", 0, seconds, repeats)
        watched = cpu_per_picture(server, "one, one viewer", 1, seconds, repeats)
    return [
        Figure.note("bare JPEG encoding", f"{bare:.0f} us"),
        Figure.note("captured picture with no viewer", f"{without:.0f} us"),
        Figure.at_most("first viewer, per captured picture, in bare encodings", (watched - without) / bare, 2, "x", 2),
    ]


def idle(quick):
    seconds = 10 if quick else 30
    with ovelo(demo=True) as server:
        offscreen = server.view("idle, offscreen", 0, seconds)["cpu_pct"]
    with harness.screen() as env, ovelo(demo=True, env=env) as server:
        shown = server.view("idle, on a screen", 0, seconds)["cpu_pct"]
    return [
        Figure.at_most("no viewer, Demo Camera, offscreen", offscreen, 0.8, "% of a core", 2),
        Figure.at_most("no viewer, Demo Camera, window on a screen", shown, 0.8, "% of a core", 2),
    ]


def memory(quick):
    seconds = 4 if quick else 10
    with ovelo(fps=20) as server:
        bare = server.idle["rss_mb"]
        direct = server.view("memory, no delay", 1000, seconds, rate=UNPACED)["rss_mb"]
    with ovelo(fps=20) as server:
        delayed = server.view("memory, default delay", 1000, seconds, rate=UNPACED, sync="", settle=3)["rss_mb"]
    return [
        Figure.at_most("resident, idle", bare, 60, "MB"),
        Figure.at_most("resident, 1000 viewers", direct, 100, "MB"),
        Figure.at_most("more at the default delay of two seconds", delayed - direct, 10, "MB"),
    ]


# ---- Throughput


def crowd(fps, clients, seconds, least, most):
    with ovelo(fps=fps) as server:
        run = server.view(f"{clients} viewers", clients, seconds, rate=UNPACED, warmup=30)
    return [
        Figure.at_least(f"slowest of {clients} viewers at {fps}/s", run["fps_min"], least, "pictures/s"),
        Figure.at_most("CPU", run["cpu_pct"], most, "% of a core"),
        Figure.none("pictures broken, viewers lost or starved", trouble(run)),
        *noise(run),
    ]


def thousand(quick):
    return crowd(20, 1000, 10 if quick else 60, 19.5, 20)


def fourthousand(quick):
    return crowd(14, 4000, 10 if quick else 30, 13.5, 50)


# ---- Latency


# A viewer that sends "Sync,0" while pictures wait already keeps that distance for ever; a delay a little below nothing
# empties the queue (docs/viewer-protocol.md, "Delay").
PRESENT = -0.001


def latency(quick):
    seconds = 5 if quick else 15
    figures = []
    # Below the pace of FrameRate 1, so that no picture is held back for pacing.
    with ovelo(fps=15) as server:
        for clients, key, name, limit in ((1, "latency_p50", "median", 2), (100, "latency_p99", "p99", 8),
                                          (1000, "latency_p99", "p99", 30)):
            run = server.view(f"latency, {clients}", clients, seconds, sync=PRESENT, rate=1, latency=True)
            figures.append(Figure.at_most(f"camera to viewer, {clients} viewers, {name}", run[key], limit, "ms", 2))
            figures += noise(run)
        run = server.view("latency, 1000, Sync,0", 1000, seconds, sync=0, rate=1, latency=True)
        figures.append(Figure.note("the same with Sync,0, which leaves some a picture behind", f"{run['latency_p99']:.1f} ms"))
    with floor(fps=15) as server:
        run = server.view("latency, 1000", 1000, seconds, rate=1, latency=True)
        figures.append(Figure.note("the same, floor", f"{run['latency_p99']:.1f} ms"))
    return figures


def answers(quick):
    with ovelo(fps=20) as server:
        run = server.view("answers", 100, 5 if quick else 20, rate=UNPACED, rtt=50)
    return [
        Figure.note("GetSources asked while 100 watch", f"{run['answers']} times"),
        Figure.at_most("answer, p99", run["answer_p99"], 5, "ms", 2),
        *noise(run),
    ]


def slow(quick):
    """What viewers that stop reading or crawl do to the others: nothing beyond a millisecond."""
    seconds = 6 if quick else 20
    figures = []
    with ovelo(fps=20) as server:
        plain = server.view("slow, none", 100, seconds, rate=UNPACED, latency=True, settle=5)
        figures.append(Figure.note("without any: slowest, gap p99, latency p99", summary(plain)))
        for name, options in (("5 of 100 stalled", {"slow": 5}),
                              ("5 of 100 crawl at 2000 B/s", {"slow": 5, "slow_rate": 2000}),
                              ("50 of 100 stalled", {"slow": 50})):
            run = server.view("slow, " + name, 100, seconds, rate=UNPACED, latency=True, **options)
            holds = (run["fps_min"] >= 0.99 * plain["fps_min"] and run["gap_p99"] <= plain["gap_p99"] + 1
                     and run["latency_p99"] <= plain["latency_p99"] + 1 and trouble(run) == 0)
            figures.append(Figure(name + ", the others", "within 1 % and 1 ms", summary(run), holds))
            figures += noise(run)
    return figures


def summary(run):
    return f"{run['fps_min']:.2f}/s, {run['gap_p99']:.1f} ms, {run['latency_p99']:.2f} ms"


# ---- Coming and going


def start(quick):
    del quick  # ten starts take seconds
    harness.FirstPicture().run()  # warm: files in the page cache, plugins registered
    times = [harness.FirstPicture().run() for _ in range(10)]
    return [
        Figure.at_most("start to the first viewer accepted, median of 10", statistics.median(t[0] for t in times), 80, "ms"),
        Figure.at_most("start to its first picture, median of 10", statistics.median(t[1] for t in times), 400, "ms"),
    ]


def rush(quick):
    seconds = 4 if quick else 10
    # A viewer that sends a line at once, as ovelo-viewer does, is not lost: the system sends the line again.
    with ovelo(fps=20, backlog=None) as server:
        short = server.view("rush, backlog 5", 500, seconds, rate=UNPACED, outstanding=500, warmup=20, hello=True)
    with ovelo(fps=20, backlog=None) as server:
        silent = server.view("rush, backlog 5, silent", 500, seconds, rate=UNPACED, outstanding=500, warmup=20)
    with ovelo(fps=20) as server:
        long = server.view("rush, backlog 512", 500, seconds, rate=UNPACED, outstanding=500, warmup=20)
    # With so short a backlog the kernel loses silent ones whatever the server does; the floor tells how many.
    with floor(fps=20, backlog=5) as server:
        bare = server.view("rush, backlog 5", 500, seconds, rate=UNPACED, outstanding=500, warmup=20)
    return [
        Figure.note("500 silent ones at once, backlog 5: without any", str(500 - silent["streaming"])),
        Figure.note("500 silent ones at once, backlog 5, floor: without any", str(500 - bare["streaming"])),
        Figure.none("500 at once, backlog 5: viewers without any picture", 500 - short["streaming"]),
        Figure.at_most("connect to first picture, the slowest", short["first_max"] / 1000, 2, "s", 2),
        Figure.at_most("500 at once, backlog 512: connect, p99", long["connect_p99"], 60, "ms"),
        Figure.none("viewers without any picture", 500 - long["streaming"]),
    ]


def churn(quick):
    seconds = 30 if quick else 600
    with ovelo(fps=20) as server:
        # Once before, so that what is made for the first hundred and kept does not look like growth.
        server.view("churn, warm", 100, 5, rate=UNPACED, churn=20)
        before = typical(server)
        with harness.running(server.command("churn", 100, seconds, rate=UNPACED, churn=20), log="loadgen.log") as load:
            time.sleep(max(5, seconds / 20))
            early = typical(server)
            while load.poll() is None:
                late = typical(server)
        server.settle()
        after = typical(server)
        run = harness.last_raw()
    return [
        Figure.note("visits beside 80 that stay", f"{run['visits']} in {seconds} s"),
        Figure.at_most("memory, end against beginning", late["rss_mb"] - early["rss_mb"], 2, "MB more", 2),
        Figure.at_most("threads after the last, against before the first", after["threads"] - before["threads"], 0, "more", 0),
        Figure.at_most("descriptors after the last, against before the first", after["fds"] - before["fds"], 0, "more", 0),
        Figure.none("pictures broken, stayers lost or starved", trouble(run)),
    ]


def typical(server):
    """The medians of a second, for every visit moves them."""
    samples = []
    for _ in range(20):
        samples.append(server.figures())
        time.sleep(0.05)
    return {key: statistics.median(s[key] for s in samples) for key in samples[0]}


# ---- Sound, recordings


def sound(quick):
    seconds, repeats = (6, 1) if quick else (20, 3)

    def costs(server, label, clients, **options):
        return min(server.view(label, clients, seconds, rate=UNPACED, **options)["cpu_pct"] for _ in range(repeats))

    with ovelo(fps=20) as server:
        mute = costs(server, "sound, no microphone", 0)
    with ovelo(fps=20, sound=True) as server:
        heard = costs(server, "sound, microphone", 0)
        watched = costs(server, "sound, 100 viewers that do not listen", 100)
        listened = costs(server, "sound, 100 viewers that listen", 100, audio=True)
    return [
        Figure.at_most("microphone, meter and AAC with nobody there", heard - mute, 1, "% of a core more", 2),
        Figure.at_most("100 viewers with sound against 100 without", listened / watched, 1.1, "x", 3),
    ]


def recording(quick):
    seconds = 10 if quick else 60
    with ovelo(fps=15, sound=True) as server:
        idle = server.cost("recording, none", seconds)
        with harness.Wire(server.port) as viewer:
            viewer.send("Stop,")
            watched = server.cost("recording, before", seconds)
            viewer.send("Record,Y")
            time.sleep(2)
            busy = server.cost("recording", seconds)
            viewer.send("Record,N")
            viewer.send("GetRecorded,")
            viewer.wait_for_line("RECORDED_LIST")
    return [
        Figure.note("no viewer", f"{idle:.2f} % of a core"),
        Figure.at_most("recording at 15/s with sound", busy - watched, 12, "% of a core more", 2),
    ]


def recordings(viewer):
    viewer.send("GetRecorded,")
    return {entry.rpartition("-")[0] for entry in viewer.wait_for_line("RECORDED_LIST").split(",-")[1:]}


def record(viewer, seconds):
    """Records for that long. return: the recording's name"""
    before = recordings(viewer)
    viewer.send("Record,Y")
    time.sleep(seconds)
    viewer.send("Record,N")
    end = time.monotonic() + 10
    while time.monotonic() < end:
        if new := recordings(viewer) - before:
            return new.pop()
        time.sleep(0.1)
    raise harness.BenchError("nothing was recorded")


def playback(quick):
    times = []
    with ovelo(fps=15, sound=True) as server, harness.Wire(server.port) as viewer:
        viewer.send("Sync,-0.001")
        viewer.send("Stop,")
        name = record(viewer, 5)
        for _ in range(5 if quick else 20):
            viewer.send("Stop,")
            viewer.send("GetSources,")
            viewer.wait_for_line("DATA_SOURCE")  # no picture is on its way behind it
            began = time.monotonic()
            viewer.send(f"Playback,{name}")
            viewer.wait_for_line("Frame")
            times.append((time.monotonic() - began) * 1000)
            viewer.send("Start,")
    return [
        Figure.at_most("command to the first picture, slowest", max(times), 300, "ms"),
        Figure.note("the same, median", f"{statistics.median(times):.1f} ms"),
    ]


def cycles(quick):
    """Recordings and playbacks one after the other: nothing may grow."""
    seconds = 60 if quick else 1800
    with ovelo(fps=15, sound=True) as server, harness.Wire(server.port) as viewer:
        viewer.send("Sync,-0.001")
        viewer.send("Stop,")

        def cycle(recorded=5, played=2):
            viewer.send(f"Playback,{record(viewer, recorded)}")
            time.sleep(played)
            viewer.send("Start,")
            viewer.send("Stop,")

        for _ in range(15):  # libraries load, heaps and pools find their size
            cycle(recorded=2, played=1)
        before = typical(server)
        end = time.monotonic() + seconds
        count = 0
        while time.monotonic() < end:
            cycle()
            count += 1
        time.sleep(1)
        after = typical(server)
    return [
        Figure.note("recordings made and played", f"{count} in {seconds} s"),
        Figure.at_most("memory, end against beginning", after["rss_mb"] - before["rss_mb"], 2, "MB more", 2),
        Figure.at_most("threads", after["threads"] - before["threads"], 0, "more", 0),
        Figure.at_most("descriptors", after["fds"] - before["fds"], 0, "more", 0),
    ]


# ---- The pipeline alone


def pipeline(quick):
    program = os.path.join(harness.BUILD, "bin", "ovelo-pipeline-bench")
    if not os.path.exists(program):
        raise harness.BenchError("ovelo-pipeline-bench is not built")
    command = [program, "--benchmark_format=json", f"--benchmark_min_time={0.2 if quick else 1}"]
    done = subprocess.run(command, capture_output=True, check=True, env={**os.environ, "QT_QPA_PLATFORM": "offscreen"})
    with open(os.path.join(harness.OUT, "pipeline.json"), "wb") as file:
        file.write(done.stdout)
    scale = {"ns": 1e-3, "us": 1, "ms": 1e3}
    us = {b["name"]: b["cpu_time"] * scale[b["time_unit"]] for b in json.loads(done.stdout)["benchmarks"]}
    figures = [Figure.note(name, f"{cost:.1f} us") for name, cost in us.items()]
    for name, what in (("pipeline/everything:0", "no option on"), ("pipeline/everything:1", "every option on")):
        if name in us and us.get("encodeOnly"):
            figures.append(Figure.note(f"{what}, in bare encodings", f"{us[name] / us['encodeOnly']:.2f} x"))
    return figures


ROWS = {
    "slope": slope,
    "one": one,
    "thousand": thousand,
    "fourthousand": fourthousand,
    "latency": latency,
    "slow": slow,
    "memory": memory,
    "idle": idle,
    "start": start,
    "rush": rush,
    "churn": churn,
    "answers": answers,
    "pipeline": pipeline,
    "sound": sound,
    "recording": recording,
    "playback": playback,
    "cycles": cycles,
}
