"""The application's session over TCP 8866."""

from __future__ import annotations

import socket
import time
from typing import Any, Callable, Optional

from catalogue import Catalogue, Message
from frames import Frame, pack
from link import CAMERA, LIMIT, SYSTEM_ID, Silence

PORT = 8866
STICK_PORT = 8867


class Application:
    """One session; connects until it hears a heartbeat."""

    def __init__(self, catalogue: Catalogue) -> None:
        self.catalogue = catalogue
        self._parser = catalogue.parser()
        self._sequence = 0
        self._waiting: list[Message] = []
        self._socket = self._connect()

    def close(self) -> None:
        """Ends the session."""
        self._socket.close()

    def send(self, name: str, /, system_id: int = SYSTEM_ID, **values: Any) -> bytes:
        """Sends a message, gives its bytes."""
        message_id, payload = self.catalogue.encode(name, **values)
        self._sequence = self._sequence + 1 & 0xFF
        data = pack(Frame(self._sequence, system_id, 0, message_id, payload),
                    self.catalogue.crc_extra[message_id])
        self._socket.sendall(data)
        return data

    def wait(self, want: Callable[[Message], bool], limit: float = LIMIT) -> Message:
        """The next message that fits; others are thrown away."""
        end = time.monotonic() + limit
        while (left := end - time.monotonic()) > 0:
            message = self._receive(left)
            if message is not None and want(message):
                return message
        raise Silence("the application waits in vain")

    def ended(self, limit: float = LIMIT) -> bool:
        """True when the camera ends the session in time."""
        end = time.monotonic() + limit
        while (left := end - time.monotonic()) > 0:
            try:
                self._receive(left)
            except ConnectionError:
                return True
        return False

    def _receive(self, limit: float) -> Optional[Message]:
        if not self._waiting:
            self._socket.settimeout(limit)
            try:
                data = self._socket.recv(65536)
            except TimeoutError:
                return None
            if not data:
                raise ConnectionError("the camera ended the session")
            self._waiting += [self.catalogue.decode("app", frame)
                              for frame in self._parser.feed(data)]
        return self._waiting.pop(0) if self._waiting else None

    def _connect(self) -> socket.socket:
        end = time.monotonic() + LIMIT
        while time.monotonic() < end:
            try:
                self._socket = socket.create_connection((CAMERA, PORT), 5)
                self.wait(lambda message: message.frame.message_id == 0, 3)
                return self._socket
            except (OSError, Silence):
                time.sleep(0.1)
        raise Silence(f"nobody serves TCP {PORT}")


def send_stick(data: bytes) -> None:
    """A stick datagram for the flight controller."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as stick:
        stick.sendto(data, (CAMERA, STICK_PORT))
