"""What becomes of the editor, whatever it is at, when its sound server fails.

    fault_matrix.py <program>                    everything, two stages at a time
    fault_matrix.py <program> ServerKilled       one fault, unittest arguments
    fault_matrix.py <program> Diagonal           a few cells, for every day

Each class is a fault, each test a work that the fault meets.
"""

import sys
import time
from contextlib import ExitStack

from support import case, faults, matrix, project, samples, vitals
from support.accessibility import BUTTONS
from support.editor import OPEN_TITLE, PLAY, QUESTION, RECORD, SAVE_TITLE, STOP
from support.prober import Prober
from support.processes import POLL_SECONDS, run, wait_until

START_SECONDS = 5.0
ANSWER_SECONDS = 1.0
END_SECONDS = 6.0
RETURN_SECONDS = 40.0
WORK_SECONDS = 60.0
SHORT_SECONDS = 10.0
LOST_SECONDS = 5.0
TUNE_SECONDS = 60
PHRASE_SECONDS = 0.4
BEHIND_SECONDS = 0.5  # after which what was said is in the take
PRESSES = ((PLAY,), (RECORD,), (STOP,))
QUICK_PRESSES = ((PLAY, PLAY), (RECORD, RECORD), (PLAY, RECORD))
LONG_IMPORT = "00:05:00.000"
LONG_IMPORT_SECONDS = 300
LONG_SAVE_SECONDS = 600
TAKE = "Recording"
NO_OUTPUT = "No audio output was found."
NO_INPUT = "No audio input was found."


