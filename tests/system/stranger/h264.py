"""As much of H.264 as tells whether pictures are whole and follow one another."""

from __future__ import annotations

import re
from dataclasses import dataclass
from typing import Iterator

SLICE, KEY_SLICE, SPS, PPS = 1, 5, 7, 8
START_CODE = b"\0\0\0\1"
HIGH_PROFILES = (44, 83, 86, 100, 110, 118, 122, 128, 138, 139, 134, 135, 244)


class Bits:
    """Reads a unit's bits behind its first byte, emulation prevention taken out."""

    def __init__(self, unit: bytes) -> None:
        raw = unit[1:64].replace(b"\0\0\3", b"\0\0")
        self._number = int.from_bytes(raw, "big")
        self._left = len(raw) * 8

    def take(self, count: int) -> int:
        """A fixed number of bits."""
        self._left -= count
        if self._left < 0:
            raise ValueError("the unit is too short")
        return self._number >> self._left & (1 << count) - 1

    def golomb(self) -> int:
        """An unsigned Exp-Golomb number."""
        zeros = 0
        while self.take(1) == 0:
            zeros += 1
        return (1 << zeros) - 1 + self.take(zeros)


@dataclass(frozen=True)
class Parameters:
    """What of a sequence parameter set slices are read with."""

    profile: int
    frame_number_bits: int

    @staticmethod
    def read(unit: bytes) -> "Parameters":
        """Of the unit's bytes."""
        bits = Bits(unit)
        profile = bits.take(8)
        bits.take(16)
        bits.golomb()
        if profile in HIGH_PROFILES:
            if bits.golomb() == 3:
                bits.take(1)
            bits.golomb()
            bits.golomb()
            bits.take(1)
            if bits.take(1):
                raise ValueError("scaling matrices are not read here")
        return Parameters(profile, bits.golomb() + 4)


def units(stream: bytes) -> list[bytes]:
    """The units between the start codes."""
    parts = re.split(b"\0\0\0\1|\0\0\1", stream)
    return [part for part in parts[1:] if part]


@dataclass(frozen=True)
class Picture:
    """A picture by its slices."""

    key: bool
    reference: bool
    frame_number: int
    follows: bool  # its number is the next one, so nothing is missing between


def pictures(found: list[bytes]) -> Iterator[Picture]:
    """The pictures of units that begin with a sequence parameter set."""
    parameters: Parameters | None = None
    before: Picture | None = None
    for unit in found:
        kind = unit[0] & 31
        if kind == SPS:
            parameters = Parameters.read(unit)
        if kind not in (SLICE, KEY_SLICE) or parameters is None:
            continue
        bits = Bits(unit)
        if bits.golomb():  # not its first block: a further slice of the same picture
            continue
        bits.golomb()
        bits.golomb()
        number, wanted = bits.take(parameters.frame_number_bits), 0
        if before is not None and kind == SLICE:
            wanted = (before.frame_number + before.reference) % (1 << parameters.frame_number_bits)
        before = Picture(kind == KEY_SLICE, unit[0] >> 5 & 3 != 0, number, number == wanted)
        yield before
