"""Scenes of moving pictures: playback from the card, live video."""

from __future__ import annotations

from bench import CARD, Bench, check, equal
from h264 import Picture
from link import layout
from live import CLASS_OF_VIDEO, LiveVideo
from loop import looped
from media import VIDEO
from mp4 import Movie
from playback import Player, as_played

LARGEST_DATAGRAM = 64512
LONG = "LONG.MP4"
TIMES = 16  # some 40 MB, more than a sender's queue holds: a pause comes before it has all left


def wanted_frames(movie: Movie, milliseconds: int) -> list[bytes]:
    """Parameter sets, then the first unit of every sample from the nearest key picture on."""
    seconds = milliseconds // 1000
    first = min(movie.key_samples, key=lambda sample: abs(movie.times[sample] - seconds))
    return [movie.parameter_sets] + [as_played(movie.frames(sample)[0])
                                     for sample in range(first, len(movie.samples))]


def playback(bench: Bench) -> None:
    """A video from its start, from a key picture, paused, moved and stopped."""
    name = bench.videos[0]
    movie = Movie((CARD / "VIDEO" / name).read_bytes())
    player = Player(bench.media, name)
    for start in (0, 1900, 99_000):
        player.play(start)
        player.until_end()
        equal((player.time, player.scale), (start, movie.scale), "the answer")
        check(player.frames == wanted_frames(movie, start), f"other frames from {start} ms on")
    paused(bench, movie, name)
    player.play(1000)
    player.until_end()
    check(player.frames == wanted_frames(movie, 1000), "other frames behind a stop")


def paused(bench: Bench, movie: Movie, name: str) -> None:
    """A pause holds what is left; a seek in it moves the place where it goes on; a stop ends it."""
    long = CARD / "VIDEO" / LONG
    long.write_bytes(looped((long.parent / name).read_bytes(), len(movie.samples), TIMES))
    check(LONG in bench.media.names(VIDEO), f"{LONG} is not listed")
    movie = Movie(long.read_bytes())
    player = Player(bench.media, LONG)
    for seek in (None, 1000):
        player.play(0)
        player.pause()
        player.until_quiet()
        check(not player.ended, "the pause came too late")
        shown = len(player.frames)
        check(player.frames[:-1] == wanted_frames(movie, 0)[:shown - 1], "other frames to a pause")
        if seek is not None:
            player.seek(seek)
            player.until_quiet()
            check(player.frames in ([], [movie.parameter_sets]), "frames while paused")
            shown = 1
        player.go_on()
        player.until(lambda: len(player.frames) > shown + 100)
        player.cancel()
        check(not player.ended, "a playback that was stopped ended with a notice")
        count = len(player.frames) - 1
        check(player.frames[:-1] == wanted_frames(movie, seek or 0)[:count],
              f"other frames behind a pause and {seek}")
    equal(bench.media.delete(VIDEO, LONG), LONG, "the removed video")


def has_whole_group(found: list[Picture]) -> bool:
    """True when some key picture and all up to the next one are there, as they followed.

    A camera that gets no time drops old pictures, so not every group has to be whole.
    """
    check(not found or found[0].key, "no key picture behind the parameter sets")
    keys = [place for place, picture in enumerate(found) if picture.key]
    return any(after > key + 1 and all(picture.follows for picture in found[key:after])
               for key, after in zip(keys, keys[1:]))


def live(bench: Bench) -> None:
    """Live video flows while it is wished for, whole pictures, key pictures among them."""
    video = LiveVideo()
    try:
        check(video.silent(0.5), "live video that nobody wished for")
        bench.link.wish = 2
        video.read(has_whole_group)
        equal(video.classes, {CLASS_OF_VIDEO}, "the class of service")
        check(video.largest <= LARGEST_DATAGRAM, f"a datagram of {video.largest} bytes")
        beat = layout("heartbeat of the camera", stream=0)
        bench.link.request("stream switch", beat, on=0)
        while not video.silent(1.0):
            pass
        bench.link.request("stream switch", layout("heartbeat of the camera", stream=1), on=1)
        video.read(lambda found: len(found) > 10)
        bench.link.wish = 0
        while not video.silent(1.0):
            pass
    finally:
        bench.link.wish = 0
        video.close()
