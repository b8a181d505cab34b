"""screen_picture.py DUMP PICTURE: what stands on a screen without its black margin, from a window dump to a PNG file."""

import struct
import sys
import zlib

HEADER_WORDS = 25
COLOUR_BYTES = 12


def read_dump(path):
    """\\return (width, lines), a line being three bytes for each pixel"""
    with open(path, "rb") as file:
        data = file.read()
    words = struct.unpack(f">{HEADER_WORDS}I", data[:HEADER_WORDS * 4])
    header_size, width, height, bits, stride, colours = words[0], words[4], words[5], words[11], words[12], words[19]
    if bits != 32:
        sys.exit(f"{path}: {bits} bits for each pixel, not 32")
    start = header_size + colours * COLOUR_BYTES
    lines = []
    for y in range(height):
        line = data[start + y * stride:][:width * 4]
        rgb = bytearray(width * 3)
        rgb[0::3], rgb[1::3], rgb[2::3] = line[2::4], line[1::4], line[0::4]
        lines.append(bytes(rgb))
    return width, lines


def cut(width, lines):
    """Without what is black to the right and below. \\return as read_dump"""
    while lines and not any(lines[-1]):
        lines.pop()
    while width and not any(any(line[(width - 1) * 3:width * 3]) for line in lines):
        width -= 1
    return width, [line[:width * 3] for line in lines]


def png(width, lines):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    head = struct.pack(">IIBBBBB", width, len(lines), 8, 2, 0, 0, 0)
    body = zlib.compress(b"".join(b"\0" + line for line in lines), 9)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", body) + chunk(b"IEND", b"")


def main(dump, picture):
    width, lines = cut(*read_dump(dump))
    with open(picture, "wb") as file:
        file.write(png(width, lines))
    colours = {line[at:at + 3] for line in lines for at in range(0, width * 3, 3)}
    print(f"{width}x{len(lines)}, {len(colours)} colours")


if __name__ == "__main__":
    main(*sys.argv[1:])
