#!/usr/bin/env python3
"""A client that was written from docs/interfaces.md alone, against the programs on a board.

    board/board exec -- python3 tests/system/stranger/stranger.py [--programs FOLDER] [SCENE]...

It starts camera service and camera module on the board, and itself once more on the peer's side.
"""

from __future__ import annotations

import argparse
import os
import shutil
import subprocess
import sys
import time
import traceback
from pathlib import Path
from typing import Callable

import scenes_application
import scenes_camera
import scenes_firmware
import scenes_media
import scenes_settings
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
    ("settings", scenes_settings.settings),
    ("link-quality", scenes_settings.quality),
    ("time-lapse", scenes_settings.timelapse),
    ("format", scenes_settings.erase),
    ("firmware", scenes_firmware.good),
]
APPLINK: list[Scene] = [
    ("application", scenes_application.session),
    ("application-relay", scenes_application.relay),
    ("flight-controller", scenes_application.flight_controller),
    ("application-silence", scenes_application.silence),
    ("firmware-refused", scenes_firmware.bad),
]
ON_REQUEST = {"application-silence"}  # waits for the camera's 10 s and does nothing else
SCENES: dict[str, list[Scene]] = {"maintask": MAINTASK, "applink": APPLINK}


def play(program: str, wanted: list[str]) -> int:
    """Plays the scenes against a program that runs; 1 when one failed."""
    bench = Bench.open()
    failed = 0
    for name, scene in SCENES[program]:
        if name not in wanted and (wanted or name in ON_REQUEST):
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
    shim.unlink(missing_ok=True)
    shim.symlink_to(Path(maintask).resolve().parents[1] / "lib" / shim.name)
    return {"LD_PRELOAD": str(shim), "CLOCKSHIM_LOG": "/tmp/clock.log"}


def stage(program: str, scenes: list[str]) -> int:
    """Starts a program with a camera service, and plays its scenes on the peer's side."""
    shim = clock_shim()
    # The service anew as well: a camera module does not ask for its mode, it assumes photo mode.
    with open(f"/tmp/{program}.log", "wb") as log:
        service = subprocess.Popen(["camera_service"], stdout=log, stderr=log)
        camera = subprocess.Popen([program], stdout=log, stderr=log, env={**os.environ, **shim})
    environment = {**os.environ, "CLOCKSHIM_LOG": shim["CLOCKSHIM_LOG"]}
    failed = subprocess.run(["on-peer", sys.executable, __file__, "--peer", program, *scenes],
                            env=environment, check=False).returncode
    if camera.poll() is not None:
        print(f"FAIL {program}: ended by itself with {camera.returncode}", flush=True)
        failed = 1
    for process in (camera, service):
        process.terminate()
        process.wait()
    return failed


def main() -> int:
    """Both sides."""
    known = [name for scenes in SCENES.values() for name, _ in scenes]
    arguments = argparse.ArgumentParser(description="Plays the scenes of a client on a board.")
    arguments.add_argument("--programs", metavar="FOLDER", help="where the programs are (PATH)")
    arguments.add_argument("--peer", choices=list(SCENES), help=argparse.SUPPRESS)
    arguments.add_argument("scenes", nargs="*", metavar="SCENE", help=", ".join(known))
    given = arguments.parse_args()
    if unknown := set(given.scenes) - set(known):
        arguments.error(f"no scene is called {', '.join(sorted(unknown))}")
    if given.peer:
        return play(given.peer, given.scenes)
    if given.programs:
        os.environ["PATH"] = f"{given.programs}:{os.environ['PATH']}"
    return max(stage(program, given.scenes) for program in SCENES)


if __name__ == "__main__":
    sys.exit(main())
