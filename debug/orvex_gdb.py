# SPDX-License-Identifier: MIT
"""Shows libORVEX's values in GDB, and writes bitmaps of a running or dead program to files.

    (gdb) source debug/orvex_gdb.py
    (gdb) print title
    $1 = "Grüße" (5 characters)
    (gdb) orvex-save-bitmap picture picture.png

Works on a core file as well: nothing is called in the program.
"""

import struct
import zlib

import gdb

BYTES_SHOWN = 32


def first_field(value):
    """The only field of a plain value such as Char, Clock and Time; static ones lie nowhere in it."""
    return value[[f.name for f in value.type.fields() if hasattr(f, "bitpos")][0]]


def fields_of(value):
    """(begin, end) of a range; a range that is null has no elements."""
    return value["begin"], value["end"]


def length_of(value):
    begin, end = fields_of(value)
    return int(end - begin) if int(begin) else 0


def read_bytes(pointer, count):
    return bytes(gdb.selected_inferior().read_memory(int(pointer), count)) if count else b""


def hex_of(data):
    return " ".join("%02X" % byte for byte in data)


def shown(text):
    """The text as GDB can write it: in a plain C locale what is not ASCII becomes escapes."""
    charset = gdb.host_charset() if hasattr(gdb, "host_charset") else "ascii"
    try:
        return text.encode(charset, "backslashreplace").decode(charset)
    except LookupError:  # a charset that Python does not know
        return text.encode("ascii", "backslashreplace").decode("ascii")


class StringPrinter:
    """The text and, since bytes and characters differ, the number of characters."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        length = length_of(self.value)
        if length == 0:
            return '"" (no block)'
        data = read_bytes(self.value["begin"], length - 1)
        characters = len(data.decode("utf-8", "replace"))
        return '"%s" (%d characters)' % (shown(data.decode("utf-8", "backslashreplace")), characters)


class CharPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        code = int(first_field(self.value))
        if not 0x20 <= code < 0x110000 or 0xD800 <= code < 0xE000:
            return "U+%04X" % code
        return "U+%04X '%s'" % (code, shown(chr(code)))


class BytesPrinter:
    """A byte range: its length and its first bytes.

    The compiler describes a class with virtual operations only where these are defined, so a
    program that links a stripped library knows its name alone. The pointers are then taken from
    where they lie: behind the pointer to the virtual operations."""

    def __init__(self, value):
        try:
            self.begin, end = (int(pointer) for pointer in fields_of(value))
        except gdb.error:
            pointer = gdb.lookup_type("unsigned long").pointer()
            words = value.address.cast(pointer)
            self.begin, end = int((words + 1).dereference()), int((words + 2).dereference())
        self.length = end - self.begin

    def to_string(self):
        length = self.length
        first = read_bytes(self.begin, min(length, BYTES_SHOWN))
        more = " ..." if length > BYTES_SHOWN else ""
        return "%d bytes%s%s%s" % (length, ": " if length else "", hex_of(first), more)


class RangePrinter:
    """A typed range, element by element."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "%d elements" % length_of(self.value)

    def children(self):
        for at in range(length_of(self.value)):
            yield "[%d]" % at, (self.value["begin"] + at).dereference()

    def display_hint(self):
        return "array"


class ListPrinter:
    """A list, from the first node to the last."""

    def __init__(self, value):
        self.value = value

    def items(self):
        node_type = gdb.lookup_type(self.value.type.strip_typedefs().name + "::Node").pointer()
        back = int(self.value["back"].address)
        link = self.value["front"]["next"]
        while int(link) != back and int(link) != 0:
            yield link.cast(node_type).dereference()["item"]
            link = link["next"]

    def to_string(self):
        return "%d elements" % sum(1 for _ in self.items())

    def children(self):
        for at, item in enumerate(self.items()):
            yield "[%d]" % at, item

    def display_hint(self):
        return "array"


class ColorPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        channels = [int(self.value[name]) for name in ("red", "green", "blue", "alpha")]
        return "#%02X%02X%02X%02X" % tuple(channels)


class BitmapPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        size = self.value["size"]
        pixels = length_of(self.value["pixels"])
        return "%d x %d bitmap, %d pixels" % (int(size["x"]), int(size["y"]), pixels)


class ClockPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "%d ms" % int(first_field(self.value))


class TimePrinter:
    """Calendar time; seconds that no calendar holds are shown as they are."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        import datetime

        seconds = int(first_field(self.value))
        try:
            moment = datetime.datetime(1970, 1, 1) + datetime.timedelta(seconds=seconds)
        except OverflowError:
            return "%d s" % seconds
        return "%s UTC" % moment.strftime("%Y-%m-%d %H:%M:%S")


class NumberPrinter:
    """A big integer in hexadecimal."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        number = 0
        for at in reversed(range(length_of(self.value))):
            number = number << 32 | int((self.value["begin"] + at).dereference())
        return "0x%X" % number


PRINTERS = [
    (r"^ORVEX::String$", StringPrinter),
    (r"^ORVEX::Char$", CharPrinter),
    (r"^ORVEX::(BufferBase|Buffer|FileBuffer)$", BytesPrinter),
    (r"^ORVEX::(ArrayBase|Array|Vector)<.*>$", RangePrinter),
    (r"^ORVEX::List<.*>$", ListPrinter),
    (r"^ORVEX::Color$", ColorPrinter),
    (r"^ORVEX::(Bitmap|Font|Ping)$", BitmapPrinter),
    (r"^ORVEX::Clock$", ClockPrinter),
    (r"^ORVEX::Time$", TimePrinter),
    (r"^ORVEX::Nmpi\w*$", NumberPrinter),
]


def png_chunk(kind, data):
    return (
        struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    )


def png_of(width, height, argb):
    """A PNG file's bytes from rows of A, R, G, B pixels, the order in which a Bitmap has them."""
    rgba = bytearray(len(argb))
    rgba[0::4], rgba[1::4], rgba[2::4], rgba[3::4] = argb[1::4], argb[2::4], argb[3::4], argb[0::4]
    rows = b"".join(
        b"\0" + bytes(rgba[4 * width * row : 4 * width * (row + 1)]) for row in range(height)
    )
    return (
        b"\x89PNG\r\n\x1a\n"
        + png_chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0))
        + png_chunk(b"IDAT", zlib.compress(rows))
        + png_chunk(b"IEND", b"")
    )


class SaveBitmap(gdb.Command):
    """orvex-save-bitmap EXPRESSION FILE.png: writes a Bitmap's pixels to a PNG file.

    EXPRESSION is a Bitmap, or a Font or a Ping, or a reference or pointer to one."""

    def __init__(self):
        super().__init__("orvex-save-bitmap", gdb.COMMAND_DATA, gdb.COMPLETE_EXPRESSION)

    def invoke(self, argument, from_tty):
        words = argument.rsplit(None, 1)
        if len(words) != 2:
            raise gdb.GdbError("usage: orvex-save-bitmap EXPRESSION FILE.png")
        bitmap = gdb.parse_and_eval(words[0])
        if bitmap.type.strip_typedefs().code == gdb.TYPE_CODE_PTR:
            bitmap = bitmap.dereference()
        width, height = int(bitmap["size"]["x"]), int(bitmap["size"]["y"])
        pixels = length_of(bitmap["pixels"])
        if pixels == 0 or pixels != width * height:
            raise gdb.GdbError("the bitmap is empty: there is nothing to write")
        argb = read_bytes(bitmap["pixels"]["begin"], 4 * pixels)
        with open(words[1], "wb") as file:
            file.write(png_of(width, height, argb))
        print("%s: %d x %d pixels" % (words[1], width, height))


def register():
    import gdb.printing

    collection = gdb.printing.RegexpCollectionPrettyPrinter("libORVEX")
    for pattern, printer in PRINTERS:
        collection.add_printer(pattern, pattern, printer)
    gdb.printing.register_pretty_printer(None, collection, replace=True)
    SaveBitmap()


register()
