#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the seeds of the fuzzing harnesses to fuzz/corpus/HARNESS: a few small inputs from which
the fuzzer starts, and which every build replays as a test. Files called found-* are inputs that
once broke something; they are not touched.

    ./fuzz/seeds.py
"""
import pathlib
import random
import struct
import zlib

CORPUS = pathlib.Path(__file__).parent / "corpus"


def write(harness, **seeds):
    folder = CORPUS / harness
    folder.mkdir(parents=True, exist_ok=True)
    for old in folder.iterdir():
        if not old.name.startswith("found-"):
            old.unlink()
    for name, data in seeds.items():
        (folder / name).write_bytes(data)


def programs(harness, count=6, length=300):
    """Sequences of operations: any bytes are one."""
    write(harness, **{f"program-{i}": random.Random(f"{harness}-{i}").randbytes(length)
                      for i in range(count)})


# Images: colour type, depth and bits of a pixel of what is taken, and two that are not.
FORMATS = {
    "grey1": (0, 1, 1), "grey8": (0, 8, 8), "rgb8": (2, 8, 24), "rgb16": (2, 16, 48),
    "palette4": (3, 4, 4), "palette8": (3, 8, 8), "greyalpha8": (4, 8, 16), "rgba8": (6, 8, 32),
    "grey16": (0, 16, 16), "palette2": (3, 2, 2),
}
ADAM7 = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2),
         (0, 1, 1, 2)]
SIGNATURE = b"\x89PNG\r\n\x1a\n"


def chunk(kind, data=b""):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def image_data(width, height, bits, interlaced):
    lines = b""
    for x, y, dx, dy in ADAM7 if interlaced else [(0, 0, 1, 1)]:
        columns, rows = len(range(x, width, dx)), len(range(y, height, dy))
        for row in range(rows if columns else 0):
            length = (columns * bits + 7) // 8
            lines += bytes([row % 5]) + bytes((row * 31 + i * 7) % 251 for i in range(length))
    return lines


def chunks(name, width=9, height=7, interlaced=0):
    color, depth, bits = FORMATS[name]
    result = chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, color, 0, 0, interlaced))
    if color == 3:
        result += chunk(b"PLTE", bytes(range(3 * 2 ** depth % 256)))
    result += chunk(b"tRNS", bytes([0, 7, 0, 14, 0, 21][:6 if color == 2 else 3 if color else 2]))
    stream = zlib.compress(image_data(width, height, bits, interlaced), 9)
    return result + chunk(b"IDAT", stream[:20]) + chunk(b"IDAT", stream[20:]) + chunk(b"IEND")


def pngs():
    files = {name: SIGNATURE + chunks(name) for name in FORMATS}
    files["interlaced"] = SIGNATURE + chunks("rgba8", 6, 5, 1)
    files["cut"] = files["rgb8"][:-40]
    files["badpalette"] = SIGNATURE + chunk(b"PLTE", b"1234") + chunk(b"IEND")
    write("PngFuzz", **files)
    # Flags before the chunks: 1 no image data wanted, 2 an allocation refused, 4 two files, 8 the
    # signature is in the input.
    write("ContainerFuzz",
          plain=b"\0" + chunks("palette8", 3, 2),
          unwanted=b"\1" + chunks("rgb8", 2, 2),
          refused=b"\2\4" + chunks("rgba8", 2, 2),
          twice=b"\4\x64" + chunks("rgb16", 3, 3) + chunk(b"gAMA", b"\0\0\xb1\x8f") * 3 +
          chunk(b"tEXt", b"a\0b") + chunk(b"PLTE") + chunk(b"IDAT", zlib.compress(b"again")),
          signature=b"\x08" + SIGNATURE + chunks("grey8", 2, 2),
          short=b"\x08" + SIGNATURE[:5])
    programs("StructuredPngFuzz", 12, 200)


def inflate():
    def deflated(data, level=9, strategy=zlib.Z_DEFAULT_STRATEGY, window=15):
        packer = zlib.compressobj(level, zlib.DEFLATED, window, 8, strategy)
        return packer.compress(data) + packer.flush()

    text = b"she sells sea shells by the sea shore, the shells she sells are sea shells" * 4
    letters = bytes(random.Random(1).choices(b"abcdefghijklmnop", [2 ** i for i in range(16)], k=400))
    write("InflateFuzz",
          fixed=b"\0" + deflated(b"hello, hello", strategy=zlib.Z_FIXED),
          dynamic=b"\0" + deflated(text),
          huffman=b"\0" + deflated(letters, strategy=zlib.Z_HUFFMAN_ONLY),
          runs=b"\0" + deflated(b"a" * 600 + b"b" * 600, strategy=zlib.Z_RLE),
          stored=b"\0" + deflated(b"stored", level=0),
          window=b"\0" + deflated(text * 3, window=9),
          largewindow=b"\x03\xf8\x1d" + deflated(text)[2:],
          output=b"\x41" + deflated(text),
          refused=b"\x2a" + deflated(text),
          # Lengths of a dynamic block: complete, with gaps, too many, and none at all.
          complete=b"\x80\x07\0\x1d\x1d" + b"\xf8" * 16 + b"\xf9\x79\0" + bytes(range(200)),
          gaps=b"\x84\x07\1\3abc\x1d\x05" + b"\x14" * 4 + b"\0" + b"\x15" * 9 + bytes(range(100)),
          crowded=b"\x88\x02\0\x1d\x1d" + b"\xf2" * 18 + bytes(range(60)),
          barren=b"\x80\x07\0\0\0\0\0" + bytes(20),
          zlib=b"\xc0\x17" + text, zlibfixed=b"\xc0\xd0" + text, zlibrle=b"\xff\x8b" + letters)


def strings():
    # The first byte says which room: 0 characters, 2 lines, 3 search, 6 numbers, 7 addresses.
    # Pieces of a text: below 160 bytes that follow, from 96 on repeated; from 160 on a code point.
    mixed = "z\u00e9\u20ac\U0001f600".encode() + b"\xf4\x90\x80\x80\xfd\xbf\xbf\xbf\xbf\xbf"
    write("StringFuzz",
          characters=b"\0\2" + bytes([len(mixed) - 1]) + mixed + b"\x81\xc3\xa9\x60",
          long=b"\1\1\xa0\0\0\x20\xac\xc8" + bytes(range(60)),
          cut=b"\0\1\2a\xe2\x82",
          stray=b"\0\2\3\x80\xbfab\0\xff",
          lines=b"\2\1\x0ba\r\nb\n\nc\0de\n",
          search=b"\3\2\x70abcabdabcabcabd\x08\1x\x06\x03\x41\7\3abc",
          searchlong=b"\4\2\xa0\0\0\0\xe9\xff\xa0\0\0\0\x7a\x30\2\1\7\5\3\1",
          numbers=b"\6\0\1\xf6\0\xff\xff\xff\xff\xff\xff\xff\xff\0\1+\0\x14",
          address=b"\x07192.168.0.1", noaddress=b"\x0701.2.3.4", path=b"\x07/usr/lib/")
    programs("StringOpsFuzz", 10)


def fonts():
    bdf = b"""STARTFONT 2.1
