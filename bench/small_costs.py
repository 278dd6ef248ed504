"""Start, rest, first picture and virtual display of QuillonHost."""

import json
import os
import statistics
import struct
import subprocess
import time

import procfs
from candidates import VIDEO_FRAME, QuillonHost, ShownQuillonHost, host_environment
from report import Row, at_most
from running import NotMeasured, Scene, Screen

START_TARGET_MS, WAKEUPS_TARGET, FIRST_PICTURE_TARGET_MS, DISPLAY_TARGET_MS = 10, 20, 300, 150
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
        meter = procfs.WakeupMeter(host.pid)
        time.sleep(2 * bench.seconds)
        host.program.require_running()
        return meter.per_second()


def first_pictures(bench, screen, times):
    """Milliseconds from the accepted link to the first shown picture, by the device's clock."""
    samples = []
    with Scene(bench.build, screen, "motion", FPS, bench.folder):
        for number in range(times):
            with ShownQuillonHost(screen, FPS, bench.folder, f"first-{number}") as host:
                host.wait_for_stream()
                time.sleep(0.5)
            with open(host.summary_path) as file:
                value = json.load(file)["firstFrameMs"]
            if value is not None:
                samples.append(value)
    return samples


def display_times(bench, screen, times=20):
    """Milliseconds from the call to a virtual display that is ready, and back to none, for each try."""
    program = os.path.join(bench.build, "bench", "quillon-display-cost")
    result = subprocess.run([program, str(times)], env={**os.environ, **screen.env}, capture_output=True, text=True,
                            timeout=60, check=False)
    if result.returncode:
        raise NotMeasured(f"quillon-display-cost: {result.stderr.strip()}")
    return [tuple(map(float, line.split())) for line in result.stdout.splitlines()]


def _thread_counts(path, pid):
    """(thread identifier, name) -> how often libxcb and how often all others took memory so far."""
    with open(path, "rb") as file:
        numbers = struct.iter_unpack("<QQQ", file.read(1023 * 24))
    result = {}
    for thread, *counts in numbers:
        if not thread:
            break
        try:
            with open(f"/proc/{pid}/task/{thread}/comm") as file:
                result[thread, file.read().strip()] = counts
        except OSError:
            pass  # it has ended
    return result


def _picture_counts(path, pid):
    """Those of the threads on a picture's way."""
    return {key: counts for key, counts in _thread_counts(path, pid).items() if key[0] != pid and not key[1].endswith(".reader")}


def allocations(bench, screen):
    """(pictures, thread name -> how often libxcb and how often all others took memory, the latter in each tenth of a
    second), while a window is dragged. The main thread and the reader are not on a picture's way."""
    path = os.path.join(bench.folder, "allocations")
    library = os.path.join(bench.build, "bench", "libquillon-allocation-count.so")

    class Counted(QuillonHost):
        environment = {"LD_PRELOAD": library, "QUILLON_ALLOCATIONS": path}

    with Scene(bench.build, screen, "drag", FPS, bench.folder), Counted(screen, FPS, bench.folder, "allocations") as host:
        host.wait_for_stream()
        time.sleep(bench.warm_up)
        start, looks = time.monotonic_ns(), [_picture_counts(path, host.pid)]
        for _ in range(round(bench.seconds * 10)):
            time.sleep(0.1)
            looks.append(_picture_counts(path, host.pid))
        host.program.require_running()
        end = time.monotonic_ns()
    pictures = sum(message.type == VIDEO_FRAME and start <= message.last < end for message in host.messages())
    if not pictures:
        raise NotMeasured("no picture arrived")
    total = {name: [count - old for count, old in zip(counts, looks[0].get((thread, name), (0, 0)))]
             for (thread, name), counts in looks[-1].items()}
    own = [sum(count for _, count in look.values()) for look in looks]
    return pictures, total, [later - earlier for earlier, later in zip(own, own[1:])]


def allocation_row(bench, screen, report):
    try:
        pictures, total, tenths = allocations(bench, screen)
    except NotMeasured as problem:
        return Row("allocations", "in a tenth of a second, median", "none after warm-up", "-", None, str(problem))
    report.raw["allocations"] = {"pictures": pictures, "threads": total, "tenths of a second": tenths}
    threads = ", ".join(f"{name} {own}" for name, (_, own) in total.items() if own)
    median = statistics.median(tenths)
    return Row("allocations", "in a tenth of a second, median", "none after warm-up", f"{median:g}", median == 0,
               f"for {pictures} pictures {threads or 'none'}, one of them a second for the statistics; besides "
               f"{sum(xcb for xcb, _ in total.values()) / pictures:.2f} a picture inside libxcb, which takes memory for each event "
               "and reply")


def measure(bench, report):
    if QuillonHost not in bench.candidates:
        raise NotMeasured("QuillonHost is not built")
    start = start_time(bench)
    with Screen(*SIZE, bench.folder) as screen:
        wakeups = wakeups_at_rest(bench, screen)
        first = first_pictures(bench, screen, 1 if bench.repeats == 1 else 5)
        allocation = allocation_row(bench, screen, report)
        displays = display_times(bench, screen)
    report.raw["small"] = {"start": start, "wake-ups": wakeups, "first pictures": first, "virtual displays": displays}
    report.add(at_most("start", "--devices without a mux server, median", start, START_TARGET_MS, "ms"),
               at_most("rest", "wake-ups while a still screen is streamed", wakeups, WAKEUPS_TARGET, "a second"),
               at_most("first picture", "after the link is ready, slowest", max(first, default=None), FIRST_PICTURE_TARGET_MS, "ms",
                       f"{len(first)} tries"), allocation,
               at_most("virtual display", "from the call until it is ready, slowest", max(ready for ready, _ in displays),
                       DISPLAY_TARGET_MS, "ms", f"{len(displays)} tries, gone after "
                       f"{statistics.median(gone for _, gone in displays):.1f} ms"))
