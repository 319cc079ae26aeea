#!/usr/bin/env python3
"""Tests the tools as users run them: with pipes, in a terminal, and with a log that is rotated.

    end_to_end.py TOOLS EXAMPLES MANUALS

The arguments are the directories of the programs, of examples/data and of the manual pages.
"""

import gzip
import os
import pty
import re
import select
import signal
import subprocess
import sys
import tempfile
import time

tools, data, manuals = sys.argv[1:4]
DEADLINE = 60
os.environ.pop("NO_COLOR", None)
os.environ["TERM"] = "xterm"


def call(tool, *arguments, before=(), stdin=b"", stdout=subprocess.PIPE, env=None, **more):
    """The status, the output and the errors. `before` is a command that runs the tool; stdin is
    bytes or a file."""
    source = {"input": stdin} if isinstance(stdin, bytes) else {"stdin": stdin}
    done = subprocess.run(
        [*before, os.path.join(tools, tool), *arguments], **source, stdout=stdout,
        stderr=subprocess.PIPE, timeout=DEADLINE, env={**os.environ, **(env or {})}, **more)
    return done.returncode, done.stdout, done.stderr


def check(actual, expected):
    if actual != expected:
        sys.exit(f"end_to_end: {actual!r} is not {expected!r}")


def on_terminal(tool, *arguments, env=None, until=None):
    """Runs a tool in a terminal, and returns its output and its status. Sends SIGTERM to the tool when
    `until` is in the output."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.environ.update(env or {})
        os.execv(os.path.join(tools, tool), [tool, *arguments])
    seen = b""
    end = time.monotonic() + DEADLINE
    while True:
        if not select.select([terminal], [], [], max(0, end - time.monotonic()))[0]:
            os.kill(pid, signal.SIGKILL)
            sys.exit(f"end_to_end: {tool} is silent after {seen!r}")
        try:
            part = os.read(terminal, 65536)
        except OSError:  # the other end is closed
            break
        if not part:
            break
        seen += part
        if until is not None and until in seen:
            os.kill(pid, signal.SIGTERM)
            until = None
    os.close(terminal)
    status = os.waitpid(pid, 0)[1]
    return seen, os.waitstatus_to_exitcode(status)


def test_help_and_mistakes():
    version = call("qor-inspect", "--version")[1].split()[-1]
    for tool in ("qor-inspect", "qor-ping", "qor-log"):
        status, out, err = call(tool, "--help")
        check((status, err), (0, b""))
        assert out.startswith(b"usage: " + tool.encode() + b" "), out
        # Every option of the help is in the manual page.
        with open(os.path.join(manuals, tool + ".1")) as file:
            manual = file.read().replace("\\", "")
        for option in re.findall(r"^ .*?(--[a-z]+)", out.decode(), re.M):
            assert f" {option}" in manual, (tool, option)
        check(call(tool, "-V"), (0, tool.encode() + b" (qor) " + version + b"\n", b""))
        status, out, err = call(tool, "--nonsense")
        check((status, out), (2, b""))
        check(err, f"{tool}: unknown option --nonsense; see {tool} --help\n".encode())
    for mistake in (("-d1", "-thex"), ("-d1", "--layout=mixed"), ("-txml", "--layout=mixed"),
                    ("-o", ""), ("--payload=frames",), ("--parts=n",)):
        check(call("qor-inspect", *mistake, os.path.join(data, "server.pml"))[:2], (2, b""))
    check(call("qor-log")[0], 2)
    check(call("qor-ping")[0], 2)
    check(call("qor-ping", "-c", "x", "127.0.0.1")[0], 2)


def test_inspect_streams():
    with open(os.path.join(data, "station.json"), "rb") as file:
        station = file.read()
    as_json = call("qor-inspect", stdin=station)
    check(as_json[0], 0)
    # Round trips: compressed, through pml, and through frames of nbr.
    packed = call("qor-inspect", "-z", "-", stdin=station)[1]
    check(gzip.decompress(packed), as_json[1])
    check(call("qor-inspect", stdin=packed), as_json)
    server = os.path.join(data, "server.pml")
    shown = call("qor-inspect", server)[1]
    check(call("qor-inspect", "-t", "pml", stdin=shown)[1], shown)
    frames = call("qor-inspect", "-t", "frames", server, os.path.join(data, "message.hex"))[1]
    status, out, _ = call("qor-inspect", "-c", stdin=frames)
    check(status, 0)
    check(re.findall(rb"# frame \d at offset \d+, \d+ bytes", out)[1:],
          [b"# frame 1 at offset %d, %d bytes" % (len(frames) - 27, 23)])
    assert out.endswith(b"{[1] 2C 01 [2] {[1] 'hi'}}\n"), out
    check(call("qor-inspect", "-f", "frames", "-t", "hex", "-p", "[1]/2/1", stdin=frames),
          (0, b"F1 02 68 69\n", b""))


def test_no_settings_of_the_working_directory():
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "p2p_config.pml")
        with open(path, "w") as file:
            file.write("messenger(codepage(1252))")
        for env in ({}, {"OMB_CLI_CFG_FILE": path}):
            check(call("qor-inspect", "-c", stdin=b'["\\u00e9"]', env=env, cwd=directory),
                  (0, b'[ "\xC3\xA9" ]\n', b""))


def test_inspect_failures():
    status, out, err = call("qor-inspect", os.path.join(data, "malformed.hex"))
    check((status, out, err.count(b"\n")), (1, b"", 1))
    assert re.match(rb"qor-inspect: \S+malformed.hex: offset 4: .*high part", err), err
    check(call("qor-inspect", "/no/such\x1b file"),
          (1, b"", b"qor-inspect: /no/such\\x1B file: No such file or directory\n"))
    for option, reason in (("--from=json", "Is a directory"), ("--from=frames", "Is a directory"),
                           ("--layout=mixed", "only pml has layouts")):
        check(call("qor-inspect", option, data), (1, b"", f"qor-inspect: {data}: {reason}\n".encode()))
    check(call("qor-inspect", data + "/server.pml", "-", preexec_fn=lambda: os.close(0))[2],
          b"qor-inspect: standard input: Bad file descriptor\n")
    check(call("qor-inspect", "-f", "json", stdin=b"[1,\n[2}")[2],
          b"qor-inspect: standard input: line 2, column 3: array value no end\n")
    with tempfile.TemporaryDirectory() as directory:
        target = os.path.join(directory, "out.json")
        for options, content, status, written in (
                (["-ct", "json"], b"<a x='1'/>", 0, b'{ "@x":1 }\n'),
                (["-t", "json"], b"<a x>", 1, b'{ "@x":1 }\n'),  # the old content
                (["--color=always"], b"<a/>", 0, b"<\x1b[36ma\x1b[0m/>\n")):
            check(call("qor-inspect", "-o", target, *options, stdin=content)[:2], (status, b""))
            with open(target, "rb") as file:
                check(file.read(), written)
    # A read error is not the end of the input.
    with open("/proc/self/mem", "rb") as unreadable:
        check(call("qor-inspect", "-f", "frames", stdin=unreadable),
              (1, b"", b"qor-inspect: standard input: Input/output error\n"))
    # A reader that closes the pipe.
    process = subprocess.Popen(
        [os.path.join(tools, "qor-inspect"), "-f", "json"], stdin=subprocess.PIPE,
        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    process.stdout.close()
    process.stdin.write(b"[" + b"1," * 200000 + b"1]")
    process.stdin.close()
    check(process.stderr.read(), b"")
    check(process.wait(DEADLINE), -signal.SIGPIPE)
    # Only one message, also for several inputs.
    with open("/dev/full", "wb") as full, tempfile.NamedTemporaryFile(suffix=".log") as log:
        log.write(entry("INFO", "x" * 1000) * 1000)
        log.flush()
        frames = (b"\0\1\0\0" + b"x" * 0x10000) * 5
        for tool, arguments in (("qor-inspect", (data,)), ("qor-inspect", ("-f", "frames")),
                                ("qor-log", (log.name, log.name))):
            check(call(tool, *arguments, stdin=frames, stdout=full)[::2],
                  (1, f"{tool}: the output cannot be written: No space left on device\n".encode()))


def test_terminal():
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "x.pml")
        with open(path, "wb") as file:
            file.write(b"a(k(\x1b]0;title\x07)n(7))")
        plain = b'a(\r\n    k(\\x1B]0;title\\x07)\r\n    n(7)\r\n)\r\n'
        seen, status = on_terminal("qor-inspect", path)
        check(status, 0)
        assert b"\x1b[36mk\x1b[0m(\x1b[32m" in seen and b"\x1b]" not in seen, seen
        check(re.sub(rb"\x1b\[[0-9;]*m", b"", seen), plain)
        for arguments, env in (([], {"NO_COLOR": "1"}), (["--color=never"], {})):
            check(on_terminal("qor-inspect", *arguments, path, env=env), (plain, 0))
        # Not to a terminal: unchanged bytes, and colours only with --color=always.
        check(call("qor-inspect", "-c", path)[1], b"a(k(\x1b]0;title\x07)n(7))\n")
        assert b"\x1b[36mk" in call("qor-inspect", "--color=always", path)[1]
        seen, status = on_terminal("qor-inspect", "-t", "nbr", path)
        check(status, 2)


def entry(tag, text, second=0):
    return (f"[2021-03-04 05:06:{second:02}.008][P:1/T:2][Inf][l:0 f][{tag}]{text}\r\n").encode()


def test_log():
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "a.log")
        for old in ("a_1.log", "b_1.log"):
            with open(os.path.join(directory, old), "wb") as file:
                file.write(entry("INFO", "old", 1))
        with open(path, "wb") as file:
            file.write(entry("<TCP.ERROR>", "bad", 2) + entry("INFO", "new", 3))
        status, out, err = call("qor-log", path)
        check((status, err), (0, b""))
        check([line.split(b"]")[-1] for line in out.splitlines()], [b"old", b"bad", b"new"])
        # A file that cannot be read does not hide the entries of the others.
        for name, shown in (("a_2.log", out), ("b.log", out.splitlines(True)[0])):
            unreadable = os.path.join(directory, name)
            os.mkdir(unreadable)
            check(call("qor-log", os.path.join(directory, name[0] + ".log")),
                  (1, shown, f"qor-log: {unreadable}: Is a directory\n".encode()))
            os.rmdir(unreadable)
        os.chmod(directory, 0o300)
        # Root may list every directory, unless it gives up this right.
        rights = "-dac_override,-dac_read_search"
        limited = [] if os.geteuid() != 0 else ["setpriv", "--bounding-set", rights, "--inh-caps",
                                                rights, "--"]
        check(call("qor-log", path, before=limited),
              (1, b"".join(out.splitlines(True)[1:]),
               f"qor-log: {directory}/: Permission denied\n".encode()))
        os.chmod(directory, 0o700)
        check(call("qor-log", "--current", "-l", "info", "-u", "2021-03-04 05:06:02", path)[1],
              entry("<TCP.ERROR>", "bad", 2).replace(b"\r", b""))
        check(call("qor-log", "--count", path)[1],
              b"         2  INFO\n         1  <TCP.ERROR>\n         3  in all\n")
        check(call("qor-log", "-t", "TCP.*", "-", stdin=open(path, "rb").read())[1],
              entry("<TCP.ERROR>", "bad", 2).replace(b"\r", b""))
        check(call("qor-log", path + "x"),
              (1, b"", f"qor-log: {path}x: No such file or directory\n".encode()))
        follow(path)
        # A progress bar for a large file, erased at the end.
        with open(path, "ab") as file:
            file.write(entry("INFO", "x" * 1000) * 9000)
        seen, status = on_terminal("qor-log", "--count", path)
        check(status, 0)
        bars = re.findall(rb"\r\[[#.]{40}\] +\d+%", seen)
        assert len(bars) > 3 and b"100%" in bars[-1], seen
        assert b"in all" in seen.split(b"\r\x1b[K")[-1], seen


def follow(path):
    """--follow shows each line once and in order while the file is rotated."""
    process = subprocess.Popen([os.path.join(tools, "qor-log"), "-f", "-t", "INFO", path],
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    lines = iter(process.stdout.readline, b"")

    def expect(text):
        line = next(lines)
        check(line.rstrip().endswith(b"]" + text), True)

    expect(b"old")
    expect(b"new")
    for i in range(3):
        text = b"line %d" % i
        with open(path, "ab") as file:
            file.write(entry("DEBUG", "not shown") + entry("INFO", text.decode()))
        expect(text)
        with open(path, "ab") as file:
            file.write(entry("INFO", "last"))
        os.rename(os.path.join(os.path.dirname(path), "a_1.log"),
                  os.path.join(os.path.dirname(path), "a_2.log"))
        os.rename(path, os.path.join(os.path.dirname(path), "a_1.log"))
        with open(path, "wb") as file:
            file.write(entry("INFO", "first"))
        expect(b"last")
        expect(b"first")
    process.terminate()
    process.wait(DEADLINE)
    check(process.stderr.read(), b"")


def test_ping():
    status, out, err = call("qor-ping", "-c", "2", "-i", "0", "-W", "5", "127.0.0.1")
    if b"no right" in err:
        check(status, 1)
        print("qor-ping: no right to send echoes")
        return
    check((status, err), (0, b""))
    check(len(re.findall(rb"127.0.0.1: reply \d after [0-9.]+ ms\n", out)), 2)
    assert b"127.0.0.1: 2 sent, 2 received, 0% lost\nround trip: least " in out, out
    check(call("qor-ping", "no.such.host.invalid")[0], 1)
    # After a signal it still shows the summary.
    seen, status = on_terminal("qor-ping", "-i", "3600", "localhost", until=b"reply 1")
    check(status, 0)
    assert b"1 sent, 1 received, 0% lost" in seen, seen


for name, test in list(globals().items()):
    if name.startswith("test_"):
        test()
