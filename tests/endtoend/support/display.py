"""A screen of one's own with a window manager, and a person's hands on it."""

import os
import secrets
from pathlib import Path

from .processes import Failure, Process, run, wait_until

START_SECONDS = 15.0
WINDOW_SECONDS = 20.0
LEFT, MIDDLE, RIGHT, WHEEL_UP, WHEEL_DOWN = 1, 2, 3, 4, 5


class Display:
    def __init__(self, folder, environment, size=(1600, 1000), managed=True):
        self._folder = Path(folder)
        self.size = size
        self.environment = dict(environment)
        self.environment.pop("WAYLAND_DISPLAY", None)
        self._server = self._manager = None
        try:
            self._start_server()
            if managed:
                self._start_window_manager()
        except BaseException:
            self.stop()
            raise

    def _start_server(self):
        # Only who has the cookie may look at the screen or type on it.
        cookie = secrets.token_hex(16)
        server_key, client_key = self._folder / "server.key", self._folder / "client.key"
        for key in (server_key, client_key):
            key.touch(mode=0o600)
        run(["xauth", "-q", "-f", server_key, "add", ":0", ".", cookie])
        reader, writer = os.pipe()
        width, height = self.size
        self._server = Process(
            ["Xvfb", "-displayfd", writer, "-screen", "0", f"{width}x{height}x24",
             "-nolisten", "tcp", "-auth", server_key, "-noreset",
             "-r"],  # a key whose release comes late must not be typed twice
            self._folder / "xvfb.log", self.environment, pass_fds=(writer,))
        os.close(writer)
        with os.fdopen(reader) as pipe:
            number = pipe.readline().strip()
        if not number:
            raise Failure("the display did not start:\n" + self._server.log())
        self.name = f":{number}"
        run(["xauth", "-q", "-f", client_key, "add", self.name, ".", cookie])
        self.environment.update(DISPLAY=self.name, XAUTHORITY=str(client_key))

    def _start_window_manager(self):
        self._manager = Process(["openbox", "--sm-disable"], self._folder / "openbox.log",
                                self.environment)
        wait_until(lambda: "window id" in self._root_property("_NET_SUPPORTING_WM_CHECK"),
                   START_SECONDS, "the window manager to start")

    def _root_property(self, name):
        return run(["xprop", "-root", name], self.environment)

    def _xdotool(self, *arguments):
        return run(["xdotool", *arguments], self.environment)

    def find_windows(self, title):
        """Visible windows whose title is exactly that, newest last."""
        try:
            output = self._xdotool("search", "--onlyvisible", "--name", f"^{title}$")
        except Failure:
            return []
        return [int(line) for line in output.split()]

    def windows_of(self, pid):
        """Every visible window of a program, menus too."""
        try:
            return self._xdotool("search", "--onlyvisible", "--pid", pid).split()
        except Failure:
            return []

    def wait_for_window(self, title, timeout=WINDOW_SECONDS):
        return wait_until(lambda: self.find_windows(title), timeout, f'the window "{title}"')[-1]

    def wait_for_no_window(self, title, timeout=WINDOW_SECONDS):
        wait_until(lambda: not self.find_windows(title), timeout, f'"{title}" to go away')

    def activate(self, window):
        self._xdotool("windowactivate", "--sync", window)
        wait_until(lambda: self.focused() == window, WINDOW_SECONDS, "the window to have the focus")

    def focused(self):
        try:
            return int(self._xdotool("getwindowfocus").strip())
        except Failure:
            return 0

    def geometry(self, window):
        """Left, top, width and height of the window's contents on the screen, in pixels."""
        values = dict(line.split("=", 1) for line in
                      self._xdotool("getwindowgeometry", "--shell", window).split())
        return tuple(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))

    def is_shown(self, window):
        """Whether a window is there for the person, be it behind others."""
        try:
            return "window state: Normal" in self.properties(window, "WM_STATE")
        except Failure:
            return False

    def properties(self, window, *names):
        """What other programs, such as the desktop, are told about a window."""
        return run(["xprop", "-id", window, *names], self.environment)

    def resize(self, window, width, height):
        self._xdotool("windowsize", window, width, height)
        wait_until(lambda: self.geometry(window)[2:] == (width, height), WINDOW_SECONDS,
                   "the window to have its new size")

    def close_window(self, window):
        """The window manager's key for the cross in the title bar."""
        self.activate(window)
        self._xdotool("key", "alt+F4")

    def key(self, *keys):
        self._xdotool("key", "--clearmodifiers", *keys)

    def type(self, text, delay_ms=8):
        self._xdotool("type", "--clearmodifiers", "--delay", delay_ms, text)

    def _pointer(self):
        values = dict(line.split("=", 1) for line in
                      self._xdotool("getmouselocation", "--shell").split())
        return int(values["X"]), int(values["Y"])

    def move(self, x, y):
        # Waiting for a move to where the pointer is already takes 15 seconds.
        if self._pointer() != (x, y):
            self._xdotool("mousemove", "--sync", x, y)

    def click(self, x, y, button=LEFT, times=1):
        self.move(x, y)
        # Short, for a busy machine stretches it, and 400 ms are no double-click any more;
        # without any, one click in a hundred does not get past the window manager.
        self._xdotool("click", "--repeat", times, "--delay", "20", button)

    def drag(self, start, end, button=LEFT):
        """Presses at start, goes to end in steps as a hand does, and lets go."""
        steps = 8
        self.move(*start)
        self._xdotool("mousedown", button)
        for step in range(1, steps + 1):
            self.move(*(round(a + (b - a) * step / steps) for a, b in zip(start, end)))
        self._xdotool("mouseup", button)

    def screenshot(self, path, window="root", area=None):
        """A picture of a window, or of an area of the screen: left, top, width, height."""
        crop = [] if area is None else ["-crop", "{2}x{3}+{0}+{1}".format(*area)]
        run(["import", "-silent", "-window", window, *crop, path], self.environment)
        if Path(path).stat().st_size == 0:
            raise Failure(f"the screenshot {path} is empty")

    def stop(self):
        for process in (self._manager, self._server):
            if process:
                process.stop()
        self._manager = self._server = None
