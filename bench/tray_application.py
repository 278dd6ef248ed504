"""The tray application: how soon a click shows its panel, and what it costs while nothing happens."""

import contextlib
import os
import statistics
import subprocess
import time

import procfs
from candidates import QuillonHost
from onlooker import Onlooker
from report import at_most
from running import NotMeasured, Program, Scene, Screen, wait_until

PANEL_TARGET_MS, CPU_TARGET_PERCENT, MEMORY_TARGET_MIB = 50, 0.5, 80
SIZE, FPS = (2048, 1536), 30
TIMES = 10  # after the first one
REST_SECONDS = 10
# After the last panel, until nothing more is sent and what only motion needs is given back.
SETTLE_SECONDS = 5
AIM_SECONDS = 0.2  # from arriving at the icon to the press
# Two clicks at one place within 400 ms are a double click, and one within 700 ms after the panel closed may be the
# one that closed it.
BETWEEN_CLICKS_SECONDS = 1

SETTINGS = "[Settings]\ntransport=usb\nmirror=true\nautoStart=true\npopoverUI=true\n"


class TrayApplication(QuillonHost):
    """The application as if from its bundle, streaming from its start."""

    streaming = "[Quillon] state: Mirroring"

    def __init__(self, screen, folder, environment):
        self.environment = environment
        super().__init__(screen, FPS, folder, "application")

    def command(self, screen, fps, home):
        settings, bundle = os.path.join(home, ".config", "Quillon"), os.path.join(home, "Quillon.app")
        os.makedirs(settings)
        os.makedirs(bundle)
        with open(os.path.join(settings, "settings.ini"), "w") as file:
            file.write(SETTINGS)
        program = os.path.join(bundle, "QuillonHost")
        os.symlink(os.path.join(self.build, "app", "QuillonHost"), program)
        return [program]


def private_environment(folder):
    """Without the bus, the desktop and the toolkit's settings of whoever starts the measurement."""
    runtime = os.path.join(folder, "run")
    os.makedirs(runtime, mode=0o700)
    return {"XDG_RUNTIME_DIR": runtime, "DBUS_SESSION_BUS_ADDRESS": f"unix:path={runtime}/no-bus", "XDG_CURRENT_DESKTOP": "",
            "QT_QPA_PLATFORM": "xcb", "QT_QPA_PLATFORMTHEME": "", "QT_SCALE_FACTOR": "1"}


@contextlib.contextmanager
def desktop(screen, folder, environment):
    """A window manager, and a tray of the XEmbed kind."""
    env, started = {**screen.env, **environment}, os.path.join(folder, "openbox-runs")
    with Program(["openbox", "--sm-disable", "--startup", f"touch '{started}'"], os.path.join(folder, "openbox.log"),
                 env=env) as manager:
        wait_until(lambda: manager.require_running() or os.path.exists(started), 10, "the window manager's start")
        with Program(["trayer", "--edge", "top", "--align", "right", "--widthtype", "pixel", "--width", 24, "--heighttype",
                      "pixel", "--height", 24], os.path.join(folder, "trayer.log"), env=env) as tray:
            wait_until(lambda: tray.require_running() or windows(screen, "trayer"), 10, "the tray's start")
            yield


def _xdotool(screen, *words):
    try:
        result = subprocess.run(["xdotool", *words], env={**os.environ, **screen.env}, capture_output=True, text=True,
                                timeout=10, check=False)
    except FileNotFoundError as error:
        raise NotMeasured("xdotool is not there") from error
    return result.stdout.split()


def windows(screen, name):
    """Those that are shown and have such a class."""
    return _xdotool(screen, "search", "--onlyvisible", "--class", f"^{name}$")


def middle(screen, window):
    """Of a window, on the screen."""
    place = dict(line.split("=") for line in _xdotool(screen, "getwindowgeometry", "--shell", window))
    return [int(place[corner]) + int(place[size]) // 2 for corner, size in (("X", "WIDTH"), ("Y", "HEIGHT"))]


def panel_times(bench, screen, application):
    """For each click: milliseconds until the panel is mapped and until it is painted."""
    icon, *_ = wait_until(lambda: application.program.require_running() or windows(screen, "Quillon"), 10, "the icon in the tray")
    place, times = middle(screen, icon), []
    time.sleep(bench.warm_up)
    with Onlooker(screen.display) as onlooker:
        for _ in range(1 + TIMES):
            onlooker.move(*place)
            time.sleep(AIM_SECONDS)
            times.append(onlooker.click_to_show())
            time.sleep(BETWEEN_CLICKS_SECONDS)
            onlooker.click_to_hide()
            onlooker.move(0, 0)
            time.sleep(BETWEEN_CLICKS_SECONDS)
    application.program.require_running()
    return times


def at_rest(bench, screen, application):
    """While a still screen is streamed and the panel is closed."""
    with Scene(bench.build, screen, "still", FPS, bench.folder):
        time.sleep(bench.warm_up + 1)
        cpu, wakeups = procfs.CpuMeter(application.pid), procfs.WakeupMeter(application.pid)
        time.sleep(REST_SECONDS)
        application.program.require_running()
        return {"percent": cpu.per_second() * 100,
                "wake-ups": wakeups.per_second(),
                "resident": procfs.resident_memory_mib(application.pid),
                "proportional": procfs.proportional_memory_mib(application.pid)}


def measure(bench, report):
    if QuillonHost not in bench.candidates:
        raise NotMeasured("QuillonHost is not built")
    folder = os.path.join(bench.folder, "application")
    environment = private_environment(folder)
    with Screen(*SIZE, bench.folder) as screen, desktop(screen, folder, environment), \
            TrayApplication(screen, folder, environment) as application:
        application.wait_for_stream()
        rest = at_rest(bench, screen, application)
        clicks = panel_times(bench, screen, application)
        time.sleep(SETTLE_SECONDS)
        later = procfs.resident_memory_mib(application.pid)
    report.raw["application"] = {"clicks": clicks, "rest": rest, "resident later": later}
    (first_mapped, first), *others = clicks
    mapped, painted = zip(*others)
    report.add(
        at_most("panel", "from the first click until it is painted", first, PANEL_TARGET_MS, "ms", f"mapped after {first_mapped:.1f} ms"),
        at_most("panel", "the same later, p50", statistics.median(painted), PANEL_TARGET_MS, "ms",
                f"mapped after {statistics.median(mapped):.1f} ms"),
        at_most("panel", "the same later, slowest", max(painted), PANEL_TARGET_MS, "ms", f"{len(painted)} clicks"),
        at_most("application at rest", "CPU while a still screen is streamed", rest["percent"], CPU_TARGET_PERCENT, "% of a core",
                f"over {REST_SECONDS} s, {rest['wake-ups']:.1f} wake-ups a second"),
        at_most("application at rest", "resident memory", rest["resident"], MEMORY_TARGET_MIB, "MiB",
                f"{rest['proportional']:.0f} MiB with shared pages divided among their processes"),
        at_most("application at rest", f"resident memory after {len(clicks)} times the panel", later, MEMORY_TARGET_MIB, "MiB",
                f"{SETTLE_SECONDS} s after it closed"))
