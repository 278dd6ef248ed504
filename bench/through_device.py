"""Latency as the device sees it: from the screen's change to the decoded picture that shows it, for QuillonHost and for
ffmpeg into the same decoder."""

import os
import signal
import socket
import struct
import threading
import time

from candidates import Ffmpeg, QuillonHost, ShownQuillonHost
from report import Row
from running import NotMeasured, Program, Scene, Screen, wait_until
from streams import percentile

SIZE, FPS = (2048, 1536), 30
CODEC_CONFIGURATION, VIDEO_FRAME = 1, 2


def read_counters(path):
    """Index -> when the first picture that shows it was decoded (ns)."""
    seen = {}
    with open(path) as file:
        for line in file:
            words = line.split()
            if line.endswith("\n") and len(words) == 4 and words[3].isdigit():
                seen.setdefault(int(words[3]), int(words[2]))
    return seen


class FlvReader:
    """The pictures of an FLV stream, which tells their lengths in advance: nothing has to be waited for to know
    where one ends."""

    def __init__(self, connection):
        self._file = connection.makefile("rb")
        self._exactly(13)  # the file's header and the length of no tag before it

    def _exactly(self, count):
        data = self._file.read(count)
        if len(data) < count:
            raise EOFError
        return data

    def packets(self):
        """(message type, payload) as the wire protocol has them, until the stream ends."""
        try:
            while True:
                head = self._exactly(11)
                body = self._exactly(int.from_bytes(head[1:4], "big"))
                self._exactly(4)
                if head[0] != 9 or len(body) < 5:
                    continue
                if body[1] == 0:
                    yield CODEC_CONFIGURATION, self._parameter_sets(body[5:])
                elif body[1] == 1:
                    yield VIDEO_FRAME, body[5:]
        except EOFError:
            return

    @staticmethod
    def _parameter_sets(record):
        """The sets of a decoder configuration record with their lengths in four bytes instead of two."""
        result, at = b"", 5
        for mask in (0x1F, 0xFF):
            count = record[at] & mask
            at += 1
            for _ in range(count):
                length = int.from_bytes(record[at:at + 2], "big")
                result += struct.pack(">I", length) + record[at + 2:at + 2 + length]
                at += 2 + length
        return result


class FfmpegIntoDevice:
    """ffmpeg whose pictures are handed to the reference device as a host would send them."""

    name = Ffmpeg.name

    def __init__(self, screen, fps, folder, label):
        base = os.path.join(folder, label)
        self.counter_log = base + ".counters"
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        self._device = Program(
            [os.path.join(QuillonHost.build, "device", "quillon-device"), "--headless", "--bind", "127.0.0.1", "--port", port,
             "--panel", screen.size, "--counter-log", self.counter_log], base + ".device.log")
        self._link = wait_until(lambda: self._device.require_running() or self._connect(port), 5, "the device's port")
        self._link.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._listener = socket.create_server(("127.0.0.1", 0))
        threading.Thread(target=self._drain, daemon=True).start()
        self._relay_thread = threading.Thread(target=self._relay, daemon=True)
        self._relay_thread.start()
        *command, _, address = Ffmpeg.command(screen, fps, self._listener.getsockname()[1])
        command += ["flv", "-flvflags", "no_duration_filesize", address]
        self.program = Program(command, base + ".log", env=screen.env, end_signal=signal.SIGINT)

    @staticmethod
    def _connect(port):
        try:
            return socket.create_connection(("127.0.0.1", port), 1)
        except OSError:
            return None

    def _drain(self):
        """Reads the device's greeting and acknowledgements away."""
        self._link.settimeout(None)
        try:
            while self._link.recv(65536):
                pass
        except OSError:
            pass

    def _relay(self):
        try:
            connection, _ = self._listener.accept()
            with connection:
                for count, (kind, payload) in enumerate(FlvReader(connection).packets()):
                    header = struct.pack(">BIQ", kind, len(payload), count * 1000 if kind == VIDEO_FRAME else 0)
                    self._link.sendall(header + payload)
        except OSError:
            pass

    def wait_for_stream(self):
        wait_until(lambda: self.program.require_running() or (
            os.path.exists(self.counter_log) and os.path.getsize(self.counter_log)), 15, "the first picture of ffmpeg")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.program.stop()
        self._relay_thread.join(5)
        self._listener.close()
        self._link.close()
        self._device.stop()


def latencies(bench, candidate, screen, scene_name):
    with Scene(bench.build, screen, scene_name, FPS, bench.folder) as scene:
        with candidate(screen, FPS, bench.folder, f"decoded-{scene_name}-{candidate.name}") as running:
            running.wait_for_stream()
            time.sleep(bench.warm_up)
            since = time.monotonic_ns()
            time.sleep(bench.seconds)
            end = time.monotonic_ns()
        seen = read_counters(running.counter_log)
        return [(seen[index] - moment) / 1e6 for index, moment in scene.drawn().items()
                if since <= moment < end and index in seen]


def measure(bench, report):
    if not os.path.exists(os.path.join(bench.build, "device", "quillon-device")):
        raise NotMeasured("quillon-device is not built")
    lines, raw = [], {}
    with Screen(*SIZE, bench.folder) as screen:
        for scene_name in ("typing", "motion"):
            medians = {}
            for candidate in (FfmpegIntoDevice, ShownQuillonHost):
                if candidate is ShownQuillonHost and QuillonHost not in bench.candidates:
                    continue
                try:
                    samples = latencies(bench, candidate, screen, scene_name)
                except NotMeasured as problem:
                    bench.problem(f"{scene_name}, {candidate.name} into the device: {problem}")
                    continue
                if samples:
                    raw.setdefault(scene_name, {})[candidate.name] = samples
                    medians[candidate.name] = percentile(samples, 0.5)
                    lines.append((scene_name, candidate.name, f"{medians[candidate.name]:.1f}", f"{percentile(samples, .95):.1f}",
                                  len(samples)))
            ours, theirs = medians.get(QuillonHost.name), medians.get(Ffmpeg.name)
            held = ours <= theirs if ours is not None and theirs is not None else None
            report.add(Row("latency at the device, p50", scene_name, "not above ffmpeg's" if theirs is None else f"not above ffmpeg's {theirs:.1f} ms",
                           "-" if ours is None else f"{ours:.1f} ms", held))
    report.raw["latency at the device"] = raw
    report.table("Latency at the device",
                 "Milliseconds from the scene's drawing request to the decoded picture that shows it; the same decoder for both.",
                 ["scene", "candidate", "p50", "p95", "samples"], lines)
