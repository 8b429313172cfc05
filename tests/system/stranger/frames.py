"""MAVLink 1 frames: checksum, packing, and a parser for datagrams and streams."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Iterator, Mapping

START = 0xFE
HEADER = 6
OVERHEAD = 8


@dataclass(frozen=True)
class Frame:
    """One frame whose checksum was right."""

    sequence: int
    system_id: int
    component_id: int
    message_id: int
    payload: bytes


def checksum(data: bytes) -> int:
    """CRC-16/MCRF4XX."""
    crc = 0xFFFF
    for byte in data:
        low = (byte ^ crc) & 0xFF
        low = (low ^ (low << 4)) & 0xFF
        crc = (crc >> 8) ^ (low << 8) ^ (low << 3) ^ (low >> 4)
    return crc & 0xFFFF


def pack(frame: Frame, crc_extra: int) -> bytes:
    """The bytes of a frame."""
    body = bytes([len(frame.payload), frame.sequence & 0xFF, frame.system_id,
                  frame.component_id, frame.message_id]) + frame.payload
    return bytes([START]) + body + checksum(body + bytes([crc_extra])).to_bytes(2, "little")


class Parser:
    """Takes bytes as they come and gives the frames in them; a frame may span several calls."""

    def __init__(self, crc_extra: Mapping[int, int]) -> None:
        self._crc_extra = crc_extra
        self._waiting = b""
        self.dropped = 0

    def feed(self, data: bytes) -> Iterator[Frame]:
        """The frames that are complete with these bytes."""
        self._waiting += data
        while True:
            start = self._waiting.find(START)
            self._waiting = self._waiting[start:] if start >= 0 else b""
            if len(self._waiting) < OVERHEAD:
                return
            size = self._waiting[1] + OVERHEAD
            if len(self._waiting) < size:
                return
            raw, extra = self._waiting[:size], self._crc_extra.get(self._waiting[5], 0)
            if checksum(raw[1:-2] + bytes([extra])) == int.from_bytes(raw[-2:], "little"):
                self._waiting = self._waiting[size:]
                yield Frame(raw[2], raw[3], raw[4], raw[5], raw[HEADER:-2])
                continue
            # A broken length must not swallow the good frames behind it.
            self.dropped += 1
            self._waiting = self._waiting[1:]
