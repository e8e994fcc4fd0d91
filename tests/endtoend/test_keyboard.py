"""What the mouse does to a track, done by keyboard alone."""

from support import case
from support.processes import stays_true, wait_until

SECONDS = 20.0
STRIP_MENU = ("Zoom In", "Zoom Out", "Higher Strip", "Lower Strip", "Remove Track")


class Keyboard(case.EditorCase):
    def setUp(self):
        super().setUp()
        path, _ = self.make_wav("tune.wav", 2.0)
        self.editor.open_audio(path)
        self.pixel_seconds = 2.0 / self.editor.waveform_area("tune")[2]

    def seconds(self):
        hours, minutes, rest = self.editor.position().split(":")
        return 3600 * int(hours) + 60 * int(minutes) + float(rest)

    def wait_for_cursor(self, seconds):
        wait_until(lambda: abs(self.seconds() - seconds) < self.pixel_seconds, SECONDS,
                   f"the cursor at {seconds:g} s, it is at {self.seconds():g}")

    def choose(self, command):
        """From the strip's menu, which the toolkit hides from assistive technology."""
        menus = lambda: len(self.display.windows_of(self.editor.process.pid))  # noqa: E731
        before = menus()
        self.display.key("Menu")
        wait_until(lambda: menus() == before + 1, SECONDS, "the menu to open")
        self.display.key(*["Down"] * (STRIP_MENU.index(command) + 1), "Return")
        wait_until(lambda: menus() == before, SECONDS, "the menu to close")

    def test_the_cursor_is_placed(self):
        self.tab_to("Waveform of tune")
        self.display.key("ctrl+Right", "ctrl+Right", "Right", "Left", "Left")
        self.wait_for_cursor(99 * self.pixel_seconds)
        self.display.key("End")
        self.wait_for_cursor(2.0)

    def test_the_view_is_zoomed_and_panned(self):
        self.tab_to("Waveform of tune")
        self.display.key(*["plus"] * 8)
        whole = 0.8 ** 8  # is what is left of the whole in view
        self.display.key("alt+Right", "Right")
        self.wait_for_cursor(self.pixel_seconds * whole)
        self.display.key("ctrl+Right")
        self.wait_for_cursor(51 * self.pixel_seconds * whole)
        self.display.key(*["minus"] * 8)
        self.display.key("ctrl+Right")
        self.wait_for_cursor((51 * whole + 50) * self.pixel_seconds)

    def test_a_selection_is_dropped(self):
        left, top, width, height = self.editor.waveform_area("tune")
        middle = top + height // 2
        self.display.drag((left + width // 4, middle), (left + width // 2, middle))
        self.display.key("Left")
        self.display.key("End")
        self.wait_for_cursor(2.0)
        self.display.key("space")
        # With a selection the playback would begin there; at the end there is nothing left.
        stays_true(lambda: self.seconds() == 2.0, 1.0, "the cursor at the end")

    def test_a_strip_is_made_higher_and_lower(self):
        height = self.editor.waveform_area("tune")[3]
        self.tab_to("Waveform of tune")
        self.display.key("alt+Up", "alt+Up", "alt+Up")
        wait_until(lambda: self.editor.waveform_area("tune")[3] == height + 60, SECONDS,
                   "the strip to be higher")
        self.choose("Lower Strip")
        wait_until(lambda: self.editor.waveform_area("tune")[3] == height + 40, SECONDS,
                   "the strip to be lower")

    def test_a_track_is_removed_and_its_neighbour_has_the_keyboard(self):
        self.display.key("ctrl+t")
        wait_until(lambda: len(self.editor.track_names()) == 2, SECONDS, "the new strip")
        self.tab_to("Waveform of tune")
        self.choose("Remove Track")
        wait_until(lambda: self.editor.track_names() == ["Track 2"], SECONDS, "one strip to go")
        wait_until(lambda: self.controls.focused() == ("slider", "Waveform of Track 2"), SECONDS,
                   "the neighbour to have the keyboard")


if __name__ == "__main__":
    case.main()
