"""Programs that a measurement runs, and the screen that they run on."""

import os
import select
import signal
import subprocess
import time


class NotMeasured(Exception):
    """A measurement that cannot be made here; the text says why."""


class Program:
    """A process with its output in a file; ended with the `with` block."""

    def __init__(self, command, log, env=None, end_signal=signal.SIGTERM, **options):
        self._end_signal = end_signal
        self.log_path = log
        with open(log, "wb") as output:
            try:
                self.process = subprocess.Popen(
                    [str(word) for word in command], env={**os.environ, **(env or {})}, stdin=subprocess.DEVNULL,
                    stderr=output, **{"stdout": output, **options})
            except FileNotFoundError as error:
                raise NotMeasured(f"{command[0]} is not there") from error

    @property
    def pid(self):
        return self.process.pid

    def require_running(self):
        if self.process.poll() is not None:
            raise NotMeasured(f"{os.path.basename(self.process.args[0])} ended early: {self.last_words()}")

    def said(self, text):
        with open(self.log_path, errors="replace") as file:
            return text in file.read()

    def last_words(self):
        with open(self.log_path, errors="replace") as file:
            return " / ".join(file.read().split("\n")[-4:]).strip(" /") or "it said nothing"

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(self._end_signal)
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()


def wait_until(condition, seconds, what):
    """The condition's first true value."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise NotMeasured(f"{what} did not happen within {seconds} s")
        time.sleep(0.01)


XORG_CONFIGURATION = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))),
                                  "scripts", "lib", "xorg-dummy.conf")
# What the screen starts with; the wanted size comes at run time.
XORG_START = {"@MODE@": "1024x768", "@TIMING@": "65.00 1024 1048 1184 1344 768 771 777 806"}


def xorg_configuration(width, height):
    with open(XORG_CONFIGURATION) as file:
        text = file.read()
    for place, value in {**XORG_START, "@VIRTUAL@": f"{width} {height}"}.items():
        text = text.replace(place, value)
    return text


def modeline(width, height, refresh=60):
    """xrandr's words for a mode of exactly this size (cvt would round it)."""
    across, down = width + 240, height + 40
    clock = across * down * refresh / 1e6
    return [f"{clock:.3f}", *(str(number) for number in (
        width, width + 80, width + 120, across, height, height + 3, height + 9, down))]


class Screen:
    """An own X server without a graphics card, with one screen of the given size."""

    def __init__(self, width, height, folder):
        self.width, self.height = width, height
        name = f"{width}x{height}"
        configuration = os.path.join(folder, f"xorg-{name}.conf")
        with open(configuration, "w") as file:
            file.write(xorg_configuration(width, height))
        # As an ordinary user the server binary itself has to be run, not its wrapper.
        server = "/usr/lib/xorg/Xorg" if os.path.exists("/usr/lib/xorg/Xorg") else "Xorg"
        read_end, write_end = os.pipe()
        try:
            self._server = Program(
                [server, "-config", configuration, "-noreset", "-nolisten", "tcp", "-novtswitch", "-sharevts", "-ac",
                 "-logfile", os.path.join(folder, f"xorg-{name}.log"), "-displayfd", str(write_end)],
                os.path.join(folder, f"xorg-{name}.out"), pass_fds=[write_end])
        finally:
            os.close(write_end)
        with open(read_end) as answer:
            number = answer.readline().strip()  # empty when the server ends
        self.display = f":{number}"
        self.env = {"DISPLAY": self.display}
        if not number:
            self._server.stop()
            raise NotMeasured(f"no X server: {self._server.last_words()}")
        try:
            mode = f"exact-{name}"
            # The driver refuses high pixel clocks in its configuration, but not at run time.
            self._xrandr("--newmode", mode, *modeline(width, height))
            self._xrandr("--addmode", "DUMMY0", mode)
            self._xrandr("--output", "DUMMY0", "--mode", mode)
        except NotMeasured:
            self._server.stop()
            raise

    def _xrandr(self, *words):
        result = subprocess.run(["xrandr", *words], env={**os.environ, **self.env}, capture_output=True, text=True,
                                timeout=20, check=False)
        if result.returncode:
            raise NotMeasured(f"xrandr: {result.stderr.strip()}")

    @property
    def pid(self):
        return self._server.pid

    @property
    def size(self):
        return f"{self.width}x{self.height}"

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._server.stop()


class Scene:
    """quillon-scene on a screen, from its first picture on."""

    def __init__(self, build, screen, name, fps, folder):
        self.name, self.fps = name, fps
        self._log = os.path.join(folder, f"scene-{name}-{screen.size}-{fps}.log")
        self._program = Program([os.path.join(build, "bench", "quillon-scene"), name, "--fps", fps, "--log", self._log],
                                self._log + ".err", env=screen.env, stdout=subprocess.PIPE)
        ready, _, _ = select.select([self._program.process.stdout], [], [], 20)
        if not ready or not self._program.process.stdout.readline():
            self._program.stop()
            raise NotMeasured(f"the scene did not start: {self._program.last_words()}")

    def drawn(self):
        """Index -> when the server was asked to draw it (ns, monotonic clock). When it had done so, the log tells as
        well, but on a busy machine the scene learns it later than those who look on."""
        with open(self._log) as file:
            lines = [line.split() for line in file if line.endswith("\n")]
        return {int(index): int(asked) for index, _, asked in lines}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._program.stop()
        self._program.process.stdout.close()
