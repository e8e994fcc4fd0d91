"""What can happen to a sound server while the editor is at work, and what it may log then."""

import re
from dataclasses import dataclass
from typing import Callable

OTHER_RATE = 48000

#: Printed before each line of the program's log.
MESSAGE_PATTERN = "%{type}|%{category}|%{message}"
#: What the toolkit says at any time of a table that assistive technology walks while it is
#: filled, and a decoder of what it skips.
_ALWAYS = ("QAccessibleTable::child: Invalid index",)
_DECODERS = re.compile(r"\[\w+ @ 0x[0-9a-f]+\] ")
_LINE = re.compile(r"(debug|info|warning|critical|fatal)\|[^|]*\|(.*)")


def _nothing(_sound):
    pass


@dataclass(frozen=True)
class Fault:
    """`strike` makes the fault, `relent` ends it; both are given the sound server."""

    title: str
    strike: Callable = _nothing
    relent: Callable = _nothing
    #: How long the fault lasts.
    seconds: float = 3.0
    #: Whether there is time to press buttons one by one meanwhile, and not just quickly.
    time_to_poke: bool = True
    #: Works in which the microphone hears meanwhile what is said, and nothing else.
    spoken: tuple = ()
    server_at_start: bool = True
    #: Whether there are devices once the fault is over.
    devices_after: bool = True
    #: Whether a window that has used the server finds it again, which toolkits differ in.
    surely_back: bool = True
    #: Sinks that may sound afterwards.
    sinks: tuple = ("speaker",)
    #: Beginnings of the warnings that belong to the fault.
    warnings: tuple = ()


_HANG = tuple(f"Audio{side}Node::{call}: the device thread has not answered"
              for side in ("Output", "Input") for call in ("start", "stop"))
_STALL = ("AudioOutputNode: stream stalled silently", "AudioInputNode: stream stalled silently")
#: Of the latter two the toolkit speaks when a device goes just as it is asked about.
_ABSENT = ("AudioOutputNode: device", "AudioInputNode: device",
           "QString::arg: Argument missing: Failed to get", '"Failed to get ')
_DROP = ('"Stream error: ', '"pa_stream_peek() failed', "AudioOutputNode: state dropped from ActiveState",
         "AudioInputNode: state dropped from ActiveState")
_REFUSAL = ("PlatformConnection: the sound server does not answer",
            "VelaEngine: no audio output device supports", "VelaEngine: cannot record")
#: What devices and servers that come, go and hang explain.
OF_DEVICES = _HANG + _STALL + _ABSENT + _DROP + _REFUSAL
_TAKES = ("recording", "both")


def _plug_in_everything(sound):
    sound.plug_in("speaker")
    sound.plug_in_microphone()


def _replug_at_other_rate(sound):
    sound.unplug("speaker")
    sound.plug_in("speaker", rate=OTHER_RATE)


def _change_defaults(sound):
    sound.plug_in("other")
    sound.plug_in_source("othermic")


FAULTS = {
    "Nothing": Fault("nothing at all", seconds=1.0, spoken=_TAKES),
    "SinkUnloaded": Fault(
        "sink unloaded, then loaded again",
        # What is played moves to the other sink, which is the one that feeds the microphone.
        spoken=("recording",),
        strike=lambda sound: sound.unplug("speaker"),
        relent=lambda sound: sound.plug_in("speaker"), warnings=_ABSENT),
    "SourceUnloaded": Fault(
        "source unloaded, then loaded again",
        strike=lambda sound: sound.unplug("mic"),
        relent=lambda sound: sound.plug_in_source("mic"), warnings=_ABSENT),
    "AllUnloaded": Fault(
        "every device unloaded, then loaded again",
        strike=lambda sound: sound.unplug_everything(), relent=_plug_in_everything, warnings=_DROP + _STALL + _ABSENT),
    "ServerKilled": Fault(
        "server killed, and started again",
        strike=lambda sound: sound.kill(), relent=lambda sound: sound.start(), seconds=0.5,
        # A toolkit that finds no server after three seconds never looks again.
        time_to_poke=False,
        warnings=_DROP + _STALL),
    "ServerLost": Fault(
        "server killed, and started again too late",
        strike=lambda sound: sound.kill(), relent=lambda sound: sound.start(), seconds=8.0,
        surely_back=False, warnings=_DROP + _STALL + _HANG + ("PulseAudioService: pa_context",)),
    "ServerStopped": Fault(
        "server stopped, then continued",
        strike=lambda sound: sound.freeze(), relent=lambda sound: sound.thaw(), seconds=4.0,
        warnings=_STALL + _HANG),
    # What plays meanwhile is moved to the new default by the server, and a window that has not
    # played yet chooses it.
    "DefaultChanged": Fault("default sink and source changed", strike=_change_defaults,
                            spoken=_TAKES, sinks=("speaker", "other")),
    # A server cannot change the rate of a sink that sounds.
    "RateChanged": Fault(
        "sink unloaded, and at once loaded at another rate", strike=_replug_at_other_rate,
        spoken=_TAKES, warnings=_ABSENT),
    "NoServer": Fault("no server", server_at_start=False, devices_after=False,
                      warnings=_REFUSAL),
    "ServerLate": Fault(
        "server started late", strike=lambda sound: sound.start(), server_at_start=False,
        warnings=_REFUSAL),
}


def unexpected_lines(log, warnings=()):
    """Warnings but those that begin so, and whatever is no line of the toolkit's log."""
    left = []
    for line in filter(None, log.splitlines()):
        match = _LINE.match(line)
        if match and match[1] in ("debug", "info"):
            continue
        text = match[2] if match else line
        if not text.startswith(_ALWAYS + warnings) and not _DECODERS.match(text):
            left.append(line)
    return left
