"""Sound files and captures as lists of 32-bit floats, interleaved."""

import array
import math
import os
import struct
import sys
from itertools import repeat
from operator import mul, neg
from pathlib import Path

from .processes import Failure, run

STEREO = 2
BYTES_PER_SAMPLE = 4
_FORMAT_IEEE_FLOAT = 3


def to_bytes(samples):
    data = array.array("f", samples)
    if sys.byteorder == "big":
        data.byteswap()
    return data.tobytes()


def from_bytes(data):
    samples = array.array("f")
    samples.frombytes(data[: len(data) // BYTES_PER_SAMPLE * BYTES_PER_SAMPLE])
    if sys.byteorder == "big":
        samples.byteswap()
    return samples


def _float_wav_header(data_bytes, rate, channels):
    frame_bytes = channels * BYTES_PER_SAMPLE
    return struct.pack(
        "<4sI4s4sIHHIIHH4sI",
        b"RIFF", 36 + data_bytes, b"WAVE",
        b"fmt ", 16, _FORMAT_IEEE_FLOAT, channels, rate, rate * frame_bytes,
        frame_bytes, 8 * BYTES_PER_SAMPLE,
        b"data", data_bytes,
    )


def write_float_wav(path, samples, rate, channels=STEREO):
    """Writes interleaved floats as they are; returns the bytes of the sample data."""
    data = to_bytes(samples)
    Path(path).write_bytes(_float_wav_header(len(data), rate, channels) + data)
    return data


def write_silent_wav(path, seconds, rate, channels=STEREO):
    """A file that is long to open and takes no room on the disk."""
    data_bytes = int(seconds * rate) * channels * BYTES_PER_SAMPLE
    header = _float_wav_header(data_bytes, rate, channels)
    Path(path).write_bytes(header)
    os.truncate(path, len(header) + data_bytes)


def tune(rate, seconds, channels=STEREO):
    """A few plucked notes, left and right different, every sample distinct from silence.

    Each frame carries a small rising offset, so that no stretch repeats and a capture
    with a frame lost, doubled or moved cannot pass for the file.
    """
    notes = (220.0, 277.18, 329.63, 440.0, 554.37, 659.26)
    frames = int(rate * seconds)
    note_frames = max(1, frames // len(notes))
    samples = array.array("f")
    for frame in range(frames):
        note = min(frame // note_frames, len(notes) - 1)
        time_in_note = (frame - note * note_frames) / rate
        envelope = 0.7 * math.exp(-3.0 * time_in_note)
        phase = 2.0 * math.pi * notes[note] * time_in_note
        offset = 0.01 + 0.04 * (frame + 1) / frames
        for channel in range(channels):
            samples.append(offset + envelope * math.sin(phase * (1.0 + 0.5 * channel)))
    return samples


def sweep(rate, seconds):
    """From 20 Hz to 20 kHz at the left while the right falls from 20 kHz, swelling and
    fading once a second, so that nothing that is shown of it stands still."""
    frames = int(rate * seconds)
    span = math.log(1000.0)
    scale = 2.0 * math.pi * 20.0 * seconds / span
    left = array.array("f")
    for frame in range(frames):
        level = 0.85 - 0.6 * math.cos(math.pi * frame / rate) ** 2
        left.append(level * math.sin(scale * math.expm1(span * frame / frames)))
    return interleaved(left, left[::-1])


def counter(frames):
    """One channel in which a lost, doubled or moved frame shows wherever it is: frame i holds
    (i + 1) / 2**24, and once these are used up, the same with the other sign, and so on."""
    length = 2 ** 24
    rising = array.array("f", map(mul, range(1, min(frames, length) + 1), repeat(1 / length)))
    out = array.array("f")
    while len(out) < frames:
        rest = frames - len(out)
        falling = len(out) // length % 2 == 1
        out.extend(map(neg, rising[:rest]) if falling else rising[:rest])
    return out


def interleaved(left, right):
    both = array.array("f", bytes(2 * len(left) * BYTES_PER_SAMPLE))
    both[0::2], both[1::2] = left, right
    return both


def decoded_by_ffmpeg(path, rate, channels=STEREO):
    """The file's samples by way of the command line decoder, as bytes of floats."""
    target = Path(path).with_suffix(".decoded")
    run(["ffmpeg", "-v", "error", "-y", "-i", path, "-f", "f32le",
         "-ac", channels, "-ar", rate, target])
    data = target.read_bytes()
    target.unlink()
    return data


def _first_sounding_frame(samples, channels, threshold):
    for index, value in enumerate(samples):
        if abs(value) > threshold:
            return index // channels
    return -1


def sounding_bytes(capture, channels=STEREO):
    """The capture from its first to its last frame that is not silence."""
    frame_bytes = channels * BYTES_PER_SAMPLE
    trimmed_left = capture.lstrip(b"\0")
    start = (len(capture) - len(trimmed_left)) // frame_bytes * frame_bytes
    stop = len(capture.rstrip(b"\0"))
    stop = -(-stop // frame_bytes) * frame_bytes
    return capture[start:stop]


def require_exact(capture, expected, channels=STEREO):
    """The capture is silence, then every expected frame bit for bit, then silence."""
    heard = sounding_bytes(capture, channels)
    wanted = sounding_bytes(expected, channels)
    if heard == wanted:
        return
    if not heard:
        raise Failure("nothing was heard")
    frame_bytes = channels * BYTES_PER_SAMPLE
    common = min(len(heard), len(wanted))
    at = next((i for i in range(0, common, frame_bytes)
               if heard[i:i + frame_bytes] != wanted[i:i + frame_bytes]), common)
    raise Failure(
        f"what was heard is not the file: {len(heard) // frame_bytes} frames sounded, "
        f"{len(wanted) // frame_bytes} expected; first difference at frame {at // frame_bytes}: "
        f"{list(from_bytes(heard[at:at + frame_bytes]))} instead of "
        f"{list(from_bytes(wanted[at:at + frame_bytes]))}")


def require_close(capture, expected, tolerance, channels=STEREO):
    """Like require_exact, for decoders that may differ in the last bits."""
    threshold = 10 * tolerance
    heard, wanted = from_bytes(capture), from_bytes(expected)
    heard_start = _first_sounding_frame(heard, channels, threshold)
    wanted_start = _first_sounding_frame(wanted, channels, threshold)
    if heard_start < 0:
        raise Failure("nothing was heard")
    shift = (heard_start - wanted_start) * channels
    if shift < 0:
        raise Failure("the beginning is missing")
    if len(heard) - shift < len(wanted):
        raise Failure(f"the end is missing: {len(heard) - shift} of {len(wanted)} samples")
    for index, value in enumerate(wanted):
        if abs(heard[index + shift] - value) > tolerance:
            raise Failure(f"what was heard differs at frame {index // channels}: "
                          f"{heard[index + shift]} instead of {value}")
    rest = heard[len(wanted) + shift:]
    if any(abs(value) > tolerance for value in rest):
        raise Failure("something sounds after the end")
