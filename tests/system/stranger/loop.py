"""Makes a long video of a short one: the same samples again and again."""

from __future__ import annotations

import struct
from dataclasses import dataclass

from mp4 import CONTAINERS


@dataclass(frozen=True)
class Counts:
    """How often, and what the short video has."""

    times: int
    samples: int
    chunks: int
    bytes: int


def _numbers(contents: bytes, columns: int) -> list[tuple[int, ...]]:
    """Rows of a table behind its version and count."""
    count = struct.unpack_from(">I", contents, 4)[0]
    return [struct.unpack_from(f">{columns}I", contents, 8 + 4 * columns * i) for i in range(count)]


def _table(contents: bytes, rows: list[tuple[int, ...]]) -> bytes:
    return contents[:4] + struct.pack(">I", len(rows)) + b"".join(
        struct.pack(f">{len(row)}I", *row) for row in rows)


def _repeated(kind: bytes, contents: bytes, counts: Counts) -> bytes:
    """The contents of an atom as the long video needs them."""
    times, samples, chunks = counts.times, counts.samples, counts.chunks
    if kind == b"stsz":
        return contents[:8] + struct.pack(">I", samples * times) + contents[12:] * times
    if kind in (b"stts", b"ctts"):
        return _table(contents, _numbers(contents, 2) * times)
    if kind == b"stco":
        return _table(contents, [(place + counts.bytes * i,) for i in range(times)
                                 for place, in _numbers(contents, 1)])
    if kind == b"stss":
        return _table(contents, [(key + samples * i,) for i in range(times)
                                 for key, in _numbers(contents, 1)])
    if kind == b"stsc":
        return _table(contents, [(first + chunks * i, count, which) for i in range(times)
                                 for first, count, which in _numbers(contents, 3)])
    if kind in (b"mvhd", b"mdhd", b"tkhd") and contents[0] == 0:
        place = 20 if kind == b"tkhd" else 16
        duration = struct.unpack_from(">I", contents, place)[0] * times
        return contents[:place] + struct.pack(">I", duration) + contents[place + 4:]
    return contents


def _rebuilt(data: bytes, counts: Counts) -> bytes:
    """A row of atoms with their tables repeated; the edit list, which names a duration, left out."""
    built, place = b"", 0
    while place + 8 <= len(data):
        size, kind = struct.unpack_from(">I4s", data, place)
        contents = data[place + 8:place + size]
        if kind in CONTAINERS:
            contents = _rebuilt(contents, counts)
        else:
            contents = _repeated(kind, contents, counts)
        if kind != b"edts":
            built += struct.pack(">I4s", len(contents) + 8, kind) + contents
        place += size
    return built


def looped(data: bytes, samples: int, times: int) -> bytes:
    """A recording of one track, whose tables stand behind its samples, `times` over."""
    table, media = data.rindex(b"moov") - 4, data.index(b"mdat") - 4
    chunks = struct.unpack_from(">I", data, data.rindex(b"stco") + 8)[0]
    body = data[media + 8:table]
    counts = Counts(times, samples, chunks, len(body))
    head = struct.pack(">I4s", len(body) * times + 8, b"mdat")
    return data[:media] + head + body * times + _rebuilt(data[table:], counts)
