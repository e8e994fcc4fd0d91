#!/usr/bin/python3
"""use_installed.py PACKAGE PROGRAM: uses the installed program as a person would, on a
screen and a sound server of its own and from an empty home, and asks what of the system it
has loaded by then: all of that, and nothing more, must be what the package depends on."""

import re
import sys
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests" / "endtoend"))

from support import samples  # noqa: E402
from support.case import tell_of_spoiled_attempt  # noqa: E402
from support.editor import Editor, Stage  # noqa: E402
from support.processes import Failure, run, wait_until  # noqa: E402

TUNE_SECONDS = 1.0
PLAY_SECONDS = 20.0
SAVE_SECONDS = 10.0
ATTEMPTS = 3  # because sound is in real time, which a shared machine cannot always give
#: What the linker does not see, and what would be missing without it.
PLUGINS = {"libqxcb.so": "the window", "libqsvgicon.so": "the buttons' icons",
           "libqsvg.so": "the window's icon", "libffmpegmediaplugin.so": "decoding",
           "libpulse.so.0": "sound"}
#: What the toolkit looks for by itself, and does without where it is not there.
OPTIONAL = {"libXcursor.so"}


def open_play_and_save(stage, editor):
    """What the loudspeaker plays must be what is in a file that had to be decoded."""
    source, path = stage.folder / "tune.wav", stage.folder / "tune.flac"
    samples.write_float_wav(source, samples.tune(stage.sound.rate, TUNE_SECONDS),
                            stage.sound.rate)
    run(["ffmpeg", "-v", "error", "-i", source, "-sample_fmt", "s16", path])
    editor.open_audio(path)
    expected = samples.decoded_by_ffmpeg(path, stage.sound.rate)
    for attempt in range(ATTEMPTS):
        try:
            samples.require_exact(editor.play_to_the_end(PLAY_SECONDS), expected)
            break
        except Failure as fault:
            if attempt == ATTEMPTS - 1:
                raise
            tell_of_spoiled_attempt(fault)
    project = stage.folder / "tune.vela"
    editor.save(project)
    wait_until(project.exists, SAVE_SECONDS, "the project to be written")


def loaded_files(pid):
    """The shared libraries and plugins in the memory of a process."""
    maps = Path(f"/proc/{pid}/maps").read_text("utf-8")
    return sorted(set(re.findall(r"(/\S+\.so(?:\.\S+)?)$", maps, flags=re.M)))


def package_of(path):
    """The package that brought a file; it may know it by the name from before /usr was one."""
    for name in (path, path.removeprefix("/usr")):
        try:
            return run(["dpkg-query", "--search", name]).split(":")[0]
        except Failure:
            continue
    raise Failure(f"{path} is loaded, and no package has it")


def depended_on(package):
    """The names in the package's own field."""
    field = run(["dpkg-query", "--show", "--showformat=${Depends}", package])
    return set(re.findall(r"(?:^|[,|])\s*([a-z0-9][a-z0-9+.-]+)", field))


def everything_depended_on(package):
    """What comes with the package even where nothing recommended is installed."""
    listed = run(["apt-cache", "depends", "--recurse", "--installed", "--no-recommends",
                  "--no-suggests", "--no-conflicts", "--no-breaks", "--no-replaces",
                  "--no-enhances", package])
    return {line.split(":")[0] for line in listed.splitlines() if line[:1].isalnum()}


def require_exact_dependencies(package, files):
    owners = {path: package_of(path) for path in files}
    for plugin, purpose in PLUGINS.items():
        if not any(Path(path).name.startswith(plugin) for path in files):
            raise Failure(f"{plugin} was not loaded: {purpose}")
    reached = everything_depended_on(package)
    lacking = {path: owner for path, owner in owners.items()
               if owner not in reached and not Path(path).name.startswith(tuple(OPTIONAL))}
    if lacking:
        raise Failure(f"used, and not depended on: {lacking}")
    idle = depended_on(package) - set(owners.values())
    if idle:
        raise Failure(f"depended on, and not used: {sorted(idle)}")


def main():
    package, program = sys.argv[1:]
    with Stage() as stage, Editor(stage, program) as editor:
        open_play_and_save(stage, editor)
        print("ok    the installed program opens a file, plays it bit for bit, and saves it")
        files = loaded_files(editor.process.pid)
        code = editor.close()
        if code != 0:
            raise Failure(f"the program ended with {code}:\n{editor.process.log()}")
        print("ok    it ends with its window")
    require_exact_dependencies(package, files)
    print(f"ok    the dependencies are exact: {len(files)} libraries and plugins were loaded")


if __name__ == "__main__":
    try:
        main()
    except Failure as failure:
        sys.exit(f"use_installed: {failure}")
