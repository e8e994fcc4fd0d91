"""The whole window as a screen reader's user meets it, and by keyboard alone."""

from support import case, samples
from support.accessibility import BUTTONS
from support.editor import PLAY, SCOPE_MODES
from support.processes import wait_until

#: What only holds other things.
CONTAINERS = ("application", "filler", "split pane", "unknown")
PRESSED = ("press", "toggle")
SECONDS = 20.0
LONG_SECONDS = 1800.0


class Accessibility(case.EditorCase):
    def open_tune(self, seconds=2.0):
        path, _ = self.make_wav("tune.wav", seconds)
        self.editor.open_audio(path)

    def require_told(self, key):
        self.open_tune()
        self.tab_to("Waveform of tune")
        with self.controls.listening_for_values() as tellers:
            # Again and again, for the window learns late that somebody listens.
            def is_told():
                self.display.key(key)
                return "Waveform of tune" in tellers()

            wait_until(is_told, SECONDS, f"the value to be told after {key}")

    def test_every_control_has_a_role_a_name_and_a_use(self):
        self.open_tune()
        notes = self.folder / "notes.wav"
        notes.write_text("These are only words.\n" * 50)
        self.editor.open(notes)
        self.controls.find("alert")
        controls = [node for node in self.controls.all() if node.getRoleName() not in CONTAINERS]
        self.assertGreater(len(controls), 15)
        for node in controls:
            with self.subTest(role=node.getRoleName(), name=node.name):
                self.assertTrue(node.name)
                self.assertTrue(any(letter.isalnum() for letter in node.name + node.description))
                if node.getRoleName() in BUTTONS:
                    actions = node.queryAction()
                    names = [actions.getName(i).lower() for i in range(actions.nActions)]
                    self.assertTrue(set(names) & set(PRESSED), names)
                    self.assertTrue(self.controls.has_state(node, "FOCUSABLE"))
        for node in self.controls.all(CONTAINERS):
            with self.subTest(container=node.name):
                self.assertFalse(self.controls.has_state(node, "FOCUSABLE"), "a control without a role")

    def test_tab_passes_every_control(self):
        self.open_tune()
        wanted = {(node.getRoleName(), node.name) for node in self.controls.all()
                  if self.controls.has_state(node, "FOCUSABLE")}
        self.assertGreater(len(wanted), 10)
        first = self.tab()
        seen = {first}
        for _ in range(2 * len(wanted)):
            here = self.tab()
            if here == first:
                break
            seen.add(here)
        self.assertEqual(seen, wanted)

    def test_position_is_read_and_moved_by_name(self):
        self.open_tune(2.0)
        self.assertEqual(self.controls.find("label", "00:00:00.000").description, "Position")
        self.controls.press(">|")
        wait_until(lambda: self.editor.position() == "00:00:02.000", SECONDS, "the end")
        self.controls.press("|<")
        wait_until(lambda: self.editor.position() == "00:00:00.000", SECONDS, "the start")

    def test_play_state_and_position_are_followed(self):
        self.open_tune(10.0)
        play = self.controls.find(BUTTONS, PLAY)
        self.assertFalse(self.controls.has_state(play, "CHECKED"))
        self.controls.press(PLAY)
        self.editor.wait_until_playing()
        self.assertTrue(self.controls.has_state(play, "CHECKED"))
        early = self.editor.position()
        wait_until(lambda: self.editor.position() > early, SECONDS, "the position to advance")
        self.editor.wait_until_played(40.0)
        self.assertFalse(self.controls.has_state(play, "CHECKED"))

    def test_mute_and_solo_are_toggled_by_name(self):
        self.open_tune()
        for name in ("Mute tune", "Solo tune"):
            self.assertFalse(self.controls.is_checked(name))
            self.controls.press(name)
            wait_until(lambda: self.controls.is_checked(name), SECONDS, f"{name} to be on")

    def test_the_cursor_is_read_and_placed_as_a_value(self):
        self.open_tune(2.0)
        value = self.controls.find("slider", "Waveform of tune").queryValue()
        self.assertEqual((value.minimumValue, value.maximumValue), (0.0, 2.0))
        value.currentValue = 1.5
        wait_until(lambda: self.editor.position() == "00:00:01.500", SECONDS, "the cursor")
        self.assertEqual(value.currentValue, 1.5)

    def test_the_way_to_the_start_is_told_as_a_value(self):
        self.require_told("Home")

    def test_the_way_to_the_end_is_told_as_a_value(self):
        self.require_told("End")

    def test_the_question_about_changes_is_read_and_answered(self):
        self.open_tune()
        self.controls.press("Clear")
        question = "The project has unsaved changes. Discard them?"
        self.controls.find("label", question)
        self.controls.press("Discard")
        wait_until(lambda: not self.editor.track_names(), SECONDS, "the new project")

    def test_the_list_of_keys_is_read_and_filtered(self):
        self.controls.press("Help")
        self.display.activate(self.display.wait_for_window("Keyboard Shortcuts"))

        def cells():
            return {node.name for node in self.controls.all("table cell")}

        wait_until(lambda: {"Play / Stop", "Space", "Zoom In", "Ctrl++"} <= cells(), SECONDS,
                   "the names of the commands and their keys")
        wait_until(lambda: self.controls.focused() == ("text", "Filter"), SECONDS, "the filter")
        self.display.type("zoom")
        wait_until(lambda: "Play / Stop" not in cells() and "Zoom In" in cells(), SECONDS,
                   "the commands that zoom alone")

    def test_long_work_is_announced_and_cancelled(self):
        path = self.folder / "long.wav"
        samples.write_silent_wav(path, LONG_SECONDS, self.sound.rate)
        self.editor.open(path)
        self.controls.find("progress bar", "Opening long.wav…")
        self.controls.press("Cancel")
        wait_until(lambda: not self.controls.all("progress bar"), SECONDS, "the work to end")
        self.assertEqual(self.editor.track_names(), [])

    def test_a_track_is_renamed_by_keyboard(self):
        self.open_tune()
        self.tab_to("tune")
        self.display.key("Return")
        self.controls.find("text", "Track name")
        self.display.key("ctrl+a")
        self.display.type("lead")
        self.display.key("Return")
        wait_until(lambda: self.editor.track_names() == ["lead"], SECONDS, "the new name")
        self.assertEqual(self.controls.focused(), ("label", "lead"))

    def test_the_window_speaks_the_users_language(self):
        self.assertEqual(self.editor.end(), 0)
        environment = dict(self.stage.environment)
        self.addCleanup(setattr, self.stage, "environment", environment)
        self.stage.environment = dict(environment, LC_ALL="de_DE.UTF-8")
        controls = self.start().controls
        self.assertEqual(controls.find(BUTTONS, "Laden").description, "Projekt öffnen")
        self.assertEqual(controls.all(BUTTONS, "Load"), [])

    def test_the_scopes_mode_is_chosen_by_keyboard(self):
        self.tab_to("Audio scope")
        before = len(self.display.windows_of(self.editor.process.pid))
        self.display.key("Menu")
        wait_until(lambda: len(self.display.windows_of(self.editor.process.pid)) == before + 1,
                   SECONDS, "the menu to open")
        self.display.key(*["Down"] * (SCOPE_MODES.index("Level") + 1), "Return")
        wait_until(lambda: self.controls.find(None, "Audio scope").description.startswith("VU"),
                   SECONDS, "the level meter")

    def test_the_scope_is_taken_out_and_put_back_by_keyboard(self):
        self.tab_to("Audio scope")
        self.display.key("Return")
        self.display.activate(self.display.wait_for_window("Audio Scope"))
        self.display.key("Return")
        self.display.wait_for_no_window("Audio Scope")
        self.display.activate(self.editor.window)
        wait_until(lambda: self.controls.focused() == ("animation", "Audio scope"), SECONDS,
                   "the scope to have the keyboard again")


if __name__ == "__main__":
    case.main()
