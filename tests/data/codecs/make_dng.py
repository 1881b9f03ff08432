# Writes a small linear DNG: a 64x48 RGGB mosaic, red on the left half and blue on the right,
# 12-bit samples, identity colour matrix. No raw converter here writes one, so it is made by hand.
import struct, sys
W, H = 64, 48
# RGGB mosaic of a simple scene: left half reddish, right half bluish, 12-bit values.
pix = bytearray()
for y in range(H):
    for x in range(W):
        red = x < W // 2
        c = (y % 2) * 2 + (x % 2)  # 0 R, 1 G, 2 G, 3 B
        if c == 0: v = 3000 if red else 400
        elif c == 3: v = 400 if red else 3000
        else: v = 800
        pix += struct.pack('<H', v)
entries = []
extra = bytearray()
HDR = 8
def add(tag, typ, count, value):
    entries.append((tag, typ, count, value))
SHORT, LONG, RATIONAL, SRATIONAL, ASCII, BYTE = 3, 4, 5, 10, 2, 1
tags = []
def t(tag, typ, vals):
    tags.append((tag, typ, vals))
t(254, LONG, [0])
t(256, LONG, [W]); t(257, LONG, [H]); t(258, SHORT, [16]); t(259, SHORT, [1]); t(262, SHORT, [32803])
t(271, ASCII, b'Quendrel\0'); t(272, ASCII, b'TestCam\0')
t(273, LONG, [0]); t(277, SHORT, [1]); t(278, LONG, [H]); t(279, LONG, [len(pix)])
t(284, SHORT, [1])
t(33421, SHORT, [2, 2]); t(33422, BYTE, [0, 1, 1, 2])
t(50706, BYTE, [1, 4, 0, 0]); t(50707, BYTE, [1, 1, 0, 0])
t(50708, ASCII, b'Quendrel TestCam\0')
t(50714, LONG, [0]); t(50717, LONG, [4095])
cm = [(10000,10000),(0,10000),(0,10000),(0,10000),(10000,10000),(0,10000),(0,10000),(0,10000),(10000,10000)]
t(50721, SRATIONAL, cm)
t(50728, RATIONAL, [(1,1),(1,1),(1,1)])
t(50778, SHORT, [21])
tags.sort()
n = len(tags)
ifd_size = 2 + n * 12 + 4
data_off = HDR + ifd_size
blob = bytearray()
out_entries = []
sizes = {BYTE:1, ASCII:1, SHORT:2, LONG:4, RATIONAL:8, SRATIONAL:8}
def pack(typ, vals):
    if typ == ASCII: return bytes(vals)
    if typ == BYTE: return bytes(vals)
    if typ == SHORT: return b''.join(struct.pack('<H', v) for v in vals)
    if typ == LONG: return b''.join(struct.pack('<I', v) for v in vals)
    if typ == RATIONAL: return b''.join(struct.pack('<II', a, b) for a, b in vals)
    if typ == SRATIONAL: return b''.join(struct.pack('<ii', a, b) for a, b in vals)
strip_entry = None
for tag, typ, vals in tags:
    raw = pack(typ, vals)
    count = len(vals)
    if len(raw) <= 4:
        out_entries.append(struct.pack('<HHI', tag, typ, count) + raw.ljust(4, b'\0'))
    else:
        off = data_off + len(blob)
        blob += raw
        if len(blob) % 2: blob += b'\0'
        out_entries.append(struct.pack('<HHII', tag, typ, count, off))
pix_off = data_off + len(blob)
res = bytearray(b'II*\0' + struct.pack('<I', HDR))
res += struct.pack('<H', n)
for tag, e in zip([x[0] for x in tags], out_entries):
    if tag == 273: e = e[:8] + struct.pack('<I', pix_off)
    res += e
res += struct.pack('<I', 0)
res += blob + pix
open(sys.argv[1], 'wb').write(res)
