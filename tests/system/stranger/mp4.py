"""The video track of a recording: its samples as they lie in the file, and its parameter sets."""

from __future__ import annotations

import struct
from typing import Iterator, Optional

from h264 import START_CODE

CONTAINERS = (b"moov", b"trak", b"mdia", b"minf", b"stbl")


def atoms(data: bytes, start: int, end: int) -> Iterator[tuple[bytes, int, int]]:
    """Kind and place of the contents of every atom, containers entered."""
    while start + 8 <= end:
        size, kind = struct.unpack_from(">I4s", data, start)
        head = 8
        if size == 1:
            size, head = struct.unpack_from(">Q", data, start + 8)[0], 16
        yield kind, start + head, start + size
        if kind in CONTAINERS:
            yield from atoms(data, start + head, start + size)
        start += size


class Movie:
    """The first track that holds H.264."""

    def __init__(self, data: bytes) -> None:
        self._data = data
        track: dict[bytes, int] = {}
        for kind, start, _ in atoms(data, 0, len(data)):
            if kind == b"trak":
                if self._is_video(track):
                    break
                track = {}
            track[kind] = start
        self._track = track
        mdhd = track[b"mdhd"]
        self.scale = struct.unpack_from(">I", data, mdhd + (20 if data[mdhd] else 12))[0]
        self.key_samples = [number - 1 for number in self._table(b"stss")]
        self.parameter_sets = self._parameter_sets()
        self.samples = [data[place:place + size] for place, size in self._places()]
        self.times = self._times()

    def _is_video(self, track: dict[bytes, int]) -> bool:
        place: Optional[int] = track.get(b"stsd")
        return place is not None and self._data[place + 12:place + 16] == b"avc1"

    def _table(self, kind: bytes, columns: int = 1) -> list[int]:
        place = self._track.get(kind)
        if place is None:
            return []
        count = struct.unpack_from(">I", self._data, place + 4)[0]
        return list(struct.unpack_from(f">{count * columns}I", self._data, place + 8))

    def _places(self) -> Iterator[tuple[int, int]]:
        fixed, count = struct.unpack_from(">II", self._data, self._track[b"stsz"] + 4)
        sizes = [fixed] * count if fixed else list(
            struct.unpack_from(f">{count}I", self._data, self._track[b"stsz"] + 12))
        chunks, runs = self._table(b"stco"), self._table(b"stsc", 3)
        per_chunk: list[int] = []
        for i in range(0, len(runs), 3):
            until = runs[i + 3] if i + 3 < len(runs) else len(chunks) + 1
            per_chunk += [runs[i + 1]] * (until - runs[i])
        sample = 0
        for place, samples in zip(chunks, per_chunk):
            for size in sizes[sample:sample + samples]:
                yield place, size
                place += size
            sample += samples

    def _times(self) -> list[float]:
        """Seconds of each sample."""
        runs = self._table(b"stts", 2)
        now, times = 0, []
        for i in range(0, len(runs), 2):
            for _ in range(runs[i]):
                times.append(now / self.scale)
                now += runs[i + 1]
        return times

    def _parameter_sets(self) -> bytes:
        data, place = self._data, self._data.index(b"avcC", self._track[b"stsd"]) + 4
        count, found = data[place + 5] & 31, b""
        place += 6
        for sets in (count, None):
            if sets is None:
                sets, place = data[place], place + 1
            for _ in range(sets):
                size = struct.unpack_from(">H", data, place)[0]
                found += START_CODE + data[place + 2:place + 2 + size]
                place += 2 + size
        return found

    def frames(self, sample: int) -> list[bytes]:
        """The units of a sample, each with a start code in place of its length."""
        raw, place, found = self.samples[sample], 0, []
        while place + 4 <= len(raw):
            size = struct.unpack_from(">I", raw, place)[0]
            found.append(START_CODE + raw[place + 4:place + 4 + size])
            place += 4 + size
        return found
