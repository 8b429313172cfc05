"""The media channel, UDP 8857: lists, sizes, thumbnails, files and playback, over a lossy link."""

from __future__ import annotations

import socket
import time
from dataclasses import dataclass, field
from typing import Callable, Optional

from catalogue import Catalogue
from frames import Frame, pack
from link import CAMERA, LIMIT, REPEAT, SYSTEM_ID, Silence, deep_buffer

PORT = 8857
CHUNK = 8181
QUIET = 1.5  # s without a datagram: nothing is under way any more
NOBODY = "nobody.JPG"  # a name that no file has: NOTEXIST says that all before it has been seen to
PHOTO, THUMBNAIL, VIDEO = 1, 2, 3
SIZE, DOWNLOAD, DELETE, CANCEL, PLAY, GO_ON, PAUSE, SEEK = 0, 1, 2, 4, 5, 6, 7, 8
PHOTO_LIST_COMPONENT = 195


class Refused(Exception):
    """The camera said that it cannot: NOTEXIST, THUMBERROR."""


@dataclass(frozen=True)
class Datagram:
    """One datagram of the camera; a frame is taken apart already."""

    channel: int
    data: bytes
    text: str = ""
    record: Optional[tuple[int, int, str]] = None  # index, count, name
    sequence: int = 0


@dataclass
class Stream:
    """What a download brought until it ended."""

    pieces: list[bytes] = field(default_factory=list)
    started: bool = False
    completed: bool = False


