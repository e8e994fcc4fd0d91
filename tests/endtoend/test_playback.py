"""From a file to the loudspeaker: open by typing, look, press Space, compare what was heard."""

from support import case, samples
from support.processes import wait_until

BLOCK_FRAMES = 1024
FRAME_BYTES = samples.STEREO * samples.BYTES_PER_SAMPLE


class Playback(case.EditorCase):
    def open_tune(self, seconds, name="tune.wav"):
        path, data = self.make_wav(name, seconds)
        self.editor.open_audio(path)
        return data

    def frame_at(self, x, width, data):
        """The frame under a pixel while the whole project is in view."""
        return len(data) // FRAME_BYTES * x // width

    def test_stereo_float_file_is_heard_bit_for_bit(self):
        data = self.open_tune(2.0)
        self.require_heard(data)

    def test_second_playback_is_as_exact_as_the_first(self):
        data = self.open_tune(0.7)
        self.require_heard(data)
        self.require_heard(data)

    def test_tenth_of_a_second_is_heard_to_its_last_frame(self):
        data = self.open_tune(0.1)
        self.require_heard(data)

    def test_playback_after_a_stop_begins_with_nothing_left_over(self):
        data = self.open_tune(8.0)

        def play_after_a_stop():
            wait_until(lambda: self.editor.position_ms() == 0, 5, "the cursor's position")
            with self.sound.capture() as capture:
                self.display.key("space")
                wait_until(lambda: self.editor.position_ms() > 300, 10, "the play head to run")
                self.display.key("space")
                wait_until(lambda: not self.editor.is_playing(), 5, "the playback to stop")
                capture.wait_for_more(0.2)
            self.assertLess(len(samples.sounding_bytes(capture.data())), len(data))
            return self.editor.play_to_the_end(30)

        self.require_heard(data, play_after_a_stop)

    def test_mono_file_is_heard_on_both_sides(self):
        path, mono = self.make_wav("mono.wav", 1.0, channels=1)
        self.editor.open_audio(path)
        both = samples.to_bytes([v for value in samples.from_bytes(mono) for v in (value, value)])
        self.require_heard(both)

    def test_mp3_is_heard_as_it_decodes(self):
        path, _ = self.make_wav("source.wav", 1.5)
        mp3 = self.folder / "song.mp3"
        samples.run(["ffmpeg", "-v", "error", "-y", "-i", path, "-b:a", "192k", mp3])
        self.editor.open_audio(mp3)
        self.require_heard(samples.decoded_by_ffmpeg(mp3, self.sound.rate),
                           require=lambda heard, decoded:
                           samples.require_close(heard, decoded, 1e-4))

    def test_names_with_any_letters_open(self):
        for name in ("with space.wav", "50% #1.wav", "grüße-naïve.wav", "日本語.wav"):
            with self.subTest(name=name):
                self.open_tune(0.2, name)

    def test_click_on_the_waveform_is_where_playback_starts(self):
        data = self.open_tune(2.0)
        left, top, width, height = self.editor.waveform_area("tune")
        x = width // 3
        self.display.click(left + x, top + height // 2)
        frame = self.frame_at(x, width, data)
        clicked = frame * 1000 // self.sound.rate
        wait_until(lambda: self.editor.position_ms() == clicked, 5, "the cursor at the click")
        self.require_heard(data[frame * FRAME_BYTES:])

    def test_dragged_selection_is_what_is_heard(self):
        data = self.open_tune(2.0)
        left, top, width, height = self.editor.waveform_area("tune")
        first, last = width // 2, width // 4
        y = top + height // 2
        self.display.drag((left + first, y), (left + last, y))
        start, end = self.frame_at(last, width, data), self.frame_at(first, width, data)
        blocks = -(-(end - start) // BLOCK_FRAMES)
        stop = start + blocks * BLOCK_FRAMES
        self.require_heard(data[start * FRAME_BYTES:stop * FRAME_BYTES])

    def test_shift_space_loops_until_stopped(self):
        self.require_heard(self.open_tune(0.5), self.play_a_loop, self.require_loop)

    def play_a_loop(self):
        with self.sound.capture() as capture:
            self.display.key("shift+space")
            self.editor.wait_until_playing()
            capture.wait_for_more(2.0)
            self.assertTrue(self.editor.is_playing())
            self.display.key("shift+space")
            wait_until(lambda: not self.editor.is_playing(), 5, "the loop to stop")
        return samples.sounding_bytes(capture.data())

    def require_loop(self, heard, data):
        self.assertGreater(len(heard), 2 * len(data))
        self.assertEqual(heard[:len(data)], data)
        # Blocks are mixed whole: the last one before the wrap runs past the end in
        # silence, and the first one after it starts as much further in.
        frames = len(data) // FRAME_BYTES
        blocks = -(-frames // BLOCK_FRAMES)
        resumed = (blocks * BLOCK_FRAMES) % frames
        second = heard[blocks * BLOCK_FRAMES * FRAME_BYTES:][:BLOCK_FRAMES * FRAME_BYTES]
        self.assertEqual(second, data[resumed * FRAME_BYTES:][:len(second)])

    def test_read_out_runs_while_playing_and_returns_to_the_cursor(self):
        self.open_tune(10.0)
        self.assertEqual(self.editor.position(), "00:00:00.000")
        self.display.key("space")
        seen = [wait_until(lambda: self.editor.position_ms(), 10, "the play head")]
        seen.append(wait_until(lambda: max(0, self.editor.position_ms() - seen[0]),
                               10, "the play head to go on"))
        self.editor.wait_until_played(30)
        wait_until(lambda: self.editor.position() == "00:00:00.000", 5, "the cursor's position")

    def test_home_and_end_move_the_cursor(self):
        data = self.open_tune(1.0)
        self.display.key("End")
        milliseconds_of_file = len(data) // FRAME_BYTES * 1000 // self.sound.rate
        wait_until(lambda: self.editor.position_ms() == milliseconds_of_file, 5, "End")
        self.display.key("Home")
        wait_until(lambda: self.editor.position_ms() == 0, 5, "Home")


if __name__ == "__main__":
    case.main()
