"""A link of 8 Mbit/s under a stream of best quality: two network namespaces with a shaped cable between them."""

import json
import os
import shutil
import signal
import subprocess
import time

from candidates import CURSOR, QuillonHost, host_command, host_environment, read_messages
from report import Row, at_most
from running import NotMeasured, Program, Scene, Screen, wait_until
from streams import percentile
from through_device import read_counters

SIZE, FPS, RATE_MBIT = (2048, 1536), 30, 8
# Link-local addresses are those of a cable: the host streams best quality over them.
HOST_ADDRESS, DEVICE_ADDRESS, PORT = "169.254.7.1", "169.254.7.2", 5555
# The queue of the cable's near end, as short as that of a network card.
BURST, QUEUE_MS = "16kb", 50
POINTER_STEP, POINTER_INTERVAL_MS = 8, 50
CURSOR_TARGET_MS, AGE_TARGET_MS = 110, 500


def _ip(*words):
    result = subprocess.run(words, capture_output=True, text=True, timeout=20, check=False)
    if result.returncode:
        raise NotMeasured(f"{' '.join(words)}: {result.stderr.strip()}")


class ShapedCable:
    """Two network namespaces, `near` for the host and `far` for the device."""

    def __init__(self):
        if os.geteuid() != 0:
            raise NotMeasured("network namespaces need root")
        for tool in ("ip", "tc"):
            if not shutil.which(tool):
                raise NotMeasured(f"{tool} is not installed")
        self.near, self.far = f"quillon-near-{os.getpid()}", f"quillon-far-{os.getpid()}"
        try:
            for name in (self.near, self.far):
                _ip("ip", "netns", "add", name)
                _ip("ip", "-n", name, "link", "set", "lo", "up")
            _ip("ip", "-n", self.near, "link", "add", "cable", "type", "veth", "peer", "name", "cable", "netns", self.far)
            for name, address in ((self.near, HOST_ADDRESS), (self.far, DEVICE_ADDRESS)):
                _ip("ip", "-n", name, "address", "add", f"{address}/16", "dev", "cable")
                _ip("ip", "-n", name, "link", "set", "cable", "up")
            _ip("tc", "-n", self.near, "qdisc", "add", "dev", "cable", "root", "tbf", "rate", f"{RATE_MBIT}mbit", "burst", BURST,
                "latency", f"{QUEUE_MS}ms")
        except NotMeasured:
            self.remove()
            raise

    def remove(self):
        for name in (self.near, self.far):
            subprocess.run(["ip", "netns", "delete", name], capture_output=True, timeout=20, check=False)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.remove()


def cursor_latencies(moves, messages):
    """Milliseconds from each move to the message that carries it, or a later one: the newest place wins."""
    places = sorted((message.last, message.place[0] * SIZE[0]) for message in messages
                    if message.type == CURSOR and message.place)
    result = []
    for x, moved in moves:
        arrival = next((moment for moment, place in places if moment >= moved and place >= x - POINTER_STEP / 2), None)
        if arrival is not None:
            result.append((arrival - moved) / 1e6)
    return result


def shown_ages(drawn, counters):
    """How old the shown picture was at the last moment before the next one took its place (ms)."""
    shown = sorted((moment, index) for index, moment in counters.items() if index in drawn)
    return [(later - drawn[index]) / 1e6 for (_, index), (later, _) in zip(shown, shown[1:])]


def stream(bench, screen, cable):
    """(pointer moves, scene log, base name of the device's files)."""
    base = os.path.join(bench.folder, "strained")
    inside = ["ip", "netns", "exec"]
    device = Program([*inside, cable.far, os.path.join(bench.build, "device", "quillon-device"), "--headless", "--bind",
                      DEVICE_ADDRESS, "--port", PORT, "--panel", screen.size, "--counter-log", base + ".counters",
                      "--message-log", base + ".messages", "--json", base + ".json"], base + ".device.log")
    home = os.path.join(bench.folder, "home")
    os.makedirs(home, exist_ok=True)
    with device, Scene(bench.build, screen, "motion", FPS, bench.folder) as scene:
        time.sleep(0.3)
        host = Program([*inside, cable.near, *host_command(bench.build, screen, FPS, "--tcp", f"{DEVICE_ADDRESS}:{PORT}")],
                       base + ".log", env={**screen.env, **host_environment(home)}, end_signal=signal.SIGINT)
        with host:
            wait_until(lambda: host.require_running() or host.said("[session] Mirroring"), 15, "QuillonHost's stream")
            time.sleep(bench.warm_up)
            count = int(bench.seconds * 1.5 * 1000 / POINTER_INTERVAL_MS)
            moves = subprocess.run(
                [os.path.join(bench.build, "bench", "quillon-pointer"), str(POINTER_STEP), str(count), str(POINTER_INTERVAL_MS)],
                env={**os.environ, **screen.env}, capture_output=True, text=True, timeout=60, check=False).stdout
            time.sleep(0.5)
        drawn = scene.drawn()
    return [tuple(int(word) for word in line.split()) for line in moves.splitlines()], drawn, base


def measure(bench, report):
    if QuillonHost not in bench.candidates:
        raise NotMeasured("QuillonHost is not built")
    with ShapedCable() as cable, Screen(*SIZE, bench.folder) as screen:
        moves, drawn, base = stream(bench, screen, cable)
    if not moves:
        raise NotMeasured("the pointer did not move")
    since = moves[0][1]
    cursor = cursor_latencies(moves, read_messages(base + ".messages"))
    counters = read_counters(base + ".counters")
    ages = shown_ages(drawn, {index: moment for index, moment in counters.items() if moment >= since})
    with open(base + ".json") as file:
        summary = json.load(file)
    undecodable = summary["decodeErrors"] + summary["missingReferences"]
    report.raw["strained link"] = {"cursor": cursor, "ages": ages, "device": summary,
                                   "pictures/s": len(ages) / ((moves[-1][1] - since) / 1e9 + 0.5)}
    group = f"link of {RATE_MBIT} Mbit/s, motion"
    report.add(
        at_most(group, "cursor message, p95", percentile(cursor, 0.95), CURSOR_TARGET_MS, "ms",
                f"p50 {percentile(cursor, .5):.0f} ms, {len(cursor)} of {len(moves)} moves" if cursor else ""),
        Row(group, "undecodable pictures", "none", str(undecodable), undecodable == 0 and summary["framesDecoded"] > 0,
            f"{summary['framesDecoded']} decoded, {summary['dropsReported']} refused by the host"),
        at_most(group, "age of the shown picture, greatest", max(ages, default=None), AGE_TARGET_MS, "ms",
                f"p50 {percentile(ages, .5):.0f} ms, p95 {percentile(ages, .95):.0f} ms" if ages else ""))
