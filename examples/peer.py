#!/usr/bin/env python3
"""Clients of the messenger in Python, with only its standard library. They implement frames
(docs/network.md) and nbr (docs/formats.md), and check every answer of the server.

    peer.py HOST PORT         connects to a running server
    peer.py --with PROGRAM    starts the server "PROGRAM serve 0 SETTINGS LOGFILE" first, and ends it

The exit status is 0 if all answers are as expected.
"""

import socket
import struct
import subprocess
import sys
import tempfile
import time

OPEN, CLOSE = b"\xff\x01(", b"\xff\x01)"
LOGIN, LOGIN_REPLY, LIST, LIST_REPLY, TEXT, TEXT_REPLY, BEAT, BEAT_REPLY, PRESENCE = range(1, 10)


def simple(data, mark=0):
    """A simple value: its size, and then the bytes."""
    size = len(data).to_bytes(4, "little").rstrip(b"\0") or b"\0"
    if size[-1] & 0x80:
        size += b"\0"
    return bytes([mark | len(size)]) + size + data


def number(n, width):
    """The simple value of an unsigned number with at most `width` bytes."""
    data = n.to_bytes(width, "little").rstrip(b"\0") or b"\0"
    if data[-1] & 0x80 and len(data) < width:
        data += b"\0"
    return simple(data)


def text(s):
    return simple(s.encode(), 0xF0)


def fields(values):
    """A complex value from its tags and encoded values."""
    return OPEN + b"".join(bytes([tag]) + value for tag, value in values.items()) + CLOSE


def parse(data, at=0):
    """The value at an offset (bytes, or a list of tags and values), and the offset of its end."""
    if data.startswith(OPEN, at):
        items, at = [], at + len(OPEN)
        while not data.startswith(CLOSE, at):
            value, end = parse(data, at + 1)
            items.append((data[at], value))
            at = end
        return items, at + len(CLOSE)
    length = data[at] & 0x0F
    begin = at + 1 + length
    size = int.from_bytes(data[at + 1 : begin], "little")
    return data[begin : begin + size], begin + size


def to_number(data):
    return int.from_bytes(data, "little")


def message(kind, n, body):
    return fields({1: number(kind, 2), 2: number(n, 4), 3: fields(body)})


class Peer:
    def __init__(self, host, port):
        self.socket = socket.create_connection((host, port), 10)
        self.number = 0
        self.texts = []
        self.presences = []

    def send(self, payload, piece=None):
        frame = struct.pack(">I", len(payload)) + payload
        step = piece or len(frame)
        for at in range(0, len(frame), step):
            self.socket.sendall(frame[at : at + step])

    def exactly(self, n):
        data = b""
        while len(data) < n:
            part = self.socket.recv(n - len(data))
            if not part:
                raise EOFError
            data += part
        return data

    def receive(self):
        """The kind, the number and the body of the next message."""
        (size,) = struct.unpack(">I", self.exactly(4))
        payload = self.exactly(size)
        value, end = parse(payload)
        assert end == size, "bytes after the message"
        parts = dict(value)
        return to_number(parts[1]), to_number(parts[2]), parts[3]

    def keep(self, kind, body):
        """Stores a message that is no reply: a text or a presence. False for any other message."""
        kept = {TEXT: self.texts, PRESENCE: self.presences}.get(kind)
        if kept is None:
            return False
        kept.append(dict(body))
        return True

    def wait_for(self, kept, number):
        """Waits until there are `number` messages in the list `kept`: self.texts or self.presences."""
        while len(kept) < number:
            kind, _, body = self.receive()
            assert self.keep(kind, body), f"kind {kind}"

    def ask(self, kind, body, piece=None):
        self.number += 1
        self.send(message(kind, self.number, body), piece)
        while True:
            got, n, answer = self.receive()
            if self.keep(got, answer):
                continue
            assert (got, n) == (kind + 1, self.number), f"kind {got}, number {n}"
            return answer

    def login(self, name, piece=None):
        return to_number(dict(self.ask(LOGIN, {1: text(name)}, piece))[1]) == 1

    def tell(self, to, words):
        micros = int(time.time() * 1e6)
        body = {1: text("not me"), 2: text(to), 3: number(micros, 8), 4: text(words)}
        return to_number(dict(self.ask(TEXT, body))[1]) == 1


