"""A sound server of one's own, with a loudspeaker and a microphone that can be heard and fed."""

import signal
from contextlib import contextmanager
from pathlib import Path

from .processes import Failure, Process, run, wait_until
from .samples import BYTES_PER_SAMPLE, STEREO

RATE = 44100
START_SECONDS = 15.0
FEED_SECONDS = 600.0

# A null sink renders silence ahead and takes it back when a player arrives; what a
# listener has been handed of it by then would hide the beginning of the sound.
_NULL_SINK = ("module-null-sink sink_name={name} rate={rate} channels={channels} "
              "format=float32le norewinds=1")
_SOURCE = "module-remap-source source_name={name} master={sink}.monitor"


# What is played into the sink arrives at the source, which the toolkit lists as an
# input; it lists no sink's own monitor.
MICROPHONE_SINK, MICROPHONE = "micfeed", "mic"


class SoundServer:
    """PulseAudio in a folder of its own; `environment` lets other programs find it."""

    def __init__(self, folder, environment, rate=RATE):
        self.rate = rate
        self._folder = Path(folder)
        runtime = self._folder / "runtime"
        runtime.mkdir(mode=0o700, exist_ok=True)
        self.environment = dict(environment, XDG_RUNTIME_DIR=str(runtime))
        for name in ("PULSE_SERVER", "PULSE_SINK", "PULSE_SOURCE"):
            self.environment.pop(name, None)
        self._process = None
        self.start()

    def start(self):
        # Nobody can connect before everything is there.
        script = self._folder / "server.pa"
        script.write_text("\n".join([
            f"load-module {self._sink(MICROPHONE_SINK, 1)}",
            f"load-module {self._sink('speaker')}",
            f"load-module {_SOURCE.format(name=MICROPHONE, sink=MICROPHONE_SINK)}",
            "set-default-sink speaker",
            f"set-default-source {MICROPHONE}",
            "load-module module-native-protocol-unix", ""]))
        self._process = Process(
            ["pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
             "--disable-shm=yes", f"--file={script}"],
            self._folder / "pulseaudio.log", self.environment)
        wait_until(self._is_ready, START_SECONDS, "the sound server to answer")

    @property
    def pid(self):
        return self._process.pid

    def _sink(self, name, channels=STEREO, rate=None):
        return _NULL_SINK.format(name=name, rate=rate or self.rate, channels=channels)

    def _is_ready(self):
        if not self._process.is_running():
            raise Failure("the sound server ended:\n" + self._process.log())
        try:
            return self.control("info") != ""
        except Failure:
            return False

    def control(self, *arguments):
        return run(["pactl", *arguments], self.environment)

    def capture(self, source="speaker.monitor", channels=STEREO):
        return Capture(self, source, channels)

    def feed(self, path):
        """Plays a float file without a header into the microphone; returns when it is through."""
        with self.feeding(path) as player:
            player.wait(FEED_SECONDS)

    @contextmanager
    def feeding(self, path):
        """The same, beside what is done meanwhile; yields the player."""
        player = Process(
            ["pacat", "--playback", "-d", MICROPHONE_SINK, "--format=float32le",
             f"--rate={self.rate}", "--channels=1", "--raw", path],
            self._folder / "pacat.log", self.environment)
        try:
            yield player
        finally:
            player.stop()

    def recorders(self):
        """How many programs record at the moment."""
        return len(self.control("list", "short", "source-outputs").splitlines())

    def _load(self, module):
        self.control("load-module", *module.split())

    def unplug(self, name):
        """Takes a sink or a source away. The server moves what played or recorded there to
        another one, if there is any."""
        for line in self.control("list", "short", "modules").splitlines():
            index, _, arguments = line.split("\t")[:3]
            if not {f"sink_name={name}", f"source_name={name}"}.isdisjoint(arguments.split()):
                self.control("unload-module", index)

    def plug_in(self, sink, rate=None):
        """Adds a null sink; the default follows it."""
        self._load(self._sink(sink, rate=rate))
        self.control("set-default-sink", sink)

    def plug_in_source(self, source):
        """Adds an input that hears what is fed; the default follows it."""
        self._load(_SOURCE.format(name=source, sink=MICROPHONE_SINK))
        self.control("set-default-source", source)

    def plug_in_microphone(self):
        self._load(self._sink(MICROPHONE_SINK, 1))
        self.plug_in_source(MICROPHONE)

    def unplug_microphone(self):
        self.unplug(MICROPHONE)
        self.unplug(MICROPHONE_SINK)

    def unplug_everything(self):
        """As a headset is pulled out that was all there was."""
        self.unplug_microphone()
        self.unplug("speaker")

    def kill(self):
        """The server dies without a word to its clients."""
        self._process.send(signal.SIGKILL)
        self._process.wait(START_SECONDS)
        self._process.stop()
        self._process = None

    def freeze(self):
        """The server hangs: it is there, and never answers. stop() ends it all the same."""
        self._process.send(signal.SIGSTOP)

    def thaw(self):
        self._process.send(signal.SIGCONT)

    def stop(self):
        if self._process:
            self._process.stop()
            self._process = None

    def is_running(self):
        return self._process is not None


class Capture:
    """Records a source from `with` on; `data()` is what has been heard so far."""

    def __init__(self, server, source, channels):
        self._server = server
        self._source = source
        self._channels = channels
        self._process = None
        self.path = server._folder / f"capture-{id(self)}.raw"

    def __enter__(self):
        self._process = Process(
            ["parec", "-d", self._source, "--format=float32le", f"--rate={self._server.rate}",
             f"--channels={self._channels}", "--raw", "--latency-msec=50", self.path],
            self._server._folder / "parec.log", self._server.environment)
        wait_until(lambda: self.frames() > 0, START_SECONDS, f"{self._source} to be recorded")
        return self

    def __exit__(self, *_):
        self._process.stop()

    def data(self):
        return self.path.read_bytes() if self.path.exists() else b""

    def frames(self):
        size = self.path.stat().st_size if self.path.exists() else 0
        return size // (BYTES_PER_SAMPLE * self._channels)

    def wait_for_more(self, seconds):
        """Waits until that much more sound (or silence) has been recorded."""
        target = self.frames() + int(seconds * self._server.rate)
        wait_until(lambda: self.frames() >= target, seconds + START_SECONDS, "the recording to go on")
