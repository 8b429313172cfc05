"""Scenes on UDP 8888: the link, status, photos, recordings, clock, parameters."""

from __future__ import annotations

import re
import time
from pathlib import Path

from bench import CARD, Bench, check, environment_file, equal, eventually, service_state
from download import certain
from jpeg import ARTIST, DATE_TIME, MAKE, MODEL, Exif, picture_size
from link import layout
from media import PHOTO, VIDEO

LATITUDE, LONGITUDE, ALTITUDE = -335688123, 1511234567, 123.4
HOURS = 3600


def link(bench: Bench) -> None:
    """Heartbeats come each second, and the camera's link lamp shows that it hears ours."""
    beat = layout("heartbeat of the camera")
    mark = bench.link.mark()
    bench.link.wait(lambda m: beat(m) and len(bench.link.since(mark, beat)) >= 2, mark)
    for message in bench.link.since(mark, beat):
        equal((message["version"], message["stream"], message["factory_test"]), (3, 1, 0),
              "the heartbeat")
    numbers = [m.frame.sequence for m in bench.link.since(mark, beat)]
    check(numbers[0] != numbers[1], "the sequence number stands still")
    eventually(lambda: "10 1" in Path("/tmp/gpio.log").read_text().splitlines(), "a link lamp")
    bench.link.request("stream switch", lambda m: beat(m) and m["stream"] == 0, on=0)
    bench.link.request("stream switch", lambda m: beat(m) and m["stream"] == 1, on=1)


def status(bench: Bench) -> None:
    """The status record says what the document says of a start, and the card's size."""
    record = bench.link.status(lambda record: record["total"] > 0)
    at_start = {"resolution": 1, "saturation": 60, "contrast": 60, "sharpness": 3, "shutter": 6,
                "max_agc": 25, "camera_mode": 0, "sd_code": 0, "iso": 0, "exposure": 0,
                "ae_mode": 0, "timelapse": 0, "photo_format": 0, "raw_mode": 0, "low_light": 0}
    equal({name: record[name] for name in at_start}, at_start, "the status record")
    kilobytes = service_state()["card"]["total_kb"]
    equal(record["total"], kilobytes // 1024, "the card's size")
    report = bench.link.request("card query", layout("card report"))
    equal((report["code"], report["total"]), (0, kilobytes // 1024), "the card report")


def parameters(bench: Bench) -> None:
    """Every pair of the device profile, once, in order, cut to its field."""
    mark = bench.link.mark()
    first = bench.link.request("parameter list", layout("parameter", index=1))
    last = layout("parameter", index=first["count"])
    bench.link.wait(last, mark)
    found = {m["key"]: m["value"] for m in bench.link.since(mark, layout("parameter"))}
    pairs = {}
    for line in Path("/korvan.conf").read_text().splitlines():
        pair = re.match(r'\s*(\w+)\s*=\s*("[^"]*"|[^#]*)', line)
        if pair:
            pairs[pair[1][:15]] = pair[2].strip().strip('"')[:29]
    equal(found, pairs, "the parameters")
    equal(first["count"], len(pairs), "their number")


def clock(bench: Bench) -> None:
    """The clock goes, shifted, to the system and to the camera service, once per session."""
    now = 1_700_000_000_000
    answer = bench.link.request("clock", layout("clock answer"), time=now, shift=8)
    equal(answer["result"], 0, "the clock's result")
    log = environment_file("CLOCKSHIM_LOG")
    seconds = now // 1000 + 8 * HOURS
    check(f"{seconds} " in log.read_text(), f"the clock's log lacks {seconds}")
    text = time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(seconds))
    eventually(lambda: service_state()["settings"]["camera_clock"] == text, f"at {text}")
    before = log.read_text()
    answer = bench.link.request("clock", layout("clock answer"), time=now + 5000, shift=0)
    equal(answer["result"], 0, "the second clock's result")
    equal(log.read_text(), before, "the clock's log behind a second clock")


def photo(bench: Bench) -> None:
    """A photo where we say we are, another one with a name; both downloaded and read."""
    bench.mode(0)
    old = set(bench.media.names(PHOTO))
    bench.link.send("position", latitude=LATITUDE, longitude=LONGITUDE)
    bench.link.send("altitude", altitude=ALTITUDE)
    bench.photo(action=1)
    bench.photo("digicam control", mode=1, sequence=3, function=1)
    new = [name for name in bench.media.names(PHOTO) if name not in old]
    equal(len(new), 2, "new photos")
    named = [name for name in new if re.fullmatch(r"\d{8}_\d{6}_PW03\.JPG", name)]
    plain = [name for name in new if re.fullmatch(r"\d{8}_\d{6}AB\.JPG", name)]
    check(len(named) == 1 and len(plain) == 1, f"the names are {new}")
    bench.photos = plain + named
    for name in bench.photos:
        data = certain(bench.media, PHOTO, name)
        check(data == (CARD / "PIC" / name).read_bytes(), f"{name} is not the file on the card")
        check(min(picture_size(data)) > 0, f"{name} has no picture")
        exif = Exif(data)
        latitude, longitude, altitude = exif.position()
        near = abs(latitude - LATITUDE / 1e7) < 4e-5 and abs(longitude - LONGITUDE / 1e7) < 4e-5
        check(near, f"{name} was taken at {latitude}, {longitude}")
        equal(round(altitude, 3), ALTITUDE, "the altitude")
        equal((exif.image[MAKE], exif.image[ARTIST]), ("KORVAN", "FALK2"), "maker and artist")
        stamp = exif.image[DATE_TIME]
        equal(re.sub(r"\D", "", stamp), re.sub(r"\D", "", name)[:14], "the date")
        check(MODEL in exif.image, "no model")


def record(bench: Bench) -> None:
    """A recording: both answers, seconds that rise, the heartbeat's bit, and a new video."""
    old = set(bench.media.names(VIDEO))
    bench.mode(1)
    mark = bench.link.mark()
    equal(bench.act(3, layout("command acknowledgement", command=2500))["result"], 0, "start")
    bench.link.wait(layout("camera report", code=3), mark, what="report of the start")
    bench.link.wait(layout("heartbeat of the camera", recording=1), mark)
    bench.link.wait(lambda m: m.layout == "record tick" and m["seconds"] >= 2, mark)
    ticks = [m["seconds"] for m in bench.link.since(mark, layout("record tick"))]
    equal(ticks, [float(i) for i in range(int(ticks[0]), int(ticks[0]) + len(ticks))], "ticks")
    check(ticks[0] <= 1, f"the first tick is {ticks[0]}")
    mark = bench.link.mark()
    equal(bench.act(4, layout("command acknowledgement", command=2501))["result"], 0, "stop")
    check(bool(bench.link.since(mark, layout("camera report", code=4))),
          "no report of the stop before its acknowledgement")
    bench.link.wait(layout("heartbeat of the camera", recording=0), mark)
    bench.videos = [name for name in bench.media.names(VIDEO) if name not in old]
    equal(len(bench.videos), 1, "new videos")
