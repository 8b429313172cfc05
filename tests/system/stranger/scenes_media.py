"""Scenes on the media channel: lists, sizes, thumbnails, downloads, delete."""

from __future__ import annotations

from bench import CARD, Bench, check, equal, loss
from download import certain
from jpeg import picture_size
from media import PHOTO, THUMBNAIL, VIDEO, Refused

LOST = 0.05


def lists(bench: Bench) -> None:
    """Both lists are what lies on the card."""
    for kind, folder in ((PHOTO, "PIC"), (VIDEO, "VIDEO")):
        names = bench.media.names(kind)
        check(bool(names), f"{folder} is empty")
        equal(sorted(names), sorted(path.name for path in (CARD / folder).iterdir()), folder)


def sizes(bench: Bench) -> None:
    """Sizes are those on the card; only videos have seconds; a wrong kind or name is refused."""
    for name in bench.photos:
        equal(bench.media.size(PHOTO, name), ((CARD / "PIC" / name).stat().st_size, None), name)
    for name in bench.videos:
        size, seconds = bench.media.size(VIDEO, name)
        equal(size, (CARD / "VIDEO" / name).stat().st_size, name)
        check(seconds is not None and seconds >= 1, f"{name} has {seconds} s")
    for kind, name in ((VIDEO, bench.photos[0]), (PHOTO, bench.photos[0].lower())):
        try:
            bench.media.size(kind, name)
        except Refused:
            continue
        check(False, f"{name} is known as kind {kind}")


def thumbnails(bench: Bench) -> None:
    """A photo's thumbnail is there, a video's is made on demand; one that was removed is made."""
    photo, video = bench.photos[0], bench.videos[0]
    bench.media.names(PHOTO)
    equal(bench.media.make_thumbnail(photo), False, "the photo's thumbnail had to be made")
    bench.media.make_thumbnail(video)
    for name, suffix in ((photo, "_p.JPG"), (video, "_v.JPG")):
        data = certain(bench.media, THUMBNAIL, name)
        own = name.rpartition(".")[0] + suffix
        check(data == (CARD / "THUMB" / own).read_bytes(), f"{own} is not the file on the card")
        size = picture_size(data)
        check(name == photo or size == (160, 90), f"{own} is {size}")
        equal(bench.media.delete(THUMBNAIL, name), own, "the removed thumbnail")
        equal(bench.media.make_thumbnail(name), True, f"{own} was still there")


def downloads(bench: Bench) -> None:
    """Files arrive byte for byte although each twentieth datagram is lost."""
    video = bench.videos[0]
    data = certain(bench.media, VIDEO, video)
    check(data == (CARD / "VIDEO" / video).read_bytes(), f"{video} is another file")
    photo = bench.photos[0]
    thumbnail = CARD / "THUMB" / (photo.rpartition(".")[0] + "_p.JPG")
    with loss(LOST):
        for kind, path in ((PHOTO, CARD / "PIC" / photo), (THUMBNAIL, thumbnail)):
            data = certain(bench.media, kind, photo)
            check(data == path.read_bytes(), f"{path.name} is another file")
        names = bench.media.names(PHOTO)
    equal(sorted(names), sorted(path.name for path in (CARD / "PIC").iterdir()), "photos")


def delete(bench: Bench) -> None:
    """A photo and its thumbnail vanish from the card and from the list."""
    name = bench.photos.pop()
    thumbnail = CARD / "THUMB" / (name.rpartition(".")[0] + "_p.JPG")
    check(thumbnail.exists(), f"{thumbnail} was not there")
    equal(bench.media.delete(PHOTO, name), name, "the removed file")
    check(not (CARD / "PIC" / name).exists(), f"{name} is still there")
    check(not thumbnail.exists(), f"{thumbnail} is still there")
    check(name not in bench.media.names(PHOTO), f"{name} is still listed")
