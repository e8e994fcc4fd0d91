"""The editor on its private screen and sound server, driven as a person would."""

import os
import re
import shutil
import tempfile
from pathlib import Path

from . import samples, vitals
from .accessibility import BUTTONS, Application, SessionBus, bus_environment
from .display import RIGHT, Display
from .processes import Failure, Process, wait_until
from .sound import SoundServer

TITLE = "Quorix Vela"
OPEN_TITLE = "Open File"
SAVE_TITLE = "Save Project"
SCOPE_TITLE = "Audio Scope"
QUESTION = "Unsaved Changes"
IMPORT_SECONDS = 30.0
START_SECONDS = 10.0
CLOSE_SECONDS = 10.0
ANSWER_SECONDS = 20.0
TYPED_SECONDS = 3.0
TYPING_DELAYS_MS = (8, 40, 120, 250)
MUTE, SOLO = "Mute ", "Solo "
PLACEHOLDER = "Popped out — double-click to restore"
SCOPE_MODES = ("Waveform", "Spectrum", "Level")
PLAY, STOP, RECORD = "Play", "Stop", "Rec"
_POSITION = re.compile(r"\d{2,}:\d{2}:\d{2}\.\d{3}")


class Stage:
    """Screen, bus and sound server; everything in one folder that is removed at the end."""

    def __init__(self, size=(1600, 1000)):
        self.folder = Path(tempfile.mkdtemp(prefix="vela-"))
        self._parts = []
        try:
            self._set(size)
        except BaseException:
            self.close()
            raise

    def _set(self, size):
        environment = bus_environment(self.folder, self._clean_environment())
        self.display = self._keep(Display(self.folder, environment, size))
        self.sound = self._keep(SoundServer(self.folder, self.display.environment))
        self.environment = self.sound.environment
        self._keep(SessionBus(self.folder, self.environment))

    def _keep(self, part):
        self._parts.append(part)
        return part

    def _clean_environment(self):
        """The caller's variables without those by which a desktop would show through."""
        environment = {name: value for name, value in os.environ.items()
                       if not name.startswith(("QT_", "XDG_", "DBUS_", "PULSE_", "GTK_"))}
        home = self.folder / "home"
        for name in ("Desktop", ".config", ".cache"):
            (home / name).mkdir(parents=True, exist_ok=True)
        # Another process's session manager would be asked about ours.
        environment.pop("SESSION_MANAGER", None)
        environment.update(HOME=str(home), XDG_CONFIG_HOME=str(home / ".config"),
                           XDG_CACHE_HOME=str(home / ".cache"), NO_AT_BRIDGE="0")
        return environment

    def close(self):
        for part in reversed(self._parts):
            part.stop()
        self._parts.clear()
        shutil.rmtree(self.folder, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


class Editor:
    """One run of the program. Pixels are those of the screen."""

    def __init__(self, stage, program, scale=1):
        self.stage = stage
        self.display = stage.display
        self.scale = scale
        self._anchor, self._servers = None, ()
        environment = dict(stage.environment)
        if scale != 1:
            environment["QT_SCALE_FACTOR"] = str(scale)
        self.process = Process([program], stage.folder / "editor.log", environment)
        self.since_start = vitals.Stopwatch(self.process.pid)
        try:
            self.window = self.display.wait_for_window(TITLE)
            self.controls = Application(self.process.pid)
            self.display.activate(self.window)
        except Failure as failure:
            self.process.stop()
            raise Failure(f"{failure}\n{self.process.log()}") from None

    def _answer_dialog(self, title, path):
        """Types a path into the toolkit's own file dialog, presses Return, and goes back."""
        self._enter_path(title, path)
        self.display.activate(self.window)

    def _enter_path(self, title, path):
        self.begin_to_answer(title, path)
        self.display.wait_for_no_window(title)

    def begin_to_answer(self, title, path):
        """Types a path into the dialog and presses Return; does not wait for what follows."""
        dialog = self.display.wait_for_window(title)
        self.display.activate(dialog)
        self._type_into(self.controls.find("text"), str(path))
        self.display.key("Return")

    def _type_into(self, field, text):
        """Letters that no key of the layout has are typed by changing the layout for each,
        and a program that is slow to follow reads some of them wrongly: then slower."""
        delays = TYPING_DELAYS_MS if text.isascii() else TYPING_DELAYS_MS[1:]
        for delay_ms in delays:
            self.display.key("ctrl+a")
            self.display.type(text, delay_ms)
            try:
                wait_until(lambda: field.queryText().getText(0, -1) == text, TYPED_SECONDS,
                           "the dialog to show what was typed")
                return
            except Failure as failure:
                seen, reason = field.queryText().getText(0, -1), failure
        raise Failure(f"{reason}; it shows {seen!r} instead of {text!r}")

    def open(self, path):
        """Ctrl+O, the path typed, Return."""
        self.display.activate(self.window)
        self.display.key("ctrl+o")
        self._answer_dialog(OPEN_TITLE, path)

    def ask_for(self, path):
        """As open(), but a question may follow, and then has the focus."""
        self.display.activate(self.window)
        self.display.key("ctrl+o")
        self._enter_path(OPEN_TITLE, path)

    def open_audio(self, path):
        """Opens a sound file and waits until its track is shown by name."""
        before = len(self.track_names())
        self.open(path)
        name = Path(path).stem
        wait_until(lambda: len(self.track_names()) == before + 1
                   and name in self.track_names(), IMPORT_SECONDS, f"the track {name!r}")

    def save(self, path):
        self.display.activate(self.window)
        self.display.key("ctrl+s")
        self._answer_dialog(SAVE_TITLE, path)

    def wait_for_work(self, timeout):
        """Until no file is worked on: a new file is there a little before its save has ended."""
        button = self.controls.find(BUTTONS, "Save")
        wait_until(lambda: self.controls.has_state(button, "ENABLED"), timeout,
                   "the file work to end")

    def position(self):
        """The text of the position read-out."""
        def look():
            return [text for text in self.controls.labels() if _POSITION.fullmatch(text)]

        # None is seen while the tree of controls changes.
        return wait_until(look, ANSWER_SECONDS, "the window to show a position")[0]

    def position_ms(self):
        hours, minutes, seconds = self.position().split(":")
        return round((int(hours) * 3600 + int(minutes) * 60 + float(seconds)) * 1000)

    def seconds_to_answer(self):
        """How long the window's thread takes for a short question, the machine's delays apart."""
        if self._anchor is None:
            self._anchor = self.controls.find(BUTTONS, PLAY)
            self._servers = vitals.servers_of_the_stage()
        watch = vitals.Stopwatch(self.process.pid, self._servers)
        wait_until(lambda: self.controls.answers(self._anchor), ANSWER_SECONDS,
                   "the window to answer at all")
        return watch.seconds()

    def track_names(self):
        """The tracks from top to bottom, by the names of their Mute buttons."""
        placed = []
        for button in self.controls.all(BUTTONS, prefix=MUTE):
            try:
                placed.append((self.controls.area(button)[1], button.name.removeprefix(MUTE)))
            except NotImplementedError:  # its strip has gone since
                continue
        return [name for _, name in sorted(placed, key=lambda entry: entry[0])]

    def header_area(self, track):
        """Left, top, width and height of the part of the strip that has the name."""
        return self.controls.area(self.controls.find(BUTTONS, MUTE + track).parent)

    def waveform_area(self, track):
        return self.controls.area(self.controls.find(None, f"Waveform of {track}"))

    def scope_area(self):
        return self.controls.area(self.controls.find(None, "Audio scope"))

    def stereo_area(self):
        return self.controls.area(self.controls.find(None, "Stereo separation"))

    def choose_scope(self, mode):
        """The scope's context menu, by mouse and keys: the toolkit hides menus from others."""
        left, top, width, height = self.scope_area()
        before = self._windows()
        # Elsewhere for each: two quick clicks at one place would be a double-click.
        steps = SCOPE_MODES.index(mode) + 1
        self.display.click(left + width * steps // 4, top + height // 2, RIGHT)
        # By its id and not by their number: a tool tip may go at the same moment.
        menu = wait_until(lambda: self._windows() - before, START_SECONDS, "the menu to open")
        self.display.key(*["Down"] * steps, "Return")
        wait_until(lambda: not self._windows() & menu, START_SECONDS, "the menu to close")

    def _windows(self):
        return set(self.display.windows_of(self.process.pid))

    def _double_click(self, area):
        left, top, width, height = area
        self.display.click(left + width // 2, top + height // 2, times=2)

    def take_scope_out(self):
        """A double-click on the scope; returns the window that it is in from then on."""
        self.display.activate(self.window)
        self._double_click(self.scope_area())
        return self.display.wait_for_window(SCOPE_TITLE)

    def put_scope_back(self):
        """A double-click on the scope where it is now."""
        self.display.activate(self.display.wait_for_window(SCOPE_TITLE))
        self._double_click(self.scope_area())
        self.display.wait_for_no_window(SCOPE_TITLE)

    def placeholder(self):
        """What stands in the window where the scope was taken out."""
        return self.controls.find("label", PLACEHOLDER)

    def call_scope_back(self):
        """A double-click where the scope was taken out."""
        self.display.activate(self.window)
        self._double_click(self.controls.area(self.placeholder()))
        self.display.wait_for_no_window(SCOPE_TITLE)

    def rename(self, track, text):
        """A double-click on the name, the new name, Return."""
        left, top, width, _ = self.header_area(track)
        self.display.click(left + width // 2, top + 14 * self.scale, times=2)
        self.controls.find("text", "Track name")
        self.display.key("ctrl+a")
        self.display.type(text)
        self.display.key("Return")

    def is_playing(self):
        return self.controls.is_checked(PLAY)

    def wait_until_playing(self):
        wait_until(self.is_playing, START_SECONDS, "the playback to start")

    def wait_until_played(self, timeout):
        wait_until(lambda: not self.is_playing(), timeout, "the playback to end by itself")

    def play_to_the_end(self, timeout):
        """Presses Space and returns what the loudspeaker played until the end of it."""
        with self.stage.sound.capture() as capture:
            self.display.key("space")
            # A short sound may be over before the window is first asked.
            wait_until(lambda: self.is_playing() or samples.sounding_bytes(capture.data()),
                       START_SECONDS, "the playback to start")
            self.wait_until_played(timeout)
            capture.wait_for_more(0.2)
        return capture.data()

    def screenshot(self, path):
        self.display.screenshot(path, self.window)

    def close(self):
        """Closes the window as a person does; returns the exit code."""
        return self.seconds_to_close()[0]

    def end(self):
        """The same, and gives up what is unsaved."""
        self.display.close_window(self.window)
        watch = vitals.Stopwatch(self.process.pid, vitals.servers_of_the_stage())
        wait_until(self._is_ending, CLOSE_SECONDS, "the window to go")
        return watch.exit_code(self.process, CLOSE_SECONDS)

    def _is_ending(self):
        questions = self.display.find_windows(QUESTION)
        if questions:
            self.display.activate(questions[-1])
            self.display.key("alt+d")
            self.display.wait_for_no_window(QUESTION)
        return not self.process.is_running() or not self.display.is_shown(self.window)

    def seconds_to_close(self):
        """The same; returns also how long it took, the machine's delays apart."""
        watch = vitals.Stopwatch(self.process.pid, vitals.servers_of_the_stage())
        self.display.close_window(self.window)
        return watch.exit_code(self.process, CLOSE_SECONDS), watch.seconds()

    def stop(self):
        self.process.stop()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
