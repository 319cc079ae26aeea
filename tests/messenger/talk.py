#!/usr/bin/env python3
"""Tests the messenger as users run it: a server, and clients in terminals.

    talk.py PROGRAM PEER_DIRECTORY

PROGRAM is the messenger. PEER_DIRECTORY contains peer.py, which is used as a client that another
developer has written.
"""

import os
import pty
import re
import select
import socket
import subprocess
import sys
import tempfile
import time

LONGEST_WAIT = 60
CLOCK = r"\d\d:\d\d:\d\d"


class Ended(Exception):
    pass


class Reader:
    """Waits for the output of a program: text() is without colours, raw has all bytes."""

    def __init__(self, descriptor):
        self.descriptor = descriptor
        self.raw = b""
        self.seen = 0

    def more(self, deadline):
        left = deadline - time.monotonic()
        if left <= 0 or not select.select([self.descriptor], [], [], left)[0]:
            raise AssertionError(f"not seen in {LONGEST_WAIT} seconds; there is {self.text()!r}")
        try:
            data = os.read(self.descriptor, 65536)
        except OSError:
            data = b""
        if not data:
            raise Ended
        self.raw += data

    def text(self):
        return re.sub(r"\x1b\[[0-9;]*m", "", self.raw.decode(errors="replace")).replace("\r", "")

    def see(self, pattern):
        """Waits until the pattern is in the output after the previous match."""
        deadline = time.monotonic() + LONGEST_WAIT
        while True:
            found = re.compile(pattern).search(self.text(), self.seen)
            if found:
                self.seen = found.end()
                return found
            try:
                self.more(deadline)
            except Ended:
                raise AssertionError(f"no {pattern!r} up to the end; there is {self.text()!r}") from None

    def read_to_end(self):
        deadline = time.monotonic() + LONGEST_WAIT
        try:
            while True:
                self.more(deadline)
        except Ended:
            return self.text()


