"""From the microphone to a track and back out of the loudspeaker."""

from support import case, samples
from support.editor import RECORD
from support.processes import wait_until

TAKE = "Recording"


class Recording(case.EditorCase):
    def record(self, path):
        self.controls.press(RECORD)
        wait_until(lambda: TAKE in self.editor.track_names(), 10, "the new track")
        wait_until(lambda: self.editor.position() != "00:00:00.000", 10, "the take to grow")
        self.sound.feed(path)
        with self.sound.capture("mic", channels=1) as tail:
            tail.wait_for_more(0.5)
        self.controls.press(RECORD)
        wait_until(lambda: not self.controls.is_checked(RECORD), 5, "the recording to stop")

    def spoken(self, seconds):
        mono = samples.tune(self.sound.rate, seconds, channels=1)
        path = self.folder / "spoken.raw"
        path.write_bytes(samples.to_bytes(mono))
        return path, samples.to_bytes([v for value in mono for v in (value, value)])

    def test_every_sample_of_the_microphone_is_in_the_take(self):
        path, both_sides = self.spoken(1.5)
        self.record(path)
        samples.require_exact(self.play_to_the_end(40), both_sides)

    def test_second_take_is_a_track_of_its_own(self):
        path, both_sides = self.spoken(0.5)
        self.record(path)
        self.controls.press(f"Mute {TAKE}")
        self.record(path)
        self.assertEqual(self.editor.track_names(), [TAKE, TAKE])
        samples.require_exact(self.play_to_the_end(40), both_sides)


if __name__ == "__main__":
    case.main()
