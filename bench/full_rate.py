"""Sixty pictures a second of full-screen motion."""

from candidates import Ffmpeg, QuillonHost
from report import Row, at_most
from running import NotMeasured, Scene, Screen
from scene_costs import Run, baseline
from streams import percentile

FPS = 60
LARGE, SMALL = (2732, 2048), (2048, 1536)
MEMORY_TARGET_MIB = 160


def run_at(bench, size, report):
    """candidate -> Run."""
    runs = {}
    with Screen(*size, bench.folder) as screen, Scene(bench.build, screen, "motion", FPS, bench.folder) as scene:
        base = baseline(screen, bench.seconds / 2)
        for candidate in bench.candidates:
            if candidate not in (Ffmpeg, QuillonHost):
                continue
            label = f"motion-{screen.size}-{candidate.name}"
            try:
                runs[candidate.name] = Run(candidate, screen, scene, bench.folder, label, bench.warm_up, bench.seconds)
            except NotMeasured as problem:
                bench.problem(f"{label}: {problem}")
    for run in runs.values():
        run.analyse(bench.build, "motion", screen.size, FPS, compare=8)
    report.raw[f"motion {screen.size}@{FPS}"] = {"X server alone": base, "runs": [run.record() for run in runs.values()]}
    lines = [(screen.size, "none (X server alone)", "", f"{base:.3f}", f"{base:.3f}", "", "", "", "", "")]
    for name, run in runs.items():
        missed, drawn = run.stream.missed(run.start, run.end)
        quality, latency = run.stream.quality, percentile(run.stream.latencies(), .5)
        lines.append((screen.size, name, f"{run.own:.3f}", f"{run.server:.3f}", f"{run.total:.3f}",
                      f"{run.pictures_per_second():.1f}", f"{run.contents_per_second():.1f}", f"{missed} of {drawn}",
                      f"{latency:.1f}" if latency is not None else "-", f"{quality.settled_luma:.1f}" if quality else "-"))
    return runs, lines


def _milliseconds_each(run):
    pictures = run.contents_per_second()
    return f"{1000 * run.total / pictures:.0f} ms" if pictures else "-"


def large_rows(runs):
    group = "2732x2048@60, motion"
    ours, theirs = runs.get(QuillonHost.name), runs.get(Ffmpeg.name)
    if not ours or not theirs:
        return [Row(group, "pictures and CPU", "as many pictures as ffmpeg at no more CPU", "-", None)]
    fast, reference = ours.contents_per_second(), theirs.contents_per_second()
    return [
        Row(group, "pictures, without repeated ones", f"at least ffmpeg's {reference:.1f} a second", f"{fast:.1f} a second",
            fast >= reference - 0.5,
            f"with them {ours.pictures_per_second():.1f}, ffmpeg {theirs.pictures_per_second():.1f}"),
        Row(group, "CPU for each of them", f"at most ffmpeg's {_milliseconds_each(theirs)}", _milliseconds_each(ours),
            fast > 0 and ours.total / fast <= theirs.total / max(reference, 1 / theirs.seconds),
            f"X server included; {ours.total:.2f} CPU-s/s in all, ffmpeg {theirs.total:.2f}"),
        at_most("memory", "peak at 2732x2048", ours.memory, MEMORY_TARGET_MIB, "MiB"),
    ]


def small_row(runs):
    group, name, target = "2048x1536@60, motion", "missed pictures", "none"
    ours = runs.get(QuillonHost.name)
    if not ours:
        return Row(group, name, target, "-", None)
    missed, drawn = ours.stream.missed(ours.start, ours.end)
    return Row(group, name, target, f"{missed} of {drawn}", missed == 0 and drawn > 0, f"{ours.pictures_per_second():.1f} a second")


def measure(bench, report):
    large, large_lines = run_at(bench, LARGE, report)
    small, small_lines = run_at(bench, SMALL, report)
    report.add(*large_rows(large), small_row(small))
    report.table("Full-screen motion at 60 pictures a second", "CPU seconds per second; latency in ms to the last byte.",
                 ["screen", "candidate", "own", "X server", "both", "pictures/s", "of them new", "contents never seen",
                  "latency p50", "PSNR of luma"], large_lines + small_lines)
