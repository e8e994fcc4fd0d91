"""Runs the classes of a matrix, each in a process and on a stage of its own, and tabulates."""

import json
import os
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from .faults import FAULTS

WORKS = ("idle", "playing", "recording", "both", "importing", "saving")
#: Those in which the buttons of the transport are pressed meanwhile, in a cell of its own: the
#: work does not go on by itself then. In an idle window they are pressed anyway.
PRESSED_WORKS = ("playing", "recording", "both")
PRESSED = "pressed"
CLOSING = "closing"
CELLS = len(WORKS) + len(PRESSED_WORKS) + len(WORKS)
STAGES_AT_A_TIME = 2
GROUP_SECONDS = 1500
_RESULTS = "VELA_MATRIX_RESULTS"


def note(fault, work, **result):
    """Adds the result of a cell to what the process that started this one collects."""
    path = os.environ.get(_RESULTS)
    if path:
        with open(path, "a", encoding="utf-8") as file:
            file.write(json.dumps({"fault": fault, "work": work, **result}) + "\n")


def _run_group(script, program, group, folder):
    """Returns whether the class passed; its report is printed in one piece."""
    results = Path(folder) / f"{group}.json"
    child = subprocess.run(
        [sys.executable, script, program, group], stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=GROUP_SECONDS, check=False,
        env=dict(os.environ, **{_RESULTS: str(results)}))
    print(f"== {group}\n" + child.stdout.decode("utf-8", "replace"), flush=True)
    lines = results.read_text("utf-8").splitlines() if results.exists() else []
    return child.returncode == 0, [json.loads(line) for line in lines]


def run_all(script, program):
    """Every fault, several at a time; prints the table. Returns the exit code."""
    begin = time.monotonic()
    with tempfile.TemporaryDirectory() as folder, ThreadPoolExecutor(STAGES_AT_A_TIME) as pool:
        outcomes = list(pool.map(lambda group: _run_group(script, program, group, folder), FAULTS))
    cells = [cell for _, found in outcomes for cell in found]
    print(table(cells))
    failed = CELLS * len(FAULTS) - len(cells)
    print(f"in {time.monotonic() - begin:.0f} s")
    print(f"{len(cells)} passed, {failed} failed", flush=True)
    return 0 if failed == 0 and all(passed for passed, _ in outcomes) else 1


def table(cells):
    """What became of each work, the slowest answer and the time to the end, in seconds."""
    columns = (*WORKS, PRESSED, CLOSING)
    rows = ["| | " + " | ".join(columns) + " |", "|---" * (len(columns) + 1) + "|"]
    for name, fault in FAULTS.items():
        mine = [cell for cell in cells if cell["fault"] == name]
        texts = [_cell_text([cell for cell in mine if cell["work"] == work]) for work in WORKS]
        texts.append(_text_of_all("answers", PRESSED, PRESSED_WORKS, mine))
        texts.append(_text_of_all("ends", CLOSING, WORKS, mine))
        rows.append(f"| {fault.title} | " + " | ".join(texts) + " |")
    return "\n".join(rows)


def _cell_text(found):
    if not found:
        return "failed"
    cell = found[0]
    return f"{cell['outcome']} ({cell['answer']:.2f}, {cell['end']:.1f})"


def _text_of_all(outcome, group, works, cells):
    found = [cell for cell in cells if cell["work"].startswith(group)]
    if len(found) < len(works):
        return "failed"
    answer, end = (max(cell[figure] for cell in found) for figure in ("answer", "end"))
    return f"{outcome} ({answer:.2f}, {end:.1f})"
