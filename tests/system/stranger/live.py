"""Live video: datagrams of UDP 8856 put together from the first sequence parameter set on."""

from __future__ import annotations

import socket
import time
from typing import Callable

from h264 import SPS, Picture, pictures, units
from link import LIMIT, Silence, deep_buffer

PORT = 8856
CLASS_OF_VIDEO = 0xA0


class LiveVideo:
    """Binds the port; what is there while the camera has not been asked is thrown away."""

    def __init__(self) -> None:
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        deep_buffer(self._socket)
        self._socket.setsockopt(socket.IPPROTO_IP, socket.IP_RECVTOS, 1)
        self._socket.bind(("", PORT))
        self.largest = 0
        self.classes: set[int] = set()

    def close(self) -> None:
        """Frees the port."""
        self._socket.close()

    def read(self, enough: Callable[[list[Picture]], bool]) -> None:
        """Reads until the pictures behind the first parameter sets are enough."""
        end, data, looked = time.monotonic() + LIMIT, b"", 0
        while time.monotonic() < end:
            data += self._datagram(1.0) or b""
            if len(data) - looked < 200_000:
                continue
            looked = len(data)
            found = units(data)
            start = next((i for i, unit in enumerate(found) if unit[0] & 31 == SPS), len(found))
            if enough(list(pictures(found[start:]))[:-1]):  # the last one may still go on
                return
        raise Silence("not enough live video")

    def silent(self, seconds: float) -> bool:
        """True when nothing comes for so long."""
        return self._datagram(seconds) is None

    def _datagram(self, limit: float) -> bytes | None:
        self._socket.settimeout(limit)
        try:
            data, ancillary, _, _ = self._socket.recvmsg(65536, 64)
        except TimeoutError:
            return None
        self.largest = max(self.largest, len(data))
        self.classes |= {value[0] for _, kind, value in ancillary if kind == socket.IP_TOS}
        return data
