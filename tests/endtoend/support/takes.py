"""What the tests of recording do alike."""

from . import case, project, samples
from .editor import RECORD
from .processes import wait_until

TAKE = "Recording"
BEGINNING = "00:00:00.000"
TAIL_SECONDS = 0.5
GROWTH_SECONDS = 15.0


class RecordingCase(case.EditorCase):
    def start_take(self):
        """Presses Rec and waits until sound, or silence, comes in."""
        before = self.editor.track_names().count(TAKE)
        self.controls.press(RECORD)
        wait_until(lambda: self.editor.track_names().count(TAKE) > before, 10, "the new track")
        wait_until(lambda: self.sound.recorders() > 0, 15, "the editor to record")
        wait_until(lambda: self.editor.position() != BEGINNING, 15, "the take to grow")

    def end_take(self):
        """Presses Rec once what was fed so far is through."""
        self.let_through()
        self.controls.press(RECORD)
        wait_until(lambda: not self.controls.is_checked(RECORD), 5, "the recording to stop")

    def let_through(self):
        """Everything that was fed so far is in the take, and some more: a listener beside the
        editor has it, and the take has grown by as much since."""
        with self.sound.capture("mic", channels=1) as tail:
            tail.wait_for_more(TAIL_SECONDS)
        target = self.editor.position_ms() + 1000 * TAIL_SECONDS
        wait_until(lambda: self.editor.position_ms() >= target, GROWTH_SECONDS,
                   "the take to grow past what was fed")

    def record(self, path):
        self.start_take()
        self.sound.feed(path)
        self.end_take()

    def make_spoken(self, name, seconds):
        """A mono sound for the microphone; returns its path and the bytes of its samples."""
        data = samples.to_bytes(samples.tune(self.sound.rate, seconds, channels=1))
        path = self.folder / name
        path.write_bytes(data)
        return path, data

    def saved_takes(self):
        """The samples of each take, in bytes, as they are in the file when saved."""
        path = self.folder / f"{self._testMethodName}.vela"
        self.editor.save(path)
        wait_until(path.exists, 120, "the project to be written")
        return [channels[0] for name, channels in project.tracks(path) if name == TAKE]
