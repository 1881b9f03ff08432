#!/usr/bin/python3
"""Writes the seed corpora of the fuzz targets: small valid files of each format's variants,
made by ImageMagick and Pillow. Run from anywhere; it replaces the seed folders beside it.
The seeds of the "image" target start with the byte that chooses the codec there."""
import io, os, shutil, subprocess, sys, tempfile
from PIL import Image

HERE = os.path.dirname(os.path.abspath(__file__))
TMP = tempfile.mkdtemp()
SRC = os.path.join(TMP, "src.png")
subprocess.run(["convert", "-size", "13x7", "plasma:fractal", "-seed", "3", "-depth", "8", SRC], check=True)
ALPHA = os.path.join(TMP, "alpha.png")
subprocess.run(["convert", SRC, "-alpha", "set", "-channel", "A", "-fx", "i/w", "+channel", ALPHA], check=True)


def magick(target, name, options, source=SRC, prefix=b""):
    folder = os.path.join(HERE, target)
    os.makedirs(folder, exist_ok=True)
    out = os.path.join(TMP, name)
    opts = options.split()
    fmt = opts.pop() if opts and opts[-1].endswith(":") else ""
    subprocess.run(["convert", source] + opts + [fmt + out], check=True)
    with open(out, "rb") as f:
        data = f.read()
    with open(os.path.join(folder, name), "wb") as f:
        f.write(prefix + data)


def pillow(target, name, make, prefix=b""):
    folder = os.path.join(HERE, target)
    os.makedirs(folder, exist_ok=True)
    buf = io.BytesIO()
    make(Image.open(SRC), buf)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(prefix + buf.getvalue())


for t in ["bmp", "tga", "pcx", "ras", "pnm", "wbmp", "psd", "image", "avif", "jxl", "heic", "metadata"]:
    shutil.rmtree(os.path.join(HERE, t), ignore_errors=True)

# BMP, and bare DIBs (the file without its 14-byte header).
for name, opts in [("1.bmp", "-monochrome BMP3:"), ("4.bmp", "-colors 16 -type palette -compress none BMP3:"),
                   ("8.bmp", "-type palette -compress none BMP3:"), ("rle8.bmp", "-type palette -compress RLE BMP3:"),
                   ("24.bmp", "-type truecolor BMP3:"), ("v5.bmp", "-type truecolor BMP:"),
                   ("565.bmp", "-define bmp:subtype=RGB565 BMP:"), ("os2.bmp", "-type truecolor BMP2:")]:
    magick("bmp", name, opts)
magick("bmp", "32.bmp", "BMP:", source=ALPHA)
magick("bmp", "rle4.bmp", "-colors 16 -type palette -compress RLE BMP3:")
for name in ["8.bmp", "24.bmp", "v5.bmp", "565.bmp"]:
    with open(os.path.join(HERE, "bmp", name), "rb") as f:
        data = f.read()
    with open(os.path.join(HERE, "bmp", name.replace(".bmp", ".dib")), "wb") as f:
        f.write(data[14:])

# TGA: true colour, grey, mapped, each plain and run-length, and origins.
for name, opts in [("24.tga", "-type truecolor -compress none"), ("24rle.tga", "-type truecolor -compress RLE"), ("grey.tga", "-colorspace gray -compress none"),
                   ("greyrle.tga", "-colorspace gray -compress RLE"), ("map.tga", "-type palette -compress none"),
                   ("maprle.tga", "-type palette -compress RLE"), ("top.tga", "-type truecolor -orient TopLeft -compress none")]:
    magick("tga", name, opts + " TGA:")
magick("tga", "32.tga", "-compress RLE TGA:", source=ALPHA)
pillow("tga", "16.tga", lambda im, b: im.convert("RGB").save(b, "TGA"))

for name, opts in [("24.pcx", "-type truecolor"), ("8.pcx", "-type palette"), ("1.pcx", "-monochrome")]:
    magick("pcx", name, opts + " PCX:")

for name, opts in [("24.ras", "-type truecolor"), ("8.ras", "-type palette"), ("grey.ras", "-colorspace gray"),
                   ("1.ras", "-monochrome"), ("rle.ras", "-type truecolor -compress RLE")]:
    magick("ras", name, opts + " SUN:")
magick("ras", "32.ras", "SUN:", source=ALPHA)

for name, opts in [("p1.pbm", "-compress none PBM:"), ("p2.pgm", "-compress none PGM:"), ("p3.ppm", "-compress none PPM:"),
                   ("p4.pbm", "PBM:"), ("p5.pgm", "PGM:"), ("p6.ppm", "PPM:"), ("p6_16.ppm", "-depth 16 PPM:")]:
    magick("pnm", name, opts)

