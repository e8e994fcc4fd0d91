#!/usr/bin/python3
"""Uses the program at random for a long time, and asks whether anything grows.

On a screen and a sound server of its own: play, loop, record, open, save, mute, zoom, and
whatever else a person does, in an order that the seed decides. After every few actions the
project is emptied and the process is looked at: memory, handles and threads must be flat
from the middle of the run to its end, the window must answer within a second all the
while, underruns must be few and not become more, and the log must hold no warning.
"""

import argparse
import collections
import random
import re
import statistics
import sys
import time
import traceback
from dataclasses import dataclass

sys.dont_write_bytecode = True

from support import samples, vitals  # noqa: E402
from support.accessibility import BUTTONS  # noqa: E402
from support.display import MIDDLE, WHEEL_DOWN, WHEEL_UP  # noqa: E402
from support.editor import (  # noqa: E402
    MUTE, PLAY, QUESTION, RECORD, SCOPE_MODES, SCOPE_TITLE, SOLO, STOP, Editor, Stage)
from support.case import tell_of_spoiled_attempt  # noqa: E402
from support.processes import Failure, run, wait_until  # noqa: E402

HELP_WINDOW = "Keyboard Shortcuts"
SIZE = (1280, 800)
ANSWER_SECONDS = 1.0
WORK_SECONDS = 30.0
SETTLE_SECONDS = 5.0
STEADY_LOOKS = 10
MOST_TRACKS = 6
#: What the toolkit keeps of each file dialog, and of each sound file that was looked into
#: and decoded: two buffers of its reader. Measured on the heap; it is taken off.
DIALOG_KEEPS_MB = 0.027
SOUND_KEEPS_MB = 0.066
#: How many more there may be in a run's last third than in its middle one.
MORE_UNDERRUNS_A_SECOND = 1.0
#: About one from one look to the next in a short run. They are held against the program
#: where no thread of its or of the server's waited longer than that share for a processor.
UNDERRUNS_A_SECOND = 0.2
MOST_QUEUED_SHARE = 0.05
RESTS = 30  # looks at the process in a run that is told its number of actions
SECONDS_BETWEEN_RESTS = 6.0  # in a run that is told its length, at first
LAST_ACTIONS = 15
ATTEMPTS = 3
#: Any, but for what the toolkit says of itself when a client looks at an empty table.
WARNING = re.compile(r"^(?:warning|critical|fatal): (?!QAccessibleTable::child: Invalid index).*",
                     re.M)
UNDERRUNS = re.compile(r"AudioOutputNode: (\d+) underrun")
#: Files of every kind, by the encoder's arguments.
KINDS = {"long.wav": (), "short.mp3": ("-t", "1"), "short.ogg": ("-t", "1"),
         "short.flac": ("-t", "2", "-ar", "48000"), "short.m4a": ("-t", "1"),
         "short.wma": ("-t", "1"), "mono.opus": ("-t", "1", "-ac", "1", "-c:a", "libopus")}


