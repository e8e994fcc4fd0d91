"""Mute and Solo of two tracks, as the loudspeaker has them."""

from support import case, samples
from support.processes import wait_until

SECONDS = 0.6
SILENT_SECONDS = 10.0


class Mixing(case.EditorCase):
    def setUp(self):
        super().setUp()
        first, self.first = self.make_wav("first.wav", SECONDS)
        second = self.folder / "second.wav"
        rising = [0.2 + 0.1 * i / (SECONDS * self.sound.rate) for i in
                  range(samples.STEREO * int(SECONDS * self.sound.rate))]
        self.second = samples.write_float_wav(second, rising, self.sound.rate)
        self.editor.open_audio(first)
        self.editor.open_audio(second)
        self.assertEqual(self.editor.track_names(), ["first", "second"])

    def test_both_tracks_are_summed_and_clipped(self):
        pairs = zip(samples.from_bytes(self.first), samples.from_bytes(self.second))
        total = samples.to_bytes([max(-1.0, min(1.0, a + b)) for a, b in pairs])
        self.require_heard(total)

    def test_muted_track_is_not_heard(self):
        self.controls.press("Mute first")
        self.require_heard(self.second)

    def test_solo_leaves_only_its_track(self):
        self.controls.press("Solo first")
        self.require_heard(self.first)

    def test_solo_wins_over_mute(self):
        self.controls.press("Mute second")
        self.controls.press("Solo second")
        self.require_heard(self.second)

    def test_all_muted_is_silence_and_still_ends(self):
        # Nothing but the window tells that it plays, so it has to last.
        third, _ = self.make_wav("third.wav", SILENT_SECONDS)
        self.editor.open_audio(third)
        for name in self.editor.track_names():
            self.controls.press(f"Mute {name}")
        self.assertEqual(samples.sounding_bytes(self.editor.play_to_the_end(40)), b"")

    def test_strip_is_renamed_by_a_double_click(self):
        self.editor.rename("first", "  Drums ")
        wait_until(lambda: self.editor.track_names() == ["Drums", "second"], 20.0,
                   "the new name")


if __name__ == "__main__":
    case.main()
