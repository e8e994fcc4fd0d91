"""What a running process takes from the machine, and whether that stays flat."""

import statistics
import time
from dataclasses import dataclass
from pathlib import Path

#: Growth from the middle of a run to its end that is taken for noise.
MEMORY_SHARE = 0.05
LEAST_MEMORY_MB = 6.0
HANDLES = 2
THREADS = 2
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


def growth(samples):
    """What has grown beyond the tolerances from the middle to the end; empty: all is flat."""
    if len(samples) < LEAST_SAMPLES:
        return [f"only {len(samples)} samples: too few to judge by"]
    middle, end = middle_and_end(samples)
    tolerances = Vitals(max(MEMORY_SHARE * middle.memory_mb, LEAST_MEMORY_MB), HANDLES, THREADS)
    return [f"{name} grew from {getattr(middle, name):g} to {getattr(end, name):g}"
            for name in ("memory_mb", "handles", "threads")
            if getattr(end, name) - getattr(middle, name) > getattr(tolerances, name)]


def queued_seconds(pid):
    """How long the first thread has been ready to run while others had the processor."""
    return int(Path(f"/proc/{pid}/schedstat").read_text().split()[1]) / 1e9


class Stopwatch:
    """Measures a wait for another process, less what both spent queueing for the machine."""

    def __init__(self, pid):
        self._pid = pid
        self._queued = self._both_queued()
        self._begin = time.monotonic()

    def _both_queued(self):
        return queued_seconds("self") + queued_seconds(self._pid)

    def seconds(self):
        elapsed = time.monotonic() - self._begin
        return max(0.0, elapsed - (self._both_queued() - self._queued))
