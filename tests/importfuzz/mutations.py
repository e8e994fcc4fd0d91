"""Damages files: the same seed and number always give the same damage."""

import random

HEADER_BYTES = 512
MOST_STEPS = 4
LONGEST_INSERT = 4096
#: Where sizes, counts and signs turn over.
EDGES = (0, 1, 2, 0x7F, 0x80, 0xFF, 0x7FFF, 0x8000, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF)


def _span(chance, data):
    """Beginning and end of a piece, mostly short, somewhere in the data."""
    begin = chance.randrange(len(data) + 1)
    length = min(int(2 ** chance.uniform(0, 14)), len(data) - begin)
    return begin, begin + length


def _filling(chance):
    length = chance.randrange(1, LONGEST_INSERT)
    return bytes(length) if chance.random() < 0.3 else chance.randbytes(length)


def flip_bits(chance, data, _others):
    changed = bytearray(data)
    for _ in range(int(2 ** chance.uniform(0, 7))):
        changed[chance.randrange(len(changed))] ^= 1 << chance.randrange(8)
    return bytes(changed)


def change_header(chance, data, _others):
    changed = bytearray(data)
    for _ in range(chance.randrange(1, 6)):
        changed[chance.randrange(min(HEADER_BYTES, len(changed)))] = chance.randrange(256)
    return bytes(changed)


def set_field(chance, data, _others):
    """A number of the header, in either byte order, becomes one at an edge."""
    size = chance.choice((1, 2, 4, 8))
    place = chance.randrange(min(HEADER_BYTES, len(data)))
    value = chance.choice(EDGES) & (256 ** size - 1)
    field = value.to_bytes(size, chance.choice(("little", "big")))
    return data[:place] + field + data[place + size:]


def truncate(chance, data, _others):
    return data[:chance.randrange(len(data))]


def drop_piece(chance, data, _others):
    begin, end = _span(chance, data)
    return data[:begin] + data[end:]


def repeat_piece(chance, data, _others):
    begin, end = _span(chance, data)
    return data[:end] + data[begin:end] * chance.randrange(1, 4) + data[end:]


def overwrite(chance, data, _others):
    begin = chance.randrange(len(data))
    filling = _filling(chance)
    return data[:begin] + filling + data[begin + len(filling):]


def insert(chance, data, _others):
    begin = chance.randrange(len(data))
    return data[:begin] + _filling(chance) + data[begin:]


def swap_pieces(chance, data, _others):
    first, second, third = sorted(chance.randrange(len(data) + 1) for _ in range(3))
    return data[:first] + data[second:third] + data[first:second] + data[third:]


def splice(chance, data, others):
    """The head of one file and the tail of another, which may be of another kind."""
    other = chance.choice(others)
    return data[:chance.randrange(len(data))] + other[chance.randrange(len(other)):]


def append_file(chance, data, others):
    return data + chance.choice(others)


STEPS = (flip_bits, change_header, set_field, truncate, drop_piece, repeat_piece, overwrite,
         insert, swap_pieces, splice, append_file)


def damaged(seed, number, files):
    """The name and the bytes of the damaged file of that number; `files`: bytes by name."""
    chance = random.Random(f"{seed} {number}")
    name = chance.choice(sorted(files))
    data = files[name]
    others = [files[other] for other in sorted(files)]
    for _ in range(chance.randrange(1, MOST_STEPS + 1)):
        if data:
            data = chance.choice(STEPS)(chance, data, others)
    return name, data
