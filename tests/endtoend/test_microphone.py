"""A microphone that comes and goes while it records."""

import time

from support import case, faults, samples
from support.editor import RECORD
from support.processes import wait_until
from support.takes import TAKE, RecordingCase

ANSWER_SECONDS = 1.0
STALL_SECONDS = 3.0
RETURN_SECONDS = 30.0


class Microphone(RecordingCase):
    warnings = faults.OF_DEVICES

    def setUp(self):
        self.sound.stop()
        self.sound.start()
        super().setUp()
        self.log_before = len(self.editor.process.log())
        self.first, self.first_data = self.make_spoken("first.raw", 1.0)
        self.second, self.second_data = self.make_spoken("second.raw", 1.5)

    def require_answers(self, seconds):
        """The window answers, and the take goes on for the window, all the while."""
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            self.assertLess(self.editor.seconds_to_answer(), ANSWER_SECONDS)
            self.assertTrue(self.controls.is_checked(RECORD))

    def wait_for_log(self, text, seconds=RETURN_SECONDS):
        def look():
            self.assertLess(self.editor.seconds_to_answer(), ANSWER_SECONDS)
            return text in self.editor.process.log()[self.log_before:]

        wait_until(look, seconds, f"{text!r} in the log")

    def wait_until_it_grows(self):
        before = self.editor.position()
        wait_until(lambda: self.editor.position() != before, RETURN_SECONDS, "the take to go on")

    def try_to_record(self):
        self.controls.press(RECORD)
        wait_until(lambda: self.editor.track_names() or not self.controls.is_checked(RECORD),
                   5, "the recording to start or to be refused")
        return self.editor.track_names() == [TAKE]

    def require_both_parts(self):
        """The take is the first sound and the second one, with nothing but silence between."""
        [take] = self.saved_takes()
        at = take.find(self.first_data)
        self.assertGreaterEqual(at, 0, "the first part is not there whole")
        end = at + len(self.first_data)
        self.assertEqual(take[:at].strip(b"\0"), b"")
        samples.require_exact(take[end:], self.second_data, channels=1)

    def test_unplugged_and_plugged_in_again(self):
        self.start_take()
        self.sound.feed(self.first)
        self.let_through()
        self.sound.unplug_everything()
        self.wait_for_log("AudioInputNode: stream stalled silently (no Qt error, sample counter "
                          "frozen ≥ 3000ms) — rebuilding QAudioSource (rebuild #1)")
        self.wait_for_log("is no longer present on the host. Pausing rebuild; will resume when "
                          "the device reappears.")
        stands_at = self.editor.position()
        self.require_answers(STALL_SECONDS)
        self.assertEqual(self.editor.position(), stands_at)
        self.sound.plug_in("speaker")
        self.sound.plug_in_microphone()
        self.wait_for_log("is back on the host — attempting rebuild")
        self.wait_until_it_grows()
        self.sound.feed(self.second)
        self.end_take()
        self.assertEqual(self.editor.track_names(), [TAKE])
        self.require_both_parts()

    def test_server_killed_and_started_again(self):
        self.start_take()
        self.sound.feed(self.first)
        self.let_through()
        self.sound.kill()
        self.wait_for_log("AudioInputNode: state dropped from ActiveState to 2 (Qt err=4) without "
                          "stop() — assuming device failure; re-marking start intent + queuing "
                          "rebuildSource probe.")
        self.require_answers(0.3)
        self.sound.start()  # before the toolkit's only look, three seconds after the end
        self.wait_until_it_grows()
        self.require_answers(1.7)
        self.sound.feed(self.second)
        self.end_take()
        self.require_both_parts()

    def test_connected_only_after_a_first_try(self):
        self.sound.unplug_microphone()
        self.controls.press(RECORD)
        self.wait_for_log("VelaEngine: cannot record — no input device")
        wait_until(lambda: not self.controls.is_checked(RECORD), 5, "Rec to come up")
        self.assertEqual(self.editor.track_names(), [])
        self.sound.plug_in_microphone()

        # The program looks for new devices once a second.
        wait_until(self.try_to_record, RETURN_SECONDS, "the microphone to be found")
        self.wait_until_it_grows()
        self.sound.feed(self.first)
        self.end_take()
        [take] = self.saved_takes()
        samples.require_exact(take, self.first_data, channels=1)


if __name__ == "__main__":
    case.main()
