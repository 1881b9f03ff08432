#!/usr/bin/python3
# Makes photo.png, the small landscape the preset filter goldens start from: a sky that fades to
# haze, a low sun, two hills, a red barn with a dark door, a face-coloured disc and a blue pool,
# with a little seeded grain so no two neighbours are alike. Run it from this folder.
import math
import random

from PIL import Image

W, H = 160, 120
random.seed(20240611)
img = Image.new("RGB", (W, H))
px = img.load()


def mix(a, b, t):
    return tuple(a[i] + (b[i] - a[i]) * t for i in range(3))


for y in range(H):
    for x in range(W):
        t = y / (H * 0.55)
        c = mix((38, 92, 178), (214, 226, 236), min(1.0, t))
        d = math.hypot(x - 118, y - 30)
        if d < 11:
            c = (255, 244, 196)
        elif d < 26:
            c = mix((255, 214, 130), c, (d - 11) / 15)
        hill1 = 70 + 12 * math.sin(x / 19.0)
        hill2 = 84 + 9 * math.sin(x / 11.0 + 1.3)
        if y > hill1:
            c = mix((96, 140, 52), (40, 72, 28), (y - hill1) / (H - hill1))
        if y > hill2:
            c = mix((150, 160, 60), (70, 56, 30), (y - hill2) / (H - hill2))
        if 22 <= x < 52 and 64 <= y < 92:
            c = (168, 34, 30) if not (33 <= x < 41 and 76 <= y < 92) else (48, 22, 18)
        if math.hypot(x - 80, y - 98) < 12:
            c = (226, 172, 140)
        if math.hypot((x - 132) / 1.8, y - 104) < 8:
            c = (24, 120, 190)
        n = random.uniform(-6, 6)
        px[x, y] = tuple(max(0, min(255, int(round(v + n)))) for v in c)
img.save("photo.png", optimize=True)
