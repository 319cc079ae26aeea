"""Pretty printers of gdb for the types of libqor.

They read memory and call no function of the program, so that they also work for core files. Scalars,
text, handles and containers are read with the debug information of the program. The trees (pml, JSON,
XML, nbr) are read by fixed offsets, since the program has no debug information of the library's
internal types. So this file works only for this version of the library, and trees only on machines with
pointers of 64 bits. A tree is shown on one line, clipped to the limit of "print elements".
"""

import re
import struct
from datetime import datetime, timedelta, timezone

import gdb
import gdb.printing

WORD = 8


def limit():
    """The maximum number of characters to show. 0 and None, which mean no limit in gdb, give
    1,048,576."""
    return gdb.parameter("print elements") or 1 << 20


class Memory:
    """Reads the memory of the program."""

    def __init__(self):
        self.inferior = gdb.selected_inferior()
        order = gdb.execute("show endian", to_string=True)
        self.order = "big" if "big" in order else "little"

    def bytes(self, address, size):
        return bytes(self.inferior.read_memory(address, size)) if size else b""

    def number(self, address, size):
        return int.from_bytes(self.bytes(address, size), self.order)

    def pointer(self, address):
        return self.number(address, WORD)

    def u32(self, address):
        return self.number(address, 4)

    def u8(self, address):
        return self.number(address, 1)

    def string(self, address):
        """The text of the std::string at an address, up to one byte more than is shown."""
        size = min(self.pointer(address + WORD), limit() + 1)
        return self.bytes(self.pointer(address), size)


def readable(text):
    """Text or bytes as text without control characters."""
    shown = text.decode("utf-8", "backslashreplace") if isinstance(text, bytes) else text
    return "".join(c if c.isprintable() else "\\x%02x" % ord(c) if ord(c) < 256 else "\\u%04x" % ord(c)
                   for c in shown)


class Clipped(Exception):
    pass


class Line:
    """A text that is clipped at the limit."""

    def __init__(self):
        self.parts = []
        self.left = limit()

    def add(self, text):
        if len(text) > self.left:
            self.parts.append(text[: self.left] + "...")
            raise Clipped
        self.left -= len(text)
        self.parts.append(text)

    @staticmethod
    def of(write, *arguments):
        line = Line()
        try:
            write(line, *arguments)
        except Clipped:
            pass
        except (gdb.MemoryError, OverflowError):
            line.parts.append("<memory that cannot be read>")
        return "".join(line.parts)


def address_of(value):
    """The address of an object, also if the value is a reference to it."""
    if value.type.strip_typedefs().code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
        value = value.referenced_value()
    return int(value.address)


# Text, bytes, time, numbers.


class TextPrinter:
    """String, istr and iwstr, as views of their characters."""

    def __init__(self, value):
        self.value = value

    def parts(self):
        if self.value.type.strip_typedefs().tag == "qor::String":
            return self.value["_M_dataplus"]["_M_p"], int(self.value["_M_string_length"])
        return self.value["ptr_"], int(self.value["size_"])

    def to_string(self):
        pointer, size = self.parts()
        if int(pointer) == 0:
            return "null" if size == 0 else "null of %d" % size
        return pointer.lazy_string(length=size)

    def display_hint(self):
        return "string" if int(self.parts()[0]) != 0 else None


class BytesPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        size = int(self.value["size_"])
        text = "%d bytes of %d" % (size, int(self.value["capacity_"]))
        if size == 0:
            return text
        shown = min(size, limit())
        data = Memory().bytes(int(self.value["data_"]), shown)
        return text + ": " + data.hex(" ").upper() + ("..." if shown < size else "")