class Server(Reader):
    def __init__(self, program, settings, directory, port=0):
        self.process = subprocess.Popen(
            [program, "serve", str(port), settings, f"{directory}/server.log"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        super().__init__(self.process.stdout.fileno())
        self.port = int(self.see(r"listening on port (\d+)\n")[1])

    def quit(self):
        self.process.stdin.write(b"quit\n")
        self.process.stdin.close()
        assert re.search(r"leaks: +0\n", self.read_to_end())
        assert self.process.wait() == 0


class Terminal(Reader):
    """`messenger talk` in its own terminal."""

    def __init__(self, program, settings, directory, port, name):
        self.end, program_end = pty.openpty()
        environment = {k: v for k, v in os.environ.items() if k != "NO_COLOR"} | {"TERM": "xterm"}
        self.process = subprocess.Popen(
            [program, "talk", "127.0.0.1", str(port), name, settings, f"{directory}/{name}.log"],
            stdin=program_end, stdout=program_end, stderr=program_end, start_new_session=True,
            env=environment)
        os.close(program_end)
        super().__init__(self.end)

    def type(self, line):
        os.write(self.end, line.encode() + b"\n")

    def end_with(self, line):
        self.type(line)
        assert re.search(r"leaks: +0\n", self.read_to_end()), self.text()
        assert self.process.wait() == 0


def converse(start_server, start_terminal, eve_at):
    server = start_server()
    ann = start_terminal(server.port, "Ann")
    ann.see(rf"{CLOCK} connected as Ann; here: Ann\n")
    ann.type("is anybody there")
    ann.see("nobody else is here")
    bob = start_terminal(server.port, "Bob")
    bob.see(rf"{CLOCK} connected as Bob; here: Ann, Bob\n")
    ann.see(rf"{CLOCK} Bob is here\n")
    cid = start_terminal(server.port, "Cid")
    cid.see("connected as Cid")
    bob.see("Cid is here")

    # Two messages to Bob, one in each form, and one to all: Cid sees only the last one.
    ann.type("/to Bob between us")
    ann.see(rf"{CLOCK} Ann to Bob: between us\n")
    ann.type("Bob: this too")
    bob.see(rf"{CLOCK} Ann to Bob: between us\n")
    bob.see(rf"{CLOCK} Ann to Bob: this too\n")
    bob.type("hello, it is 12: 30 here")
    for terminal in (ann, bob, cid):
        terminal.see(rf"{CLOCK} Bob: hello, it is 12: 30 here\n")
    assert "between" not in cid.text() and "this too" not in cid.text()
    assert b"\x1b[1;3" in ann.raw, "no colours on a terminal"

    bob.type("/to Zoe hello")
    bob.see("not delivered: Zoe is not here")
    bob.type("/to Zoe")
    bob.see("/to NAME TEXT\n")
    bob.type("/lisst")
    bob.see("/lisst is no command")
    bob.type("/help")
    bob.see(r"/list +who is here")
    bob.type("/list")
    for name in ("Ann", "Bob", "Cid"):
        bob.see(rf"{name}, since \d\d\d\d-\d\d-\d\d {CLOCK}")

    cid.end_with("/quit")
    ann.see(rf"{CLOCK} Cid has left\n")

    # Control characters in texts of others are shown, and have no effect.
    eve = eve_at(server.port)
    assert eve.login("Eve")
    assert eve.tell("", "a\x1b]0;title\x07b\x9b2Jc\rd\u202ee\nf\0g")
    ann.see("Eve: a\ufffd]0;title\ufffdb\ufffd2Jc\ufffdd\ufffde\ufffdf\ufffdg\n")
    for terminal in (ann, bob):
        assert b"\x1b]" not in terminal.raw and b"\xc2\x9b" not in terminal.raw
    twin = start_terminal(server.port, "Bob")
    assert "does not take Bob: somebody has this name" in twin.read_to_end()
    assert twin.process.wait() == 1

    # The server ends, and starts again.
    server.quit()
    for terminal in (ann, bob):
        terminal.see(rf"{CLOCK} the connection is lost")
    ann.type("lost words")
    ann.see("not connected; not sent: lost words")
    server = start_server(server.port)
    for terminal in (ann, bob):
        terminal.see(rf"{CLOCK} connected again; here: ")
    # The first client that reconnects gets a message when the other one does, unless both reconnect at
    # once.
    ann.type("hello again")
    while True:
        seen = ann.see("Ann: hello again\n|nobody else is here")[0]
        if seen.startswith("Ann"):
            break
        ann.type("hello again")
    bob.see(rf"{CLOCK} Ann: hello again\n")
    bob.end_with("quit")
    ann.see("Bob has left")
    ann.end_with("/quit")
    return server


def piped(program, settings, directory, port):
    """Without a terminal there are no colours, and lines come from a pipe."""
    talk = subprocess.run(
        [program, "talk", "127.0.0.1", str(port), "Dan", settings, f"{directory}/Dan.log"],
        input=b"/list\n/quit\n", stdout=subprocess.PIPE, timeout=LONGEST_WAIT, check=True)
    assert b"Dan, since" in talk.stdout and b"\x1b" not in talk.stdout, talk.stdout


def unanswered(peer, start_terminal):
    """A server that closes the connection instead of answering a text."""
    class Server(peer.Peer):
        def __init__(self, connection):
            self.socket = connection

    with socket.create_server(("127.0.0.1", 0)) as listener:
        ann = start_terminal(listener.getsockname()[1], "Ann")
        server = Server(listener.accept()[0])
    ann.type("/to Bob hello")
    while (received := server.receive())[0] != peer.TEXT:
        accepted = {1: peer.number(1, 1)} if received[0] == peer.LOGIN else {}
        server.send(peer.message(received[0] + 1, received[1], accepted))
    server.socket.close()
    ann.see("no answer; it may still arrive")
    ann.end_with("/quit")


def demo(program, directory):
    """Numbers are checked, and a signal ends a run that has no other end."""
    endless = f"{directory}/endless.pml"
    with open(endless, "w", encoding="utf-8") as file:
        file.write("messenger(rounds(0))")
    log = f"{directory}/demo.log"
    for arguments, named in ((("serve", "65536"), b"PORT"), (("serve", "1x"), b"PORT"),
                             (("soak", "1", "-1"), b"VISITORS"), (("soak", "", "0"), b"SECONDS")):
        done = subprocess.run([program, *arguments, endless, log], capture_output=True,
                              timeout=LONGEST_WAIT)
        assert done.returncode == 1 and b"messenger: " + named + b" is a" in done.stderr, done
    run = subprocess.Popen([program, "demo", endless, log], stdout=subprocess.PIPE)
    try:
        output = Reader(run.stdout.fileno())
        output.see("until a signal\n")
        run.terminate()
        assert re.search(r"leaks: +0\n", output.read_to_end()), output.text()
        assert run.wait() == 0
    finally:
        run.kill()


def main(program, peer_directory):
    sys.path.insert(0, peer_directory)
    sys.dont_write_bytecode = True
    import peer

    started = []
    with tempfile.TemporaryDirectory() as directory:
        settings = f"{directory}/settings.pml"
        with open(settings, "w", encoding="utf-8") as file:
            file.write("messenger(heartbeat(1000))")

        def start(kind, *arguments):
            started.append(kind(program, settings, directory, *arguments))
            return started[-1]

        try:
            server = converse(
                lambda *port: start(Server, *port),
                lambda port, name: start(Terminal, port, name),
                lambda port: peer.Peer("127.0.0.1", port))
            piped(program, settings, directory, server.port)
            server.quit()
            unanswered(peer, lambda port, name: start(Terminal, port, name))
            demo(program, directory)
        finally:
            for one in started:
                one.process.kill()
                one.process.wait()


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
