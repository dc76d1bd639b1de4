"""What a record of sondexkit says, as values."""

from __future__ import annotations

import base64
import dataclasses
import json
import os
from typing import Any, Optional, Union

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


class Error(Exception):
    """A file could not be read. `code` is a word for programs ("notFound", "damaged", "timeout"),
    `message` a sentence for people."""

    def __init__(self, code: str, message: str, path: str) -> None:
        super().__init__(code, message, path)
        self.code = code
        self.message = message
        self.path = path

    def __str__(self) -> str:
        return self.message


def _key(name: str) -> Any:
    return dataclasses.field(default=None, metadata={"key": name})


@dataclasses.dataclass(frozen=True)
class Extent:
    """A part of a file: from where, how long."""

    offset: int
    bytes: int


@dataclasses.dataclass(frozen=True)
class Movie:
    """A movie. None: the file does not say, or (`decodable`) it was not tried."""

    type: str = "unknown"  # "equi", "dualfish", "unknown"
    codec: str = "unknown"  # "H264", "H265", "unknown"
    has_motion: Optional[bool] = _key("hasKDTD")
    has_spatial_sound: Optional[bool] = _key("hasSpatialSound")
    has_sa3d_sound: Optional[bool] = _key("hasSA3DSound")
    decodable: Optional[bool] = None
    duration: Optional[float] = None  # seconds
    video_bit_rate: Optional[int] = _key("videoBitRate")  # bits a second
    model: Optional[str] = None
    software: Optional[str] = None
    cpu_version: Optional[str] = _key("cpuVersion")
    camera_serial: Optional[str] = _key("cameraSerial")
    gps: Optional[str] = None  # ISO 6709
    frame_width: Optional[int] = _key("frameWidth")
    frame_height: Optional[int] = _key("frameHeight")
    view_heading: Optional[float] = _key("GSpherical:InitialViewHeadingDegrees")
    view_pitch: Optional[float] = _key("GSpherical:InitialViewPitchDegrees")
    field_of_view: Optional[float] = _key("GSpherical:InitialHorizontalFOVDegrees")
    dolly: Optional[float] = _key("GSpherical:InitialCameraDolly")
    stitching_software: Optional[str] = _key("GSpherical:StitchingSoftware")
    creator_tool: Optional[str] = _key("creatorTool")
    top_bottom_correction: Optional[bool] = _key("topBottomCorrection")
    dxva_decodable: Optional[bool] = _key("dxvaDecodable")
    direction_locked: Optional[bool] = _key("directionLocked")
    video_stabilization: Optional[int] = _key("videoStabilization")
    accelerometer_rate: Optional[int] = _key("KDTDSamplingRate")  # samples a second
    gyro_rate: Optional[int] = _key("KDTBSamplingRate")
    compass_rate: Optional[int] = _key("KDTCSamplingRate")
    quality: Optional[str] = _key("videoQuality")  # "normal", "fine"


@dataclasses.dataclass(frozen=True)
class Still:
    """A still. None: the file does not say."""

    type: str = "JPEG"  # "JPEG", "DNG"
    model: Optional[str] = None
    software: Optional[str] = None
    cpu_version: Optional[str] = _key("cpuVersion")
    camera_serial: Optional[str] = _key("cameraSerial")
    yaw: Optional[float] = None  # degrees
    pitch: Optional[float] = None
    roll: Optional[float] = None
    jpeg: Optional[Extent] = None  # of a DNG: where its image data stands


@dataclasses.dataclass(frozen=True)
class Record:
    """What became of one file: its facts, or the error. `data` is the record as it was printed."""

    path: str  # as os.fsdecode gives it
    facts: Union[Movie, Still, None]
    error: Optional[Error]
    data: "dict[str, Any]" = dataclasses.field(repr=False)

    def get(self) -> Union[Movie, Still]:
        """The facts; raises the error where there are none."""
        if self.facts is None:
            raise self.error or Error("damaged", "no facts", self.path)
        return self.facts


def _value(kind: Any, data: "dict[str, Any]") -> Any:
    names = {f.metadata.get("key", f.name): f.name for f in dataclasses.fields(kind)}
    return kind(**{name: data[key] for key, name in names.items() if key in data})


def record(line: "Union[str, bytes]") -> Record:
    """Reads one line of sondexkit's output."""
    data = json.loads(line)
    path = os.fsdecode(base64.b64decode(data["pathBytes"]) if "pathBytes" in data else data["path"])
    if "error" in data:
        return Record(path, None, Error(data["error"]["code"], data["error"]["message"], path), data)
    if data["type"] not in ("JPEG", "DNG"):
        return Record(path, _value(Movie, data), None, data)
    extent = {"jpeg": Extent(**data["jpeg"])} if "jpeg" in data else {}
    return Record(path, _value(Still, {**data, **extent}), None, data)
