#!/usr/bin/env python3
"""Reads and writes ".vela" project files, knowing only docs/file-format.md.

    velafile.py describe FILE            print what the file holds, as JSON
    velafile.py write FILE [--plain]     write a file from such JSON on stdin

It shares no code with the editor, so that each can show the other wrong.
Samples are hexadecimal text of their four bytes each, in file order.
"""

import json
import struct
import sys
import zlib


class Reader:
    def __init__(self, data):
        self.data = data
        self.at = 0

    def take(self, count):
        piece = self.data[self.at:self.at + count]
        if count < 0 or len(piece) != count:
            raise ValueError(f"{count} bytes wanted at {self.at}, {len(piece)} left")
        self.at += count
        return piece

    def number(self, code):
        return struct.unpack(">" + code, self.take(struct.calcsize(code)))[0]

    def text(self):
        size = self.number("I")
        return None if size == 0xFFFFFFFF else self.take(size).decode("utf-16-be", "surrogatepass")

    def marker(self):
        return {"name": self.text(), "position": self.number("q")}

    def channel(self):
        return self.take(self.number("q") * 4).hex()

    def track(self):
        fields = {
            "name": self.text(),
            "channels": self.number("i"),
            "sampleRate": self.number("i"),
            "muted": self.number("?"),
            "solo": self.number("?"),
        }
        fields["samples"] = [self.channel() for _ in range(self.number("i"))]
        return fields

    def project(self):
        fields = {
            "sampleRate": self.number("i"),
            "cursor": self.marker(),
            "play": self.marker(),
            "selectionStart": self.number("q"),
            "selectionEnd": self.number("q"),
            "loopStart": self.number("q"),
            "loopEnd": self.number("q"),
            "trackCounter": self.number("i"),
        }
        fields["tracks"] = [self.track() for _ in range(self.number("i"))]
        return fields


def expand(body):
    size = struct.unpack(">I", body[:4])[0]
    stream = zlib.decompressobj()
    payload = stream.decompress(body[4:])
    if not stream.eof or stream.unused_data:
        raise ValueError("the zlib stream is not the whole of the body")
    if size != min(len(payload), 0xFFFFFFFF):
        raise ValueError(f"the body claims {size} bytes and holds {len(payload)}")
    return payload


def parse(data):
    file = Reader(data)
    if file.take(4) != b"VELA" or file.number("i") != 1:
        raise ValueError("no project file of version 1")
    compressed = file.number("?")
    if compressed:
        payload = Reader(expand(file.take(file.number("I"))))
    else:
        payload = Reader(file.take(len(data) - file.at))
    project = payload.project()
    if payload.at != len(payload.data) or file.at != len(data):
        raise ValueError("bytes left over")
    return project


def pack(code, value):
    return struct.pack(">" + code, value)


def text(value):
    if value is None:
        return pack("I", 0xFFFFFFFF)
    units = value.encode("utf-16-be", "surrogatepass")
    return pack("I", len(units)) + units


def marker(fields):
    return text(fields["name"]) + pack("q", fields["position"])


def track(fields):
    out = [
        text(fields["name"]),
        pack("i", fields["channels"]),
        pack("i", fields["sampleRate"]),
        pack("?", fields["muted"]),
        pack("?", fields["solo"]),
        pack("i", len(fields["samples"])),
    ]
    for samples in fields["samples"]:
        raw = bytes.fromhex(samples)
        out += [pack("q", len(raw) // 4), raw]
    return b"".join(out)


def build(fields, plain):
    out = [pack("i", fields["sampleRate"]), marker(fields["cursor"]), marker(fields["play"])]
    out += [pack("q", fields[name])
            for name in ("selectionStart", "selectionEnd", "loopStart", "loopEnd")]
    out += [pack("i", fields["trackCounter"]), pack("i", len(fields["tracks"]))]
    out += [track(one) for one in fields["tracks"]]
    payload = b"".join(out)
    if plain:
        return b"VELA" + pack("i", 1) + b"\0" + payload
    body = pack("I", len(payload)) + zlib.compress(payload)
    return b"VELA" + pack("i", 1) + b"\1" + pack("I", len(body)) + body


def main(arguments):
    if len(arguments) == 2 and arguments[0] == "describe":
        with open(arguments[1], "rb") as file:
            json.dump(parse(file.read()), sys.stdout)
    elif arguments[:1] == ["write"] and len(arguments) in (2, 3):
        data = build(json.load(sys.stdin), arguments[2:] == ["--plain"])
        with open(arguments[1], "wb") as file:
            file.write(data)
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv[1:])
