"""What a running process takes from the machine, and whether that stays flat."""

import itertools
import os
import statistics
import time
from dataclasses import dataclass
from pathlib import Path

from .processes import wait_until

#: Growth from the middle third of a run to its last that is taken for noise.
MEMORY_SHARE = 0.05
LEAST_MEMORY_MB = 6.0
HANDLES = 1.5
THREADS = 1.5
LEAST_SAMPLES = 6


@dataclass
class Vitals:
    memory_mb: float  # resident
    handles: int
    threads: int

    def __str__(self):
        return f"{self.memory_mb:.1f} MB, {self.handles} handles, {self.threads} threads"


def read(pid):
    process = Path(f"/proc/{pid}")
    status = dict(line.split(":", 1) for line in (process / "status").read_text().splitlines())
    return Vitals(memory_mb=int(status["VmRSS"].split()[0]) / 1024,
                  handles=len(list((process / "fd").iterdir())),
                  threads=int(status["Threads"]))


def medians(samples):
    return Vitals(*(statistics.median(getattr(sample, name) for sample in samples)
                    for name in ("memory_mb", "handles", "threads")))


def middle_and_end(samples):
    """The medians of the second and of the last third: the first is for warming up."""
    third = len(samples) // 3
    return medians(samples[third:2 * third]), medians(samples[-third:])


def slope(values):
    """From one value to the next: the median over all pairs, which a few outliers do not sway."""
    return statistics.median((later - earlier) / (j - i) for (i, earlier), (j, later)
                             in itertools.combinations(enumerate(values), 2))


def growth(samples):
    """What has grown beyond the tolerances; empty: all is flat. The first third is for warming
    up; growth is the slope over the others, times the samples from the middle of one to that of
    the next."""
    if len(samples) < LEAST_SAMPLES:
        return [f"only {len(samples)} samples: too few to judge by"]
    judged = samples[len(samples) // 3:]
    tolerances = {"memory_mb": max(MEMORY_SHARE * medians(judged).memory_mb, LEAST_MEMORY_MB),
                  "handles": HANDLES, "threads": THREADS}
    faults = []
    for name, tolerance in tolerances.items():
        values = [getattr(sample, name) for sample in judged]
        grown = slope(values) * len(values) / 2
        if grown > tolerance:
            faults.append(f"{name} grew by {grown:.3g} from {values[0]:.4g}")
    return faults


def queued_seconds(pid):
    """How long the first thread has been ready to run while others had the processor."""
    return int(Path(f"/proc/{pid}/schedstat").read_text().split()[1]) / 1e9


def queued_by_threads(pid):
    """The same of each thread that is there now, by its number."""
    queued = {}
    for task in Path(f"/proc/{pid}/task").iterdir():
        try:
            queued[task.name] = queued_seconds(f"{pid}/task/{task.name}")
        except OSError:  # it has ended since
            continue
    return queued


def servers_of_the_stage():
    """Those through which a question goes to a window, and a window on to the screen."""
    mark = f"DBUS_SESSION_BUS_ADDRESS={os.environ['DBUS_SESSION_BUS_ADDRESS']}\0".encode()
    found = []
    for process in Path("/proc").glob("[0-9]*"):
        try:
            name = (process / "comm").read_text().strip()
            if name in ("dbus-daemon", "Xvfb") and mark in (process / "environ").read_bytes():
                found.append(int(process.name))
        except OSError:  # it has ended since, or is another user's
            continue
    return found


class Stopwatch:
    """Measures a wait for another process, less the machine's part in it.

    That is what all who work on it spent queueing for a processor: they work one after the
    other, so it adds up. A window that hangs queues for nothing, and neither does who waits
    for it.
    """

    def __init__(self, pid, servers=()):
        self._pids = ("self", pid, *servers)
        self._before = self._now = [queued_seconds(of) for of in self._pids]
        self.begin = time.monotonic()

    def seconds(self):
        elapsed = time.monotonic() - self.begin
        try:
            self._now = [queued_seconds(of) for of in self._pids]
        except OSError:
            pass  # It has ended, and what was read before is what there is.
        queued = (now - before for now, before in zip(self._now, self._before))
        return max(0.0, elapsed - sum(queued))

    def exit_code(self, process, timeout):
        """Waits for the end of that process, beyond which its queueing cannot be read."""
        wait_until(lambda: self.seconds() >= 0.0 and not process.is_running(), timeout,
                   f"{process.name} to end")
        return process.exit_code()
