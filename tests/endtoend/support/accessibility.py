"""The window as a screen reader meets it: controls by role and name.

The client library reads the session bus's address once, when it is loaded, so one
process can look at one session only, and `SessionBus` must come first.
"""

import os
from contextlib import contextmanager
from pathlib import Path

from .processes import Failure, Process, wait_until

START_SECONDS = 15.0
FIND_SECONDS = 15.0
ANSWER_MS = 20000  # the library's own 0.8 s would give up a window that waits for its turn
BUTTONS = ("push button", "toggle button", "check box")


def bus_environment(folder, environment):
    """Where the bus of that folder will be. Given to every program of the stage, so that
    none of those that start before the bus goes and launches one of its own."""
    return dict(environment, DBUS_SESSION_BUS_ADDRESS=f"unix:path={Path(folder) / 'bus'}",
                QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")


class SessionBus:
    """`environment` is one made by bus_environment(), with the display in it."""

    def __init__(self, folder, environment):
        address = environment["DBUS_SESSION_BUS_ADDRESS"]
        self._process = Process(
            ["dbus-daemon", "--session", "--nofork", "--nopidfile", f"--address={address}"],
            Path(folder) / "bus.log", environment)
        wait_until((Path(folder) / "bus").exists, START_SECONDS, "the session bus to start")
        os.environ.update({name: environment[name] for name in
                           ("DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "XAUTHORITY")})

    def stop(self):
        self._process.stop()


class Application:
    """The controls of the program with that process id."""

    def __init__(self, pid):
        import pyatspi  # after the session bus, see above

        self._atspi = pyatspi
        pyatspi.setTimeout(ANSWER_MS, ANSWER_MS)
        self._root = wait_until(lambda: self._find_application(pid), START_SECONDS,
                                "the program to appear on the accessibility bus")
        self._root.setCacheMask(pyatspi.cache.NONE)

    def _find_application(self, pid):
        for application in self._atspi.Registry.getDesktop(0):
            try:
                if application is not None and application.get_process_id() == pid:
                    return application
            except Exception:  # it went away while being asked
                continue
        return None

    def _walk(self, node):
        yield node
        for index in range(node.childCount):
            child = node.getChildAtIndex(index)
            if child is not None:
                yield from self._walk(child)

    def all(self, roles=None, name=None, prefix="", showing=True):
        """Controls of one of the roles, of that name or beginning of a name, in tree order."""
        roles = (roles,) if isinstance(roles, str) else roles
        found = []
        try:
            for node in self._walk(self._root):
                if roles is not None and node.getRoleName() not in roles:
                    continue
                if not node.name.startswith(prefix) or (name is not None and node.name != name):
                    continue
                if not showing or self.has_state(node, "SHOWING"):
                    found.append(node)
        except Exception:  # the tree changed under our feet: the caller asks again
            return []
        return found

    def find(self, roles=None, name=None, timeout=FIND_SECONDS):
        def look():
            nodes = self.all(roles, name)
            return nodes[0] if nodes else None

        return wait_until(look, timeout, f"a {roles or 'control'} named {name!r} in the window")

    def press(self, name):
        """What a screen reader's user does to press a button."""
        self.press_button(self.find(BUTTONS, name))

    def press_button(self, button):
        actions = button.queryAction()
        names = [actions.getName(i).lower() for i in range(actions.nActions)]
        for wanted in ("press", "toggle"):
            if wanted in names:
                actions.doAction(names.index(wanted))
                return
        raise Failure(f"the button {button.name!r} offers only {names}")

    def is_checked(self, name):
        return self.has_state(self.find(BUTTONS, name), "CHECKED")

    def has_state(self, node, name):
        return node.getState().contains(getattr(self._atspi, f"STATE_{name}"))

    def focused(self):
        """Role and name of what has the keyboard, None if nothing has."""
        nodes = [node for node in self.all() if self.has_state(node, "FOCUSED")]
        return (nodes[0].getRoleName(), nodes[0].name) if nodes else None

    def area(self, node):
        """Left, top, width and height on the screen, in pixels."""
        box = node.queryComponent().getExtents(self._atspi.DESKTOP_COORDS)
        return box.x, box.y, box.width, box.height

    def answers(self, node):
        """Whether the window says where a control is: a short question for its thread."""
        try:
            self.area(node)
        except Exception:  # no answer in the time that the client library waits
            return False
        return True

    def value(self, node):
        """Where a slider is, in a tuple; None when that is not answered in time."""
        try:
            return (node.queryValue().currentValue,)
        except Exception:  # as above
            return None

    @contextmanager
    def listening_for_values(self):
        """Yields a function that returns the names of the controls that have told of a value
        of theirs since."""
        from gi.repository import GLib  # which pyatspi has loaded

        sources = []

        def hear(event):
            if event.type.minor == "accessible-value":
                sources.append(event.source)

        def names():
            while GLib.MainContext.default().iteration(False):
                pass
            return [source.name for source in sources]

        self._atspi.Registry.registerEventListener(hear, "object")
        try:
            yield names
        finally:
            self._atspi.Registry.deregisterEventListener(hear, "object")

    def labels(self):
        return [node.name for node in self.all("label")]
