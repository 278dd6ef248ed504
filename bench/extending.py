"""Touches and panel changes while QuillonHost extends the desktop."""

import os
import statistics

from candidates import QuillonHost, host_environment
from report import at_most
from running import NotMeasured, Program, Screen

TOUCH_TARGET_MS, PANEL_TARGET_MS = 2, 1200
SETTLING_MS = 600  # that a desktop gets when its size changes
SIZE = (1920, 1080)
TOUCHES = 400


def samples(bench, screen):
    """What quillon-touches measured: name -> milliseconds."""
    socket = os.path.join(bench.folder, "touches.sock")
    tablet = Program([os.path.join(bench.build, "bench", "quillon-touches"), socket, TOUCHES],
                     os.path.join(bench.folder, "touches.log"), env=screen.env)
    env = {**screen.env, **host_environment(bench.folder), "USBMUXD_SOCKET_ADDRESS": f"UNIX:{socket}"}
    host = Program([os.path.join(bench.build, "app", "QuillonHost")], os.path.join(bench.folder, "touches-host.log"), env=env)
    with host, tablet:
        try:
            status = tablet.process.wait(90)
        except Exception as error:
            raise NotMeasured("the touches did not come to an end") from error
        if status:
            raise NotMeasured(f"{tablet.last_words()}; {host.last_words()}")
    result = {}
    with open(tablet.log_path) as file:
        for line in file:
            name, _, value = line.partition(" ")
            if name in ("touch", "panel"):
                result.setdefault(name, []).append(float(value))
    return result


def measure(bench, report):
    if QuillonHost not in bench.candidates:
        raise NotMeasured("QuillonHost is not built")
    with Screen(*SIZE, bench.folder) as screen:
        measured = samples(bench, screen)
    report.raw["extending"] = measured
    if min(measured["panel"]) < SETTLING_MS:
        raise NotMeasured("the desktop did not change with the panel")
    report.add(
        at_most("touch", "from the device's sending to the pointer's event, p50", statistics.median(measured["touch"]),
                TOUCH_TARGET_MS, "ms", f"{len(measured['touch'])} touches"),
        at_most("panel change", "from the report to the first new picture, decoded, slowest", max(measured["panel"]),
                PANEL_TARGET_MS, "ms", f"{SETTLING_MS} ms of it are the desktop's time to settle"))
