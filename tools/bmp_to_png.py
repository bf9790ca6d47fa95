#!/usr/bin/env python3
"""Turns a 24-bit Windows bitmap into a PNG, optionally enlarged by a whole
factor: how the README's pictures of the dialog's art are made from what
gen_art --pictures writes. Standard library only.

    python3 tools/bmp_to_png.py IN.bmp OUT.png [SCALE]
"""
import struct
import sys
import zlib


def read_bmp(path):
    data = open(path, "rb").read()
    if data[:2] != b"BM" or struct.unpack_from("<H", data, 28)[0] != 24:
        sys.exit(f"{path}: not a 24-bit bitmap")
    offset = struct.unpack_from("<I", data, 10)[0]
    width, height = struct.unpack_from("<ii", data, 18)
    stride = (width * 3 + 3) // 4 * 4
    rows = []
    for y in range(height):  # bottom-up, BGR
        row = data[offset + (height - 1 - y) * stride:][:width * 3]
        rgb = bytearray(width * 3)
        rgb[0::3], rgb[1::3], rgb[2::3] = row[2::3], row[1::3], row[0::3]
        rows.append(bytes(rgb))
    return width, height, rows


def write_png(path, width, height, rows, scale):
    if scale > 1:
        wide = []
        for row in rows:
            pixels = [row[i:i + 3] * scale for i in range(0, len(row), 3)]
            wide += [b"".join(pixels)] * scale
        rows, width, height = wide, width * scale, height * scale

    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    header = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    pixels = zlib.compress(b"".join(b"\0" + row for row in rows), 9)
    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", pixels) + chunk(b"IEND", b""))


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    w, h, r = read_bmp(sys.argv[1])
    write_png(sys.argv[2], w, h, r, int(sys.argv[3]) if len(sys.argv) == 4 else 1)
