"""The comparison that the other tests trust: it must notice every kind of fault."""

import tempfile
import unittest
from pathlib import Path
from unittest import mock

import soak
from support import case, faults, matrix, prober, project, samples, vitals
from support.processes import Failure, wait_until

FRAME = samples.STEREO * samples.BYTES_PER_SAMPLE
SILENCE = bytes(FRAME)


class Attempts(unittest.TestCase):
    """What is played must be right in one of three attempts."""

    require_heard = case.EditorCase.require_heard

    def hear(self, *attempts):
        """Returns how many attempts were told of as spoiled."""
        self.left = list(attempts)
        with mock.patch("support.case.tell_of_spoiled_attempt") as tell:
            self.require_heard(FRAME * b"1", lambda: self.left.pop(0))
        return tell.call_count

    def test_right_sound_is_played_once(self):
        self.assertEqual(self.hear(FRAME * b"1", SILENCE), 0)
        self.assertEqual(self.left, [SILENCE])

    def test_gap_in_two_attempts_is_the_machines(self):
        self.assertEqual(self.hear(SILENCE, SILENCE, FRAME * b"1"), 2)

    def test_gap_in_three_attempts_is_ours(self):
        with self.assertRaises(Failure):
            self.hear(SILENCE, SILENCE, SILENCE, FRAME * b"1")


