#!/usr/bin/python3
"""Has the real decoder import damaged files of every kind.

Each must give a track or exactly one error, in bounded time, and leave the process alive;
a decoder's thread that faults may be put to sleep. What does otherwise is kept, and the
program ends with an error.
"""

import argparse
import collections
import os
import select
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import mutations

SEEDS = Path(__file__).resolve().parent / "seeds"
ANSWER_SECONDS = 20.0
END_SECONDS = 20.0
#: Threads that sleep keep what they hold, so a worker is replaced after a while.
MOST_PARKED = 20
MOST_IMPORTS = 400
#: A thread that sleeps keeps its decoder, and that its two other threads.
THREADS_OF_A_PARKED = 3
#: The worker's own, and those of decoders that are just being seen off. A decoder that is
#: left behind costs two more, for each of four imports.
MOST_OTHER_THREADS = 16
SLOW_MS = 3000
#: A run of that length which gives fewer damaged files says little.
JUDGED_SECONDS = 60.0
LEAST_DAMAGED = 50
FINE = ("track", "error")
RATE = 44100
SOUND = ("-f", "lavfi", "-i", f"aevalsrc=sin(2765*t)|cos(1234*t):s={RATE}:d=0.4")
KINDS = {
    "u8.wav": ("-c:a", "pcm_u8"), "s16.wav": (), "s24.wav": ("-c:a", "pcm_s24le"),
    "s32.wav": ("-c:a", "pcm_s32le"), "float.wav": ("-c:a", "pcm_f32le"),
    "surround.wav": ("-ac", "6"), "mp3.mp3": (), "ogg.ogg": ("-c:a", "libvorbis"),
    "flac.flac": (), "aac.aac": (), "m4a.m4a": (), "wma.wma": (),
    "opus.opus": ("-c:a", "libopus"),
}


def make_seeds(folder):
    """A short file of each kind, and every file that was once a finding: bytes by name."""
    files = {path.name: path.read_bytes() for path in sorted(SEEDS.glob('*'))}
    for name, encoding in KINDS.items():
        path = folder / name
        subprocess.run(["ffmpeg", "-nostdin", "-loglevel", "error", "-y", *SOUND, *encoding,
                        "-flags", "+bitexact", "-fflags", "+bitexact", path], check=True)
        files[name] = path.read_bytes()
    return files


class Died(Exception):
    """The worker has ended, or no longer answers."""


class Worker:
    """A process that imports what it is told to."""

    def __init__(self, command, log):
        # Nothing is to be heard, and no sound server to be started.
        environment = dict(os.environ, PULSE_SERVER="unix:/nonexistent")
        self._process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         stderr=log, env=environment)
        self.imports = self.parked = 0

    def ask(self, path):
        """The outcome, the milliseconds it took, and whether a thread was put to sleep."""
        try:
            self._process.stdin.write(f"{path}\n".encode())
            self._process.stdin.flush()
        except BrokenPipeError:
            raise Died(f"ended with {self._process.wait()}") from None
        if not select.select([self._process.stdout], [], [], ANSWER_SECONDS)[0]:
            self._process.kill()
            self._process.wait()
            raise Died(f"no answer in {ANSWER_SECONDS:g} s")
        line = self._process.stdout.readline().split()
        if len(line) != 3:
            raise Died(f"ended with {self._process.wait()}")
        self.imports += 1
        self.parked += int(line[2])
        return line[0].decode(), int(line[1]), int(line[2])

    def is_worn(self):
        return self.parked >= MOST_PARKED or self.imports >= MOST_IMPORTS

    def threads(self):
        return len(list(Path(f"/proc/{self._process.pid}/task").iterdir()))

    def end(self):
        self._process.stdin.close()
        try:
            code = self._process.wait(END_SECONDS)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            raise Died(f"did not end in {END_SECONDS:g} s") from None
        if code != 0:
            raise Died(f"ended with {code}")


