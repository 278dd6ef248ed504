"""What each candidate costs on each scene, and what its pictures are worth."""

import statistics
import time

import procfs
from candidates import Ffmpeg, QuillonHost
from report import Row, at_most
from running import NotMeasured, Scene, Screen
from streams import Quality, Stream, is_comparable, percentile

# At most this share of ffmpeg's CPU, the X server's included.
COST_TARGETS = {"still": 1 / 200, "caret": 1 / 25, "typing": 1 / 10, "scroll": 1 / 2, "drag": 1 / 2, "video": 0.6,
                "motion": 0.75}
# Milliseconds at the median from the screen's change to the last byte.
LATENCY_TARGETS = {"typing": 8, "motion": 22}
MEMORY_TARGET_MIB = 100
WIDTH, HEIGHT, FPS = 2048, 1536, 30

# Decibels that two measurements of the same encoder differ by.
PSNR_TOLERANCE = 0.1
# What was drawn last is given this time to arrive before its candidate is ended.
ARRIVAL_SECONDS = 0.3


class Run:
    """One candidate on one scene."""

    def __init__(self, candidate_class, screen, scene, folder, label, warm_up, seconds):
        self.label = candidate_class.name
        with candidate_class(screen, scene.fps, folder, label) as candidate:
            candidate.wait_for_stream()
            time.sleep(warm_up)
            self.start = time.monotonic_ns()
            own, server = procfs.CpuMeter(candidate.pid), procfs.CpuMeter(screen.pid)
            wakeups = procfs.WakeupMeter(candidate.pid)
            time.sleep(seconds)
            self.own, self.server = own.per_second(), server.per_second()
            self.wakeups = wakeups.per_second()
            self.end = time.monotonic_ns()
            self.memory = procfs.peak_memory_mib(candidate.pid)
            candidate.program.require_running()
            time.sleep(ARRIVAL_SECONDS)
        self.candidate = candidate
        self.drawn = {index: moment for index, moment in scene.drawn().items() if moment < self.end}
        self.stream = None

    @property
    def total(self):
        return self.own + self.server

    @property
    def seconds(self):
        return (self.end - self.start) / 1e9

    def analyse(self, build, scene_name, size, fps, compare=12):
        self.stream = Stream(build, self.candidate, scene_name, size, fps, self.drawn, self.start, compare)

    def pictures_per_second(self):
        return len(self.stream.within(self.start, self.end)) / self.seconds

    def contents_per_second(self):
        """Pictures that show something new: a program that keeps a steady rate repeats those that it has."""
        shown = {picture.index for picture in self.stream.within(self.start, self.end)} - {None}
        return len(shown) / self.seconds

    def megabits_per_second(self):
        return sum(picture.size for picture in self.stream.within(self.start, self.end)) * 8e-6 / self.seconds

    def record(self):
        result = {"candidate": self.label, "cpu": self.own, "cpu of the X server": self.server, "memory": self.memory,
                  "wake-ups": self.wakeups}
        if self.stream:
            missed, drawn = self.stream.missed(self.start, self.end)
            latencies = self.stream.latencies()
            result |= {"pictures/s": self.pictures_per_second(), "Mbit/s": self.megabits_per_second(), "missed": missed,
                       "drawn": drawn, "damaged": self.stream.damaged(), "latency p50": percentile(latencies, 0.5),
                       "latency p95": percentile(latencies, 0.95),
                       "psnr": self.stream.quality.record() if self.stream.quality else None}
        return result


def baseline(screen, seconds):
    """CPU of the X server while nobody captures."""
    time.sleep(0.5)
    meter = procfs.CpuMeter(screen.pid)
    time.sleep(seconds)
    return meter.per_second()


def run_all(bench, screen, names, report):
    """scene -> {"base": [...], candidate: [Run, ...]}, interleaved and repeated. Streams are looked at afterwards, when
    nothing is measured."""
    results = {name: {"base": []} for name in names}
    for repeat in range(bench.repeats):
        for name in names:
            order = bench.candidates[repeat % len(bench.candidates):] + bench.candidates[:repeat % len(bench.candidates)]
            with Scene(bench.build, screen, name, FPS, bench.folder) as scene:
                results[name]["base"].append(baseline(screen, bench.seconds / 2))
                for candidate in order:
                    label = f"{name}-{candidate.name}-{repeat}"
                    try:
                        run = Run(candidate, screen, scene, bench.folder, label, bench.warm_up, bench.seconds)
                    except NotMeasured as problem:
                        bench.problem(f"{label}: {problem}")
                        continue
                    results[name].setdefault(candidate.name, []).append(run)
                    print(f"  {label}: {run.own:.4f} + {run.server:.4f} CPU", flush=True)
    for name in names:
        for key, runs in results[name].items():
            for run in runs if key != "base" else ():
                try:
                    run.analyse(bench.build, name, screen.size, FPS)
                except NotMeasured as problem:
                    bench.problem(f"{name}, {run.label}: {problem}")
    report.raw["scenes"] = {
        name: {"X server alone": results[name]["base"],
               "runs": [run.record() for key, runs in results[name].items() if key != "base" for run in runs]}
        for name in names}
    return results


def _median(runs, what):
    return statistics.median(what(run) for run in runs) if runs else None