magick("wbmp", "a.wbmp", "WBMP:")
subprocess.run(["convert", "-size", "130x3", "xc:white", "-fill", "black", "-draw", "point 5,1",
                os.path.join(TMP, "wide.png")], check=True)
magick("wbmp", "wide.wbmp", "WBMP:", source=os.path.join(TMP, "wide.png"))

for name, opts, src in [("rgb.psd", "-type truecolor", SRC), ("rgba.psd", "", ALPHA), ("grey.psd", "-colorspace gray", SRC),
                        ("cmyk.psd", "-colorspace cmyk", SRC), ("16.psd", "-type truecolor -depth 16", SRC),
                        ("raw.psd", "-type truecolor -compress none", SRC), ("index.psd", "-type palette", SRC)]:
    magick("psd", name, opts + " PSD:", source=src)

# The image target: selector byte, then the file. 0 JPEG, 1 JPEG 2000, 2 PNG, 3 TIFF, 4 GIF,
# 5 WebP, 6 DNG.
for name, opts, src in [("base.jpg", "-quality 80", SRC), ("prog.jpg", "-interlace JPEG", SRC),
                        ("grey.jpg", "-colorspace gray", SRC), ("cmyk.jpg", "-colorspace cmyk", SRC),
                        ("orient.jpg", "-orient RightTop", SRC)]:
    magick("image", name, opts + " JPEG:", source=src, prefix=b"\x00")
for name, opts in [("a.jp2", "-quality 0 JP2:"), ("a.j2k", "J2K:")]:
    magick("image", name, opts, prefix=b"\x01")
for name, opts, src in [("rgb.png", "PNG24:", SRC), ("rgba.png", "PNG32:", ALPHA), ("pal.png", "-type palette PNG8:", SRC),
                        ("grey1.png", "-monochrome PNG:", SRC), ("inter.png", "-interlace PNG PNG24:", SRC),
                        ("16.png", "-depth 16 PNG48:", SRC)]:
    magick("image", name, opts, source=src, prefix=b"\x02")
for name, opts, src in [("lzw.tif", "-type truecolor -compress lzw", SRC), ("zip16.tif", "-type truecolor -depth 16 -compress zip", SRC),
                        ("alpha.tif", "-type truecolormatte -compress none", ALPHA), ("pal.tif", "-type palette -compress rle", SRC),
                        ("bilevel.tif", "-monochrome -compress group4", SRC), ("cmyk.tif", "-colorspace cmyk", SRC),
                        ("tiled.tif", "-type truecolor -define tiff:tile-geometry=16x16 -compress lzw", SRC),
                        ("planes.tif", "-type truecolor -interlace plane", SRC), ("jpeg.tif", "-compress jpeg", SRC),
                        ("float.tif", "-type truecolor -depth 32 -define quantum:format=floating-point", SRC),
                        ("orient.tif", "-type truecolor -orient LeftBottom", SRC)]:
    magick("image", name, opts + " TIFF:", source=src, prefix=b"\x03")
pillow("image", "ycbcr.tif", lambda im, b: im.convert("RGB").save(b, "TIFF", compression="jpeg"), prefix=b"\x03")
for name, opts, src in [("a.gif", "", SRC), ("inter.gif", "-interlace GIF", SRC)]:
    magick("image", name, opts + " GIF:", source=src, prefix=b"\x04")
pillow("image", "trans.gif", lambda im, b: im.convert("P", palette=Image.ADAPTIVE, colors=8).save(b, "GIF", transparency=2),
       prefix=b"\x04")
pillow("image", "lossy.webp", lambda im, b: im.convert("RGB").save(b, "WEBP", quality=50), prefix=b"\x05")
pillow("image", "lossless.webp", lambda im, b: Image.open(ALPHA).save(b, "WEBP", lossless=True), prefix=b"\x05")
pillow("image", "anim.webp", lambda im, b: im.convert("RGB").save(
    b, "WEBP", save_all=True, append_images=[Image.new("RGB", im.size, (0, 0, 255))]), prefix=b"\x05")
# TIFF variants that only libtiff's own writer makes, for the sample conversions.
import ctypes, math, struct
_t = ctypes.CDLL("libtiff.so.6")
_t.TIFFOpen.restype = ctypes.c_void_p
_t.TIFFOpen.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
_t.TIFFClose.argtypes = [ctypes.c_void_p]
_t.TIFFWriteEncodedStrip.argtypes = [ctypes.c_void_p, ctypes.c_uint32, ctypes.c_char_p, ctypes.c_ssize_t]
_t.TIFFWriteEncodedTile.argtypes = [ctypes.c_void_p, ctypes.c_uint32, ctypes.c_char_p, ctypes.c_ssize_t]


