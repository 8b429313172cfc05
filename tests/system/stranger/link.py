"""The peer's side of UDP 8888: a heartbeat that never stops, an inbox, and requests that repeat."""

from __future__ import annotations

import socket
import threading
import time
from typing import Any, Callable, Optional

from catalogue import Catalogue, Message
from frames import Frame, pack

CAMERA = "192.168.31.1"
PORT = 8888
SYSTEM_ID = 0x41  # the high nibble says "application", which firmware looks at
LIMIT = 90.0  # for what takes a second at most; a slow machine is no failure
REPEAT = 0.5


RCVBUFFORCE = 33  # the socket module does not name it


def deep_buffer(receiver: socket.socket, size: int = 16 << 20) -> None:
    """Room for what arrives while this process waits for its turn; what overflows is lost."""
    try:
        receiver.setsockopt(socket.SOL_SOCKET, RCVBUFFORCE, size)
    except PermissionError:  # not root: as much as the system allows
        receiver.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, size)


class Silence(Exception):
    """What was waited for did not come."""


Want = Callable[[Message], bool]


def layout(name: str, **values: Any) -> Want:
    """True for messages of this layout with these values."""
    return lambda message: message.layout == name and all(
        message.values[key] == value for key, value in values.items())


class PeerLink:
    """Everything that arrives stays in `inbox`; a place in it is a mark to wait from."""

    def __init__(self, catalogue: Catalogue) -> None:
        self.catalogue = catalogue
        self.inbox: list[Message] = []
        self.wish = 0
        self.level = 0
        self._parser = catalogue.parser()
        self._sequence = 0
        self._news = threading.Condition()
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.bind(("", PORT))
        self._ended = threading.Event()
        self._threads = [threading.Thread(target=work, daemon=True)
                         for work in (self._receive, self._beat)]
        for thread in self._threads:
            thread.start()

    def close(self) -> None:
        """Ends both threads and frees the port."""
        self._ended.set()
        for thread in self._threads:
            thread.join()
        self._socket.close()

    def send(self, name: str, /, system_id: int = SYSTEM_ID, **values: Any) -> None:
        """Sends a message once."""
        self.send_raw(self.frame(name, system_id, **values))

    def send_raw(self, data: bytes) -> None:
        """Sends a datagram as it is."""
        self._socket.sendto(data, (CAMERA, PORT))

    def frame(self, name: str, /, system_id: int = SYSTEM_ID, **values: Any) -> bytes:
        """The bytes of a message, with the next sequence number."""
        message_id, payload = self.catalogue.encode(name, **values)
        with self._news:
            self._sequence += 1
            sequence = self._sequence & 0xFF
        return pack(Frame(sequence, system_id, 0, message_id, payload),
                    self.catalogue.crc_extra[message_id])

    def mark(self) -> int:
        """The place behind everything that has arrived."""
        with self._news:
            return len(self.inbox)

    def since(self, mark: int, want: Want, until: Optional[int] = None) -> list[Message]:
        """What has arrived behind the mark, up to another one."""
        with self._news:
            return [message for message in self.inbox[mark:until] if want(message)]

    def wait(self, want: Want, mark: int, limit: float = LIMIT, what: str = "") -> Message:
        """The first such message behind the mark."""
        found = self._find(want, mark, limit)
        if found is None:
            raise Silence(f"no {what or 'answer'} in {limit:.0f} s")
        return found

    def request(self, name: str, /, want: Want, limit: float = LIMIT, **values: Any) -> Message:
        """Sends a message each half second until its answer is there."""
        return self.repeat(lambda: self.send(name, **values), want, limit, f"{name} {values}")

    def repeat(self, send: Callable[[], Any], want: Want, limit: float, what: str) -> Message:
        """The same for requests that another link carries."""
        mark, end = self.mark(), time.monotonic() + limit
        while time.monotonic() < end:
            send()
            found = self._find(want, mark, REPEAT)
            if found is not None:
                return found
        raise Silence(f"no answer to {what}")

    def unanswered(self, name: str, requests: list[dict[str, Any]], want: Want) -> bool:
        """True when requests stay without an answer while the camera keeps reporting."""
        mark = self.mark()
        for _ in range(5):
            for values in requests:
                self.send(name, **values)
            for _ in range(2):
                self.status()
        return not self.since(mark, want)

    def status(self, want: Optional[Want] = None, limit: float = LIMIT) -> Message:
        """The next status record, or the next that fits."""
        return self.wait(lambda message: message.layout == "status record" and
                         (want is None or want(message)), self.mark(), limit, "status record")

    def _find(self, want: Want, mark: int, limit: float) -> Optional[Message]:
        end = time.monotonic() + limit
        with self._news:
            while True:
                for place in range(mark, len(self.inbox)):
                    if want(self.inbox[place]):
                        return self.inbox[place]
                mark = len(self.inbox)
                left = end - time.monotonic()
                if left <= 0:
                    return None
                self._news.wait(left)

    def _receive(self) -> None:
        self._socket.settimeout(0.2)
        while not self._ended.is_set():
            try:
                data, sender = self._socket.recvfrom(65536)
            except OSError:  # a time-out, or the camera's port was closed for a moment
                continue
            if sender[0] != CAMERA:
                continue
            for frame in self._parser.feed(data):
                message = self.catalogue.decode("peer", frame)
                with self._news:
                    self.inbox.append(message)
                    self._news.notify_all()

    def _beat(self) -> None:
        while not self._ended.is_set():
            try:
                self.send("heartbeat of the peer", wish=self.wish, level=self.level)
            except OSError:
                pass
            self._ended.wait(REPEAT)
