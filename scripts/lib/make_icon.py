"""Draws the Mac application's icon: two overlapping screens and a touch, and writes platform/macos/bundle/Quillon.icns.

Shapes are signed distances, so each size is drawn for itself and has smooth edges. Lengths are in parts of the icon.
"""

import struct
import zlib
from math import hypot
from pathlib import Path

TOP, BOTTOM = (58, 123, 213), (24, 40, 92)
SCREEN, TOUCH = (255, 255, 255), (255, 183, 77)
# Kinds of the container's entries, by the picture's side in pixels.
KINDS = {16: ["icp4"], 32: ["icp5", "ic11"], 64: ["ic12"], 128: ["ic07"], 256: ["ic08", "ic13"],
         512: ["ic09", "ic14"], 1024: ["ic10"]}  # fmt: skip


def rounded(x, y, left, top, width, height, radius):
    """Distance to a rectangle with round corners, negative inside."""
    dx = abs(x - left - width / 2) - width / 2 + radius
    dy = abs(y - top - height / 2) - height / 2 + radius
    return hypot(max(dx, 0), max(dy, 0)) + min(max(dx, dy), 0) - radius


def pixel(x, y, edge):
    def cover(distance):
        return min(max(0.5 - distance / edge, 0), 1)

    def over(below, color, alpha):
        return tuple(b + (c - b) * alpha for b, c in zip(below, color))

    body = rounded(x, y, 0.1, 0.1, 0.8, 0.8, 0.18)
    if body > edge:
        return (0, 0, 0, 0)
    color = over(TOP, BOTTOM, (y - 0.1) / 0.8)
    back = rounded(x, y, 0.22, 0.26, 0.40, 0.30, 0.03)
    color = over(color, SCREEN, 0.45 * cover(back))
    front = rounded(x, y, 0.36, 0.40, 0.42, 0.34, 0.03)
    color = over(color, BOTTOM, 0.8 * cover(front - 0.025))
    color = over(color, SCREEN, cover(front))
    color = over(color, TOUCH, cover(hypot(x - 0.64, y - 0.60) - 0.055))
    ring = abs(hypot(x - 0.64, y - 0.60) - 0.095) - 0.010
    color = over(color, TOUCH, 0.6 * cover(ring))
    return (*(round(c) for c in color), round(255 * cover(body)))


def png(side):
    rows = bytearray()
    for y in range(side):
        rows.append(0)
        for x in range(side):
            rows += bytes(pixel((x + 0.5) / side, (y + 0.5) / side, 1 / side))

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    header = struct.pack(">IIBBBBB", side, side, 8, 6, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(bytes(rows), 9)) +
            chunk(b"IEND", b""))


pictures = {side: png(side) for side in KINDS}
entries = b"".join(kind.encode() + struct.pack(">I", len(pictures[side]) + 8) + pictures[side]
                   for side, kinds in KINDS.items() for kind in kinds)
target = Path(__file__).parents[2] / "platform/macos/bundle/Quillon.icns"
target.write_bytes(b"icns" + struct.pack(">I", len(entries) + 8) + entries)
