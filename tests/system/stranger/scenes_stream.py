"""Scenes of moving pictures: playback from the card, live video."""

from __future__ import annotations

from bench import CARD, Bench, check, equal
from h264 import Picture, gaps
from link import layout
from live import CLASS_OF_VIDEO, LiveVideo
from mp4 import Movie
from playback import Player, as_played

LARGEST_DATAGRAM = 64512


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
    paused(player, movie)
    play_paused(player)
    player.cancel()
    check(not player.ended, "a playback that was stopped ended with a notice")
    player.play(1000)
    player.until_end()
    check(player.frames == wanted_frames(movie, 1000), "other frames behind a stop")


def play_paused(player: Player) -> None:
    """Plays from the start and pauses before the end, which takes some tries: see pause_early."""
    for _ in range(40):
        player.play(0)
        player.pause_early()
        player.until_quiet()
        if not player.ended:
            return
    check(False, "no pause took effect before the end")


def paused(player: Player, movie: Movie) -> None:
    """A pause holds what is left; a seek in it moves the place where it goes on."""
    play_paused(player)
    shown = len(player.frames)
    player.go_on()
    player.until_end()
    check(shown < len(player.frames), "nothing came behind the pause")
    check(player.frames == wanted_frames(movie, 0), "other frames with a pause between")
    play_paused(player)
    player.seek(2000)
    player.until_quiet()
    check(player.frames in ([], [movie.parameter_sets]), "frames while paused")
    player.go_on()
    player.until_end()
    check(player.frames == wanted_frames(movie, 2000), "other frames behind a seek")


def live(bench: Bench) -> None:
    """Live video flows while it is wished for, whole pictures, key pictures among them."""
    video = LiveVideo()
    try:
        check(video.silent(0.5), "live video that nobody wished for")
        bench.link.wish = 2

        def enough(found: list[Picture]) -> bool:
            return sum(picture.key for picture in found) >= 3
        found, bits = video.read(enough)
        check(found[0].key, "the first picture behind the parameter sets is no key picture")
        equal(gaps(found, bits), [], "pictures are missing")
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