def libtiff(name, w, h, tags, blocks, tiled=False):
    path = os.path.join(TMP, name)
    f = _t.TIFFOpen(path.encode(), b"wl")
    for tag, *values in [(256, w), (257, h)] + tags:
        _t.TIFFSetField(ctypes.c_void_p(f), ctypes.c_uint32(tag), *values)
    for i, b in enumerate(blocks):
        (_t.TIFFWriteEncodedTile if tiled else _t.TIFFWriteEncodedStrip)(f, i, b, len(b))
    _t.TIFFClose(f)
    with open(path, "rb") as src, open(os.path.join(HERE, "image", name), "wb") as out:
        out.write(b"\x03" + src.read())


def bits(values, n):
    out, acc, have = bytearray(), 0, 0
    for v in values:
        acc, have = acc << n | v, have + n
        while have >= 8:
            out.append(acc >> (have - 8) & 255)
            have -= 8
    if have:
        out.append(acc << (8 - have) & 255)
    return bytes(out)


U = ctypes.c_uint32
W, H = 9, 5
wave = [int(2047 + 2000 * math.sin(i * 0.7)) for i in range(W * H * 3)]
libtiff("rgb12.tif", W, H, [(258, U(12)), (277, U(3)), (262, U(2)), (259, U(5))],
        [b"".join(bits(wave[r * W * 3:(r + 1) * W * 3], 12) for r in range(H))])
libtiff("signed16.tif", W, H, [(258, U(16)), (277, U(1)), (262, U(1)), (339, U(2))],
        [struct.pack("<%dh" % (W * H), *[v * 16 - 32768 for v in wave[:W * H]])])
libtiff("half.tif", W, H, [(258, U(16)), (277, U(1)), (262, U(1)), (339, U(3)), (259, U(8))],
        [struct.pack("<%dH" % (W * H), *[0x3800 + v % 1024 for v in wave[:W * H]])])
extra = (ctypes.c_uint16 * 1)(2)
libtiff("greyalpha.tif", W, H, [(258, U(8)), (277, U(2)), (262, U(1)), (338, U(1), extra)],
        [bytes(v % 256 for v in wave[:W * H * 2])])
cmap = (ctypes.c_uint16 * 48)(*[(i * 4099 + k * 20000) % 65536 for k in range(3) for i in range(16)])
libtiff("pal4alpha.tif", W, H, [(258, U(4)), (277, U(2)), (262, U(3)), (338, U(1), extra),
                                (320, cmap, ctypes.byref(cmap, 32), ctypes.byref(cmap, 64))],
        [b"".join(bits([v % 16 for v in wave[r * W * 2:(r + 1) * W * 2]], 4) for r in range(H))])
libtiff("cmykalpha.tif", W, H, [(258, U(8)), (277, U(5)), (262, U(5)), (338, U(1), extra)],
        [bytes(v % 256 for v in (wave * 2)[:W * H * 5])])
libtiff("planes16.tif", W, H, [(258, U(16)), (277, U(3)), (262, U(2)), (284, U(2)), (278, U(2))],
        [struct.pack("<%dH" % (W * len(rows)), *[wave[(y * W + x) * 3 + p] * 16 for y in rows for x in range(W)])
         for p in range(3) for rows in [range(y, min(H, y + 2)) for y in range(0, H, 2)]])
libtiff("white2turned.tif", W, H, [(258, U(2)), (277, U(1)), (262, U(0)), (274, U(6))],
        [b"".join(bits([v % 4 for v in wave[r * W:(r + 1) * W]], 2) for r in range(H))])
libtiff("ycbcrtiles.tif", 20, 18, [(258, U(8)), (277, U(3)), (262, U(6)), (530, U(2), U(2)), (259, U(5)),
                                   (322, U(16)), (323, U(16))],
        [bytes((v + t) % 256 for v in (wave * 3)[:8 * 8 * 6]) for t in range(4)], tiled=True)

dng = os.path.join(TMP, "t.dng")
subprocess.run([sys.executable, os.path.join(HERE, "..", "codecs", "make_dng.py"), dng], check=True)
with open(dng, "rb") as f:
    data = f.read()
with open(os.path.join(HERE, "image", "t.dng"), "wb") as f:
    f.write(b"\x06" + data)
