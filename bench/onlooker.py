"""A client of an X server that looks on while its pointer clicks: when does the window come that a click opens?

It speaks the X protocol itself, because between an event and its time nothing may stand but the socket."""

import select
import socket
import struct
import time

from running import NotMeasured

CHANGE_WINDOW_ATTRIBUTES, QUERY_EXTENSION = 2, 98
EVENT_MASK, STRUCTURE_NOTIFY, SUBSTRUCTURE_NOTIFY = 1 << 11, 1 << 17, 1 << 19
ERROR, REPLY, BUTTON_PRESS, BUTTON_RELEASE, MOTION_NOTIFY = 0, 1, 4, 5, 6
CREATE_NOTIFY, DESTROY_NOTIFY, UNMAP_NOTIFY, MAP_NOTIFY = 16, 17, 18, 19
DAMAGE_QUERY_VERSION, DAMAGE_CREATE, DAMAGE_SUBTRACT, BOUNDING_BOX = 0, 1, 3, 2
XTEST_FAKE_INPUT = 2

PATIENCE = 5


class Connection:
    """To the server of a display that asks for no password."""

    def __init__(self, display):
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.connect(f"/tmp/.X11-unix/X{display.lstrip(':')}")
        self._socket.sendall(struct.pack("<BxHHHHxx", ord("l"), 11, 0, 0, 0))
        accepted, length = struct.unpack("<B5xH", self._exactly(8))
        setup = self._exactly(4 * length)
        if accepted != 1:
            raise NotMeasured("the X server refuses the onlooker")
        self._next_name, vendor, formats = struct.unpack_from("<4xI8xH3xB", setup)
        self.root, = struct.unpack_from("<I", setup, 32 + (vendor + 3) // 4 * 4 + 8 * formats)
        self._events = []

    def close(self):
        self._socket.close()

    def _exactly(self, count):
        data = b""
        while len(data) < count:
            part = self._socket.recv(count - len(data))
            if not part:
                raise NotMeasured("the X server is gone")
            data += part
        return data

    def new_name(self):
        self._next_name += 1
        return self._next_name

    def send(self, major, minor, *words):
        body = b"".join(word if isinstance(word, bytes) else struct.pack("<I", word) for word in words)
        self._socket.sendall(struct.pack("<BBH", major, minor, 1 + len(body) // 4) + body)

    def _packet(self):
        """(code, bytes, when it came)"""
        packet, moment = self._exactly(32), time.monotonic()
        code = packet[0] & 0x7F
        if code == REPLY:
            packet += self._exactly(4 * struct.unpack_from("<I", packet, 4)[0])
        return code, packet, moment

    def reply(self):
        """To the one question that is open; events wait."""
        while True:
            code, packet, moment = self._packet()
            if code == REPLY:
                return packet
            if code == ERROR:
                raise NotMeasured("the X server refuses a question")
            self._events.append((code, packet, moment))

    def event(self, deadline):
        """The next one, or None."""
        if self._events:
            return self._events.pop(0)
        ready, _, _ = select.select([self._socket], [], [], max(0, deadline - time.monotonic()))
        return self._packet() if ready else None

    def extension(self, name):
        """Its major opcode and first event."""
        self.send(QUERY_EXTENSION, 0, struct.pack("<Hxx", len(name)), name.encode().ljust((len(name) + 3) // 4 * 4, b"\0"))
        present, major, first_event = struct.unpack_from("<8xBBB", self.reply())
        if not present:
            raise NotMeasured(f"the X server has no {name}")
        return major, first_event


class Window:
    """A window of a program; moments are None until they come."""

    def __init__(self, damage):
        self.damage, self.mapped, self.painted = damage, None, None


class Onlooker:
    def __init__(self, display):
        self._server = Connection(display)
        self._damage, self._damage_event = self._server.extension("DAMAGE")
        self._xtest, _ = self._server.extension("XTEST")
        self._server.send(self._damage, DAMAGE_QUERY_VERSION, 1, 1)
        self._server.reply()
        self._windows = {}
        self._select(self._server.root, SUBSTRUCTURE_NOTIFY)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._server.close()

    def _select(self, window, events):
        self._server.send(CHANGE_WINDOW_ATTRIBUTES, 0, window, EVENT_MASK, events)

    def _fake(self, kind, detail, x=0, y=0):
        self._server.send(self._xtest, XTEST_FAKE_INPUT, struct.pack("<BBxxII8xhh8x", kind, detail, 0, self._server.root, x, y))

    def move(self, x, y):
        self._fake(MOTION_NOTIFY, 0, x, y)

    def click(self):
        self._fake(BUTTON_PRESS, 1)
        self._fake(BUTTON_RELEASE, 1)

    def click_to_show(self):
        """Milliseconds from the press until a window is mapped and until all of it is painted."""
        self._take_events(lambda: False, 0)
        for window in self._windows.values():
            window.mapped = window.painted = None
            self._server.send(self._damage, DAMAGE_SUBTRACT, window.damage, 0, 0)
        pressed = time.monotonic()
        self.click()
        if not self._take_events(self._shown, PATIENCE):
            raise NotMeasured("no window came after a click")
        window = self._shown()
        return (window.mapped - pressed) * 1000, (window.painted - pressed) * 1000

    def click_to_hide(self):
        self.click()
        if not self._take_events(lambda: not self._shown(), PATIENCE):
            raise NotMeasured("the window did not go after a click")

    def _shown(self):
        return next((window for window in self._windows.values() if window.painted), None)

    def _take_events(self, condition, seconds):
        """Whether the condition came true."""
        deadline = time.monotonic() + seconds
        while not condition():
            event = self._server.event(deadline)
            if event is None:
                return False
            self._take(*event)
        return True

    def _take(self, code, packet, moment):
        name, = struct.unpack_from("<I", packet, 4 if code == self._damage_event else 8)
        if code == CREATE_NOTIFY:
            # Frames and tool tips are no windows in their own right.
            if not packet[22]:
                self._watch(name)
        elif name not in self._windows:
            pass
        elif code == MAP_NOTIFY:
            self._windows[name].mapped = moment
        elif code == UNMAP_NOTIFY:
            self._windows[name].mapped = self._windows[name].painted = None
        elif code == DESTROY_NOTIFY:
            del self._windows[name]
        elif code == self._damage_event:
            self._painted(self._windows[name], struct.unpack_from("<20xHH4xHH", packet), moment)

    def _watch(self, name):
        """From before the window manager lets it appear."""
        damage = self._server.new_name()
        self._select(name, STRUCTURE_NOTIFY)
        self._server.send(self._damage, DAMAGE_CREATE, damage, name, BOUNDING_BOX)
        self._windows[name] = Window(damage)

    @staticmethod
    def _painted(window, sizes, moment):
        width, height, whole_width, whole_height = sizes
        if window.mapped and not window.painted and width >= whole_width and height >= whole_height:
            window.painted = moment
