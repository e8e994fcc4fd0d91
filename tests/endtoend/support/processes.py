"""Child processes with logs, bounded waits, and an end by process id."""

import signal
import subprocess
import time
from pathlib import Path

POLL_SECONDS = 0.02
STOP_SECONDS = 10.0


class Failure(Exception):
    """Something that should have become true did not, or is wrong."""


def wait_until(condition, timeout, what):
    """Polls until `condition()` is truthy and returns that value."""
    deadline = time.monotonic() + timeout
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() >= deadline:
            raise Failure(f"waited {timeout:g} s in vain: {what}")
        time.sleep(POLL_SECONDS)


def stays_true(condition, seconds, what):
    """Fails as soon as `condition()` is not true at some time within `seconds`."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if not condition():
            raise Failure(f"did not stay true for {seconds:g} s: {what}")
        time.sleep(POLL_SECONDS)


def is_alive(pid):
    """Whether a process, of whomever, has not ended yet."""
    try:
        state = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0]
    except OSError:
        return False
    return state not in "ZX"


class Process:
    """One child process whose output goes to a log file."""

    def __init__(self, arguments, log_path, environment=None, stdout=None, pass_fds=()):
        self.name = str(arguments[0])
        self.log_path = log_path
        self._log = open(log_path, "ab")
        self._log_begin = self._log.tell()
        self._popen = subprocess.Popen(
            [str(argument) for argument in arguments],
            stdin=subprocess.DEVNULL,
            stdout=stdout or self._log,
            stderr=self._log,
            env=environment,
            pass_fds=pass_fds,
        )

    @property
    def pid(self):
        return self._popen.pid

    def is_running(self):
        return self._popen.poll() is None

    def exit_code(self):
        return self._popen.poll()

    def send(self, number):
        if self.is_running():
            self._popen.send_signal(number)

    def wait(self, timeout):
        try:
            return self._popen.wait(timeout)
        except subprocess.TimeoutExpired:
            raise Failure(f"{self.name} still runs after {timeout:g} s") from None

    def log(self):
        """What this process has written; the file may begin with another one's."""
        with open(self.log_path, "rb") as file:
            file.seek(self._log_begin)
            return file.read().decode("utf-8", "replace")

    def stop(self):
        """Asks politely, then insists."""
        if self.is_running():
            self._popen.send_signal(signal.SIGCONT)
            self._popen.terminate()
            try:
                self._popen.wait(STOP_SECONDS)
            except subprocess.TimeoutExpired:
                self._popen.kill()
                self._popen.wait()
        self._log.close()


def run(arguments, environment=None, timeout=60.0):
    """Runs a tool to its end and returns what it printed."""
    result = subprocess.run(
        [str(argument) for argument in arguments],
        stdin=subprocess.DEVNULL,
        capture_output=True,
        env=environment,
        timeout=timeout,
        check=False,
    )
    if result.returncode != 0:
        message = result.stderr.decode("utf-8", "replace").strip()
        raise Failure(f"{arguments[0]} failed ({result.returncode}): {message}")
    return result.stdout.decode("utf-8", "replace")
