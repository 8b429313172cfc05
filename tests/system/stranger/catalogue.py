"""Messages by name, from docs/messages.json: values to payloads and back."""

from __future__ import annotations

import json
import struct
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from frames import Frame, Parser

TYPES = {"u8": "B", "u16": "H", "u32": "I", "u64": "Q", "i32": "i", "f32": "f"}
FILE = Path(__file__).resolve().parents[3] / "docs" / "messages.json"


@dataclass(frozen=True)
class Message:
    """A frame from the camera, its layout and the values of its fields, bits included."""

    layout: str
    values: dict[str, Any]
    frame: Frame

    def __getitem__(self, name: str) -> Any:
        return self.values[name]


def _code(kind: str) -> str:
    """The struct format of a type: "u16", "f32[13]", "char[30]"."""
    name, _, count = kind.rstrip("]").partition("[")
    return "<" + (count + "s" if name in ("char", "bytes") else count + TYPES[name])


class Catalogue:
    """All messages of both directions."""

    def __init__(self, file: Path = FILE) -> None:
        self.about = json.loads(file.read_text(encoding="utf-8"))
        self.crc_extra = {int(i): extra for i, extra in self.about["other_crc_extra"].items()}
        self._by_name: dict[str, tuple[dict[str, Any], dict[str, Any]]] = {}
        self._by_id: dict[int, list[dict[str, Any]]] = {}
        for message in self.about["messages"]:
            self.crc_extra[message["id"]] = message["crc_extra"]
            self._by_id[message["id"]] = message["layouts"]
            for layout in message["layouts"]:
                self._by_name[layout["layout"]] = (message, layout)

    def parser(self) -> Parser:
        """A parser for one link."""
        return Parser(self.crc_extra)

    def encode(self, name: str, /, **values: Any) -> tuple[int, bytes]:
        """Message id and payload of a layout; what is not given is what the layout fixes, or 0."""
        message, layout = self._by_name[name]
        wanted = {**layout.get("match", {}), **values}
        payload = bytearray(message["length"])
        for field in layout["fields"]:
            value: Any = wanted.pop(field["name"], None)
            for bits in field.get("bits", []):
                part = wanted.pop(bits["name"], 0)
                value = (value or 0) | part << bits["from"]
            if value is None:
                continue
            given = value if isinstance(value, (list, tuple)) else [value]
            struct.pack_into(_code(field["type"]), payload, field["offset"], *given)
        if wanted:
            raise KeyError(f"{name} has no {sorted(wanted)}")
        return message["id"], bytes(payload)

    def decode(self, link: str, frame: Frame) -> Message:
        """A frame from the camera by the first layout of its id that fits."""
        for layout in self._by_id.get(frame.message_id, []):
            if layout["direction"] != "from camera" or link not in layout["links"]:
                continue
            if frame.system_id not in layout["system_ids"]:
                continue
            values = self._values(layout, frame.payload)
            if all(values[key] == value for key, value in layout.get("match", {}).items()):
                return Message(layout["layout"], values, frame)
        return Message("unknown", {}, frame)

    @staticmethod
    def _values(layout: dict[str, Any], payload: bytes) -> dict[str, Any]:
        values: dict[str, Any] = {}
        padded = payload.ljust(255, b"\0")
        for field in layout["fields"]:
            found = struct.unpack_from(_code(field["type"]), padded, field["offset"])
            value: Any = found[0] if len(found) == 1 else found
            if field["type"].startswith("char"):
                value = value.split(b"\0")[0].decode("latin-1")
            values[field["name"]] = value
            for bits in field.get("bits", []):
                values[bits["name"]] = value >> bits["from"] & (1 << bits["count"]) - 1
        return values