# AVIF, JPEG XL and HEIC from the Debian tools of their libraries.
DEEP = os.path.join(TMP, "deep.png")
subprocess.run(["convert", ALPHA, "-depth", "16", "-blur", "0x0.7", "-define", "png:bit-depth=16", DEEP], check=True)
RGBA = os.path.join(TMP, "rgba.png")  # heif-enc keeps alpha only from a plain RGBA file
subprocess.run(["convert", ALPHA, "PNG32:" + RGBA], check=True)
GREY = os.path.join(TMP, "grey.png")
subprocess.run(["convert", SRC, "-colorspace", "gray", GREY], check=True)


def tool(target, name, command):
    folder = os.path.join(HERE, target)
    os.makedirs(folder, exist_ok=True)
    subprocess.run(command + [os.path.join(folder, name)], check=True, stdout=subprocess.DEVNULL)


for name, opts, src in [("lossy.avif", ["-s", "10"], SRC), ("alpha.avif", ["-s", "10", "--minalpha", "20", "--maxalpha", "30"], ALPHA),
                        ("420.avif", ["-s", "10", "-y", "420"], SRC), ("10bit.avif", ["-s", "10", "-d", "10"], DEEP),
                        ("12bit.avif", ["-s", "10", "-d", "12", "-y", "400"], DEEP),
                        ("lossless.avif", ["-s", "10", "-l"], SRC),
                        ("turned.avif", ["-s", "10", "--irot", "1", "--imir", "1"], SRC)]:
    tool("avif", name, ["avifenc"] + opts + [src])
for name, opts, src in [("lossy.jxl", ["-d", "2"], SRC), ("lossless.jxl", ["-d", "0"], ALPHA),
                        ("deep.jxl", ["-d", "0"], DEEP), ("grey.jxl", ["-d", "1"], GREY),
                        ("boxed.jxl", ["-d", "1", "--container=1"], ALPHA)]:
    tool("jxl", name, ["cjxl", src] + opts)
for name, opts, src in [("lossy.heic", ["-q", "50"], SRC), ("alpha.heic", ["-q", "50"], RGBA),
                        ("lossless.heic", ["-L"], SRC)]:
    tool("heic", name, ["heif-enc"] + opts + [src, "-o"])

# Photo information: the image target gets files that carry it (EXIF, XMP, ICC), and the metadata
# target the blocks themselves, after a selector byte: 0 EXIF, 1 XMP, 2 ICC, 3 a whole TIFF.
from PIL import ImageCms
ICC = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
EXIF = Image.Exif()
EXIF[0x0110] = "Cam"
EXIF[0x0112] = 6
TAGS = ["-M", "set Exif.Photo.DateTimeOriginal 2021:06:15 10:20:30", "-M", "set Xmp.dc.title walk",
        "-M", "set Xmp.tiff.Orientation 6"]
os.makedirs(os.path.join(HERE, "metadata"), exist_ok=True)
for name, selector, save in [("meta.jpg", b"\x00", lambda im, p: im.save(p, "JPEG", exif=EXIF.tobytes(), icc_profile=ICC)),
                             ("meta.png", b"\x02", lambda im, p: im.save(p, "PNG", exif=EXIF.tobytes(), icc_profile=ICC)),
                             ("meta.webp", b"\x05", lambda im, p: im.save(p, "WEBP", exif=EXIF.tobytes(), icc_profile=ICC)),
                             ("meta.tif", b"\x03", lambda im, p: im.save(p, "TIFF", icc_profile=ICC))]:
    out = os.path.join(TMP, name)
    save(Image.open(SRC).convert("RGB"), out)
    subprocess.run(["exiv2"] + TAGS + [out], check=True)
    with open(out, "rb") as f:
        data = f.read()
    with open(os.path.join(HERE, "image", name), "wb") as f:
        f.write(selector + data)
    if name == "meta.tif":
        with open(os.path.join(HERE, "metadata", "tiff"), "wb") as f:
            f.write(b"\x03" + data)
    if name == "meta.jpg":
        exif = Image.open(out).info["exif"]
        with open(os.path.join(HERE, "metadata", "exif"), "wb") as f:
            f.write(b"\x00" + exif[6:])
        xmp = subprocess.run(["exiv2", "-eX-", out], check=True, capture_output=True).stdout
        with open(os.path.join(HERE, "metadata", "xmp"), "wb") as f:
            f.write(b"\x01" + xmp)
with open(os.path.join(HERE, "metadata", "icc"), "wb") as f:
    f.write(b"\x02" + ICC)

shutil.rmtree(TMP)
