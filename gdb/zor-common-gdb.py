"""Shows the values of zor::common in GDB as the texts that they print.

Nothing is called in the program, so the printers also work on core files and while its threads are anywhere. The
exception is Wildcards: the library itself says what an object holds, so there has to be a process that can run.
GDB loads this file by itself beside an installed shared library; elsewhere, `source` it.
"""

import gdb
import gdb.printing
import gdb.types


def read(address, size):
    """So many bytes of the program from an address on."""
    return gdb.selected_inferior().read_memory(int(address), size).tobytes() if size else b""


def bytes_of(array):
    """Of a value that may stand in registers."""
    first, last = array.type.range()
    return bytes(int(array[i]) for i in range(first, last + 1))


def grouped(octets, size, separator):
    """Hex digits in groups of so many octets."""
    return separator.join(octets[i:i + size].hex() for i in range(0, len(octets), size))


def format_style(name, grouping, separator):
    """The style in which a class prints at present, or the one given where the program has none, or not yet."""
    try:
        member = gdb.parse_and_eval(f"(char*)&'zor::common::{name}::mFormatStyle'")
        style = member.cast(gdb.lookup_type(f"zor::common::{name}::FormatStyle").pointer()).dereference()
        return int(style["mGrouping"]), chr(int(style["mSeparator"]) & 0xff)
    except gdb.error:
        return grouping, separator


class AddressPrinter:
    def __init__(self, value):
        self.value = value


class IpAddressPrinter(AddressPrinter):
    def to_string(self):
        return ".".join(str(octet) for octet in int(self.value["mValue"]).to_bytes(4, "big"))


class Ipv6AddressPrinter(AddressPrinter):
    def to_string(self):
        octets = bytes_of(self.value["mBytes"])
        dotted = bool(self.value["mFormatLast4BytesAsIpv4"]) and octets[:12] in (bytes(12), bytes(10) + b"\xff\xff")
        groups = [f"{octets[i] << 8 | octets[i + 1]:x}" for i in range(0, 12 if dotted else 16, 2)]
        if dotted:
            groups.append(".".join(map(str, octets[12:])))
        zeros = [group == "0" for group in groups]

        def run(start):  # how many zero groups stand there
            return next((i for i, zero in enumerate(zeros[start:]) if not zero), len(zeros) - start)

        start = max(range(len(groups)), key=run)  # the first of the longest
        if run(start) == 0:
            return ":".join(groups)
        return ":".join(groups[:start]) + "::" + ":".join(groups[start + run(start):])


class MacAddressPrinter(AddressPrinter):
    def to_string(self):
        grouping, separator = format_style("CMacAddress", 0, ".")
        return grouped(bytes_of(self.value["mBytes"]), 1 if grouping == 1 else 2, separator)


class WorldWideNamePrinter(AddressPrinter):
    def to_string(self):
        return grouped(bytes_of(self.value["mBytes"]), 1, format_style("CWorldWideName", 0, ":")[1])


class HexfieldPrinter:
    """The digits, as far as `set print elements` allows; of width 0 there are none."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        size = int(self.value["mSize"])
        shown = min(size, gdb.parameter("print elements") or size)
        place = int(self.value["mLanes"]) + size - shown  # the least significant byte comes first
        return (read(place, shown)[::-1].hex() + ("..." if shown < size else "")) or "<width 0>"


class WildcardsPrinter:
    """The template, where in its values the object stands, and once it is parsed its expressions and their values, as
    the library says when it is called. A call that GDB cannot make, as without a process, gives GDB's reason."""

    FUNCTION = "_ZN3zor6common15DumpForDebuggerERKNS0_9WildcardsE"

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "zor::common::Wildcards " + self.described()

    def described(self):
        if self.value.address is None:
            return "outside of memory"
        address = int(self.value.address)
        try:
            read(int.from_bytes(read(address, 8), "little"), 8)
        except gdb.error:  # an object holds a pointer, and this one leads nowhere
            return "not yet constructed"
        unwind = gdb.parameter("unwindonsignal")
        gdb.execute("set unwindonsignal on", to_string=True)
        try:
            call = f"((const char* (*)(const void*)) {self.FUNCTION})((const void*) {address})"
            return gdb.parse_and_eval(call).string("latin-1") or "not yet constructed"
        except gdb.error as error:
            return "not yet constructed" if "signal" in str(error) else f"<not shown: {error}>"
        finally:
            gdb.execute(f"set unwindonsignal {'on' if unwind else 'off'}", to_string=True)


class Printers(gdb.printing.RegexpCollectionPrettyPrinter):
    def __call__(self, value):
        """None for a class whose members are not in the debug information: Clang leaves them to the library's, which
        may have none, unless the program is compiled with -fstandalone-debug."""
        kind = gdb.types.get_basic_type(value.type)
        return super().__call__(value) if kind.code == gdb.TYPE_CODE_STRUCT and kind.fields() else None


def printers():
    collection = Printers("zor-common")
    for name, printer in (("CIpAddress", IpAddressPrinter), ("CIpv6Address", Ipv6AddressPrinter),
                          ("CMacAddress", MacAddressPrinter), ("CWorldWideName", WorldWideNamePrinter),
                          ("Hexfield", HexfieldPrinter), ("Wildcards", WildcardsPrinter)):
        collection.add_printer(name, f"^zor::common::{name}$", printer)
    return collection


gdb.printing.register_pretty_printer(gdb.current_objfile(), printers(), replace=True)