FONT -a-b-medium-r-normal--8-80-72-72-c-80-iso10646-1
SIZE 8 72 72
FONTBOUNDINGBOX 8 8 0 -2
STARTPROPERTIES 5
PIXEL_SIZE 8
FONT_ASCENT 6
FONT_DESCENT 2
CHARSET_REGISTRY "ISO10646"
CHARSET_ENCODING "1"
ENDPROPERTIES
CHARS 1
STARTCHAR A
ENCODING 65
SWIDTH 500 0
DWIDTH 6 0
BBX 5 6 0 0
BITMAP
20
50
88
F8
88
88
ENDCHAR
ENDFONT
"""
    # The first byte: below 128 1 mono, 2 a bitmap font, 4 two sizes in turn; 128 a damaged font,
    # 192 a font file at the end. Then size, colour, and from 128 on the text's length.
    seeds = {f"line-{flags}": bytes([flags]) + random.Random(flags).randbytes(260)
             for flags in (0, 1, 2, 3, 4)}
    seeds.update({f"damaged-{flags}": bytes([flags]) + random.Random(flags).randbytes(300)
                  for flags in (129, 131, 161)})
    # Fifteen glyphs so large that the heap refuses their pixels.
    seeds["huge-130"] = bytes([130, 0, 0, 0x3F, 0xFF, 0, 0, 0, 255, 15]) + bytes(15) + b"1\x82"
    write("FontFuzz", file=b"\xc1\x08\0\0\0\xff\x03\0\0A" + bdf, **seeds)


def main():
    for harness in ("AllocatorOpsFuzz", "BufferOpsFuzz", "StreamOpsFuzz", "VectorListOpsFuzz",
                    "BitmapOpsFuzz"):
        programs(harness)
    operations = ("bytes", "copy", "compare", "add", "subtract", "multiply", "divide", "power")
    write("NmpiFuzz", **{name: bytes([i]) + random.Random(name).randbytes(250)
                         for i, name in enumerate(operations)})
    programs("ScalingFuzz", 8, 60)
    # Offset, number of cuts, the cuts, how often (behind a byte of at least 200).
    write("CrcFuzz",
          digits=b"\0\0\0" + b"123456789",
          pieces=b"\5\3\0\7\0\x40\1\1\0" + bytes(range(256)) * 3,
          long=b"\1\0\0" + random.Random(2).randbytes(1500),
          longer=b"\3\2\x14\0\1\x7f\xff\x14" + random.Random(3).randbytes(600))
    write("ClockFuzz", zero=bytes(20), half=b"\xff\xff\xff\xf0\xc0\0\x7f\xff\xff\xff",
          leap=b"\0\0\0\x0b\x60\0\x38\xbb\x3b\x2a", before=b"\1\2\3\4\0\5\6\7\x08\1" + b"\xff" * 8)
    strings()
    fonts()
    inflate()
    pngs()


main()
