#!/usr/bin/env python3
"""Writes the frozen project files of the project-file tests, straight from the format's
description rather than through Quendrel's own writer. Once written they stay as they are: they
must keep loading as the format grows. Run again only to add a new file."""
import os
import struct
import sys
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
CONTAINER, BOOL, INT, FLOAT, FLOAT64, STRING, BLOB = 0, 1, 2, 4, 5, 6, 7


def chunk(cid, ctype, data):
    return struct.pack('<HHQ', cid, ctype, len(data)) + data


def container(cid, *children):
    return chunk(cid, CONTAINER, b''.join(children))


def i32(cid, v):
    return chunk(cid, INT, struct.pack('<i', v))


def f32(cid, v):
    return chunk(cid, FLOAT, struct.pack('<f', v))


def f64(cid, v):
    return chunk(cid, FLOAT64, struct.pack('<d', v))


def boolean(cid, v):
    return chunk(cid, BOOL, bytes([1 if v else 0]))


def string(cid, s):
    return chunk(cid, STRING, s.encode() + b'\0')


def project_file(*root_children, file_type=2, version=1):
    head = b'lsdf' + struct.pack('<HIH', version, file_type, 0)
    return head + container(0, *root_children) + b'lsdf'


def png_rgb(width, height, pixels):
    """pixels: rows of (r, g, b); filter type 0 on every row."""
    def part(kind, data):
        return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))
    raw = b''.join(b'\0' + bytes(c for p in row for c in p) for row in pixels)
    ihdr = struct.pack('>IIBBBBB', width, height, 8, 2, 0, 0, 0)
    return b'\x89PNG\r\n\x1a\n' + part(b'IHDR', ihdr) + part(b'IDAT', zlib.compress(raw)) + part(b'IEND', b'')


# 3x2, every pixel different; the tests know these values.
PIXELS = [[(255, 0, 0), (0, 255, 0), (0, 0, 255)], [(10, 20, 30), (200, 100, 50), (255, 255, 255)]]


def background(r, g, b, a):
    return [i32(9, r), i32(10, g), i32(11, b), i32(139, a)]


def element(type_key, *properties):
    return container(2, string(3, type_key), container(1, *properties))


def original():
    return element('original_image', chunk(7, BLOB, png_rgb(3, 2, PIXELS)))


FILES = {
    'empty.qdj': project_file(*background(255, 255, 255, 255), container(4)),
    # Every property of the four effects away from its default; focus fix has only two of its
    # chunks, so the others keep their defaults.
    'effects.qdj': project_file(
        *background(10, 20, 30, 255),
        container(4,
                  original(),
                  element('blur', f64(5, 7.5), i32(6, 2)),
                  element('sharpen', boolean(59, False), i32(60, 30), i32(61, 9), f64(19, 2.5), f64(62, 1.5)),
                  element('noise', f32(63, 0.25), f32(64, 0.75)),
                  element('focusfix', i32(60, 80), boolean(59, False)))),
    # An element this version doesn't know between two it does.
    'unknown_element.qdj': project_file(
        *background(255, 255, 255, 255),
        container(4, original(), element('blur', f64(5, 3.0)), element('future_effect', i32(6, 1)),
                  element('sharpen', i32(60, 10)))),
    # Chunks a later version might add: at the root, inside the pipeline, inside properties.
    'later_chunks.qdj': project_file(
        container(77, i32(1, 5), chunk(200, BLOB, b'\x01\x02\x03')),
        *background(0, 0, 0, 0),
        container(4, chunk(99, STRING, b'note\0'), original(),
                  element('blur', chunk(250, BLOB, b'xyz'), f64(5, 12.0), container(251, i32(6, 99))))),
}

if __name__ == '__main__':
    out = sys.argv[1] if len(sys.argv) > 1 else HERE
    for name, data in FILES.items():
        path = os.path.join(out, name)
        if not os.path.exists(path):
            with open(path, 'wb') as f:
                f.write(data)
