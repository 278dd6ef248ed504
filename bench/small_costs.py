"""Start, rest and first picture of QuillonHost."""

import json
import os
import statistics
import time

import procfs
from candidates import QuillonHost, host_environment
from report import at_most
from running import NotMeasured, Scene, Screen

START_TARGET_MS, WAKEUPS_TARGET, FIRST_PICTURE_TARGET_MS = 10, 20, 300
SIZE, FPS = (2048, 1536), 30


def start_time(bench, times=50):
    """Milliseconds from starting a command-line mode to its end, median."""
    host = os.path.join(bench.build, "app", "QuillonHost")
    env = {**os.environ, **host_environment(bench.folder), "USBMUXD_SOCKET_ADDRESS": f"UNIX:{bench.folder}/nothing.sock"}
    nothing = os.open(os.devnull, os.O_RDWR)
    samples = []
    try:
        for _ in range(times):
            start = time.perf_counter()
            pid = os.posix_spawn(host, [host, "--devices"], env,
                                 file_actions=[(os.POSIX_SPAWN_DUP2, nothing, 1), (os.POSIX_SPAWN_DUP2, nothing, 2)])
            _, status = os.waitpid(pid, 0)
            samples.append((time.perf_counter() - start) * 1000)
            if status:
                raise NotMeasured("QuillonHost --devices failed")
    finally:
        os.close(nothing)
    return statistics.median(samples)


def wakeups_at_rest(bench, screen):
    """Of the whole process a second, while a still screen is streamed under a resting pointer."""
    with Scene(bench.build, screen, "still", FPS, bench.folder), QuillonHost(screen, FPS, bench.folder, "rest") as host:
        host.wait_for_stream()
        time.sleep(bench.warm_up + 1)
        before = procfs.wakeups(host.pid)
        time.sleep(2 * bench.seconds)
        host.program.require_running()
        return (procfs.wakeups(host.pid) - before) / (2 * bench.seconds)


def first_pictures(bench, screen, times):
    """Milliseconds from the accepted link to the first shown picture, by the device's clock."""
    samples = []
    with Scene(bench.build, screen, "motion", FPS, bench.folder):
        for number in range(times):
            with QuillonHost(screen, FPS, bench.folder, f"first-{number}") as host:
                host.wait_for_stream()
                time.sleep(0.5)
            with open(host.summary_path) as file:
                value = json.load(file)["firstFrameMs"]
            if value is not None:
                samples.append(value)
    return samples


def measure(bench, report):
    if QuillonHost not in bench.candidates:
        raise NotMeasured("QuillonHost is not built")
    start = start_time(bench)
    with Screen(*SIZE, bench.folder) as screen:
        wakeups = wakeups_at_rest(bench, screen)
        first = first_pictures(bench, screen, 1 if bench.repeats == 1 else 5)
    report.raw["small"] = {"start": start, "wake-ups": wakeups, "first pictures": first}
    report.add(at_most("start", "--devices without a mux server, median", start, START_TARGET_MS, "ms"),
               at_most("rest", "wake-ups while a still screen is streamed", wakeups, WAKEUPS_TARGET, "a second"),
               at_most("first picture", "after the link is ready, slowest", max(first, default=None), FIRST_PICTURE_TARGET_MS, "ms",
                       f"{len(first)} tries"))