class Fuzzing:
    def __init__(self, command, seed, folder, keep):
        self._command, self._seed, self._folder, self._keep = command, seed, folder, keep
        self._log = open(folder / "worker.log", "ab")
        self._files = make_seeds(folder)
        self._worker = None
        self.outcomes = collections.defaultdict(collections.Counter)  # by kind
        self.findings = []
        self.parked = self.slow = self.slowest_ms = self.most_others = 0

    def _import(self, kind, path, what):
        self._worker = self._worker or Worker(self._command, self._log)
        try:
            outcome, milliseconds, parked = self._worker.ask(path)
        except Died as died:
            self._worker = None
            self._find(what, path, str(died))
            return "died"
        self.outcomes[kind][outcome] += 1
        self.parked += parked
        self.slow += milliseconds > SLOW_MS
        self.slowest_ms = max(self.slowest_ms, milliseconds)
        if outcome not in FINE:
            self._find(what, path, outcome)
        if self._worker.is_worn():
            self.end()
        return outcome

    def _find(self, what, path, reason):
        kept = self._keep / f"{self._seed}-{len(self.findings)}-{path.name}"
        self._keep.mkdir(parents=True, exist_ok=True)
        shutil.copy(path, kept)
        self._tell(f"{what}: {reason}; kept as {kept}")

    def _tell(self, finding):
        self.findings.append(finding)
        print(finding, flush=True)

    def import_whole_ones(self):
        """Every file as it is: those made here must give a track."""
        for name, data in self._files.items():
            path = self._folder / f"whole-{name}"
            path.write_bytes(data)
            outcome = self._import("whole", path, name)
            if name in KINDS and outcome != "track":
                self._find(name, path, f"whole, and gave {outcome}")

    def import_damaged(self, number):
        name, data = mutations.damaged(self._seed, number, self._files)
        path = self._folder / f"damaged{Path(name).suffix}"
        path.write_bytes(data)
        self._import(name if name in KINDS else "earlier findings", path, f"number {number}")

    def end(self):
        """Lets the worker go: it must end by itself, whoever sleeps in it."""
        if self._worker is None:
            return
        worker, self._worker = self._worker, None
        threads = worker.threads()
        others = threads - THREADS_OF_A_PARKED * worker.parked
        self.most_others = max(self.most_others, others)
        if others > MOST_OTHER_THREADS:
            self._tell(f"a worker has {threads} threads after {worker.imports} imports, "
                       f"{worker.parked} of them asleep")
        try:
            worker.end()
        except Died as died:
            self._tell(f"the end of a worker: {died}")

    def require_enough(self, damaged, seconds):
        if seconds >= JUDGED_SECONDS and damaged < LEAST_DAMAGED:
            self._tell(f"only {damaged} damaged files in {seconds:g} s")

    def report(self, seconds):
        total = collections.Counter()
        for kind, outcomes in sorted(self.outcomes.items()):
            total.update(outcomes)
            print(f"{kind:18}", ", ".join(f"{count} {outcome}"
                                          for outcome, count in sorted(outcomes.items())))
        print(f"{sum(total.values())} imports in {seconds:.0f} s: {total['track']} tracks, "
              f"{total['error']} errors, {self.parked} threads put to sleep, {self.slow} slower "
              f"than {SLOW_MS} ms (slowest {self.slowest_ms} ms), at most {self.most_others} "
              f"threads beside those of decoders asleep, {len(self.findings)} findings")


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--seconds", type=float, default=20.0)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--from", dest="first", type=int, default=0, metavar="NUMBER",
                        help="the first damaged file")
    parser.add_argument("--keep", type=Path, default=Path("found"), metavar="FOLDER",
                        help="where findings are kept")
    parser.add_argument("worker", nargs="+", help="the importing program and its arguments")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    with tempfile.TemporaryDirectory(prefix="vela-fuzz-") as folder:
        fuzzing = Fuzzing(arguments.worker, arguments.seed, Path(folder), arguments.keep)
        fuzzing.import_whole_ones()
        number = arguments.first
        begin = time.monotonic()
        while time.monotonic() - begin < arguments.seconds:
            fuzzing.import_damaged(number)
            number += 1
        fuzzing.end()
        fuzzing.require_enough(number - arguments.first, arguments.seconds)
        fuzzing.report(time.monotonic() - begin)
    return 1 if fuzzing.findings else 0


if __name__ == "__main__":
    sys.exit(main())
