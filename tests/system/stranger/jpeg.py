"""What a photo says about itself: size of the picture, and EXIF with the position."""

from __future__ import annotations

import struct
from typing import Any, Iterator

EXIF_IFD, GPS_IFD = 0x8769, 0x8825
DESCRIPTION, MAKE, MODEL, ARTIST, DATE_TIME = 0x010E, 0x010F, 0x0110, 0x013B, 0x0132
LATITUDE_REF, LATITUDE, LONGITUDE_REF, LONGITUDE, ALTITUDE = 1, 2, 3, 4, 6
TYPE_SIZES = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 7: 1, 9: 4, 10: 8}


def segments(data: bytes) -> Iterator[tuple[int, bytes]]:
    """Marker and contents of every segment up to the picture itself."""
    if data[:2] != b"\xff\xd8":
        raise ValueError("not a JPEG")
    place = 2
    while data[place] == 0xFF:
        marker, size = data[place + 1], int.from_bytes(data[place + 2:place + 4], "big")
        yield marker, data[place + 4:place + 2 + size]
        place += 2 + size
        if marker == 0xDA:
            return


def picture_size(data: bytes) -> tuple[int, int]:
    """Width and height."""
    for marker, contents in segments(data):
        if 0xC0 <= marker <= 0xC3:
            height, width = struct.unpack_from(">HH", contents, 1)
            return width, height
    raise ValueError("no frame header")


class Exif:
    """The entries of IFD 0, the EXIF IFD and the GPS IFD; the first of equal tags counts."""

    def __init__(self, data: bytes) -> None:
        block = next(contents[6:] for marker, contents in segments(data)
                     if marker == 0xE1 and contents.startswith(b"Exif\0\0"))
        if block[:4] != b"II*\0":
            raise ValueError("not little-endian TIFF")
        self._block = block
        self.image = self._directory(struct.unpack_from("<I", block, 4)[0])
        self.exif = self._directory(self.image[EXIF_IFD][0]) if EXIF_IFD in self.image else {}
        self.gps = self._directory(self.image[GPS_IFD][0]) if GPS_IFD in self.image else {}

    def _directory(self, offset: int) -> dict[int, Any]:
        entries: dict[int, Any] = {}
        for i in range(struct.unpack_from("<H", self._block, offset)[0]):
            place = offset + 2 + 12 * i
            tag, kind, count = struct.unpack_from("<HHI", self._block, place)
            size = TYPE_SIZES[kind] * count
            start = place + 8 if size <= 4 else struct.unpack_from("<I", self._block, place + 8)[0]
            entries.setdefault(tag, self._value(kind, count, self._block[start:start + size]))
        return entries

    @staticmethod
    def _value(kind: int, count: int, raw: bytes) -> Any:
        if kind == 2:
            return raw.split(b"\0")[0].decode("ascii")
        if kind in (5, 10):
            numbers = struct.unpack(f"<{2 * count}{'I' if kind == 5 else 'i'}", raw)
            return [numbers[i] / numbers[i + 1] for i in range(0, 2 * count, 2)]
        code = {1: "B", 3: "H", 4: "I", 7: "B", 9: "i"}[kind]
        return list(struct.unpack(f"<{count}{code}", raw))

    def position(self) -> tuple[float, float, float]:
        """Latitude and longitude in degrees, altitude in metres."""
        def degrees(parts: list[float], negative: bool) -> float:
            value = parts[0] + parts[1] / 60 + parts[2] / 3600
            return -value if negative else value
        return (degrees(self.gps[LATITUDE], self.gps[LATITUDE_REF] == "S"),
                degrees(self.gps[LONGITUDE], self.gps[LONGITUDE_REF] == "W"),
                self.gps[ALTITUDE][0])
