"""Scenes with `applink`: the application's session, the serial line behind it, the stick."""

from __future__ import annotations

import os
import select
import time
import tty
from contextlib import contextmanager
from typing import Iterator

from application import Application, send_stick
from bench import Bench, check, equal
from frames import Frame, pack
from link import CAMERA, LIMIT, Silence, layout
from media import PHOTO

FAR_END = "/dev/ttyS1.far"
FOR_THE_PEER = 0x25
FLIGHT_CONTROLLER = 1


@contextmanager
def far_end() -> Iterator[int]:
    """The flight controller's end of the serial line."""
    line = os.open(FAR_END, os.O_RDWR | os.O_NOCTTY)
    try:
        tty.setraw(line)
        yield line
    finally:
        os.close(line)


def _read_until(line: int, wanted: bytes) -> None:
    """Reads the line until it has brought these bytes."""
    found, end = b"", time.monotonic() + LIMIT
    while wanted not in found:
        if not select.select([line], [], [], max(0.0, end - time.monotonic()))[0]:
            raise Silence(f"the serial line brought {found!r}")
        found += os.read(line, 4096)


def session(bench: Bench) -> None:
    """Heartbeats both ways; commands are obeyed, and answered to the peer."""
    application = Application(bench.catalogue)
    try:
        beat = application.wait(layout("heartbeat to the application"))
        equal(beat.frame.system_id, 36, "the heartbeat's system id")
        equal((beat["version"], beat["system_status"]), (3, 0), "the heartbeat")
        check(beat["base_mode"] in (0, 2), f"base_mode {beat}")
        application.send("heartbeat of the peer")
        bench.link.repeat(lambda: application.send("card query"), layout("card report"), LIMIT,
                          "the application's card query")
        mark = bench.link.mark()
        taken = bench.link.repeat(lambda: application.send("camera action", action=1),
                                  layout("command acknowledgement", command=2001), LIMIT,
                                  "the application's photo")
        equal(taken["result"], 0, "the photo's result")
        bench.link.wait(layout("camera report", code=1), mark)
        check(len(bench.media.names(PHOTO)) >= 1, "no photo")
    finally:
        application.close()


def relay(bench: Bench) -> None:
    """Frames for the peer, from the flight controller, and the stick's bytes pass unchanged."""
    application = Application(bench.catalogue)
    try:
        with far_end() as line:
            application.send("heartbeat of the peer")
            mark = bench.link.mark()
            passed = bench.link.catalogue.encode("servo outputs")[0]
            application.send("servo outputs", system_id=FOR_THE_PEER)
            bench.link.wait(lambda m: m.frame.message_id == passed and
                            m.frame.system_id == FOR_THE_PEER, mark, what="frame for the peer")
            serial = Frame(7, FLIGHT_CONTROLLER, 1, 30, bytes(range(28)))
            os.write(line, pack(serial, bench.catalogue.crc_extra[30]))
            found = application.wait(lambda m: m.frame.message_id == 30).frame
            equal(found, serial, "the flight controller's frame")
            send_stick(b"stick \xfe\x00\xff")
            _read_until(line, b"stick \xfe\x00\xff")
    finally:
        application.close()


def flight_controller(bench: Bench) -> None:
    """The flight controller starts a recording, in whatever mode, and stops it."""
    with far_end() as line:
        def order(function: int) -> None:
            os.write(line, bench.link.frame("digicam control", 2, function=function))
        mark = bench.link.mark()
        started = layout("command acknowledgement", command=2500)
        answer = bench.link.repeat(lambda: order(3), started, LIMIT, "the start")
        equal((answer["result"], answer.frame.system_id), (0, 35), "the start's answer")
        bench.link.wait(lambda m: m.layout == "record tick" and m["seconds"] >= 1, mark)
        bench.link.repeat(lambda: order(2), layout("command acknowledgement", command=2501), LIMIT,
                          "the stop")
        bench.link.wait(layout("heartbeat of the camera", recording=0), bench.link.mark())


def silence(bench: Bench) -> None:
    """A session that never says anything is cut, and the next one is served."""
    first = Application(bench.catalogue)
    begin = time.monotonic()
    check(first.ended(), f"a silent session at {CAMERA} goes on")
    check(time.monotonic() - begin > 5, "the session was cut at once")
    first.close()
    Application(bench.catalogue).close()
