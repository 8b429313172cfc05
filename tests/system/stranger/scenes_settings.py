"""Scenes that change how the camera works: settings, stream rate, time-lapse, format."""

from __future__ import annotations

from typing import Any

from bench import CARD, Bench, check, control, equal, eventually, service_state
from link import layout
from media import PHOTO, VIDEO

ISO, EXPOSURE, WHITE_BALANCE, SATURATION, SHUTTER = 6, 7, 5, 11, 17
RESOLUTION, QUALITY, AE_MODE, LOW_LIGHT, RAW, STAMP, COLOR = 2, 4, 8, 18, 20, 21, 3
FULL_HD_30P = 4


def _set_and_see(bench: Bench, setting: int, value: int, field: str) -> None:
    """Sets, checks the one byte of the answer, and waits for the value in the status record."""
    equal(bench.set(setting, value)["value"], value & 0xFF, f"the answer about {field}")
    bench.link.status(lambda status: status[field] == value)


def settings(bench: Bench) -> None:
    """Settings of every width, two that exclude each other, and some that are refused."""
    bench.mode(1)
    for setting, value, field in ((ISO, 1000, "iso"), (EXPOSURE, 5000, "exposure"),
                                  (WHITE_BALANCE, 1, "white_balance"), (COLOR, 2, "color_style"),
                                  (SATURATION, 200, "saturation"), (SHUTTER, 9, "shutter"),
                                  (STAMP, 1, "stamp")):
        _set_and_see(bench, setting, value, field)
    held = service_state()["settings"]
    equal((held["fix_iso_value"], held["scene_white_balance"]), ("1000", "Day"), "the service")
    bench.set(QUALITY, 1, subject=0)
    equal(service_state()["settings"]["video_quality"], "fine", "the video quality")
    # At 60P the document's lower limit of the shutter is 9; low light needs 30P.
    refused = [{"setting": setting, "value": value}
               for setting, value in ((SHUTTER, 8), (LOW_LIGHT, 1), (WHITE_BALANCE, 9))]
    check(bench.link.unanswered("camera setting", refused, layout("setting answer")),
          f"one of {refused} was taken")
    status = bench.link.status()
    equal((status["shutter"], status["low_light"], status["white_balance"]), (9, 0, 1), "refused")
    bench.set(RESOLUTION, FULL_HD_30P)
    _set_and_see(bench, LOW_LIGHT, 1, "low_light")
    mark = bench.link.mark()
    _set_and_see(bench, RAW, 1, "raw_mode")
    check(bool(bench.link.since(mark, layout("setting answer", subject=LOW_LIGHT, value=0))),
          "raw mode did not switch low light off")
    _set_and_see(bench, RAW, 0, "raw_mode")
    mark = bench.link.mark()
    bench.set(AE_MODE, 0)
    subjects = layout("setting answer")
    bench.link.wait(lambda m: len(bench.link.since(mark, subjects)) >= 5, mark)
    equal([m["subject"] for m in bench.link.since(mark, subjects)][:5], [8, 7, 7, 6, 6],
          "what AE mode 0 sets")
    bench.link.status(lambda status: status["iso"] == 0 and status["exposure"] == 0)


def _rates(bench: Bench, wanted: list[int], reports: int, **values: Any) -> None:
    """512 kbit/s, then so many reports for each of the rates that follow."""
    bench.link.send("camera action", action=9, value=20)
    eventually(lambda: service_state()["stream_rate"] == 512, "at 512 kbit/s")
    # Any action but 9 hands the rate back to the reports; the mode it is in changes nothing.
    bench.link.send("camera action", action=2)
    for rate in wanted:
        for _ in range(reports):
            bench.link.send("link quality", sent=100, **values)
        eventually(lambda: service_state()["stream_rate"] == rate, f"at {rate} kbit/s")
        reports = 1 if values["arrived"] == 100 else reports


def quality(bench: Bench) -> None:
    """The stream rate follows the reports by the document's table, and the signal by its."""
    bench.mode(1)
    _rates(bench, [768, 1152, 1728, 2048], 11, arrived=100)
    _rates(bench, [409, 327], 6, arrived=90, loss_1=5)
    _rates(bench, [307, 184, 110, 66, 50], 1, arrived=90, loss_1=20)
    for signal, rate in ((50, 1024), (90, 2048)):
        bench.link.send("camera action", action=9, value=signal)
        eventually(lambda: service_state()["stream_rate"] == rate, f"at {rate} kbit/s")


def timelapse(bench: Bench) -> None:
    """Two slices and a stop, with the reports of each, and a video for every slice."""
    bench.mode(1)
    if bench.link.status()["resolution"] != FULL_HD_30P:
        bench.set(RESOLUTION, FULL_HD_30P)
    control("slice", "1500")
    old = set(bench.media.names(VIDEO))
    mark = bench.link.mark()
    given = {"count": 7, "parameter_1": 1, "parameter_2": 2, "parameter_3": 3, "parameter_4": 4}
    bench.link.request("time-lapse", layout("setting answer", subject=0), interval=3, step=0,
                       **given)
    record = layout("time-lapse record", shots=-1.0)
    bench.link.wait(lambda m: len(bench.link.since(mark, record)) >= 2, mark)
    begun = layout("time-lapse report", state=0, **given)
    started = layout("command acknowledgement", command=2500, result=0)
    for want in (begun, started):
        check(len(bench.link.since(mark, want)) >= 2, "a slice begins without its reports")
    equal(bench.link.status()["timelapse"], 1, "the status record")
    mark = bench.link.mark()
    bench.link.request("time-lapse", layout("setting answer", subject=0), step=2)
    bench.link.wait(layout("command acknowledgement", command=2501), mark)
    bench.link.wait(layout("time-lapse report", state=2, **given), mark)
    bench.link.wait(layout("time-lapse record", shots=0.0), mark)
    bench.link.status(lambda status: status["timelapse"] == 0)
    check(len(set(bench.media.names(VIDEO)) - old) >= 2, "videos of slices are missing")


def erase(bench: Bench) -> None:
    """A format empties the card, and the lists."""
    answer = bench.set(1, 0)
    equal(answer["value"], 0, "the format's answer")
    for kind, folder in ((PHOTO, "PIC"), (VIDEO, "VIDEO")):
        equal(list((CARD / folder).iterdir()), [], folder)
        equal(bench.media.names(kind), [], f"the list of {folder}")
    bench.link.request("card query", layout("card report"))
    status = bench.link.status()
    equal(status["free"], status["total"], "the free space behind a card query")
