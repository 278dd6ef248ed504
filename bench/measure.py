#!/usr/bin/env python3
"""Measures QuillonHost against ffmpeg and GStreamer on the same scenes. scripts/bench builds and starts this."""

import argparse
import os
import shutil
import sys
import tempfile
import time

import candidates
import extending
import full_rate
import procfs
import scene_costs
import small_costs
import strained_link
import through_device
import tray_application
from report import Report, Row
from running import NotMeasured

# In this order: name, what measures it.
GROUPS = {
    "scenes": scene_costs.measure,
    "full-rate": full_rate.measure,
    "device": through_device.measure,
    "link": strained_link.measure,
    "small": small_costs.measure,
    "extend": extending.measure,
    "application": tray_application.measure,
}


# Cores that may be at work before a measurement.
BUSY = 0.2


class Bench:
    """What all measurements share."""

    def __init__(self, arguments, folder):
        self.build, self.folder, self.only = os.path.abspath(arguments.build), folder, arguments.only
        self.repeats = 1 if arguments.quick else 3
        self.warm_up = 1.5 if arguments.quick else 2.0
        self.seconds = 2.0 if arguments.quick else 3.0
        self.candidates, missing = candidates.available(self.build)
        self.problems = []
        for one in missing:
            self.problem(one)

    def wants(self, name):
        return not self.only or name in self.only

    def problem(self, text):
        print(f"  ! {text}", flush=True)
        self.problems.append(text)


def parse():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="the build folder")
    parser.add_argument("--out", default="out/bench", help="where the report goes")
    parser.add_argument("--quick", action="store_true", help="shorter and once only: good to see the order of things")
    parser.add_argument("--only", action="append", metavar="NAME",
                        help=f"measure this only; repeatable: {', '.join([*GROUPS, *scene_costs.COST_TARGETS])}")
    parser.add_argument("--keep", action="store_true", help="keep the recorded streams and logs")
    return parser.parse_args()


def main():
    arguments = parse()
    folder = tempfile.mkdtemp(prefix="quillon-bench-")
    try:
        bench = Bench(arguments, folder)
        others = procfs.busy_cores()
        if others > BUSY:
            bench.problem(f"other programs keep {others:.1f} cores busy: trust the ratios at most")
        settings = f"{bench.repeats} x {bench.seconds:g} s after {bench.warm_up:g} s of warm-up"
        report = Report(bench.build, settings)
        for name, measure in GROUPS.items():
            scenes = name == "scenes" and any(bench.wants(scene) for scene in scene_costs.COST_TARGETS)
            if not bench.wants(name) and not scenes:
                continue
            start = time.monotonic()
            print(f"{name} ...", flush=True)
            try:
                measure(bench, report)
            except NotMeasured as problem:
                report.add(Row(name, "all", "", "-", None, str(problem)))
            print(f"{name}: {time.monotonic() - start:.0f} s", flush=True)
        if bench.problems:
            report.raw["problems"] = bench.problems
            report.about["problems"] = "; ".join(bench.problems)
        report.write(arguments.out)
        print("\n" + report.markdown())
        print(f"Written to {arguments.out}/report.md and report.json.")
    finally:
        if arguments.keep:
            print(f"Streams and logs are in {folder}.")
        else:
            shutil.rmtree(folder, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
