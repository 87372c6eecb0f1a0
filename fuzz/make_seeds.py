#!/usr/bin/env python3
# Writes the seed inputs of the fuzz corpora (fuzz/corpus/<target>/seed_*): small, valid or nearly valid files.
import os
import struct
import sys

HERE = os.path.dirname(os.path.abspath(__file__))


def put(target, name, data):
    d = os.path.join(HERE, "corpus", target)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, "seed_" + name), "wb") as f:
        f.write(data)


def block(tag, count, payload, length=None):
    if length is None:
        length = 16 + len(payload)
    return struct.pack("<IIII", tag, length, count, 0) + payload


def kel(*blocks, end=True):
    data = b"Kelb" + bytes(28) + b"".join(blocks)
    return data + (struct.pack("<IIII", 0, 16, 0, 0) if end else b"")


def points(n):
    return block(10001, n, b"".join(struct.pack("<fff", i, -i * 0.5, 1.0 + i) for i in range(n)))


def faces(rows):
    return block(20001, len(rows), b"".join(struct.pack("<iiii", *r) for r in rows))


def uvs(n):
    return block(25001, n, b"".join(struct.pack("<ff", (k % 4) * 0.25, k * 0.01) for k in range(4 * n)))


def mrgb(n):
    return block(35001, n, b"".join(struct.pack("<I", 0x00FF8000 + i) for i in range(n)))


def mask(n):
    return block(30001, n, bytes(range(n)))


def kel_seeds():
    quad = [(0, 1, 2, 3)]
    tri = [(0, 1, 2, -1)]
    put("kel_read", "empty", kel())
    put("kel_read", "header_only", kel(end=False))
    put("kel_read", "quad", kel(points(4), faces(quad)))
    put("kel_read", "quad_uv", kel(points(4), faces(quad), uvs(1)))
    put("kel_read", "uv_first", kel(uvs(2), points(4), faces(quad + tri)))
    put("kel_read", "all_blocks", kel(points(5), faces(quad + tri), uvs(2), mask(5), mrgb(5)))
    put("kel_read", "two_mrgb", kel(mrgb(3), block(777, 0, b"abcd"), mrgb(3)))
    put("kel_read", "unknown_tag", kel(block(4242, 9, b"xyzw" * 3), points(2)))
    put("kel_read", "count_too_big", kel(block(10001, 0x7FFFFFFF, bytes(24))))
    put("kel_read", "length_short", kel(block(20001, 1, bytes(16), length=8)))
    put("kel_read", "length_long", kel(block(35001, 2, bytes(8), length=0xFFFFFFFF)))
    put("kel_read", "truncated", kel(points(3))[:60])


def config_seeds():
    job = (
        "AppMode = ydecimator\nPlastraVersion = 4.01\nDisplayMode = VBO\nUseProgressBar = Yes\n"
        "InputFile = \"/tmp/in mesh.kel\"\nOutputFile = /tmp/out.kel\nDecimationTargetPourcent = 20\n"
        "Symmetry = auto\nKeepUVs = #t\nUseVtxColors = False\nUseVtxColorsCoef = 50.5\nNumThread = 2\n"
    )
    put("config", "job", job.encode())
    batch = (
        "AppMode = Trimora BATCH\r\nStartBatch = Decimate mesh\r\n  InputFile: a.kel\r\nIFlipX 1\r\n"
        "EndBatch\r\nStartBatch = Build progressive mesh\r\nDecimationTargetNum = 1e9\r\nEndBatch =\r\n"
    )
    put("config", "batch", batch.encode())
    put("config", "prefs", b"UniformMesh = No\nNumThread = 8\nColorRatio = 0.5\nCleanAtStart = Yes\n"
                           b"BackgroundPreprocess = True\n")
    put("config", "odd", b"\tInputFile\n=\n:==: \n\"\nOutputFile=\"\x00InputFile = hidden\n")


def progress_seeds():
    def record(open_, started, step, task, title, total, count, stop_all=0):
        return (bytes([open_, started, step]) + task.ljust(80, b"\0")[:80] + title.ljust(80, b"\0")[:80]
                + b"\0" + struct.pack("<ii", total, count) + bytes([1, 1, 0, stop_all]))
    put("progress", "fresh", record(1, 0, 0, b"", b"", 0, 0))
    put("progress", "step", record(1, 1, 1, b"Decimating", b"Collapsing edges", 100, 37))
    put("progress", "full_titles", record(1, 1, 1, b"T" * 80, b"S" * 80, 10, 10))
    put("progress", "odd_counts", record(1, 1, 1, b"x", b"y", -5, 0x7FFFFFFF, 1))
    put("progress", "short", record(1, 1, 0, b"Starting", b"", 0, 0)[:40])


def cache_seeds():
    def header(tri, vtx):
        h = struct.pack("<ii", 7, 8) + struct.pack("<6f", -1, -2, -3, 1, 2, 3) + bytes([1, 0, 1, 0])
        h += struct.pack("<i", 5) + struct.pack("<6i", *range(6)) + struct.pack("<i", 9) + bytes([1] * 7)
        h += struct.pack("<ii", tri, vtx) + struct.pack("<4i", 1, 2, 3, 4)
        assert len(h) == 99
        return h
    put("cache_header", "plain", header(120000, 60001))
    put("cache_header", "negative", header(-1, -2147483648))
    put("cache_header", "short", header(5, 5)[:80])


def obj_export_seeds():
    quad = [(0, 1, 2, 3)]
    tri = [(0, 1, 2, -1)]
    split = b"KELSPLIT"
    put("obj_export", "one_quad", kel(points(4), faces(quad)))
    put("obj_export", "quad_and_triangle_uv", kel(points(4), faces(quad + tri), uvs(2)))
    put("obj_export", "two_meshes", kel(points(4), faces(quad)) + split + kel(points(3), faces(tri), uvs(1)))
    put("obj_export", "three_meshes", kel(points(4), faces(quad)) + split + kel() + split + kel(points(4), faces(tri)))


if __name__ == "__main__":
    obj_export_seeds()
    kel_seeds()
    config_seeds()
    progress_seeds()
    cache_seeds()
    sys.exit(0)
