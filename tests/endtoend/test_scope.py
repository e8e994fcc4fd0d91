"""The scope while sound is played: out of its window and back, and its cost to the sound."""

import re

from support import case, samples
from support.editor import PLAY, SCOPE_TITLE
from support.processes import wait_until

SWEEP_SECONDS = 6.0
TIMES = 10
TRACKS = 16
PLAY_SECONDS = 20.0
DIAGNOSTICS = re.compile(r"\[VELA-DIAG\] .* underrun=(\d+)")


class Scope(case.EditorCase):
    warnings = ("[VELA-DIAG]",)

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.stage.environment["QT_LOGGING_RULES"] = "vela.engine.diagnostics.debug=true"

    def complaints(self):
        """Warnings since the playback began, without the figures that were asked for."""
        return [line for line in self.played_log().splitlines()
                if line.startswith(("warning|", "critical|", "fatal|"))
                and not DIAGNOSTICS.search(line)]

    def underruns(self):
        """One count for each second of playback, since its beginning."""
        return [int(count) for count in DIAGNOSTICS.findall(self.played_log())]

    def played_log(self):
        return self.editor.process.log()[self.played_from:]

    def play_round_and_round(self):
        self.played_from = len(self.editor.process.log())
        self.display.activate(self.editor.window)
        self.display.key("shift+space")
        self.editor.wait_until_playing()
        self.require_play_head_to_run()

    def require_play_head_to_run(self):
        before = self.editor.position()
        wait_until(lambda: self.editor.position() != before, 10, "the play head to go on")

    def require_clean_playback(self, work):
        """Plays while `work()` is done. A machine that is too busy for any player makes a gap
        now and then, so there are three attempts; a fault of ours makes one every time."""
        for _ in range(case.ATTEMPTS):
            self.play_round_and_round()
            work()
            self.stop_playing()
            if self.was_without_a_gap():
                return
            case.tell_of_spoiled_attempt(f"underruns {self.underruns()}")
        self.fail(f"underruns in each attempt, lastly {self.underruns()}")

    def stop_playing(self):
        self.assertTrue(self.editor.is_playing())
        wait_until(lambda: len(self.underruns()) >= 3, 10, "three seconds' figures")
        self.controls.press(PLAY)
        wait_until(lambda: not self.editor.is_playing(), 5, "the playback to stop")
        self.assertEqual(self.complaints(), [])

    def was_without_a_gap(self):
        return set(self.underruns()) == {0} and "underrun(s)" not in self.played_log()

    def picture(self, window, name):
        path = self.folder / f"{name}.ppm"
        self.display.screenshot(path, window)
        return path.read_bytes()

    def require_live_picture(self, window):
        first = self.picture(window, "first")
        wait_until(lambda: self.picture(window, "next") != first, 10, "the picture to change")

    def close_scope(self):
        self.display.close_window(self.display.wait_for_window(SCOPE_TITLE))
        self.display.wait_for_no_window(SCOPE_TITLE)

    def require_out_and_back(self, bring_back):
        place, stereo = self.editor.scope_area(), self.editor.stereo_area()
        window = self.editor.take_scope_out()
        wait_until(lambda: self.display.geometry(window)[2:] == (640, 360), 10, "640 by 360")
        left, top, width, _ = self.controls.area(self.editor.placeholder())
        self.assertEqual(left, place[0])
        self.assertLess(left + width, self.editor.stereo_area()[0])
        bring_back()
        wait_until(lambda: self.editor.scope_area() == place, 10, "the scope in its old place")
        self.assertEqual(self.editor.stereo_area(), stereo)
        self.assertFalse(self.controls.all("label", prefix="Popped out"))
        self.assertTrue(self.editor.is_playing())
        return window

    def take_out_and_back_often(self, mode):
        path = self.folder / "sweep.wav"
        samples.write_float_wav(path, samples.sweep(self.sound.rate, SWEEP_SECONDS),
                                self.sound.rate)
        self.editor.open_audio(path)
        self.require_clean_playback(lambda: self.go_out_and_back_often(mode))

    def go_out_and_back_often(self, mode):
        self.editor.choose_scope(mode)
        ways = (self.editor.put_scope_back, self.editor.call_scope_back, self.close_scope)
        for turn in range(TIMES):
            self.require_out_and_back(ways[turn % len(ways)])
        self.require_live_picture(self.editor.take_scope_out())
        self.editor.put_scope_back()
        self.require_play_head_to_run()

    def test_waveform_goes_out_and_back_while_a_sweep_plays(self):
        self.take_out_and_back_often("Waveform")

    def test_spectrum_goes_out_and_back_while_a_sweep_plays(self):
        self.take_out_and_back_often("Spectrum")

    def test_level_goes_out_and_back_while_a_sweep_plays(self):
        self.take_out_and_back_often("Level")

    def test_spectrum_of_sixteen_tracks_costs_no_sample(self):
        path, _ = self.make_wav("tune.wav", PLAY_SECONDS / 2)
        for _ in range(TRACKS):
            self.editor.open_audio(path)
        self.editor.choose_scope("Spectrum")
        with self.sound.capture() as capture:
            self.require_clean_playback(lambda: capture.wait_for_more(PLAY_SECONDS))


if __name__ == "__main__":
    case.main()