class FaultCase(case.EditorCase):
    """A cell: begin a work, let the fault strike and pass, see what came back, end."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.made = {}

    def setUp(self):
        self.outcomes = []
        self.phrases = []
        self.has_used_server = False

    def tearDown(self):
        self.sound.stop()
        self.sound.start()

    # What happens in every cell.

    def cell(self, fault, work):
        self.begin(fault, work)
        if work == "idle" and self.fault.time_to_poke:
            self.press_buttons()
        if work in self.fault.spoken:
            self.speak()
        self.come_through(work)
        self.note(work, outcome=", ".join(self.outcomes))

    def pressed_cell(self, fault, work):
        """Buttons are pressed while the fault lasts."""
        self.begin(fault, work)
        self.press_buttons()
        self.come_through(work)
        self.note(f"{matrix.PRESSED} {work}")

    def closing_cell(self, fault, work):
        """The window is closed while the fault lasts."""
        self.begin(fault, work)
        self.end()
        if work == "saving":
            self.require_saved()
        self.note(f"{matrix.CLOSING} {work}")

    def begin(self, fault, work):
        self.raise_curtain(fault)
        getattr(self, f"begin_{work}")()
        self.struck_at = time.monotonic()
        self.fault.strike(self.sound)

    def come_through(self, work):
        self.require_answers(self.struck_at + self.fault.seconds - time.monotonic())
        self.fault.relent(self.sound)
        self.has_devices = self.fault.devices_after
        getattr(self, f"resume_{work}")()
        self.require_answers()
        self.end()

    def note(self, work, **result):
        matrix.note(self.fault_name, work, answer=self.slowest, end=self.seconds_to_end,
                    **result)

    def raise_curtain(self, fault):
        self.fault_name, self.fault = fault, faults.FAULTS[fault]
        self.warnings = self.fault.warnings
        self.struck_at = time.monotonic()
        self.has_devices = self.fault.server_at_start
        if not self.has_devices:
            self.sound.stop()
        (self.folder / "editor.log").unlink(missing_ok=True)
        self.editor = self.start()
        self.controls = self.editor.controls
        self.places = {name: self.place(name) for name in (PLAY, STOP, RECORD)}
        self.assertLess(self.editor.since_start.seconds(), START_SECONDS,
                        "the window came up and answered too late")
        self.prober = Prober(self.editor.process.pid, PLAY, self.folder)
        self.addCleanup(self.prober.stop)

    def require_answers(self, seconds=0.2):
        """The window answers, as it has from the beginning on, and so for a while yet."""
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            self.judge_answers()
            time.sleep(POLL_SECONDS)
        self.prober.wait_for_answer()
        self.judge_answers()

    def judge_answers(self, until=float("inf")):
        answer = self.prober.slowest(until)
        self.slowest = answer.seconds
        self.assertLess(self.slowest, ANSWER_SECONDS, "the window answered too late, when asked "
                        f"{answer.begin - self.struck_at:.2f} s after the fault struck")

    def end(self):
        """Closes the window as a person does who does not mind losing what is unsaved."""
        self.display.activate(self.editor.window)
        watch = vitals.Stopwatch(self.editor.process.pid)
        self.display.key("alt+F4")
        wait_until(lambda: self.is_gone() or self.display.find_windows(QUESTION), END_SECONDS,
                   "the window to go or to ask")
        if not self.is_gone():
            self.controls.press("Discard")
            wait_until(self.is_gone, END_SECONDS, "the window to go")
        gone_at = time.monotonic()
        self.assertEqual(watch.exit_code(self.editor.process, 2 * END_SECONDS), 0)
        self.seconds_to_end = watch.seconds()
        self.assertLess(self.seconds_to_end, END_SECONDS)
        self.prober.wait_for_end()
        self.judge_answers(gone_at)

    def is_gone(self):
        return not self.display.is_shown(self.editor.window)

    # The works. Each begins before the fault and is looked at again when that is over.

    def begin_idle(self):
        """A window that knows its devices, for it has played."""
        self.open_tune()
        self.press_play()
        self.press_stop()

    def resume_idle(self):
        """A device that was chosen stays chosen, whatever the default is by now."""
        self.require_sound(self.fault.sinks[:1])

    def begin_playing(self):
        self.open_tune()
        self.press_play()

    def resume_playing(self):
        self.require_sound()

    def begin_recording(self):
        self.press_record()
        self.speak()

    def resume_recording(self):
        self.require_capture()
        self.require_phrases()

    def begin_both(self):
        self.open_tune()
        self.begin_recording()
        self.press_play()
        if self.has_devices:
            begin = self.editor.position_ms()
            wait_until(lambda: self.editor.position_ms() > begin, SHORT_SECONDS,
                       "the play head to run")

    def resume_both(self):
        self.require_sound()
        self.press_stop()
        self.resume_recording()

    def begin_importing(self):
        path = self.long_sound()
        self.press("ctrl+o")
        self.editor.begin_to_answer(OPEN_TITLE, path)
        self.wait_for_label("Opening ")

    def resume_importing(self):
        wait_until(lambda: self.editor.track_names() == ["long"], WORK_SECONDS, "the import")
        self.press("End")
        wait_until(lambda: self.editor.position() == LONG_IMPORT, SHORT_SECONDS, "all of it")
        self.press("Home")
        self.require_sound()

    def begin_saving(self):
        self.editor.open_audio(self.long_tune())
        self.saved = self.folder / f"{self._testMethodName}.vela"
        self.press("ctrl+s")
        self.editor.begin_to_answer(SAVE_TITLE, self.saved)
        self.wait_for_label("Saving ")

    def resume_saving(self):
        wait_until(self.saved.exists, WORK_SECONDS, "the project to be written")
        self.require_saved()
        self.require_sound()

    # What the works are made of.

    def place(self, button):
        left, top, width, height = self.controls.area(self.controls.find(BUTTONS, button))
        return left + width // 2, top + height // 2

    def press_buttons(self):
        """Those of the transport, by the mouse: one by one, and two at once."""
        for buttons in (*(PRESSES if self.fault.time_to_poke else ()), *QUICK_PRESSES):
            for button in buttons:
                self.display.click(*self.places[button])
            self.require_answers()

    def press(self, key):
        self.display.activate(self.editor.window)
        self.display.key(key)

    def wait_for_label(self, beginning):
        def lines():
            return [line for text in self.controls.labels() for line in text.splitlines()]

        wait_until(lambda: any(line.startswith(beginning) for line in lines()),
                   WORK_SECONDS, f"the window to show {beginning!r}")

    def press_play(self):
        self.press("space")
        if not self.has_devices:
            self.wait_for_label(NO_OUTPUT)
            return
        self.editor.wait_until_playing()
        if not self.has_used_server:
            wait_until(lambda: self.editor.position_ms() > 0, SHORT_SECONDS, "the play head to run")
        self.has_used_server = True

    def press_stop(self):
        if self.editor.is_playing():
            self.press("space")
            wait_until(lambda: not self.editor.is_playing(), SHORT_SECONDS, "playback to stop")

    def press_record(self):
        self.controls.press(RECORD)
        if not self.has_devices:
            self.wait_for_label(NO_INPUT)
            return
        wait_until(lambda: TAKE in self.editor.track_names(), SHORT_SECONDS, "the new track")
        self.has_used_server = True

    def speak(self):
        """Feeds the microphone a phrase like no other, and waits until the take has it."""
        if not self.has_devices:
            return
        gain = 0.5 / (1 + len(self.phrases))
        phrase = [gain * value
                  for value in samples.tune(self.sound.rate, PHRASE_SECONDS, channels=1)]
        path = self.folder / "phrase.raw"
        path.write_bytes(samples.to_bytes(phrase))
        self.phrases.append(samples.to_bytes(phrase))
        self.sound.feed(path)
        through = self.taken_seconds() + BEHIND_SECONDS
        wait_until(lambda: self.taken_seconds() > through, RETURN_SECONDS,
                   "the take to grow after the phrase")

    def taken_seconds(self):
        """The end of the take, which the cursor follows; the read-out shows the play head."""
        waveform = self.controls.find(None, f"Waveform of {TAKE}")
        return wait_until(lambda: self.controls.value(waveform), SHORT_SECONDS,
                          "the window to say where its cursor is")[0]

    def require_sound(self, sinks=None):
        """A loudspeaker sounds: by itself, or with the next Space where playback has ended."""
        if not self.has_devices:
            self.press_play()
            self.outcomes.append("Play refused")
            return
        pressed = False
        with ExitStack() as stack:
            captures = {sink: stack.enter_context(self.sound.capture(f"{sink}.monitor"))
                        for sink in sinks or self.fault.sinks}

            def sounding():
                nonlocal pressed
                for sink, capture in captures.items():
                    if samples.sounding_bytes(capture.data()):
                        return sink
                if not self.editor.is_playing():
                    self.press_play()
                    pressed = True
                return None

            if self.may_be_lost() and not self.happens(sounding):
                self.outcomes.append("stays silent")
                return
            sink = wait_until(sounding, RETURN_SECONDS, "the sound to return")
        where = "" if sink == self.fault.sinks[0] else " there"
        self.outcomes.append(f"plays{where} with the next Play" if pressed else f"plays on{where}")

    def require_capture(self):
        """The take goes on growing, or with the next press of the button another one grows."""
        if not self.has_devices:
            self.press_record()
            self.outcomes.append("Rec refused")
            return
        pressed = False
        begin = self.taken_seconds() if self.controls.is_checked(RECORD) else 0.0

        def grows():
            nonlocal pressed, begin
            if not self.controls.is_checked(RECORD):
                self.press_record()
                pressed, begin = True, 0.0
            return self.taken_seconds() > begin + BEHIND_SECONDS

        if self.may_be_lost() and not self.happens(grows):
            self.outcomes.append("keeps the take")
            return
        wait_until(grows, RETURN_SECONDS, "the recording to go on")
        self.outcomes.append("records with the next Rec" if pressed else "records on")
        self.speak()

    def may_be_lost(self):
        return self.has_used_server and not self.fault.surely_back

    def happens(self, condition):
        """Whether it does within a time in which the window answers all the while."""
        deadline = time.monotonic() + LOST_SECONDS
        while time.monotonic() < deadline:
            if condition():
                return True
            self.require_answers()
        return False

    def require_phrases(self):
        """Whatever was said while it was recorded is in a take, to the bit."""
        if not self.has_devices:
            return
        if self.controls.is_checked(RECORD):
            self.controls.press(RECORD)
        wait_until(lambda: not self.controls.is_checked(RECORD), SHORT_SECONDS, "the take to end")
        self.saved = self.folder / f"{self._testMethodName}.vela"
        self.editor.save(self.saved)
        wait_until(self.saved.exists, WORK_SECONDS, "the project to be written")
        takes = [channels[0] for name, channels in project.tracks(self.saved) if name == TAKE]
        for number, phrase in enumerate(self.phrases):
            self.assertTrue(any(phrase in take for take in takes), f"phrase {number} is lost")

    def require_saved(self):
        [(_, channels)] = project.tracks(self.saved)
        self.assertEqual(len(channels), samples.STEREO)
        interleaved = samples.from_bytes(self.made["long tune"])
        for number, channel in enumerate(channels):
            self.assertTrue(channel == interleaved[number::samples.STEREO].tobytes(),
                            f"channel {number} is not what it was")

    # Files, each made once on a stage.

    def open_tune(self):
        if "tune" not in self.made:
            self.made["tune"] = self.folder / "tune.wav"
            samples.write_float_wav(self.made["tune"], self.repeated(TUNE_SECONDS), self.sound.rate)
        self.editor.open_audio(self.made["tune"])

    def repeated(self, seconds):
        return samples.tune(self.sound.rate, 2.0) * (seconds // 2)

    def long_tune(self):
        path = self.folder / "longtune.wav"
        if not path.exists():
            self.made["long tune"] = samples.write_float_wav(
                path, self.repeated(LONG_SAVE_SECONDS), self.sound.rate)
        return path

    def long_sound(self):
        """A file whose decoder has work for seconds."""
        path = self.folder / "long.opus"
        if not path.exists():
            run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                 f"sine=frequency=440:sample_rate=48000:duration={LONG_IMPORT_SECONDS}",
                 "-c:a", "libopus", "-b:a", "16k", "-compression_level", "0", path])
        return path


class Diagonal(FaultCase):
    """A few cells that meet most faults and works once, for every day."""

    def test_every_device_unloaded_while_playing_and_recording(self):
        self.cell("AllUnloaded", "both")

    def test_server_killed_while_playing(self):
        self.cell("ServerKilled", "playing")

    def test_server_late_for_a_recording(self):
        self.cell("ServerLate", "recording")

    def test_default_changed_while_importing(self):
        self.cell("DefaultChanged", "importing")

    def test_closing_while_recording_from_a_stopped_server(self):
        self.closing_cell("ServerStopped", "recording")

    def test_closing_while_importing_without_a_server(self):
        self.closing_cell("NoServer", "importing")


def make_groups():
    """The classes of the table, as the module's own, where unittest finds them."""
    for fault in faults.FAULTS:
        tests = {f"test_{work}": lambda self, fault=fault, work=work: self.cell(fault, work)
                 for work in matrix.WORKS}
        tests.update({f"test_{matrix.PRESSED}_{work}":
                      lambda self, fault=fault, work=work: self.pressed_cell(fault, work)
                      for work in matrix.PRESSED_WORKS})
        tests.update({f"test_{matrix.CLOSING}_{work}":
                      lambda self, fault=fault, work=work: self.closing_cell(fault, work)
                      for work in matrix.WORKS})
        globals()[fault] = type(fault, (FaultCase,), {**tests, "__module__": __name__})


make_groups()

if __name__ == "__main__":
    if len(sys.argv) == 2:
        sys.exit(matrix.run_all(__file__, sys.argv[1]))
    case.main()
