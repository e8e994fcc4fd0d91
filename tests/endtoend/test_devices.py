"""Sound devices and servers that go, come back, hang, or were never there."""

import time

from support import case, faults, samples
from support.processes import wait_until

ANSWER_SECONDS = 1.0
RETURN_SECONDS = 40.0
CLOSE_SECONDS = 6.0


class Devices(case.EditorCase):
    warnings = faults.OF_DEVICES

    def tearDown(self):
        # The next test finds the stage as the first one did.
        self.sound.stop()
        self.sound.start()

    def open_long_tune(self):
        path = self.folder / "long.wav"
        one = list(samples.tune(self.sound.rate, 2.0))
        samples.write_float_wav(path, one * 40, self.sound.rate)
        self.editor.open_audio(path)

    def start_playing(self):
        self.display.key("space")
        self.editor.wait_until_playing()
        wait_until(lambda: self.editor.position() != "00:00:00.000", 10, "the play head to run")

    def require_answers(self, seconds):
        """The window answers all the while."""
        deadline = time.monotonic() + seconds
        slowest = 0.0
        while time.monotonic() < deadline:
            slowest = max(slowest, self.editor.seconds_to_answer())
        self.assertLess(slowest, ANSWER_SECONDS)

    def heard_something(self, capture):
        return samples.sounding_bytes(capture.data()) != b""

    def require_sound_again(self):
        """Sound returns by itself, or where playback was given up, with the next Space."""
        with self.sound.capture() as capture:
            def sounds():
                if not self.editor.is_playing():
                    self.display.key("space")
                    self.editor.wait_until_playing()
                return self.heard_something(capture)

            wait_until(sounds, RETURN_SECONDS, "the sound to return")

    def test_loudspeaker_unplugged_and_plugged_in_again(self):
        self.open_long_tune()
        self.start_playing()
        self.sound.unplug("speaker")
        self.require_answers(4.0)
        self.sound.plug_in("speaker")
        self.require_answers(2.0)
        self.require_sound_again()

    def test_server_killed_and_started_again(self):
        self.open_long_tune()
        self.start_playing()
        self.sound.kill()
        self.require_answers(0.5)
        self.sound.start()  # before the toolkit's only look, three seconds after the end
        self.require_answers(5.5)
        self.require_sound_again()

    def test_frozen_server_does_not_freeze_the_window(self):
        self.open_long_tune()
        self.start_playing()
        self.sound.freeze()
        self.require_answers(5.0)

    def test_without_a_server_the_window_opens_and_answers(self):
        self.assertEqual(self.editor.end(), 0)
        self.sound.stop()
        self.editor = self.start()
        path, _ = self.make_wav("tune.wav", 0.5)
        self.editor.open_audio(path)
        self.display.key("space")
        self.require_answers(3.0)

    def test_closing_with_a_dead_server_ends_the_program(self):
        self.start_with_saved_project()
        self.start_playing()
        self.sound.kill()
        code, seconds = self.editor.seconds_to_close()
        self.assertEqual(code, 0)
        self.assertLess(seconds, CLOSE_SECONDS)

    def start_with_saved_project(self):
        """Nothing unsaved, so that closing asks nothing."""
        self.open_long_tune()
        path = self.folder / f"{self._testMethodName}.vela"
        self.editor.save(path)
        wait_until(path.exists, 30, "the project to be written")


if __name__ == "__main__":
    case.main()
