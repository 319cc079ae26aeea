#!/usr/bin/env python3
"""Tests the dissector with a capture of frames that span several segments.

    wireshark_test.py DISSECTOR

DISSECTOR is qor.lua. The exit status is 77 (skipped) without tshark.
"""

import os
import shutil
import struct
import subprocess
import sys
import tempfile

PORT = 4711
OPEN, CLOSE = b"\xff\x01(", b"\xff\x01)"
dissector = sys.argv[1]
if shutil.which("tshark") is None:
    print("tshark is not installed")
    sys.exit(77)


def frame(payload):
    return struct.pack(">I", len(payload)) + payload


def segment(sequence, data, port):
    """An Ethernet packet with a TCP segment from the server."""
    tcp = struct.pack(">HHIIBBHHH", port, 40000, sequence, 1, 5 << 4, 0x18, 65535, 0, 0) + data
    ip = struct.pack(">BBHHHBBHII", 0x45, 0, 20 + len(tcp), 0, 0, 64, 6, 0, 0x7F000001, 0x7F000001)
    return bytes(12) + b"\x08\x00" + ip + tcp


def capture(path, segments, port):
    with open(path, "wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 1 << 18, 1))
        sequence = 1
        for number, data in enumerate(segments):
            packet = segment(sequence, data, port)
            sequence += len(data)
            file.write(struct.pack("<IIII", number, 0, len(packet), len(packet)) + packet)


def tshark(path, *arguments):
    with tempfile.TemporaryDirectory() as home:
        done = subprocess.run(
            ["tshark", "-n", "-X", "lua_script:" + dissector, "-r", path, *arguments],
            capture_output=True, text=True, timeout=120,
            env={**os.environ, "HOME": home, "XDG_CONFIG_HOME": home})
    if done.returncode != 0 or "Lua" in done.stderr:
        sys.exit("wireshark_test: tshark failed: " + done.stderr)
    return done.stdout


def check(actual, expected):
    if actual != expected:
        sys.exit(f"wireshark_test: {actual!r} is not {expected!r}")


MESSAGE = OPEN + b"\x01\x01\x02\x2c\x01" + b"\x02" + OPEN + b"\x01\xf1\x02hi\x03\x00\x04\x01\x00" + CLOSE + CLOSE
DEEP = 200
STREAM = b"".join((
    frame(MESSAGE),
    frame(b""),
    frame(b"\x02\x2c\x01" + bytes(300)),            # larger than a segment
    frame(OPEN + (b"\x07" + OPEN) * DEEP + CLOSE * (DEEP + 1)),
    frame(OPEN + b"\x01\x20\x00" + CLOSE),          # not nbr
    frame(OPEN + b"\x01\x01\x05\xaa"),              # cut off
    frame(b"\xf1\x01z" + b"more"),
))

with tempfile.TemporaryDirectory() as directory:
    path = os.path.join(directory, "frames.pcap")
    # Pieces of 7 bytes, so that lengths and values are cut everywhere.
    capture(path, [STREAM[at : at + 7] for at in range(0, len(STREAM), 7)], PORT)

    names = ("length", "nbr.text", "nbr.number", "nbr.data", "nbr.tag", "nbr.malformed", "nbr.cut",
             "nbr.behind", "nbr.deep")
    wanted = [argument for name in names for argument in ("-e", "qor." + name)]
    out = tshark(path, "-Y", "qor", "-T", "fields", "-E", "separator=|", *wanted)
    rows = [line.split("|") for line in out.splitlines()]
    columns = dict(zip(names, ([cell for cell in column if cell] for column in zip(*rows))))
    lengths = [len(MESSAGE), 0, 303, 3 + 4 * DEEP + 3 * (DEEP + 1), 9, 7, 7]
    check(",".join(columns["length"]), ",".join(map(str, lengths)))
    check(columns["nbr.text"], ["hi", "z"])
    check(columns["nbr.number"], ["300", "170"])
    check(columns["nbr.data"], ["2c01", "00" * 300, "aa"])
    check(columns["nbr.tag"][0], "1,2,1,3,4")
    for expert in ("malformed", "cut", "behind", "deep"):
        check(len(columns["nbr." + expert]), 1)
    tree = tshark(path, "-Y", "qor.nbr.text == \"hi\"", "-O", "qor")
    begin = tree.index("qor frames, ")
    check([line.strip() for line in tree[begin:].splitlines() if line.strip()][:9], [
        "qor frames, %d bytes" % len(MESSAGE), "Length: %d" % len(MESSAGE),
        "Payload: " + MESSAGE.hex(), "Complex value", "[1] Data: 2c01 (300)", "[Number: 300]",
        "[2] Complex value", "[1] Text: hi", "[3] Null"])

    # Another port, by the preference and by "Decode As".
    capture(path, [frame(MESSAGE)], 5000)
    for how in (("-o", "qor.port:5000"), ("-d", "tcp.port==5000,qor")):
        check(tshark(path, *how, "-T", "fields", "-e", "qor.nbr.text"), "hi\n")