def cost_rows(name, result):
    """The row of a scene's CPU, and the table's lines."""
    base = statistics.median(result["base"])
    totals = {key: _median(runs, lambda run: run.total) for key, runs in result.items() if key != "base"}
    lines = [(name, "none (X server alone)", "", f"{base:.4f}", f"{base:.4f}", "", "")]
    reference = totals.get(Ffmpeg.name)
    for key, total in totals.items():
        runs = result[key]
        raw = total / reference if reference else None
        net = max(0, total - base) / (reference - base) if reference else None
        lines.append((name, key, f"{_median(runs, lambda run: run.own):.4f}", f"{_median(runs, lambda run: run.server):.4f}",
                      f"{total:.4f}", f"{raw:.4f}" if raw else "-", f"{net:.4f}" if raw else "-"))
    ours, limit = totals.get(QuillonHost.name), COST_TARGETS[name]
    target = f"at most {limit:.3g} of ffmpeg's"
    if ours is None or not reference:
        return Row("CPU at 2048x1536@30", name, target, "-", None), lines
    raw, net = ours / reference, max(0, ours - base) / (reference - base)
    return Row("CPU at 2048x1536@30", name, target, f"{raw:.3g}", raw <= limit,
               f"{net:.3g} without the X server's own drawing"), lines


def _analysed(result):
    """candidate -> its runs whose stream could be read."""
    return {key: [run for run in runs if run.stream] for key, runs in result.items() if key != "base"}


def quality_row(name, result):
    quality, lines = {}, []
    for key, runs in _analysed(result).items():
        errors = [row for run in runs for row in run.stream.errors]
        if is_comparable(errors):
            one = quality[key] = Quality(errors)
            lines.append((name, key, f"{one.seen_luma:.2f}", f"{one.seen_all:.2f}", f"{one.settled_luma:.2f}",
                          f"{one.settled_all:.2f}", f"{one.first_luma:.2f}", f"{one.first_all:.2f}",
                          f"{one.lost} of {one.compared}", f"{statistics.fmean(run.megabits_per_second() for run in runs):.1f}",
                          f"{statistics.fmean(run.pictures_per_second() for run in runs):.1f}"))
    ours, theirs = quality.get(QuillonHost.name), quality.get(Ffmpeg.name)
    if not ours or not theirs:
        return Row("PSNR of luma", name, "not below ffmpeg's", "-", None), lines
    return Row("PSNR of luma", name, f"not below ffmpeg's {theirs.seen_luma:.1f} dB", f"{ours.seen_luma:.1f} dB",
               ours.seen_luma >= theirs.seen_luma - PSNR_TOLERANCE,
               f"all planes {ours.seen_all:.1f} against {theirs.seen_all:.1f} dB; without lost contents {ours.settled_luma:.1f} "
               f"against {theirs.settled_luma:.1f} dB"), lines


def latency_lines(name, result):
    lines = []
    for key, runs in _analysed(result).items():
        latencies = [latency for run in runs for latency in run.stream.latencies()]
        if latencies:
            counts = [run.stream.missed(run.start, run.end) for run in runs]
            lines.append((name, key, f"{percentile(latencies, .5):.1f}", f"{percentile(latencies, .95):.1f}",
                          f"{sum(missed for missed, _ in counts)} of {sum(drawn for _, drawn in counts)}"))
    return lines


def latency_row(name, result):
    latencies = [latency for run in _analysed(result).get(QuillonHost.name, []) for latency in run.stream.latencies()]
    note = f"p95 {percentile(latencies, .95):.1f} ms" if latencies else ""
    return at_most("added latency, p50", f"{name}, screen to last byte", percentile(latencies, 0.5), LATENCY_TARGETS[name],
                   "ms", note)


def measure(bench, report):
    names = [name for name in COST_TARGETS if bench.wants("scenes") or bench.wants(name)]
    with Screen(WIDTH, HEIGHT, bench.folder) as screen:
        results = run_all(bench, screen, names, report)
    costs, qualities, latencies = [], [], []
    for name in names:
        row, lines = cost_rows(name, results[name])
        report.add(row)
        costs += lines
    for name in names:
        row, lines = quality_row(name, results[name])
        report.add(row)
        qualities += lines
        latencies += latency_lines(name, results[name])
    report.add(*(latency_row(name, results[name]) for name in names if name in LATENCY_TARGETS))
    memory = [run.memory for result in results.values() for run in result.get(QuillonHost.name, []) if run.memory]
    report.add(at_most("memory", "peak at 2048x1536", max(memory, default=None), MEMORY_TARGET_MIB, "MiB", "all scenes"))

    report.table("CPU per scene at 2048x1536@30",
                 "CPU seconds per second, medians. The X server's share holds the drawing of the scene, which is the same "
                 "for everybody: the last column leaves it out on both sides. The targets count it.",
                 ["scene", "candidate", "own", "X server", "both", "of ffmpeg's", "of ffmpeg's without drawing"], costs)
    report.table("Picture quality",
                 "PSNR in dB against what the screen showed (BT.601, limited range), from the mean error over the compared "
                 "pictures. \"Settled\" is the last picture of each screen content, \"first\" the first that shows it. "
                 "\"Seen\" is as settled, and of a lost content, which no picture shows, what stood there instead: the "
                 "targets count this. Everybody has an average bitrate of 18 Mbit/s at most.",
                 ["scene", "candidate", "seen luma", "seen all", "settled luma", "settled all", "first luma", "first all", "lost",
                  "Mbit/s", "pictures/s"], qualities)
    report.table("Added latency",
                 "Milliseconds from the scene's drawing request to the last byte of the first picture that shows it.",
                 ["scene", "candidate", "p50", "p95", "contents never seen"], latencies)