class TimePrinter:
    """A duration; from a year on, also as a point in time, in UTC."""

    YEAR = 366 * 86400 * 10**6

    def __init__(self, value):
        self.value = value

    def to_string(self):
        count = int(self.value["usec_"])
        if count == 0:
            return "<null>"
        if count == 2**63 - 1:
            return "forever"
        seconds = "%s%d.%06d s" % ("-" if count < 0 else "", abs(count) // 10**6, abs(count) % 10**6)
        if abs(count) < self.YEAR:
            return seconds
        try:
            point = datetime(1970, 1, 1, tzinfo=timezone.utc) + timedelta(microseconds=count)
        except OverflowError:
            return seconds
        return point.strftime("%Y-%m-%d %H:%M:%S.%f UTC") + " (" + seconds + ")"


class NumberPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return str(self.value["value_"])


class OptionalPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "set" if bool(self.value["set_"]) else "not set"

    def children(self):
        if bool(self.value["set_"]):
            yield "value", self.value["value_"]


def offset_of_shared(kind):
    """The offset of the base qor::Shared in a class, or None if it is not known. It is needed if there is
    no debug information of the members of Shared, which is in the library."""
    kind = kind.strip_typedefs()
    if kind.tag == "qor::Shared":
        return 0
    for field in kind.fields():
        # A virtual base has no fixed offset.
        if not field.is_base_class or field.bitpos is None:
            continue
        offset = offset_of_shared(field.type)
        if offset is not None:
            return field.bitpos // 8 + offset
    return None


class HandlePrinter:
    def __init__(self, value):
        self.value = value
        self.pointer = value["ptr_"]

    def to_string(self):
        if int(self.pointer) == 0:
            return "null"
        try:
            count = self.count()
        except (gdb.error, gdb.MemoryError):
            count = None
        if count is None:
            return "a handle"
        return "%d owner%s" % (count, "" if count == 1 else "s")

    def count(self):
        try:
            return int(self.pointer.dereference()["refCount_"]["_M_i"])
        except gdb.error:
            offset = offset_of_shared(self.pointer.type.target())
            if offset is None:
                return None
            return Memory().u32(int(self.pointer) + offset + self.pointer.type.sizeof)

    def children(self):
        if int(self.pointer) == 0:
            return
        try:
            yield "get()", self.pointer.dynamic_type and self.pointer.cast(self.pointer.dynamic_type)
        except (gdb.error, gdb.MemoryError):
            yield "get()", self.pointer


class LockedPrinter:
    """A locked container: its elements in the order of their keys."""

    def __init__(self, value):
        self.value = value
        self.values = value["values_"]
        self.is_map = re.match(r"qor::mt::map<", value.type.strip_typedefs().tag) is not None
        self.impl = self.values["_M_t"]["_M_impl"]

    def to_string(self):
        return "%s of %d" % ("map" if self.is_map else "set", int(self.impl["_M_node_count"]))

    def nodes(self):
        node = self.impl["_M_header"]["_M_left"]
        for _ in range(int(self.impl["_M_node_count"])):
            yield node
            if int(node["_M_right"]) != 0:
                node = node["_M_right"]
                while int(node["_M_left"]) != 0:
                    node = node["_M_left"]
            else:
                parent = node["_M_parent"]
                while int(node) == int(parent["_M_right"]):
                    node, parent = parent, parent["_M_parent"]
                node = parent

    def children(self):
        values = self.values.type.strip_typedefs()
        key = values.template_argument(0)
        for index, node in enumerate(self.nodes()):
            address = int(node) + node.dereference().type.sizeof
            address = -(-address // key.alignof) * key.alignof
            element = gdb.Value(address).cast(key.pointer()).dereference()
            yield "[%d]" % index if not self.is_map else "key %d" % index, element
            if not self.is_map:
                continue
            mapped = values.template_argument(1)
            address = -(-(address + key.sizeof) // mapped.alignof) * mapped.alignof
            yield "value %d" % index, gdb.Value(address).cast(mapped.pointer()).dereference()

    def display_hint(self):
        return "map" if self.is_map else "array"


# Trees.


class TreePrinter:
    """Shows the tree at an address. `write` is a function with the arguments Line, Memory, address."""

    write = None

    def __init__(self, value):
        self.address = address_of(value)

    def to_string(self):
        return Line.of(type(self).write, Memory(), self.address)


PML_TYPED = {
    # For each class, a function that reads its data; `at` is the address of the object.
    "BooleanValue": lambda memory, at: str(memory.u8(at + 17)),
    "CharacterValue": lambda memory, at: readable(memory.bytes(at + 17, 1)),
    "IntegerValue": lambda memory, at: str(signed(memory.pointer(at + 24))),
    "UnsignedValue": lambda memory, at: str(memory.pointer(at + 24)),
    "FloatValue": lambda memory, at: str(double(memory, at + 24)),
    "TimeValue": lambda memory, at: "%d us" % signed(memory.pointer(at + 24)),
    "WcharValue": lambda memory, at: "\\u%04x" % (memory.u32(at + 20) & 0xFFFF),
}


def signed(word):
    return word - (1 << 64) if word >> 63 else word


def double(memory, address):
    return struct.unpack(">d" if memory.order == "big" else "<d", memory.bytes(address, 8))[0]


def class_by_vtable(memory, address):
    """The class of an object of the library, from the symbol of its virtual table; empty if unknown."""
    name = gdb.execute("info symbol %d" % memory.pointer(address), to_string=True)
    found = re.match(r"vtable for (?:\w+::)*(\w+)", name)
    return found.group(1) if found else ""


def pml_text(text):
    text = readable(text)
    if re.search(r"[()*:^'\"]|^\s|\s$", text):
        return '"' + re.sub(r'(["^])', r"^\1", text) + '"'
    return text


def write_pml(line, memory, address):
    """Writes a pml tree in the layout COMPACT."""
    kind_typed, kind_text, kind_list = range(3)
    open_lists = []

    def enter(unit):
        line.add(re.sub(r"(['\"^])", r"^\1", readable(memory.string(unit))))
        kind = memory.string(unit + 32)
        line.add((":" + readable(kind) if kind else "") + "(")
        value = memory.pointer(unit + 64)
        of = memory.u8(value + 16) if value else None
        if of == kind_list:
            open_lists.append([memory.pointer(value + 24), memory.pointer(value + 32)])
            return
        if of == kind_text:
            line.add(pml_text(memory.string(value + 24)))
        elif of == kind_typed:
            name = class_by_vtable(memory, value)
            line.add(PML_TYPED[name](memory, value) if name in PML_TYPED else "<%s>" % name)
        line.add(")")

    enter(address)
    while open_lists:
        level = open_lists[-1]
        if level[0] == level[1]:
            open_lists.pop()
            line.add(")")
        else:
            level[0] += WORD
            enter(memory.pointer(level[0] - WORD))


def json_quoted(text):
    return '"' + re.sub(r'(["\\])', r"\\\1", readable(text)) + '"'


class JsonReader:
    """Writes a JSON tree. Parts of it may not be values yet, but nodes of a parsed text."""

    OTHER, BOOLEAN, NUMBER, STRING, ARRAY, OBJECT = range(6)
    ARRAY_MARK, OBJECT_MARK = 0xFFF00000, 0xFFF00004
    DISTANCE = (1 << 29) - 8

    def __init__(self, line, memory):
        self.line = line
        self.memory = memory
        self.open = []  # for each open container, a generator of its items; the innermost last

    def run(self, first):
        first()
        while self.open:
            try:
                next(self.open[-1])()
            except StopIteration:
                self.open.pop()

    def unit(self, address):
        word = self.memory.pointer(address)
        if word & 1:
            block = address - (word & self.DISTANCE)
            self.node(self.memory.pointer(block + WORD), word >> 32)
        elif word & 2:
            text = self.memory.bytes(address, WORD)
            size = word >> 3 & 7
            at = 1 if self.memory.order == "little" else 0
            self.line.add(readable(text[at : at + size]))
        elif word == 0:
            self.line.add("null")
        else:
            self.value(word)

    def value(self, address):
        memory = self.memory
        marks = memory.u8(address + 13)
        if memory.order == "big":
            marks = int(format(marks, "08b")[::-1], 2)
            kind = int(format(marks & 7, "03b")[::-1], 2)
        else:
            kind = marks & 7
        is_true, is_string, in_tree, unmade = (marks >> bit & 1 for bit in (3, 4, 5, 6))
        if unmade:
            block = address - memory.number(address + 14, 2) * WORD
            self.node(memory.pointer(block + WORD), 0)
        elif kind == self.BOOLEAN:
            self.line.add("true" if is_true else "false")
        elif kind in (self.NUMBER, self.STRING):
            if is_string:
                text = memory.string(memory.pointer(address + 16))
            else:
                size = min(memory.u32(address + 16), limit() + 1)
                at = memory.pointer(address + 24) if in_tree else address + 20
                text = memory.bytes(at, size)
            self.line.add(json_quoted(text) if kind == self.STRING else readable(text))
        elif kind == self.ARRAY:
            self.enter(self.units(memory.pointer(address + 16), memory.u32(address + 24)))
        elif kind == self.OBJECT:
            self.enter(self.pairs(address))
        else:
            self.line.add("<value>")

    def enter(self, items):
        self.open.append(items)

    def units(self, first, size):
        yield lambda: self.line.add("[")
        for i in range(size):
            if i:
                self.line.add(", ")
            yield lambda at=first + WORD * i: self.unit(at)
        yield lambda: self.line.add("]")

    def pairs(self, address):
        memory = self.memory
        yield lambda: self.line.add("{")
        has_pointers = memory.u32(address + 40) != 0
        for i in range(memory.u32(address + 28)):
            if has_pointers:
                pair = memory.pointer(memory.pointer(address + 32) + WORD * i)
            else:
                pair = memory.pointer(address + 16) + 2 * WORD * i
            key = memory.string(memory.pointer(pair))
            self.line.add((", " if i else "") + json_quoted(key) + ":")
            yield lambda at=pair + WORD: self.unit(at)
        yield lambda: self.line.add("}")

    def node(self, tree, index):
        memory = self.memory
        text, nodes = memory.pointer(tree + 16), memory.pointer(tree + 32)
        begin, size = (memory.u32(nodes + WORD * index + 4 * part) for part in range(2))
        if begin >= self.ARRAY_MARK:
            self.enter(self.nodes(tree, nodes, index, size, begin >= self.OBJECT_MARK))
        elif size == 0:
            self.line.add("null")
        else:
            self.line.add(readable(memory.bytes(text + begin, min(size, limit() + 1))))

    def nodes(self, tree, nodes, index, size, is_object):
        yield lambda: self.line.add("{" if is_object else "[")
        at = index + 1
        while at < index + size:
            if at != index + 1:
                self.line.add(", ")
            if is_object:
                text = self.memory.pointer(tree + 16)
                begin, length = (self.memory.u32(nodes + WORD * at + 4 * part) for part in range(2))
                key = self.memory.bytes(text + begin, min(length, limit() + 1))
                self.line.add(json_quoted(key) + ":")
                at += 1
            begin, length = (self.memory.u32(nodes + WORD * at + 4 * part) for part in range(2))
            yield lambda i=at: self.node(tree, i)
            at += length if begin >= self.ARRAY_MARK else 1
        yield lambda: self.line.add("}" if is_object else "]")


def write_json_unit(line, memory, address):
    reader = JsonReader(line, memory)
    reader.run(lambda: reader.unit(address))


def write_json_value(line, memory, address):
    reader = JsonReader(line, memory)
    reader.run(lambda: reader.value(address))


def xml_text(text):
    for plain, entity in (("&", "&amp;"), ("<", "&lt;"), (">", "&gt;"), ('"', "&quot;")):
        text = text.replace(plain, entity)
    return text


def write_xml(line, memory, address):
    open_nodes = []

    def text_of(node):
        return xml_text(readable(memory.string(node + 40)))

    def enter(node):
        name = readable(memory.string(node + 8))
        line.add("<" + name)
        attributes = memory.pointer(node + 72)
        attribute = memory.pointer(attributes) if attributes else 0
        while attribute:
            key, value = (readable(memory.string(attribute + at)) for at in (8, 40))
            line.add(' %s="%s"' % (key, xml_text(value)))
            attribute = memory.pointer(attribute + 88)
        first = memory.pointer(node + 80)
        if first:
            line.add(">")
            open_nodes.append([first, node, name])
        else:
            text = text_of(node)
            line.add(">" + text + "</" + name + ">" if text else "/>")

    enter(address)
    while open_nodes:
        level = open_nodes[-1]
        if level[0]:
            child = level[0]
            level[0] = memory.pointer(child + 136)
            enter(child)
        else:
            open_nodes.pop()
            line.add(text_of(level[1]) + "</" + level[2] + ">")


def write_nbr(line, memory, address):
    """Writes an nbr tree in the compact form of a dumper."""
    open_values = []

    def enter(value):
        if not memory.u8(value + 8):
            line.add("{")
            items = memory.pointer(value + 24)
            open_values.append([items, items, items + 2 * WORD * memory.u32(value + 12)])
            return
        size = min(memory.u32(value + 16), limit() + 1)
        data = memory.bytes(memory.pointer(value + 24), size)
        line.add("'" + readable(data) + "'" if memory.u8(value + 9) else data.hex(" ").upper())

    enter(address)
    while open_values:
        level = open_values[-1]
        item = level[0]
        if item == level[2]:
            open_values.pop()
            line.add("}")
            continue
        line.add("%s[%d] " % (" " if item != level[1] else "", memory.u8(item)))
        level[0] += 2 * WORD
        enter(memory.pointer(item + WORD))


def tree_printer(writer):
    return type("Printer", (TreePrinter,), {"write": staticmethod(writer)})


def build_printer():
    collection = gdb.printing.RegexpCollectionPrettyPrinter("qor")
    numbers = "Bit|Byte|Sbyte|Char|Short|Ushort|Long|Ulong|Longlong|Ulonglong|Float|Double|Wchar"
    for name, pattern, printer in (
        ("text", r"(String|istr|iwstr)", TextPrinter),
        ("Bytes", r"Bytes", BytesPrinter),
        ("Time", r"Time", TimePrinter),
        ("number", "(%s)" % numbers, NumberPrinter),
        ("Optional", r"Optional<.*>", OptionalPrinter),
        ("Handle", r"Handle<.*>", HandlePrinter),
        ("locked", r"mt::(map|set)<.*>", LockedPrinter),
    ):
        collection.add_printer(name, "^qor::%s$" % pattern, printer)
    if gdb.lookup_type("void").pointer().sizeof == WORD:
        for name, pattern, writer in (
            ("pml", r"pml::ntv::Unit", write_pml),
            ("JsonUnit", r"json::JsonUnit", write_json_unit),
            ("JsonValue", r"json::Json(Value|Boolean|Number|String|Array|Object)", write_json_value),
            ("xml", r"XMLNode", write_xml),
            ("nbr", r"nbr::(ValueBase|SimpleValue|ComplexValue)", write_nbr),
        ):
            collection.add_printer(name, "^qor::%s$" % pattern, tree_printer(writer))
    return collection


gdb.printing.register_pretty_printer(gdb.current_objfile(), build_printer(), replace=True)
