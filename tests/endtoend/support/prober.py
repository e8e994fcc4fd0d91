"""Whether a window answers all the while: asked again and again, by a process of its own.

The accessibility client serves one thread only, and a test that presses a button or waits for
a file cannot ask at the same time.
"""

import os
import sys
import time
from dataclasses import dataclass
from pathlib import Path

from . import vitals
from .accessibility import BUTTONS, Application
from .processes import POLL_SECONDS, Failure, Process, is_alive, wait_until

START_SECONDS = 20.0
ANSWER_SECONDS = 20.0


@dataclass(frozen=True)
class Answer:
    """To the question that was asked at `begin`, by the clock that all processes share."""

    begin: float
    seconds: float  # the machine's delays apart


class Prober:
    """Asks from its making until the program ends, or stop()."""

    def __init__(self, pid, anchor, folder):
        """`anchor` is the name of a button, which the question is about."""
        path = Path(folder) / f"answers-{pid}"
        environment = dict(os.environ, PYTHONPATH=str(Path(__file__).resolve().parents[1]))
        self._answers = []
        with open(path, "wb") as answers:
            self._process = Process([sys.executable, "-B", "-m", __name__, pid, anchor],
                                    path.with_suffix(".log"), environment, stdout=answers)
        self._file = open(path, encoding="utf-8")
        self._rest = ""
        wait_until(self.answers, START_SECONDS, "the prober to have an answer")

    def answers(self):
        """Every answer so far."""
        ended = not self._process.is_running()
        *lines, self._rest = (self._rest + self._file.read()).split("\n")
        for line in lines:
            self._answers.append(Answer(*map(float, line.split())))
        if ended and self._process.exit_code() != 0:
            raise Failure("the prober failed:\n" + self._process.log())
        return self._answers

    def wait_for_answer(self):
        """Until a question is answered that is asked from now on."""
        now = time.monotonic()
        wait_until(lambda: self.answers()[-1].begin >= now, ANSWER_SECONDS,
                   "the window to answer at all")

    def slowest(self, until=float("inf")):
        """The slowest answer; a window that went away at `until` was not asked any more."""
        return slowest(self.answers(), until)

    def wait_for_end(self):
        """To be called when the program has ended."""
        self._process.wait(ANSWER_SECONDS)

    def stop(self):
        self._process.stop()
        self._file.close()


def slowest(answers, until=float("inf")):
    asked = [Answer(answer.begin, min(answer.seconds, until - answer.begin))
             for answer in answers if answer.begin < until]
    return max(asked, key=lambda answer: answer.seconds)


def main():
    pid, name = int(sys.argv[1]), sys.argv[2]
    controls = Application(pid)
    anchor = controls.find(BUTTONS, name)
    servers = vitals.servers_of_the_stage()
    while is_alive(pid):
        try:
            watch = vitals.Stopwatch(pid, servers)
        except OSError:  # it has ended since
            break
        while not controls.answers(anchor) and is_alive(pid):
            time.sleep(POLL_SECONDS)
        print(watch.begin, watch.seconds(), flush=True)
        time.sleep(POLL_SECONDS)


if __name__ == "__main__":
    main()
