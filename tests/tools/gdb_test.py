#!/usr/bin/env python3
"""Tests the pretty printers of gdb with a stopped program, and with its core file.

    gdb_test.py PRINTERS SUBJECT

PRINTERS is qor_printers.py, SUBJECT the program. The exit status is 77 (skipped) without gdb.
"""

import os
import shutil
import subprocess
import sys
import tempfile

EXPECTED = r'''
string = "text \"q\""
longString = 'x' <repeats 200 times>...
view = "a view"
nullView = null
wideView = L"w\370"
bytes = 4 bytes of 4: 01 FF 68 69
noBytes = 0 bytes of 0
time = 2017-07-14 02:40:00.123456 UTC (1500000000.123456 s)
duration = -5.250000 s
unset = <null>
forever = forever
noHandle = null
number = -7
byte = 65 'A'
bit = true
fraction = 1.5
set = set = {value = "here"}
notSet = not set
map = map of 2 = {["one"] = 1, ["two"] = 2}
numbers = set of 2 = {1, 3}
unit = server(host(ex ample)port:Ushort(8080)paths((a)("(b)")))
typed = sizes(a(-12)b(1)c(0.5))
json = {"n":12345678901, "a":[1, true, "x\"y"], "\"o\"":{"deep":[[]]}}
looked = {"a":{}, "z":["text of many characters", 2]}
built = {"id":12345678901, "list":[1], "name":"Ann", "none":null, "ok":true}
nothing = null
xml = <a x="1" y="&lt;"><b>u &amp; v</b><c/>t</a>
value = {[1] 2C 01 [2] {[1] 'hi'}}
'''.strip().splitlines()

printers, subject = sys.argv[1:3]
if shutil.which("gdb") is None:
    print("gdb is not installed")
    sys.exit(77)


def gdb(*commands, core=None):
    arguments = ["gdb", "-nx", "-batch", "-iex", "set auto-load no", "-ex", "source " + printers]
    for command in ("set debuginfod enabled off", *commands):
        arguments += ["-ex", command]
    done = subprocess.run(
        arguments + [subject] + ([core] if core else []), capture_output=True, timeout=120,
        text=True, env={**os.environ, "LC_ALL": "C"})
    return done.stdout + done.stderr


def check(output, where):
    lines = output.splitlines()
    missing = [line for line in EXPECTED if line not in lines]
    if not any(line.startswith("handle = 2 owners = {get() = 0x") for line in lines):
        missing.append("handle")
    if missing:
        sys.exit("gdb_test: %s lacks\n%s\nof\n%s" % (where, "\n".join(missing), output))


with tempfile.TemporaryDirectory() as directory:
    core = os.path.join(directory, "core")
    live = gdb("break stop", "run", "up", "info locals", "set print elements 12", "print unit",
               "print json", "gcore " + core)
    check(live, "the live program")
    for clipped in ("$1 = server(host(...", '$2 = {"n":1234567...'):
        if clipped not in live.splitlines():
            sys.exit("gdb_test: %s is not in\n%s" % (clipped, live))
    check(gdb("up", "info locals", core=core), "the core")
