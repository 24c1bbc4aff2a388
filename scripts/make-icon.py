#!/usr/bin/env python3
"""Builds the program's icon (an .ico of PNG images in several sizes) from one square PNG.

Usage: make-icon.py <source.png> <output.ico>
Standard library only: decodes 8-bit RGB/RGBA PNGs, scales down by area averaging, re-encodes."""
import struct
import sys
import zlib

SIZES = (16, 24, 32, 48, 64, 128)


def read_png(path):
    data = open(path, "rb").read()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        sys.exit(f"{path}: not a PNG")
    pos, idat, width = 8, b"", None
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            width, height, depth, color, _, _, interlace = struct.unpack(">IIBBBBB", body)
            if depth != 8 or color not in (2, 6) or interlace:
                sys.exit(f"{path}: only 8-bit RGB/RGBA, non-interlaced")
            channels = 4 if color == 6 else 3
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    raw = zlib.decompress(idat)
    stride = width * channels
    rows, prev = [], bytearray(stride)
    for y in range(height):
        kind = raw[y * (stride + 1)]
        line = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            a = line[i - channels] if i >= channels else 0
            b = prev[i]
            c = prev[i - channels] if i >= channels else 0
            if kind == 1:
                line[i] = (line[i] + a) & 255
            elif kind == 2:
                line[i] = (line[i] + b) & 255
            elif kind == 3:
                line[i] = (line[i] + (a + b) // 2) & 255
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(line)
        prev = line
    pixels = [[tuple(row[x * channels:(x + 1) * channels]) + ((255,) if channels == 3 else ())
               for x in range(width)] for row in rows]
    return width, height, pixels


def scale(pixels, width, height, size):
    out = []
    for y in range(size):
        y0, y1 = y * height // size, max((y + 1) * height // size, y * height // size + 1)
        row = []
        for x in range(size):
            x0, x1 = x * width // size, max((x + 1) * width // size, x * width // size + 1)
            area = [pixels[j][i] for j in range(y0, y1) for i in range(x0, x1)]
            alpha = sum(p[3] for p in area)
            # Colours weighted by alpha, so transparent pixels do not darken the edges.
            rgb = [sum(p[k] * p[3] for p in area) // alpha if alpha else 0 for k in range(3)]
            row.append((*rgb, alpha // len(area)))
        out.append(row)
    return out


def write_png(pixels, size):
    raw = b"".join(b"\x00" + bytes(v for p in row for v in p) for row in pixels)

    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def main():
    source, output = sys.argv[1], sys.argv[2]
    width, height, pixels = read_png(source)
    images = [(s, write_png(scale(pixels, width, height, s), s)) for s in SIZES if s <= max(width, height)]
    header = struct.pack("<HHH", 0, 1, len(images))
    offset = 6 + 16 * len(images)
    entries, bodies = b"", b""
    for size, png in images:
        entries += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(png), offset + len(bodies))
        bodies += png
    open(output, "wb").write(header + entries + bodies)


main()
