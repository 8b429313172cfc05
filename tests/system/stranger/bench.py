"""What the scenes share: the links, the board's faults and files, and a word for a failed check."""

from __future__ import annotations

import contextlib
import json
import os
import subprocess
import time
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Callable, Iterator

from catalogue import Catalogue, Message
from link import LIMIT, PeerLink, layout
from media import MediaChannel

CARD = Path("/tmp/SD0/KRVMEDIA")
RADIO_LOSS = ["-p", "udp", "-m", "statistic", "--mode", "random", "--probability"]


class Failed(Exception):
    """A check that did not hold."""


def check(holds: bool, text: str) -> None:
    """Ends the scene when something does not hold."""
    if not holds:
        raise Failed(text)


def equal(found: Any, wanted: Any, text: str) -> None:
    """Ends the scene when two values differ."""
    check(found == wanted, f"{text}: {found!r}, not {wanted!r}")


def eventually(holds: Callable[[], bool], text: str, limit: float = LIMIT) -> None:
    """Waits for a state that nothing announces."""
    end = time.monotonic() + limit
    while not holds():
        check(time.monotonic() < end, f"never {text}")
        time.sleep(0.02)


def control(*command: str) -> str:
    """Tells the camera service on the board something, gives what it says."""
    done = subprocess.run(["camera_service", "ctl", *command], check=True, text=True,
                          stdout=subprocess.PIPE)
    return done.stdout


def service_state() -> dict[str, Any]:
    """Everything the camera service holds."""
    return json.loads(control("state"))


@contextlib.contextmanager
def loss(probability: float) -> Iterator[None]:
    """Both directions of the media channel lose datagrams in the peer's network."""
    rules = [["INPUT", "--sport"], ["OUTPUT", "--dport"]]
    for chain, port in rules:
        subprocess.run(["iptables", "-A", chain, *RADIO_LOSS, str(probability), port, "8857",
                        "-j", "DROP"], check=True)
    try:
        yield
    finally:
        for chain, _ in rules:
            subprocess.run(["iptables", "-F", chain], check=True)


@dataclass
class Bench:
    """The client's links, and what one scene leaves for the next."""

    catalogue: Catalogue
    link: PeerLink
    media: MediaChannel
    photos: list[str] = field(default_factory=list)
    videos: list[str] = field(default_factory=list)

    @staticmethod
    def open() -> "Bench":
        """Binds the peer's ports."""
        catalogue = Catalogue()
        return Bench(catalogue, PeerLink(catalogue), MediaChannel(catalogue))

    def close(self) -> None:
        """Frees the ports."""
        self.link.close()
        self.media.close()

    def act(self, action: int, want: Callable[[Message], bool], **values: Any) -> Message:
        """A camera action, repeated until its answer comes."""
        return self.link.request("camera action", want, action=action, **values)

    def mode(self, mode: int) -> None:
        """Photo (0) or video mode (1): nothing answers in the right mode, so look first."""
        if self.link.status()["camera_mode"] != mode:
            answer = self.act(2 * mode, layout("setting answer", subject=10))
            equal((answer["result"], answer["value"]), (0, mode), "the mode's answer")
            self.link.status(lambda status: status["camera_mode"] == mode)

    def set(self, setting: int, value: int, subject: int | None = None) -> Message:
        """A camera setting, repeated until its answer comes."""
        subject = setting if subject is None else subject
        answer = self.link.request("camera setting", layout("setting answer", subject=subject),
                                   setting=setting, value=value)
        equal(answer["result"], 0, f"the result of setting {setting}")
        return answer

    def photo(self, name: str = "camera action", **values: Any) -> None:
        """Takes a photo and waits until it can be fetched."""
        mark = self.link.mark()
        taken = layout("command acknowledgement", command=2001)
        equal(self.link.request(name, taken, **values)["result"], 0, "the photo's result")
        self.link.wait(layout("camera report", code=1), mark, what="camera report")

    def record(self, seconds: int) -> None:
        """Records until so many seconds have been reported."""
        self.mode(1)
        mark = self.link.mark()
        started = self.act(3, layout("command acknowledgement", command=2500))
        equal(started["result"], 0, "the start's result")
        self.link.wait(lambda m: m.layout == "record tick" and m["seconds"] >= seconds, mark)
        stopped = self.act(4, layout("command acknowledgement", command=2501))
        equal(stopped["result"], 0, "the stop's result")


def environment_file(name: str) -> Path:
    """A file that the board's side announced."""
    return Path(os.environ[name])
