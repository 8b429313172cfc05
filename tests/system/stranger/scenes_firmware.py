"""Firmware for the camera itself: one good image, and one whose checksum is wrong."""

from __future__ import annotations

import random
from pathlib import Path

from bench import Bench, check, equal, eventually, service_state
from firmware import announce, transfer
from link import layout

PLACE = Path("/tmp/SD0/AmbaSysFW.bin")
CHECKED = Path("/tmp/SD0/firmware")
STEP = Path("/tmp/SD0/fwstep")
GOOD, FAILED, BUSY = 0, 3, 4


def _image(size: int) -> bytes:
    return random.Random(size).randbytes(size)


def good(bench: Bench) -> None:
    """481 bytes more than some chunks: the image is in its place, and the step file says M."""
    image = _image(240 * 500 + 1)
    equal(announce(bench.link, 0), FAILED, "the announcement of nothing")
    equal(announce(bench.link, len(image)), GOOD, "the announcement")
    report = transfer(bench.link, image)
    equal((report["result"], report["board"]), (GOOD, 4), "the final report")
    eventually(lambda: PLACE.exists() and PLACE.read_bytes() == image, "an image in its place")
    equal(STEP.read_text(), "M", "the step file")
    eventually(lambda: not CHECKED.exists(), "moved away")
    equal(announce(bench.link, 100), BUSY, "a second announcement")


def bad(bench: Bench) -> None:
    """An image with another MD5 than was said is reported and gets no further."""
    PLACE.unlink(missing_ok=True)
    image = _image(240 * 7)
    equal(announce(bench.link, len(image)), GOOD, "the announcement")
    report = transfer(bench.link, image, digest="0" * 32)
    equal(report["result"], FAILED, "the final report")
    check(CHECKED.read_bytes() == image, "the file that was checked")
    check(not PLACE.exists(), "a bad image is in its place")
