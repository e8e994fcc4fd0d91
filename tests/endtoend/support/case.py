"""The frame of an end-to-end test: one stage a class, one run of the program a test."""

import sys
import unittest

from . import faults, samples
from .editor import Editor, Stage
from .processes import Failure, wait_until

TAB_SECONDS = 20.0
MOST_TABS = 30
PLAY_SECONDS = 20.0
ATTEMPTS = 3

_program = None


def tell_of_spoiled_attempt(what):
    """`./test` counts these lines: many of them on a quiet machine are a fault of ours."""
    print(f"spoiled attempt: {what}", file=sys.stderr)


class EditorCase(unittest.TestCase):
    """Each test gets a fresh editor in `self.editor`, and may put files in `self.folder`. The
    editor must end well, and without a warning in its log but those that begin as `warnings`."""

    warnings = ()

    @classmethod
    def setUpClass(cls):
        cls.stage = Stage()
        cls.folder = cls.stage.folder
        cls.sound = cls.stage.sound
        cls.display = cls.stage.display
        cls.stage.environment["QT_MESSAGE_PATTERN"] = faults.MESSAGE_PATTERN

    @classmethod
    def tearDownClass(cls):
        cls.stage.close()

    def setUp(self):
        self.editor = self.start()
        self.controls = self.editor.controls

    def start(self):
        editor = Editor(self.stage, _program)
        self.addCleanup(editor.stop)
        self.addCleanup(self._show_log_of_failure, editor)
        self.addCleanup(self._require_good_end, editor)
        return editor

    def _has_failed(self):
        errors = getattr(self._outcome.result, "failures", []) + self._outcome.result.errors
        return any(test is self for test, _ in errors)

    def _require_good_end(self, editor):
        """A fault that shows at the end only, or a leak, is told by the exit code."""
        if self._has_failed():
            return
        code = editor.end() if editor.process.is_running() else editor.process.exit_code()
        self.assertEqual(code, 0, "the exit code")
        self.assertEqual(faults.unexpected_lines(editor.process.log(), self.warnings), [])

    def _show_log_of_failure(self, editor):
        if self._has_failed():
            print(f"--- the editor's log in {self.id()}\n{editor.process.log()}", file=sys.stderr)

    def make_wav(self, name, seconds, channels=samples.STEREO, rate=None):
        """Makes a float file of that length; returns its path and the bytes of its samples."""
        rate = rate or self.sound.rate
        path = self.folder / name
        data = samples.write_float_wav(path, samples.tune(rate, seconds, channels), rate, channels)
        return path, data

    def tab(self):
        """Presses Tab and returns role and name of what has the keyboard then."""
        focused = self.controls.focused
        before = focused()
        self.display.key("Tab")
        return wait_until(lambda: focused() not in (None, before) and focused(),
                          TAB_SECONDS, "the keyboard to move on")

    def tab_to(self, name):
        for _ in range(MOST_TABS):
            if self.tab()[1] == name:
                return
        self.fail(f"Tab does not reach {name!r}")

    def require_heard(self, expected, play=None, require=samples.require_exact):
        """What the loudspeaker plays to the end, or in `play()`, is as expected. A machine that
        is too busy for any player makes a gap now and then, so there are three attempts; a fault
        of ours makes one every time. `play()` has to be the whole of what is tested."""
        for left in reversed(range(ATTEMPTS)):
            heard = play() if play else self.editor.play_to_the_end(PLAY_SECONDS)
            try:
                require(heard, expected)
                return
            except (Failure, AssertionError) as fault:
                if not left:
                    raise
                tell_of_spoiled_attempt(fault)


def main():
    """The first argument is the program under test, the rest goes to unittest."""
    global _program
    if len(sys.argv) < 2:
        sys.exit(f"usage: {sys.argv[0]} <program> [unittest arguments]")
    _program = sys.argv.pop(1)
    unittest.main(verbosity=2)