def converse(host, port):
    zoe, ann = Peer(host, port), Peer(host, port)
    # A frame may arrive in pieces of any size.
    assert zoe.login("Zoë", piece=1)
    assert not ann.login("Zoë")
    assert ann.login("Ann", piece=3)
    contacts = dict(ann.ask(LIST, {}))[1]
    names = [dict(entry)[1].decode() for _, entry in contacts]
    assert names == ["Ann", "Zoë"], names
    assert abs(to_number(dict(contacts[0][1])[2]) / 1e6 - time.time()) < 3600

    # The arrival of a user is announced to the others; the message contains the recipient's name.
    zoe.wait_for(zoe.presences, 1)
    come = zoe.presences[0]
    assert (come[1], come[2], to_number(come[3])) == ("Zoë".encode(), b"Ann", 1), come
    assert ann.presences == []

    # Names that could control other terminals, or that look like other names, are refused.
    eve = Peer(host, port)
    unseen = "\u034f\u1160\u1680\u17b4\u180b\u2800\u3164\ufe0f\uffa0\U000e0041"
    for name in ("", "Ann", "\x1b[2J", "a\0b", "\x9b2J", "\u202eeve", "a b", "a:", "/a", "x" * 33,
                 *("Ann" + c for c in unseen)):
        answer = dict(eve.ask(LOGIN, {1: text(name)}))
        assert to_number(answer[1]) == 0 and answer[2], name
    assert not eve.tell("Ann", "nobody has sent this")
    assert to_number(dict(eve.ask(LOGIN, {1: simple(b"bad\xff", 0xF0)}))[1]) == 0

    assert ann.tell("Zoë", "hello")
    assert ann.tell("Zoë", "x" * 30000)
    assert not ann.tell("nobody", "hello")
    assert zoe.ask(BEAT, {}) == []
    assert ann.tell("", "hello all")
    zoe.wait_for(zoe.texts, 3)
    first, second, third = zoe.texts
    assert (first[1], first[2], first[4]) == (b"Ann", "Zoë".encode(), b"hello"), first
    assert second[4] == b"x" * 30000
    # The server adds the time, and marks a text that was sent to all.
    assert abs(to_number(first[3]) / 1e6 - time.time()) < 3600
    assert (third[1], third[2], third[4]) == (b"Ann", "Zoë".encode(), b"hello all"), third
    assert [to_number(words[5]) for words in (first, second, third)] == [0, 0, 1]
    assert ann.texts == []

    # Bytes that are no message end this connection; the others continue.
    ann.send(b"\x20\x00")
    try:
        ann.receive()
        raise AssertionError("the server took what is no message")
    except (EOFError, ConnectionResetError):
        pass
    zoe.wait_for(zoe.presences, 2)
    left = zoe.presences[1]
    assert (left[2], to_number(left[3])) == (b"Ann", 0), left
    assert [dict(entry)[1].decode() for _, entry in dict(zoe.ask(LIST, {}))[1]] == ["Zoë"]
    assert not zoe.tell("", "nobody else is here")
    print("peer: the server speaks frames and nbr")


def with_program(program):
    with tempfile.TemporaryDirectory() as directory:
        settings = f"{directory}/settings.pml"
        with open(settings, "w", encoding="utf-8") as file:
            file.write("messenger(QOR(debugOn(true) appLogs:map(MSG.DEBUG(true))))")
        server = subprocess.Popen(
            [program, "serve", "0", settings, f"{directory}/messenger.log"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        try:
            port = int(server.stdout.readline().split()[-1])
            converse("127.0.0.1", port)
            rest, _ = server.communicate("quit\n", 30)
        finally:
            server.kill()
        assert server.returncode == 0, server.returncode
        assert rest.split() == ["leaks:", "0"], rest


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    if sys.argv[1] == "--with":
        with_program(sys.argv[2])
    else:
        converse(sys.argv[1], int(sys.argv[2]))
