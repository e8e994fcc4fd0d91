"""What a saved project holds, read by the reader that the tests of the format use."""

import importlib.util
from pathlib import Path

_READER = Path(__file__).resolve().parents[2] / "project" / "velafile.py"


def reader():
    """The module that reads and writes such files."""
    specification = importlib.util.spec_from_file_location("velafile", _READER)
    module = importlib.util.module_from_spec(specification)
    specification.loader.exec_module(module)
    return module


def tracks(path):
    """The tracks from top to bottom: name, and the bytes of each channel's samples."""
    project = reader().parse(Path(path).read_bytes())
    return [(track["name"], [bytes.fromhex(channel) for channel in track["samples"]])
            for track in project["tracks"]]
