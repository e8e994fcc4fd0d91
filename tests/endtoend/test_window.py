"""The window's buttons and keys, by hand and through assistive technology."""

import re
from pathlib import Path

from support import case, samples
from support.accessibility import BUTTONS
from support.processes import wait_until

TOOLBAR = ["Load", "Save", "Clear", "|<", "Play", "Stop", "Rec", ">|"]


DESKTOP_ENTRY = Path(__file__).resolve().parents[2] / "packaging" / "com.quorix.Vela.desktop"


class Window(case.EditorCase):
    def open_tune(self, seconds):
        path, data = self.make_wav("tune.wav", seconds)
        self.editor.open_audio(path)
        return data

    def test_the_desktop_knows_the_window_as_the_entrys(self):
        entry = re.search(r"^StartupWMClass=(.+)$", DESKTOP_ENTRY.read_text("utf-8"), flags=re.M)
        shown = self.display.properties(self.editor.window, "WM_CLASS")
        self.assertEqual(shown.strip(), f'WM_CLASS(STRING) = "vela", "{entry.group(1)}"')

    def test_toolbar_is_named_for_a_screen_reader_in_its_order(self):
        names = [node.name for node in self.controls.all(BUTTONS)]
        self.assertEqual([name for name in names if name in TOOLBAR], TOOLBAR)

    def test_play_and_stop_are_pressed_by_name(self):
        data = self.open_tune(60.0)
        with self.sound.capture() as capture:
            self.controls.press("Play")
            self.editor.wait_until_playing()
            self.controls.press("Stop")
            wait_until(lambda: not self.editor.is_playing(), 5, "Stop to stop")
            capture.wait_for_more(0.2)
        self.assertLess(len(samples.sounding_bytes(capture.data())), len(data) // 2)

    def test_load_pressed_by_name_opens_the_dialog_and_escape_closes_it(self):
        self.controls.press("Load")
        self.display.activate(self.display.wait_for_window("Open File"))
        self.display.key("Escape")
        self.display.wait_for_no_window("Open File")
        self.assertEqual(self.editor.track_names(), [])

    def test_save_pressed_by_name_opens_the_dialog_and_escape_closes_it(self):
        self.controls.press("Save")
        self.display.activate(self.display.wait_for_window("Save Project"))
        self.display.key("Escape")
        self.display.wait_for_no_window("Save Project")

    def test_space_means_play_after_a_button_was_clicked(self):
        data = self.open_tune(0.5)
        left, top, width, height = self.controls.area(self.controls.find(BUTTONS, ">|"))

        def play_after_a_click():
            self.display.click(left + width // 2, top + height // 2)
            self.display.key("Home")
            return self.editor.play_to_the_end(20)

        self.require_heard(data, play_after_a_click)

    def test_space_in_the_name_of_a_track_is_a_letter(self):
        self.open_tune(0.5)
        self.editor.rename("tune", "one two")
        wait_until(lambda: self.editor.track_names() == ["one two"], 5, "the new name")
        self.assertFalse(self.editor.is_playing())

    def test_add_track_gives_an_empty_strip(self):
        self.display.key("ctrl+t")
        wait_until(lambda: len(self.editor.track_names()) == 1, 5, "the new strip")

    def all_mutes(self):
        return self.controls.all(BUTTONS, prefix="Mute", showing=False)

    def test_thirty_tracks_leave_the_window_on_the_screen(self):
        for _ in range(30):
            self.display.key("ctrl+t")
        wait_until(lambda: len(self.all_mutes()) == 30, 20,
                   "thirty strips")
        _, _, width, height = self.display.geometry(self.editor.window)
        self.assertLessEqual((width, height), self.display.size)
        self.assertLessEqual(height, self.display.size[1])

    def test_what_is_no_sound_is_refused_with_a_message(self):
        path = self.folder / "notes.wav"
        path.write_text("These are only words.\n" * 50)
        self.editor.open(path)
        wait_until(lambda: any("Failed to decode" in text for text in self.controls.labels()),
                   10, "the message about the file")
        self.assertEqual(self.editor.track_names(), [])

    def test_help_opens_by_key_and_closes_by_escape(self):
        self.display.key("F1")
        self.display.activate(self.display.wait_for_window("Keyboard Shortcuts"))
        self.display.key("Escape")
        self.display.wait_for_no_window("Keyboard Shortcuts")

    def test_closing_while_playing_ends_the_program(self):
        path, _ = self.make_wav("tune.wav", 5.0)
        self.editor.open_audio(path)
        self.editor.save(self.folder / "kept.vela")
        wait_until((self.folder / "kept.vela").exists, 10, "the project to be written")
        self.display.key("space")
        self.editor.wait_until_playing()
        self.assertEqual(self.editor.close(), 0)


if __name__ == "__main__":
    case.main()