class User:
    """One person at the program. Each public method is something that people do."""

    def __init__(self, stage, program, seed):
        self.random = random.Random(seed)
        self.stage, self.display = stage, stage.display
        self.editor = Editor(stage, program)
        self.controls = self.editor.controls
        self.window, self.pid = self.editor.window, self.editor.process.pid
        self.buttons = {name: self.controls.find(BUTTONS, name)
                        for name in (PLAY, STOP, RECORD, "Save")}
        self.saved = {}  # number of tracks by path
        self.kept_mb = 0.0
        self.doing = "nothing yet"
        self.scope = SCOPE_MODES[0]
        self.sounds, self.others = self._make_files()

    def _make_files(self):
        tune = self.stage.folder / "tune.wav"
        samples.write_float_wav(tune, samples.tune(self.stage.sound.rate, 4.0),
                                self.stage.sound.rate)
        files = []
        for name, encoding in KINDS.items():
            files.append(self.stage.folder / name)
            run(["ffmpeg", "-nostdin", "-loglevel", "error", "-i", tune, *encoding, files[-1]])
        damaged, words = self.stage.folder / "damaged.ogg", self.stage.folder / "words.wav"
        damaged.write_bytes(files[2].read_bytes()[:4000])
        words.write_text("Nothing to be heard here.\n" * 100)
        return files, [damaged, words]

    # What the actions are made of.

    def _wait_for_work(self):
        wait_until(lambda: self.controls.has_state(self.buttons["Save"], "ENABLED"), WORK_SECONDS,
                   "the file work to end")

    def _place(self):
        """Somewhere in the tracks, or below them."""
        left, top, width, height = self.display.geometry(self.window)
        return (left + int(width * self.random.uniform(0.3, 0.95)),
                top + int(height * self.random.uniform(0.45, 0.9)))

    def _key(self, *keys):
        self.display.key(*keys)

    def _press(self, name):
        self.controls.press_button(self.buttons[name])

    def _discard_if_asked(self, is_done, what):
        def look():
            questions = self.display.find_windows(QUESTION)
            if questions:
                self.display.activate(questions[-1])
                self._key("alt+d")
                self.display.wait_for_no_window(QUESTION)
                self.display.activate(self.window)
            return not questions and is_done()

        wait_until(look, WORK_SECONDS, what)

    def _tracks(self, prefix=MUTE):
        return self.controls.all(BUTTONS, prefix=prefix, showing=False)

    # What people do.

    def play_or_stop(self):
        self._key("space")

    def loop(self):
        self._press(STOP)
        self._key("shift+space")

    def stop(self):
        self._press(STOP)

    def record_or_stop(self):
        if len(self._tracks()) < MOST_TRACKS or self.controls.is_checked(RECORD):
            self._press(RECORD)

    def go_to_start_or_end(self):
        self._key(self.random.choice(("Home", "End")))

    def click(self):
        self.display.click(*self._place())

    def select(self):
        self.display.drag(self._place(), self._place())

    def pan(self):
        self.display.drag(self._place(), self._place(), MIDDLE)

    def zoom(self):
        wheel = self.random.choice((WHEEL_UP, WHEEL_UP, WHEEL_DOWN))
        self.display.click(*self._place(), wheel, self.random.randrange(1, 6))

    def zoom_to_fit(self):
        self._key("ctrl+0")

    def mute_or_solo(self):
        buttons = self._tracks(self.random.choice((MUTE, SOLO)))
        if buttons:
            self.controls.press_button(self.random.choice(buttons))

    def rename(self):
        tracks = self.editor.track_names()
        if tracks:
            self.editor.rename(tracks[0], f"take {self.random.randrange(100)}")

    def add_track(self):
        if len(self._tracks()) < MOST_TRACKS:
            self._key("ctrl+t")

    def resize(self):
        self.display.resize(self.window, self.random.randrange(900, 1500),
                            self.random.randrange(650, 950))

    def fill_the_screen_and_back(self):
        self._key("F11")
        wait_until(lambda: self.display.geometry(self.window)[2:] == self.display.size,
                   SETTLE_SECONDS, "the window to fill the screen")
        self._key("F11")
        wait_until(lambda: self.display.geometry(self.window)[2:] != self.display.size,
                   SETTLE_SECONDS, "the window to have its size back")

    def choose_scope(self):
        self.scope = self.random.choice([mode for mode in SCOPE_MODES if mode != self.scope])
        self.editor.choose_scope(self.scope)

    def take_the_scope_out_and_back(self):
        left, top, width, height = self.editor.scope_area()
        self.display.click(left + width // 2, top + height // 2, times=2)
        scope = self.display.wait_for_window(SCOPE_TITLE)
        self.display.activate(scope)
        self._key("space")
        self._key("Return")
        self.display.wait_for_no_window(SCOPE_TITLE)
        self.display.activate(self.window)

    def look_for_help(self):
        self._key("F1")
        self.display.activate(self.display.wait_for_window(HELP_WINDOW))
        self.display.type(self.random.choice(("zoom", "track", "ctrl")))
        self._key("Escape")
        self.display.wait_for_no_window(HELP_WINDOW)
        self.display.activate(self.window)

    def open_sound(self):
        if len(self._tracks()) >= MOST_TRACKS:
            return self.new_project()
        path = self.random.choice(self.sounds + self.others)
        self.editor.open(path)
        self.kept_mb += DIALOG_KEEPS_MB + (SOUND_KEEPS_MB if path in self.sounds else 0.0)
        return self._wait_for_work()

    def save(self):
        path = self.stage.folder / f"project{self.random.randrange(3)}.vela"
        path.unlink(missing_ok=True)
        tracks = len(self._tracks())
        self.editor.save(path)
        self.kept_mb += DIALOG_KEEPS_MB
        wait_until(path.exists, WORK_SECONDS, "the project to be written")
        self._wait_for_work()
        self.saved[path] = tracks

    def open_project(self):
        if not self.saved:
            return self.save()
        path, tracks = self.random.choice(sorted(self.saved.items()))
        self.editor.ask_for(path)
        self.kept_mb += DIALOG_KEEPS_MB
        self._discard_if_asked(lambda: len(self._tracks()) == tracks, "the project to be loaded")
        return self._wait_for_work()

    def new_project(self):
        if self._tracks():
            self._key("ctrl+n")
            self._discard_if_asked(lambda: not self._tracks(), "an empty project")

    def rest(self):
        """Leaves everything as it was at the beginning, so that one rest is like another."""
        self._press(STOP)
        if self.controls.is_checked(RECORD):
            self._press(RECORD)
        self.new_project()
        self.display.resize(self.window, *SIZE)
        self._key("Home")
        # The toolkit ends its threads, and takes back what they held, in its own time.
        steady = collections.deque(maxlen=STEADY_LOOKS)
        deadline = time.monotonic() + SETTLE_SECONDS
        while time.monotonic() < deadline and (len(steady) < STEADY_LOOKS or len(set(steady)) > 1):
            now = vitals.read(self.pid)
            steady.append((now.handles, now.threads))
            time.sleep(0.05)
        seen = vitals.read(self.pid)
        seen.memory_mb -= self.kept_mb
        return seen

    #: How often each is done, of a hundred and more.
    HABITS = {play_or_stop: 20, loop: 8, stop: 3, record_or_stop: 6, go_to_start_or_end: 6,
              click: 12, select: 8, pan: 6, zoom: 20, zoom_to_fit: 6, mute_or_solo: 8, rename: 1,
              add_track: 4, resize: 4, fill_the_screen_and_back: 1, choose_scope: 2,
              take_the_scope_out_and_back: 1, look_for_help: 1, open_sound: 3, save: 1,
              open_project: 1, new_project: 1}

    def act(self):
        """Does one of these things; `doing` says which."""
        action, = self.random.choices(list(self.HABITS), list(self.HABITS.values()))
        self.doing = action.__name__
        action(self)


@dataclass(frozen=True)
class Stretch:
    """What was counted from one rest to the next."""

    underruns: int
    seconds: float
    queued: float  # the longest wait for a processor of the program's threads and the server's

    def rate(self):
        return self.underruns / self.seconds

    def is_quiet(self):
        """The machine had time for the program."""
        return self.queued <= MOST_QUEUED_SHARE * self.seconds


def judge_growth(stretches):
    """What is said of underruns that become more; empty: they do not."""
    judged = stretches[len(stretches) // 3:]
    if len(judged) < 2:
        return []
    grown = vitals.slope([one.rate() for one in judged]) * len(judged) / 2
    return [f"underruns grew by {grown:.1f} a second"] if grown > MORE_UNDERRUNS_A_SECOND else []


def may_be_the_machines(stretches):
    """Whether what others did may pass for a growth: in a short run, most of it beside them."""
    return len(stretches) < RESTS and 2 * sum(one.is_quiet() for one in stretches) < len(stretches)


def judge_underruns(stretches):
    """What is said of too many; empty: they are few."""
    rates = [one.rate() for one in stretches if one.is_quiet()]
    if rates and statistics.median(rates) > UNDERRUNS_A_SECOND:
        return [f"{statistics.median(rates):.1f} underruns a second in {len(rates)} "
                "stretches of time in which the machine was not busy"]
    return []


class Soak:
    def __init__(self, user, log):
        self._user, self._log = user, log
        self._server = user.stage.sound.pid
        self._last = collections.deque(maxlen=LAST_ACTIONS)
        self._begin = time.monotonic()
        self._counted = None
        self.actions, self.slowest = 0, 0.0
        self.samples, self.stretches, self.faults = [], [], []
        self.is_spoiled = False  # by the machine, and by nothing else

    def _act(self):
        self._user.act()
        self._last.append(self._user.doing)
        self.actions += 1
        seconds = self._user.editor.seconds_to_answer()
        self.slowest = max(self.slowest, seconds)
        if seconds > ANSWER_SECONDS:
            self.faults.append(f"{seconds:.1f} s without an answer after {self._last[-1]}")

    def _rest(self):
        self.samples.append(self._user.rest())
        self._count()
        last = self.stretches[-1]
        print(f"{time.monotonic() - self._begin:7.0f} s {self.actions:6} actions: "
              f"{self.samples[-1]}, {last.underruns} underruns, "
              f"queued {100 * last.queued / last.seconds:.0f} %", flush=True)

    def _count(self):
        """Ends a stretch, unless it is the first time, and begins the next."""
        before, self._counted = self._counted, (
            sum(map(int, UNDERRUNS.findall(self._log()))), time.monotonic(),
            *(vitals.queued_by_threads(pid) for pid in (self._user.pid, self._server)))
        if before is not None:
            underruns, seconds = (now - then for now, then in zip(self._counted[:2], before))
            queued = max(waited - then.get(thread, 0.0)
                         for now, then in zip(self._counted[2:], before[2:])
                         for thread, waited in now.items())
            self.stretches.append(Stretch(underruns, seconds, queued))

    def run(self, actions=None, minutes=None):
        """So many actions, or so many minutes of them."""
        try:
            self._user.rest()  # what the first one costs is no growth
            self._count()
            while not self._is_over(actions, minutes):
                self._act()
                if self._is_rest_due(actions, minutes):
                    self._rest()
        except Failure as failure:
            self.faults.append(f"{failure}; in {self._user.doing}, after {', '.join(self._last)}")
            self.faults.append(traceback.format_exc(limit=-3))

    def _is_over(self, actions, minutes):
        if actions:
            return self.actions >= actions
        return time.monotonic() - self._begin >= 60 * minutes

    def _is_rest_due(self, actions, minutes):
        if actions:
            return self.actions % max(1, actions // RESTS) == 0
        between = max(SECONDS_BETWEEN_RESTS, 60 * minutes / RESTS / 4)
        return time.monotonic() - self._begin >= between * (len(self.samples) + 1)

    def judge(self):
        """Notes every fault of the run, in words."""
        warnings = collections.Counter(WARNING.findall(self._log()))
        self.faults += [f"{count} times in the log: {line}" for line, count in warnings.items()]
        self.faults += vitals.growth(self.samples)
        self.faults += judge_underruns(self.stretches)
        growth = judge_growth(self.stretches)
        self.is_spoiled = (bool(growth) and not self.faults
                           and may_be_the_machines(self.stretches))
        self.faults += growth

    def report(self):
        underruns = sum(one.underruns for one in self.stretches)
        if len(self.samples) >= vitals.LEAST_SAMPLES:
            middle, end = vitals.middle_and_end(self.samples)
            print(f"middle: {middle}\nend:    {end}")
        print(f"{self.actions} actions in {time.monotonic() - self._begin:.0f} s, slowest answer "
              f"{1000 * self.slowest:.0f} ms, {underruns} underruns")
        if not any(one.is_quiet() for one in self.stretches):
            print("underruns of quiet stretches not judged: the machine was busy throughout")


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("program", help="the program to use")
    parser.add_argument("--seed", type=int, default=1)
    length = parser.add_mutually_exclusive_group(required=True)
    length.add_argument("--minutes", type=float)
    length.add_argument("--actions", type=int)
    return parser.parse_args()


def use(arguments):
    """One run; the soak that it was."""
    with Stage() as stage:
        # So that a warning can be told from the rest.
        stage.environment["QT_MESSAGE_PATTERN"] = "%{type}: %{message}"
        user = User(stage, arguments.program, arguments.seed)
        process = user.editor.process
        soak = Soak(user, process.log)
        try:
            soak.run(arguments.actions, arguments.minutes)
            if not process.is_running():
                soak.faults.append(f"the program ended by itself with {process.exit_code()}")
            elif not soak.faults:
                code = user.editor.close()
                if code != 0:
                    soak.faults.append(f"the program ended with {code}")
            soak.judge()
        finally:
            user.editor.stop()
        soak.report()
        for fault in soak.faults:
            print(f"FAULT: {fault}")
        if soak.faults:
            print(process.log()[-4000:], flush=True)
        return soak


def main():
    arguments = parse_arguments()
    for _ in range(ATTEMPTS):
        soak = use(arguments)
        if not soak.is_spoiled:
            break
        tell_of_spoiled_attempt(soak.faults[0])
    return 1 if soak.faults else 0


if __name__ == "__main__":
    sys.exit(main())
