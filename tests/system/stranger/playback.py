"""Playback on the media channel: frames from their pieces, pause, seek, stop."""

from __future__ import annotations

import time
from typing import Callable, Optional

from h264 import START_CODE
from link import LIMIT, Silence
from media import CANCEL, GO_ON, PAUSE, PLAY, SEEK, VIDEO, Datagram, MediaChannel

FIRST_PIECE = b"\3" + START_CODE
PIECES = 8181
QUIET = 0.8  # longer than a paused playback takes to look


class Player:
    """One video that is played; every datagram goes through `take`."""

    def __init__(self, media: MediaChannel, name: str) -> None:
        self._media = media
        self._name = name
        self.frames: list[bytes] = []
        self.time: Optional[int] = None
        self.scale = 0
        self.ended = False

    def play(self, milliseconds: int) -> None:
        """Asks until the playback answers."""
        self._ask(PLAY, milliseconds)

    def seek(self, milliseconds: int) -> None:
        """Goes elsewhere in what runs."""
        self._ask(SEEK, milliseconds)

    def pause(self) -> None:
        """Asks for a pause; what is on its way still comes."""
        self._media.ask(PAUSE, VIDEO)

    def go_on(self) -> None:
        """Ends a pause."""
        self._media.ask(GO_ON, VIDEO)

    def cancel(self) -> None:
        """Ends what runs, which has no answer, and waits for its silence."""
        self._media.ask(CANCEL, VIDEO)
        self.until_quiet()

    def until_end(self) -> None:
        """Takes everything up to the notice at the end."""
        self.until(lambda: self.ended)

    def until(self, enough: Callable[[], bool]) -> None:
        """Takes what comes until it is enough."""
        end = time.monotonic() + LIMIT
        while not enough():
            if time.monotonic() > end:
                raise Silence(f"{self._name} does not go on")
            self._next(1.0)

    def until_quiet(self) -> None:
        """Takes everything until nothing comes any more."""
        while not self.ended and self._next(QUIET) is not None:
            pass

    def _ask(self, operation: int, milliseconds: int) -> None:
        self.time, self.ended = None, False
        self._media.ask(operation, VIDEO, self._name, milliseconds)
        end = time.monotonic() + LIMIT
        while self.time is None:
            if time.monotonic() > end:
                raise Silence(f"no answer to {operation} of {self._name}")
            self._next(1.0)

    def _next(self, limit: float) -> Optional[Datagram]:
        datagram = self._media.receive(limit)
        if datagram is not None:
            self._take(datagram)
        return datagram

    def _take(self, datagram: Datagram) -> None:
        if datagram.channel == 3:
            if datagram.data.startswith(START_CODE):
                self.frames.append(datagram.data)
            elif datagram.data.startswith(FIRST_PIECE):
                self.frames.append(datagram.data[1:])
            else:
                self.frames[-1] += datagram.data
        elif datagram.text.startswith("TIME:"):
            values = dict(part.split(":") for part in datagram.text.split(";"))
            self.time, self.scale = int(values["TIME"]), int(values["SCALE"])
            self.frames.clear()
        elif datagram.text == "TRANSCOMPLETE:" + self._name:
            self.ended = True


def as_played(frame: bytes) -> bytes:
    """A frame as it arrives: one that needs pieces loses its last byte."""
    return frame if len(frame) <= PIECES else frame[:-1]
