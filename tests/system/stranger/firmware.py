"""Sends an image for the camera itself, as the application does."""

from __future__ import annotations

import hashlib
import time

from catalogue import Message
from link import LIMIT, PeerLink, Silence, layout

CHUNK = 240
NONE = 4294967296.0
ANNOUNCEMENT, REQUEST, FINISH = 1, 2, 3
CHUNKS, START = 2, 3
APPLICATION = 4
SLOTS = ["size_or_index_1", *(f"index_{i}" for i in range(2, 8))]
START_REPEAT = 1.0


def chunk_frame(link: PeerLink, image: bytes, index: int) -> bytes:
    """Message 110 with one chunk."""
    chunk = image[CHUNK * index:CHUNK * (index + 1)]
    return link.frame("firmware data", opcode=CHUNKS, data_length=len(chunk) + 4,
                      board=APPLICATION, data=index.to_bytes(4, "big") + chunk)


def announce(link: PeerLink, size: int) -> int:
    """Result of the announcement."""
    report = layout("firmware report", state=ANNOUNCEMENT)
    answer = link.request("firmware command", report, state=ANNOUNCEMENT, size_or_index_1=size)
    return answer["result"]


def transfer(link: PeerLink, image: bytes, digest: str = "") -> Message:
    """Starts, sends what is asked for, and gives the final report."""
    count = (len(image) + CHUNK - 1) // CHUNK
    mark, next_start, end = link.mark(), 0.0, time.monotonic() + LIMIT
    wanted = layout("firmware report")
    text = (digest or hashlib.md5(image).hexdigest()).encode()
    while time.monotonic() < end:
        if time.monotonic() > next_start:
            link.send("firmware data", opcode=START, data_length=32, board=APPLICATION, data=text)
            next_start = time.monotonic() + START_REPEAT
        try:
            link.wait(wanted, mark, 0.1)
        except Silence:
            continue
        now = link.mark()
        reports, mark = link.since(mark, wanted, now), now
        for report in reports:
            if report["state"] == FINISH and report["result"] != 4:
                return report
            if report["state"] != REQUEST:
                continue
            next_start = time.monotonic() + START_REPEAT
            for slot in SLOTS:
                if report[slot] != NONE and report[slot] < count:
                    link.send_raw(chunk_frame(link, image, int(report[slot])))
    raise Silence("the image never became whole")
