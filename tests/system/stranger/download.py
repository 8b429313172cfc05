"""A download that is byte for byte the file, over a link that loses datagrams without a trace."""

from __future__ import annotations

from media import CHUNK, MediaChannel

WINDOW = 16
TRIES_BEFORE_HALF = 8
BELIEVED = 24


class Incomplete(Exception):
    """The file could not be put together."""


def chunk_count(size: int) -> int:
    """Chunks of a file."""
    return (size + CHUNK - 1) // CHUNK


def at_once(media: MediaChannel, kind: int, name: str, size: int) -> bytes | None:
    """The file, if one stream brought all of it."""
    stream = media.stream(kind, name, 0)
    data = b"".join(stream.pieces)
    whole = len(stream.pieces) == chunk_count(size) and len(data) == size
    return data if whole and stream.started and stream.completed else None


def proof_length(known: list[bytes]) -> int:
    """How many known chunks a stream has to go on with, so that none can hide in a repetition."""
    for place, chunk in enumerate(known):
        if chunk not in known[place + 1:]:
            return place + 1
    return 0


def certain(media: MediaChannel, kind: int, name: str) -> bytes:
    """The file: in one go if nothing got lost, else backward from its end in windows."""
    size, _ = media.size(kind, name)
    data = at_once(media, kind, name, size)
    if data is not None:
        return data
    first = chunk_count(size)
    known: list[bytes] = []
    window, tries = WINDOW, 0
    while first > 0:
        wanted = min(window, first)
        proof = proof_length(known)
        most = wanted + proof if known else 1 << 30
        stream = media.stream(kind, name, CHUNK * (first - wanted), most)
        if known:
            good = stream.pieces[wanted:most] == known[:proof]
        else:
            good = stream.started and stream.completed and len(stream.pieces) == wanted
        if good:
            known = stream.pieces[:wanted] + known
            first, window, tries = first - wanted, WINDOW, 0
            continue
        tries += 1
        if tries % TRIES_BEFORE_HALF == 0:
            window = max(1, window // 2)
        if tries > 20 * BELIEVED:
            raise Incomplete(f"chunk {first - 1} of {name} cannot be proved")
    data = b"".join(known)
    if len(data) != size:
        raise Incomplete(f"{name} has {len(data)} of {size} bytes")
    return data