class MediaChannel:
    """One client. Between its calls nothing is under way but the rest of a download."""

    def __init__(self, catalogue: Catalogue) -> None:
        self.catalogue = catalogue
        self._sequence = 0
        self._streaming: Optional[tuple[int, str]] = None  # what may still be on its way
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        deep_buffer(self._socket)
        self._socket.connect((CAMERA, PORT))

    def close(self) -> None:
        """Frees the port."""
        self._socket.close()

    def send(self, name: str, /, component_id: int = 0, **values: object) -> None:
        """Sends a message once; a link that drops it is what repetitions are for."""
        message_id, payload = self.catalogue.encode(name, **values)
        self._sequence = self._sequence + 1 & 0xFF
        frame = Frame(self._sequence, SYSTEM_ID, component_id, message_id, payload)
        try:
            self._socket.send(pack(frame, self.catalogue.crc_extra[message_id]))
        except (PermissionError, ConnectionRefusedError):
            pass  # dropped on the way out, or an old complaint about a closed port

    def ask(self, operation: int, kind: int, name: str = "", argument: int = 0) -> None:
        """Sends a media request once."""
        self.send("media request", kind=kind, name=name.encode(), operation=operation,
                  argument=str(argument).encode())

    def receive(self, limit: float = REPEAT) -> Optional[Datagram]:
        """The next datagram, None when none comes in time."""
        self._socket.settimeout(max(limit, 0.001))
        try:
            data = self._socket.recv(65536)
        except (TimeoutError, ConnectionRefusedError):
            return None
        if data[0] > 1:
            return Datagram(data[0], data[1:])
        frame = next(self.catalogue.parser().feed(data[1:]))
        message = self.catalogue.decode("media", frame)
        if message.layout == "list record":
            record = (message["index"], message["count"], message["value"])
            return Datagram(data[0], b"", record=record, sequence=frame.sequence)
        return Datagram(data[0], b"", text=message["text"], sequence=frame.sequence)

    def until(self, send: Callable[[], None], last: Callable[[Datagram], bool]) -> list[Datagram]:
        """Sends a request each half second until its last answer is there; gives all that came.

        Answers do not say which of several equal requests they are for. So behind a repetition
        the channel is cleared before the next request may go out.
        """
        self._settle()
        end = time.monotonic() + LIMIT
        found: list[Datagram] = []
        tries = 0
        while time.monotonic() < end:
            send()
            tries += 1
            while (datagram := self.receive()) is not None:
                found.append(datagram)
                if last(datagram):
                    if tries > 1:
                        self._clear()
                    return found
        raise Silence(f"no answer on the media channel to {tries} requests")

    def _clear(self) -> None:
        """Waits until no answer can be on its way any more."""
        while self.receive(QUIET) is not None:
            pass

    def _settle(self) -> None:
        """Ends a download that may still run, and waits until all of it has come.

        Two requests whose answers can be told apart: an unknown name, then the file itself. Both
        lost is rare enough for a pause.
        """
        if self._streaming is None:
            return
        kind, name = self._streaming
        self._streaming = None
        for fence_kind, fence_name in ((PHOTO, NOBODY), (kind, name)):
            self.ask(SIZE, fence_kind, fence_name)
            while (datagram := self.receive()) is not None:
                if datagram.text == "NOTEXIST" and fence_name == NOBODY or \
                        datagram.channel == 1 and fence_name == name:
                    return
        self._clear()

    def names(self, kind: int) -> list[str]:
        """The names of all photos or videos, put together over as many requests as it takes."""
        def ask() -> None:
            self.send("media list", PHOTO_LIST_COMPONENT if kind == PHOTO else 0)
            self.ask(SIZE, PHOTO, NOBODY)
        records: dict[int, tuple[int, str]] = {}
        for attempt in range(100):
            for datagram in self.until(ask, lambda d: d.text == "NOTEXIST"):
                if datagram.record is not None:
                    records[datagram.record[0]] = datagram.record[1:]
            if records and all(count == len(records) for count, _ in records.values()):
                return [records[i][1] for i in sorted(records)]
            if not records and attempt == 5:  # an empty list has no answer
                return []
        raise Silence("the list never became whole")

    def size(self, kind: int, name: str) -> tuple[int, Optional[int]]:
        """Size in bytes, and of a video its seconds."""
        answer = self.until(lambda: self.ask(SIZE, kind, name),
                            lambda d: d.channel == 1 or d.text == "NOTEXIST")[-1]
        if answer.channel != 1:
            raise Refused(f"{name} does not exist")
        values = dict(part.split(":") for part in answer.text.split(";"))
        return int(values["FSIZE"]), int(values["DUR"]) if "DUR" in values else None

    def delete(self, kind: int, name: str) -> str:
        """Deletes, and gives the name that the camera says."""
        answer = self.until(lambda: self.ask(DELETE, kind, name),
                            lambda d: d.text.startswith("FREMOVED:") or d.text == "NOTEXIST")[-1]
        if answer.text == "NOTEXIST":
            raise Refused(f"{name} does not exist")
        return answer.text.partition(":")[2]

    def make_thumbnail(self, name: str) -> bool:
        """Has the thumbnail of a photo or video made; False when it was there already."""
        answer = self.until(lambda: self.ask(SIZE, THUMBNAIL, name), lambda d: d.channel == 1 or
                            d.text in ("THUMBREADY:" + name, "THUMBERROR:" + name))[-1]
        if answer.text.startswith("THUMBERROR"):
            raise Refused(answer.text)
        return answer.channel != 1

    def stream(self, kind: int, name: str, offset: int, most: int = 1 << 30) -> Stream:
        """One download from an offset to its end, or until `most` datagrams have come.

        It ends the one before, whose rest comes first: ours begins behind its end notice, or at
        its own first notice, whichever gets through.
        """
        stream = Stream()
        ours = self._streaming is None
        self._streaming = (kind, name)
        self.ask(DOWNLOAD, kind, name, offset)
        while len(stream.pieces) < most:
            datagram = self.receive()
            if datagram is None:  # the request or the end notice has been lost, and nothing runs
                self._streaming = None
                return stream
            if datagram.channel == 2:
                if ours:
                    stream.pieces.append(datagram.data)
                continue
            stream.completed = datagram.text == "TRANSCOMPLETE:" + name
            if stream.completed and stream.pieces:
                self._streaming = None
                return stream
            ours = True
            stream.started = datagram.text.startswith("TRANSSTART:" + name)
            stream.completed = False
            stream.pieces.clear()
        return stream
