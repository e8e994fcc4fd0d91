"""From the microphone to a track and back out of the loudspeaker."""

from support import case, project, samples
from support.editor import RECORD
from support.processes import wait_until
from support.takes import BEGINNING, TAKE, RecordingCase


def both_sides(mono):
    return samples.to_bytes([v for value in samples.from_bytes(mono) for v in (value, value)])


class Recording(RecordingCase):
    def test_every_sample_of_the_microphone_is_in_the_take_and_heard(self):
        path, spoken = self.make_spoken("spoken.raw", 1.5)
        self.record(path)
        [take] = self.saved_takes()
        samples.require_exact(take, spoken, channels=1)
        self.require_heard(both_sides(spoken), lambda: self.editor.play_to_the_end(40))

    def test_second_take_is_a_track_of_its_own(self):
        path, spoken = self.make_spoken("spoken.raw", 0.5)
        self.record(path)
        self.record(path)
        self.assertEqual(self.editor.track_names(), [TAKE, TAKE])
        for take in self.saved_takes():
            samples.require_exact(take, spoken, channels=1)

    def test_cursor_goes_back_to_where_it_was(self):
        path, _ = self.make_spoken("spoken.raw", 0.5)
        self.record(path)
        self.assertEqual(self.editor.position(), BEGINNING)

    def test_saving_meanwhile_keeps_the_beginning_and_disturbs_nothing(self):
        path, spoken = self.make_spoken("spoken.raw", 6.0)
        self.start_take()
        target = self.folder / "meanwhile.vela"
        with self.sound.feeding(path) as player:
            self.editor.save(target)
            wait_until(target.exists, 30, "the project to be written")
            self.assertTrue(self.controls.is_checked(RECORD))
            player.wait(30)
        self.end_take()
        [whole] = self.saved_takes()
        samples.require_exact(whole, spoken, channels=1)
        [(_, [beginning])] = project.tracks(target)
        self.assertLess(len(beginning), len(whole))
        self.assertEqual(beginning, whole[:len(beginning)])


if __name__ == "__main__":
    case.main()
