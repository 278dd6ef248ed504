"""The programs that are compared. Each captures a screen, encodes it as H.264 and sends it to a receiver
that keeps the stream and the times at which its pictures arrived."""

import bisect
import os
import shutil
import signal
import socket
import threading
import time

from running import NotMeasured, Program, wait_until

BITS_PER_SECOND = 18_000_000


class StreamFile:
    """Receives one TCP connection into a file."""

    def __init__(self, path):
        self.path = path
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        self._ends, self._moments = [], []
        self._thread = threading.Thread(target=self._receive, daemon=True)
        self._thread.start()

    def _receive(self):
        buffer = memoryview(bytearray(1 << 20))
        total = 0
        self._listener.settimeout(30)
        try:
            connection, _ = self._listener.accept()
        except OSError:
            return
        with connection, open(self.path, "wb") as file:
            while True:
                try:
                    count = connection.recv_into(buffer)
                except OSError:
                    break
                if not count:
                    break
                moment = time.monotonic_ns()
                total += count
                self._moments.append(moment)
                self._ends.append(total)
                file.write(buffer[:count])

    @property
    def received(self):
        return self._ends[-1] if self._ends else 0

    def arrival(self, offset):
        """When the byte before this offset arrived (ns)."""
        at = bisect.bisect_left(self._ends, offset)
        return self._moments[min(at, len(self._moments) - 1)]

    def close(self):
        self._listener.close()
        self._thread.join(5)


class Peer:
    """A program that writes an H.264 byte stream to a TCP port."""

    def __init__(self, screen, fps, folder, label):
        self.stream_path = os.path.join(folder, f"{label}.h264")
        self._file = StreamFile(self.stream_path)
        try:
            self.program = Program(self.command(screen, fps, self._file.port), os.path.join(folder, f"{label}.log"),
                                   env=screen.env, end_signal=signal.SIGINT)
        except NotMeasured:
            self._file.close()
            raise

    @property
    def pid(self):
        return self.program.pid

    def wait_for_stream(self):
        wait_until(lambda: self.program.require_running() or self._file.received, 15, f"the first byte of {self.name}")

    def arrivals(self, ends):
        """When each picture was there whole (ns); `ends` are the offsets behind the pictures."""
        return [self._file.arrival(end) for end in ends]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.program.stop()
        self._file.close()


class Ffmpeg(Peer):
    name = "ffmpeg"

    @staticmethod
    def command(screen, fps, port):
        return ["ffmpeg", "-nostdin", "-loglevel", "error", "-f", "x11grab", "-framerate", fps, "-video_size", screen.size,
                "-i", screen.display, "-pix_fmt", "yuv420p", "-c:v", "libx264", "-preset", "ultrafast", "-tune",
                "zerolatency", "-profile:v", "main", "-b:v", BITS_PER_SECOND, "-f", "h264", f"tcp://127.0.0.1:{port}"]


class GStreamer(Peer):
    name = "GStreamer"

    @staticmethod
    def command(screen, fps, port):
        return ["gst-launch-1.0", "-q", "ximagesrc", f"display-name={screen.display}", "!", f"video/x-raw,framerate={fps}/1",
                "!", "videoconvert", "!", "video/x-raw,format=I420", "!", "x264enc", "speed-preset=ultrafast",
                "tune=zerolatency", f"bitrate={BITS_PER_SECOND // 1000}", "!",
                "video/x-h264,profile=main,stream-format=byte-stream", "!", "tcpclientsink", "host=127.0.0.1",
                f"port={port}", "sync=false"]


class QuillonHost:
    """The host behind a mux server, with the reference device at its other end."""

    name = "QuillonHost"
    build = None  # set once by the caller
    environment = {}  # what the host gets besides
    streaming = "[session] Mirroring"  # its word that it streams

    def __init__(self, screen, fps, folder, label):
        self.stream_path = os.path.join(folder, f"{label}.h264")
        base = os.path.join(folder, label)
        self.message_log, self.summary_path = base + ".messages", base + ".json"
        mux = os.path.join(folder, "mux.sock")
        if os.path.exists(mux):
            os.unlink(mux)
        self._device = Program(
            [os.path.join(self.build, "device", "quillon-device"), "--headless", *self.receiving(base), "--no-tcp",
             "--usbmux", mux, "--panel", screen.size, "--record", self.stream_path, "--message-log", self.message_log,
             "--json", self.summary_path],
            base + ".device.log", end_signal=signal.SIGTERM)
        try:
            wait_until(lambda: self._device.require_running() or os.path.exists(mux), 5, "the device's mux server")
            home = os.path.join(folder, "home")
            os.makedirs(home, exist_ok=True)
            self.program = Program(
                self.command(screen, fps, home), base + ".log",
                env={**screen.env, **host_environment(home), "USBMUXD_SOCKET_ADDRESS": f"UNIX:{mux}",
                     **self.environment},
                end_signal=signal.SIGINT)
        except NotMeasured:
            self._device.stop()
            raise

    def receiving(self, base):
        """How the device takes pictures: with as little work as the peers' receivers have."""
        return ["--no-decode"]

    def command(self, screen, fps, home):
        return host_command(self.build, screen, fps, "--transport", "usb")

    @property
    def pid(self):
        return self.program.pid

    def wait_for_stream(self):
        wait_until(lambda: self.program.require_running() or self.program.said(self.streaming), 15,
                   "QuillonHost's stream")

    def messages(self):
        return read_messages(self.message_log)

    def arrivals(self, ends):
        moments = [message.last for message in self.messages() if message.type == VIDEO_FRAME]
        if len(moments) < len(ends):
            raise NotMeasured(f"{len(ends)} pictures recorded, {len(moments)} received")
        return moments[:len(ends)]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.program.stop()
        self._device.stop()


class ShownQuillonHost(QuillonHost):
    """The same with a device that decodes each picture and reads its counter."""

    def receiving(self, base):
        self.counter_log = base + ".counters"
        return ["--counter-log", self.counter_log]


VIDEO_FRAME, CURSOR, LINK_NAME = 2, 6, 7


class Message:
    """A line of the device's message log: first and last byte (ns), type, length, pts; a pointer's place."""

    def __init__(self, line):
        words = line.split()
        self.first, self.last, self.type, self.length = (int(word) for word in words[:4])
        self.place = tuple(float(word) for word in words[5:7]) if self.type == CURSOR and len(words) >= 7 else None


def read_messages(path):
    with open(path) as file:
        return [Message(line) for line in file if line.endswith("\n") and line[0].isdigit()]


def host_command(build, screen, fps, *link):
    return [os.path.join(build, "app", "QuillonHost"), "--mirror", "--width", screen.width, "--height", screen.height,
            "--fps", fps, *link]


def host_environment(home):
    """The host's settings and log go into a folder of the measurement."""
    return {"HOME": home, "XDG_CONFIG_HOME": os.path.join(home, ".config"), "XDG_STATE_HOME": os.path.join(home, ".state")}


def available(build):
    """The candidates that this machine has, and why others are left out."""
    QuillonHost.build = build
    chosen, missing = [Ffmpeg, GStreamer], []
    if os.path.exists(os.path.join(build, "app", "QuillonHost")):
        chosen.append(QuillonHost)
    else:
        missing.append("QuillonHost is not built")
    for peer, program in ((Ffmpeg, "ffmpeg"), (GStreamer, "gst-launch-1.0")):
        if not shutil.which(program):
            chosen.remove(peer)
            missing.append(f"{program} is not installed")
    return chosen, missing
