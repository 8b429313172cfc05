#!/usr/bin/env python3
"""A client that was written from docs/interfaces.md alone, against the programs on a board.

Without arguments it is the board's side: it starts camera service and camera module, and plays the
scenes on the peer's side (the argument "maintask" or "applink" says against which program).
"""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
import time
import traceback
from pathlib import Path
from typing import Callable

import scenes_camera
import scenes_media
import scenes_stream
from bench import Bench

Scene = tuple[str, Callable[[Bench], None]]

MAINTASK: list[Scene] = [
    ("link", scenes_camera.link),
    ("status", scenes_camera.status),
    ("parameters", scenes_camera.parameters),
    ("clock", scenes_camera.clock),
    ("photo", scenes_camera.photo),
    ("record", scenes_camera.record),
    ("lists", scenes_media.lists),
    ("sizes", scenes_media.sizes),
    ("thumbnails", scenes_media.thumbnails),
    ("downloads", scenes_media.downloads),
    ("delete", scenes_media.delete),
    ("playback", scenes_stream.playback),
    ("live", scenes_stream.live),
]
SCENES: dict[str, list[Scene]] = {"maintask": MAINTASK}


def play(program: str, wanted: list[str]) -> int:
    """Plays the scenes against a program that runs; 1 when one failed."""
    bench = Bench.open()
    failed = 0
    for name, scene in SCENES[program]:
        if wanted and name not in wanted:
            continue
        begin = time.monotonic()
        try:
            scene(bench)
            print(f"ok {name}", flush=True)
        except Exception as error:  # one scene that fails is no reason not to play the others
            failed = 1
            print(f"FAIL {name}: {error or type(error).__name__}", flush=True)
            traceback.print_exc()
        print(f"   {time.monotonic() - begin:.1f} s", file=sys.stderr, flush=True)
    bench.close()
    return failed


def clock_shim() -> dict[str, str]:
    """What lets the camera set a clock that is not the machine's."""
    maintask = shutil.which("maintask")
    if maintask is None:
        raise SystemExit("there is no maintask on PATH: run this in a board")
    shim = Path("/run/libclockshim.so")  # a path in LD_PRELOAD must not hold a space
    shim.symlink_to(Path(maintask).resolve().parents[1] / "lib" / shim.name)
    return {"LD_PRELOAD": str(shim), "CLOCKSHIM_LOG": "/tmp/clock.log"}


def main() -> int:
    """The board's side."""
    shim = clock_shim()
    failed = 0
    wanted = sys.argv[1:]
    with open("/tmp/camera_service.log", "wb") as log:
        service = subprocess.Popen(["camera_service"], stdout=log, stderr=log)
    for program in SCENES:
        with open(f"/tmp/{program}.log", "wb") as log:
            camera = subprocess.Popen([program], stdout=log, stderr=log, env={**os.environ, **shim})
        environment = {**os.environ, "CLOCKSHIM_LOG": shim["CLOCKSHIM_LOG"]}
        played = subprocess.run(["on-peer", sys.executable, __file__, "--peer", program, *wanted],
                                env=environment, check=False)
        failed |= played.returncode
        if camera.poll() is not None:
            print(f"FAIL {program}: ended by itself with {camera.returncode}")
            failed = 1
        camera.terminate()
        camera.wait()
    service.terminate()
    service.wait()
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(play(sys.argv[2], sys.argv[3:]) if "--peer" in sys.argv else main())