class Comparing(unittest.TestCase):
    def setUp(self):
        self.data = samples.to_bytes(samples.tune(8000, 0.05))

    def refuse(self, capture):
        with self.assertRaises(Failure):
            samples.require_exact(capture, self.data)

    def test_silence_around_the_file_is_accepted(self):
        samples.require_exact(self.data, self.data)
        samples.require_exact(100 * SILENCE + self.data + 7 * SILENCE, self.data)

    def test_silence_alone_is_refused(self):
        self.refuse(50 * SILENCE)
        self.refuse(b"")

    def test_lost_frame_is_refused_wherever_it_was(self):
        for frame in (0, 100, len(self.data) // FRAME - 1):
            with self.subTest(frame=frame):
                self.refuse(self.data[:frame * FRAME] + self.data[(frame + 1) * FRAME:])

    def test_doubled_frame_gap_and_changed_bit_are_refused(self):
        middle = 100 * FRAME
        self.refuse(self.data[:middle] + self.data[middle - FRAME:])
        self.refuse(self.data[:middle] + SILENCE + self.data[middle:])
        changed = bytearray(self.data)
        changed[middle] ^= 1
        self.refuse(bytes(changed))

    def test_swapped_sides_are_refused(self):
        values = samples.from_bytes(self.data)
        values[0::2], values[1::2] = values[1::2], values[0::2]
        self.refuse(samples.to_bytes(values))

    def test_close_is_close_and_no_more(self):
        values = samples.from_bytes(self.data)
        near = samples.to_bytes([value + 5e-5 for value in values])
        far = samples.to_bytes([value + 5e-4 for value in values])
        samples.require_close(20 * SILENCE + near, self.data, 1e-4)
        with self.assertRaises(Failure):
            samples.require_close(20 * SILENCE + far, self.data, 1e-4)
        with self.assertRaises(Failure):
            samples.require_close(near[:-FRAME], self.data, 1e-4)


class Files(unittest.TestCase):
    def test_float_wav_is_read_by_another_program_as_it_was_written(self):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "tune.wav"
            data = samples.write_float_wav(path, samples.tune(44100, 0.1), 44100)
            self.assertEqual(samples.decoded_by_ffmpeg(path, 44100), data)

    def test_no_two_neighbouring_frames_of_the_tune_are_equal(self):
        data = samples.to_bytes(samples.tune(44100, 0.5))
        frames = [data[i:i + FRAME] for i in range(0, len(data), FRAME)]
        self.assertTrue(all(a != b for a, b in zip(frames, frames[1:])))
        self.assertNotIn(SILENCE, frames)

    def test_counter_never_repeats_a_neighbour_and_goes_on_below_zero(self):
        values = samples.counter(2 ** 24 + 2)
        self.assertEqual(len(values), 2 ** 24 + 2)
        self.assertEqual(list(values[:2]), [2.0 ** -24, 2.0 ** -23])
        self.assertEqual(list(values[2 ** 24 - 1:]), [1.0, -2.0 ** -24, -2.0 ** -23])

    def test_interleaved_takes_turns(self):
        left, right = samples.from_bytes(samples.to_bytes([1, 2])), samples.counter(2)
        self.assertEqual(list(samples.interleaved(left, right)), [1, 2.0 ** -24, 2, 2.0 ** -23])

    def test_saved_project_gives_its_samples_by_track(self):
        fields = {"name": "take", "channels": 1, "sampleRate": 44100, "muted": False,
                  "solo": False, "samples": ["0000803f000000bf"]}
        marker = {"name": "cursor", "position": 0}
        whole = {"sampleRate": 44100, "cursor": marker, "play": marker, "selectionStart": -1,
                 "selectionEnd": -1, "loopStart": 0, "loopEnd": 0, "trackCounter": 1,
                 "tracks": [fields]}
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "one.vela"
            path.write_bytes(project.reader().build(whole, plain=False))
            self.assertEqual(project.tracks(path), [("take", [samples.to_bytes([1.0, -0.5])])])


class Growth(unittest.TestCase):
    def grown(self, memory=(0.0, 0.0), handles=(0, 0), threads=(0, 0)):
        """What is said of three times five samples, of which the last two thirds differ."""
        parts = ((0, 0, 0), *zip(memory, handles, threads))
        return vitals.growth([vitals.Vitals(100.0 + mb, 30 + more_handles, 9 + more_threads)
                              for mb, more_handles, more_threads in parts for _ in range(5)])

    def test_what_is_flat_or_falls_is_no_growth(self):
        self.assertEqual(self.grown(), [])
        self.assertEqual(self.grown(memory=(50.0, 20.0), handles=(9, 5), threads=(5, 0)), [])

    def test_warming_up_is_no_growth(self):
        self.assertEqual(self.grown(memory=(80.0, 80.0), handles=(40, 40), threads=(7, 7)), [])

    def climbed(self, begin, memory, handles=0.0, threads=0.0):
        """What is said of 15 samples that grow by so much from the eighth, which is in the
        middle of the second third, to the thirteenth."""
        steps = [max(0, number - 5) / 5 for number in range(15)]
        return vitals.growth([vitals.Vitals(begin + memory * step, 30 + handles * step,
                                            9 + threads * step) for step in steps])

    def test_growth_beyond_the_tolerance_is_told(self):
        self.assertEqual(self.climbed(100.0, 5.9, handles=1.4, threads=1.4), [])
        self.assertEqual(len(self.climbed(100.0, 6.1, handles=1.6, threads=1.6)), 3)
        # Half of the samples are below 500 MB, of which five in a hundred are 25.
        self.assertEqual(self.climbed(500.0 - 0.9 * 24.9, 24.9), [])
        self.assertEqual(len(self.climbed(500.0 - 0.9 * 25.1, 25.1)), 1)

    def test_step_is_growth_as_well(self):
        self.assertEqual(self.grown(handles=(0, 2), threads=(0, 2)), [])
        self.assertEqual(len(self.grown(memory=(0.0, 10.0), handles=(0, 3), threads=(0, 3))), 3)

    def test_slope_is_that_of_most_pairs(self):
        self.assertEqual(vitals.slope([5, 7, 9, 11]), 2)
        self.assertEqual(vitals.slope([5, 7, 900, 11, 13]), 2)
        self.assertEqual(vitals.slope([3, 3, 3, 3, -80]), 0)

    def test_single_peak_is_no_growth(self):
        samples_of_it = [vitals.Vitals(100.0, 30, 9)] * 14 + [vitals.Vitals(300.0, 90, 40)]
        self.assertEqual(vitals.growth(samples_of_it), [])

    def test_too_few_samples_are_a_fault(self):
        self.assertEqual(len(vitals.growth([vitals.Vitals(100.0, 30, 9)] * 5)), 1)

    def test_own_process_has_vitals(self):
        own = vitals.read("self")
        self.assertGreater(own.memory_mb, 1.0)
        self.assertGreater(own.handles, 2)
        self.assertGreaterEqual(own.threads, 1)


class Underruns(unittest.TestCase):
    def stretches(self, counts, queued=0.0):
        return [soak.Stretch(count, 6.0, queued) for count in counts]

    def judged(self, counts, queued=0.0):
        return soak.judge_underruns(self.stretches(counts, queued))

    def test_few_are_no_fault(self):
        self.assertEqual(self.judged([]), [])
        self.assertEqual(self.judged([1, 0, 0, 3, 1, 6, 0, 28, 0]), [])

    def test_constant_many_are_one_where_the_machine_is_not_to_blame(self):
        self.assertEqual(len(self.judged([1000] * 9)), 1)
        self.assertEqual(self.judged([1000] * 9, queued=0.4), [])
        self.assertEqual(self.judged([1] * 9), [])
        self.assertEqual(len(self.judged([2] * 9)), 1)

    def test_more_and_more_are_one(self):
        def grown(counts):
            return soak.judge_growth(self.stretches(counts))

        self.assertEqual(grown([]), [])
        self.assertEqual(grown([7, 8, 0, 3, 19, 6, 0, 28, 5]), [])
        self.assertEqual(len(grown([0, 0, 0, 3, 6, 9, 12, 15, 18])), 1)
        self.assertEqual(grown([0, 0, 0, 1, 2, 3, 4, 5, 6]), [])

    def test_the_machine_is_to_blame_in_a_short_run_that_it_disturbed_most_of_the_time(self):
        quiet, busy = self.stretches([5] * 4, 0.3), self.stretches([5] * 5, 0.4)
        self.assertTrue(soak.may_be_the_machines(quiet + busy))
        self.assertFalse(soak.may_be_the_machines(quiet + busy[1:]))
        self.assertFalse(soak.may_be_the_machines(4 * (quiet + busy)))


class Clock(unittest.TestCase):
    """A stopwatch on a clock and on queues that the test moves."""

    OTHER = 7

    def setUp(self):
        self.now, self.queued = 0.0, {"self": 0.0, self.OTHER: 0.0}
        for name, reading in (("time.monotonic", lambda: self.now),
                              ("queued_seconds", lambda pid: self.queued[pid])):
            patch = mock.patch(f"support.vitals.{name}", side_effect=reading)
            patch.start()
            self.addCleanup(patch.stop)
        self.watch = vitals.Stopwatch(self.OTHER)

    def test_time_that_anybody_queued_comes_off(self):
        self.now, self.queued = 3.0, {"self": 1.0, self.OTHER: 1.5}
        self.assertEqual(self.watch.seconds(), 0.5)
        self.queued["self"] = 2.0
        self.assertEqual(self.watch.seconds(), 0.0)

    def test_who_has_ended_queued_as_long_as_was_read_last(self):
        self.now, self.queued[self.OTHER] = 2.0, 0.5
        self.assertEqual(self.watch.seconds(), 1.5)
        with mock.patch("support.vitals.queued_seconds", side_effect=FileNotFoundError):
            self.now = 2.25
            self.assertEqual(self.watch.seconds(), 1.75)


class Answers(unittest.TestCase):
    ANSWERS = [prober.Answer(0.0, 0.2), prober.Answer(1.0, 0.5), prober.Answer(2.0, 5.0)]

    def test_slowest_is_found(self):
        self.assertEqual(prober.slowest(self.ANSWERS), self.ANSWERS[2])

    def test_window_that_has_gone_owes_no_answer(self):
        self.assertEqual(prober.slowest(self.ANSWERS, until=2.75), prober.Answer(2.0, 0.75))
        self.assertEqual(prober.slowest(self.ANSWERS, until=2.25), self.ANSWERS[1])
        self.assertEqual(prober.slowest(self.ANSWERS, until=1.75), self.ANSWERS[1])


class Faults(unittest.TestCase):
    EXPLAINED = 'warning|default|"Stream error: Connection terminated"'

    def test_only_what_the_fault_explains_is_accepted(self):
        log = "\n".join(["debug|default|anything", "info|vela.engine|anything", self.EXPLAINED])
        self.assertEqual(faults.unexpected_lines(log, faults.FAULTS["ServerKilled"].warnings), [])
        self.assertEqual(faults.unexpected_lines(log), [self.EXPLAINED])

    def test_criticals_and_lines_of_no_log_are_noticed(self):
        lines = ["critical|default|anything", "==1==ERROR: LeakSanitizer: detected memory leaks"]
        for fault in faults.FAULTS.values():
            self.assertEqual(faults.unexpected_lines("\n".join(lines), fault.warnings), lines)

    def test_the_table_shows_a_missing_cell_as_failed(self):
        cells = [{"fault": "Nothing", "work": "idle", "outcome": "plays", "answer": 0.011,
                  "end": 0.25}]
        cells += [{"fault": "Nothing", "work": f"closing {work}", "answer": 0.5 - end / 10,
                   "end": end}
                  for end, work in enumerate(matrix.WORKS)]
        rows = matrix.table(cells).splitlines()
        self.assertEqual(rows[2], "| nothing at all | plays (0.01, 0.2) |"
                         + " failed |" * len(matrix.WORKS) + " ends (0.50, 5.0) |")
        self.assertIn(" failed |" * (len(matrix.WORKS) + 2), rows[3])
        self.assertEqual(len(rows), 2 + len(faults.FAULTS))


class Waiting(unittest.TestCase):
    def test_wait_ends_with_the_value_or_at_the_deadline(self):
        self.assertEqual(wait_until(lambda: 7, 1, "seven"), 7)
        with self.assertRaises(Failure):
            wait_until(lambda: False, 0.05, "never")


if __name__ == "__main__":
    unittest.main(verbosity=2)
