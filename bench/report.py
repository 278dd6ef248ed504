"""The report: rows that hold a target or miss it, as Markdown and JSON."""

import datetime
import json
import os
import platform
import subprocess


class Row:
    """One target. `held` is None where nothing could be measured."""

    def __init__(self, group, name, target, measured, held, note=""):
        self.group, self.name, self.target, self.measured, self.held, self.note = group, name, target, measured, held, note

    @property
    def verdict(self):
        return {True: "held", False: "missed", None: "not measured"}[self.held]


def at_most(group, name, value, limit, unit, note=""):
    """A row for a value with an upper limit; a value of None was not measured."""
    target = f"at most {limit:g} {unit}".strip()
    if value is None:
        return Row(group, name, target, "-", None, note)
    return Row(group, name, target, f"{value:.3g} {unit}".strip(), value <= limit, note)


def _first_line(*command):
    try:
        result = subprocess.run(command, capture_output=True, text=True, timeout=10, check=False)
    except (OSError, subprocess.TimeoutExpired):
        return "absent"
    return ((result.stdout or "") + (result.stderr or "")).strip().split("\n")[0]


def _processor():
    with open("/proc/cpuinfo") as file:
        for line in file:
            if line.startswith("model name"):
                return line.partition(":")[2].strip()
    return platform.machine()


def _package(name):
    return _first_line("dpkg-query", "-W", "-f", "${Version}", name)


def surroundings(build):
    """What the numbers depend on."""
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    host = os.path.join(build, "app", "QuillonHost")
    return {
        "date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"),
        "machine": f"{_processor()}, {os.cpu_count()} cores, {memory:.0f} GiB, {platform.system()} {platform.release()}",
        "commit": _first_line("git", "-C", os.path.dirname(os.path.abspath(__file__)), "describe", "--always", "--dirty"),
        "QuillonHost": _first_line(host, "--version") if os.path.exists(host) else "absent",
        "ffmpeg": _first_line("ffmpeg", "-version").partition(" Copyright")[0],
        "GStreamer": _first_line("gst-launch-1.0", "--version"),
        "libx264": _package("libx264-164"),
        "X server": _package("xserver-xorg-core"),
    }


def _table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    lines += ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


class Report:
    def __init__(self, build, settings):
        self.about = {**surroundings(build), "settings": settings}
        self.rows = []
        self.tables = []  # (title, remark, head, rows)
        self.raw = {}

    def add(self, *rows):
        self.rows += rows
        for row in rows:
            print(f"  {row.verdict:12} {row.group}: {row.name}: {row.measured} ({row.target}) {row.note}", flush=True)

    def table(self, title, remark, head, rows):
        self.tables.append((title, remark, head, rows))

    def markdown(self):
        parts = ["# Speed and memory\n", "".join(f"- {name}: {value}\n" for name, value in self.about.items())]
        held = sum(row.held is True for row in self.rows)
        missed = sum(row.held is False for row in self.rows)
        parts.append(f"Targets: {held} held, {missed} missed, {len(self.rows) - held - missed} not measured.\n")
        parts.append(_table(["", "target", "measured", "", ""],
                            [(f"{row.group}: {row.name}", row.target, row.measured, row.verdict, row.note) for row in self.rows]))
        for title, remark, head, rows in self.tables:
            parts += [f"## {title}\n", remark + "\n", _table(head, rows)]
        return "\n".join(parts)

    def write(self, folder):
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "report.md"), "w") as file:
            file.write(self.markdown())
        with open(os.path.join(folder, "report.json"), "w") as file:
            json.dump({"about": self.about, "targets": [{**vars(row), "verdict": row.verdict} for row in self.rows],
                       "measurements": self.raw}, file, indent=1)
