"""A long take while the window is worked on: every sample is there, and nothing else.

    long_take.py <program> [--minutes N] [unittest arguments]

Without a number it takes seconds, enough for each mode of the scope.
"""

import itertools
import sys
import time

from support import case, samples
from support.display import WHEEL_DOWN, WHEEL_UP
from support.editor import RECORD, SCOPE_MODES
from support.processes import wait_until
from support.takes import TAKE, RecordingCase

SECONDS = 15.0
START_SECONDS, SLACK_SECONDS = 20.0, 60.0
LEAD = "00:00:01.500"
PAUSE_SECONDS = 1.0
SIZES = ((900, 600), (1500, 900), (640, 420), (1280, 760))
NOTCHES_IN, NOTCHES_OUT = 5, 7

seconds = SECONDS


class LongTake(RecordingCase):
    def make_sound(self):
        """A mono sound of that length in a file of its own; the path and its samples."""
        mono = samples.counter(int(seconds * self.sound.rate))
        path = self.folder / "long.raw"
        path.write_bytes(samples.to_bytes(mono))
        return path, mono

    def work_on_the_window(self, goes_on):
        """Sizes, zooms and scope modes by turns, until `goes_on()` is false."""
        modes, sizes = itertools.cycle(SCOPE_MODES), itertools.cycle(SIZES)
        while goes_on():
            self.editor.choose_scope(next(modes))
            for _ in range(2):
                self.display.resize(self.editor.window, *next(sizes))
                left, top, width, height = self.editor.waveform_area(TAKE)
                for button, notches in ((WHEEL_UP, NOTCHES_IN), (WHEEL_DOWN, NOTCHES_OUT)):
                    self.display.click(left + width // 2, top + height // 2, button, notches)
                self.pause(goes_on)

    @staticmethod
    def pause(goes_on):
        """As a person makes one; working without any would be a test of the screen."""
        end = time.monotonic() + PAUSE_SECONDS
        wait_until(lambda: time.monotonic() >= end or not goes_on(), 2 * PAUSE_SECONDS, "a moment")

    def record_while_working(self, path):
        self.start_take()
        with self.sound.feeding(path) as player:
            self.work_on_the_window(player.is_running)
            self.assertEqual(player.exit_code(), 0)
        self.assertTrue(self.controls.is_checked(RECORD))
        self.end_take()

    def test_every_sample_is_there_while_the_window_is_worked_on(self):
        path, mono = self.make_sound()
        self.record_while_working(path)
        [take] = self.saved_takes()
        samples.require_exact(take, samples.to_bytes(mono), channels=1)

    def test_playing_meanwhile_is_as_exact(self):
        path, mono = self.make_sound()
        wav = self.folder / "played.wav"
        # So that the two cannot be mistaken for each other.
        backwards = mono[::-1]
        stereo = samples.interleaved(backwards, mono)
        played = samples.write_float_wav(wav, stereo, self.sound.rate)
        self.require_heard(played, lambda: self.play_while_recording(wav, path, mono))

    def play_while_recording(self, wav, path, mono):
        """Returns what was heard; the take has to be exact each time, in a project of its own."""
        self.assertEqual(self.editor.end(), 0)
        (self.folder / f"{self._testMethodName}.vela").unlink(missing_ok=True)
        self.editor = self.start()
        self.controls = self.editor.controls
        self.editor.open_audio(wav)
        with self.sound.capture() as capture:
            self.display.key("space")
            # Ahead of the take, which would otherwise be heard itself, and go on for ever.
            wait_until(lambda: self.editor.position() >= LEAD, START_SECONDS, "a lead")
            self.record_while_working(path)
            self.editor.wait_until_played(seconds + SLACK_SECONDS)
            capture.wait_for_more(0.5)
        [take] = self.saved_takes()
        samples.require_exact(take, samples.to_bytes(mono), channels=1)
        return capture.data()


def main():
    global seconds
    if "--minutes" in sys.argv:
        at = sys.argv.index("--minutes")
        seconds = 60.0 * float(sys.argv[at + 1])
        del sys.argv[at:at + 2]
    case.main()


if __name__ == "__main__":
    main()
