"""Save, open again, and the question about unsaved changes."""

from support import case
from support.editor import QUESTION
from support.processes import wait_until


class Projects(case.EditorCase):
    def open_tune(self):
        path, data = self.make_wav("tune.wav", 0.8)
        self.editor.open_audio(path)
        return data

    def save(self):
        path = self.folder / f"{self._testMethodName}.vela"
        self.editor.save(path)
        wait_until(path.exists, 10, "the project to be written")
        self.editor.wait_for_work(10)
        return path

    def answer(self, button):
        self.display.wait_for_window(QUESTION)
        self.controls.press(button)
        self.display.wait_for_no_window(QUESTION)
        self.display.activate(self.editor.window)

    def test_saved_project_is_heard_the_same_in_another_run(self):
        data = self.open_tune()
        path = self.save()
        self.assertEqual(self.editor.close(), 0)
        again = self.start()
        again.open(path)
        wait_until(lambda: again.track_names() == ["tune"], 10, "the track of the project")
        self.editor = again
        self.require_heard(data)

    def test_cancel_keeps_what_is_unsaved(self):
        self.open_tune()
        self.display.key("ctrl+n")
        self.answer("Cancel")
        self.assertEqual(self.editor.track_names(), ["tune"])

    def test_discard_gives_an_empty_project(self):
        self.open_tune()
        self.display.key("ctrl+n")
        self.answer("Discard")
        wait_until(lambda: self.editor.track_names() == [], 5, "the empty project")

    def test_saved_project_is_replaced_without_a_question(self):
        self.open_tune()
        self.save()
        self.display.key("ctrl+n")
        wait_until(lambda: self.editor.track_names() == [], 5, "the empty project")
        self.assertEqual(self.display.find_windows(QUESTION), [])


if __name__ == "__main__":
    case.main()
