#!/usr/bin/env python3
"""Writes the small pictures of the picture readers' corpora.

    python3 fuzz/corpus/make_pictures.py fuzz/corpus

PNG: every colour type and depth the reader accepts (grey 1..16 bits, grey
with alpha, RGB, RGBA, palette with and without transparency), interlaced
and not, with an ICC profile chunk. TIFF: uncompressed strips, 8 and 16
bits, grey and RGB, with and without alpha, both byte orders. Each picture
is a few pixels, so that the fuzzer spends its time in the readers' logic.
"""
import os
import struct
import sys
import zlib


def png_chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)


def sample_rows(width, height, channels, depth):
    top = (1 << depth) - 1
    rows = []
    for y in range(height):
        row = []
        for x in range(width):
            for c in range(channels):
                row.append((x * 37 + y * 11 + c * 53) % (top + 1))
        rows.append(row)
    return rows


def pack_png_row(row, depth):
    if depth == 16:
        return b"".join(struct.pack(">H", v) for v in row)
    if depth == 8:
        return bytes(row)
    per_byte = 8 // depth
    out = bytearray()
    for i in range(0, len(row), per_byte):
        byte = 0
        for j in range(per_byte):
            v = row[i + j] if i + j < len(row) else 0
            byte |= v << (8 - depth * (j + 1))
        out.append(byte)
    return bytes(out)


def png(width, height, color_type, depth, interlace=False, extra=b"", trns=b""):
    channels = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[color_type]
    rows = sample_rows(width, height, channels, depth)
    if interlace:
        # Adam7: the seven passes one after the other, each row with its filter byte.
        passes = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]
        raw = b""
        for x0, y0, dx, dy in passes:
            for y in range(y0, height, dy):
                picked = []
                for x in range(x0, width, dx):
                    picked.extend(rows[y][x * channels:(x + 1) * channels])
                if picked:
                    raw += b"\0" + pack_png_row(picked, depth)
    else:
        raw = b"".join(b"\0" + pack_png_row(r, depth) for r in rows)
    header = struct.pack(">IIBBBBB", width, height, depth, color_type, 0, 0, 1 if interlace else 0)
    out = b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header) + extra
    if color_type == 3:
        out += png_chunk(b"PLTE", bytes((i * 40) % 256 for i in range(3 * (1 << depth))))
    if trns:
        out += png_chunk(b"tRNS", trns)
    return out + png_chunk(b"IDAT", zlib.compress(raw)) + png_chunk(b"IEND", b"")


def tiff(width, height, planes, depth, little=True, alpha=False):
    order = "<" if little else ">"
    rows = sample_rows(width, height, planes, depth)
    pixels = b"".join(b"".join(struct.pack(order + ("H" if depth == 16 else "B"), v) for v in r) for r in rows)
    entries = []
    bits_offset = 8
    extra = b""
    # BitsPerSample holds one value per plane; more than two go behind the directory.
    if planes > 2:
        bits_value = None
    else:
        bits_value = depth
    entries_count = 11 + (1 if alpha else 0)
    directory_size = 2 + 12 * entries_count + 4
    data_offset = 8 + directory_size
    bits_array = b""
    if bits_value is None:
        bits_array = b"".join(struct.pack(order + "H", depth) for _ in range(planes))
    pixel_offset = data_offset + len(bits_array)

    def entry(tag, kind, count, value):
        if kind == 3 and count == 1:
            return struct.pack(order + "HHI", tag, kind, count) + struct.pack(order + "HH", value, 0)
        return struct.pack(order + "HHII", tag, kind, count, value)

    entries.append(entry(256, 4, 1, width))
    entries.append(entry(257, 4, 1, height))
    if bits_value is None:
        entries.append(entry(258, 3, planes, data_offset))
    else:
        entries.append(entry(258, 3, planes, bits_value) if planes == 1 else
                       struct.pack(order + "HHI", 258, 3, 2) + struct.pack(order + "HH", depth, depth))
    entries.append(entry(259, 3, 1, 1))
    entries.append(entry(262, 3, 1, 2 if planes >= 3 else 1))
    entries.append(entry(273, 4, 1, pixel_offset))
    entries.append(entry(277, 3, 1, planes))
    entries.append(entry(278, 4, 1, height))
    entries.append(entry(279, 4, 1, len(pixels)))
    entries.append(entry(284, 3, 1, 1))
    entries.append(entry(296, 3, 1, 1))
    if alpha:
        entries.append(entry(338, 3, 1, 2))  # unassociated alpha
    entries.sort(key=lambda e: struct.unpack(order + "H", e[:2])[0])
    head = (b"II" if little else b"MM") + struct.pack(order + "HI", 42, 8)
    directory = struct.pack(order + "H", len(entries)) + b"".join(entries) + struct.pack(order + "I", 0)
    return head + directory + bits_array + pixels


def main(folder):
    icc = png_chunk(b"iCCP", b"none\0\0" + zlib.compress(b"\0" * 128))
    pictures = {
        "host_png": {
            "grey1.png": png(5, 3, 0, 1),
            "grey4.png": png(5, 3, 0, 4),
            "grey8-mask.png": png(6, 4, 0, 8),
            "grey16.png": png(4, 4, 0, 16),
            "grey-alpha8.png": png(4, 3, 4, 8),
            "rgb8.png": png(7, 5, 2, 8),
            "rgb16-icc.png": png(3, 3, 2, 16, extra=icc),
            "rgba8-interlaced.png": png(9, 9, 6, 8, interlace=True),
            "rgba16.png": png(3, 2, 6, 16),
            "palette4.png": png(6, 2, 3, 4),
            "palette8-trns.png": png(4, 4, 3, 8, trns=bytes(range(0, 256, 16))),
            "rgb8-trns.png": png(4, 2, 2, 8, trns=struct.pack(">HHH", 0, 37, 53)),
        },
        "host_tiff": {
            "grey8.tif": tiff(5, 3, 1, 8),
            "grey16-be.tif": tiff(4, 2, 1, 16, little=False),
            "grey-alpha8.tif": tiff(3, 3, 2, 8, alpha=True),
            "rgb8.tif": tiff(4, 3, 3, 8),
            "rgb16.tif": tiff(3, 2, 3, 16),
            "rgba8-be.tif": tiff(3, 3, 4, 8, little=False, alpha=True),
            "rgba16.tif": tiff(2, 2, 4, 16, alpha=True),
        },
    }
    for sub, files in pictures.items():
        os.makedirs(os.path.join(folder, sub), exist_ok=True)
        for name, data in files.items():
            with open(os.path.join(folder, sub, name), "wb") as out:
                out.write(data)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__)))
