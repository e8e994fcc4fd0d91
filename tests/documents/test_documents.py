"""What the documents name is there: paths, commands, classes, variables and keys."""

import json
import re
import unittest
from email.utils import parsedate_to_datetime
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
DOCUMENTS = [ROOT / "README.md", ROOT / "CONTRIBUTING.md", *sorted((ROOT / "docs").glob("*.md"))]
CODE_FOLDERS = ("src", "tests", "resources", "translations", "benchmarks", "scripts",
                "packaging", "cmake")
SOURCE_SUFFIXES = {".h", ".cpp", ".py", ".txt", ".cmake", ".1", ".sh", ""}
#: Made by the commands around them, or on the user's machine.
MADE_BY_RUNNING = ("build/", "~/", "*.saving", "*.vela", ".vela", "Vela.ini")
#: Names of C++ or of data, which look like names of ours.
FOREIGN_NAMES = {"NaN"}
OWN_PYTHON = "/usr/bin/python3"


def sources():
    files = [path for folder in CODE_FOLDERS for path in (ROOT / folder).rglob("*")
             if path.is_file() and path.suffix in SOURCE_SUFFIXES and path != Path(__file__)]
    return "\n".join(path.read_text("utf-8", "replace") for path in files)


def without_blocks(text):
    return re.sub(r"^```.*?^```", "", text, flags=re.S | re.M)


def spans(text):
    return re.findall(r"`([^`\n]+)`", without_blocks(text))


def indented_commands(text):
    """Lines of code blocks made by indentation, with continued lines joined."""
    joined = without_blocks(text).replace("\\\n", " ")
    return [line.strip() for line in re.findall(r"^ {4}\S.*$", joined, flags=re.M)]


def diagrams(text):
    return re.findall(r"^```mermaid\n(.*?)^```", text, flags=re.S | re.M)


def libraries_of_the_build():
    """Each library of src, with those it links: in its own rule, or in one of its own."""
    libraries = {}
    for rules in (ROOT / "src").rglob("CMakeLists.txt"):
        text = re.sub(r"#.*", "", rules.read_text("utf-8"))
        for name, body in re.findall(r"vela_add_library\(\s*vela_(\w+)([^)]*)\)", text):
            linked = re.findall(r"\bvela_(\w+)", body.partition("LINKS")[2])
            libraries.setdefault(name, set()).update(linked)
        for name, body in re.findall(r"target_link_libraries\(\s*vela_(\w+)([^)]*)\)", text):
            linked = set(re.findall(r"\bvela_(\w+)", body)) - {"build_options"}
            libraries.setdefault(name, set()).update(linked)
    return libraries


def reachable(libraries, name):
    """The library and all that it links, directly or through others."""
    found, waiting = set(), [name]
    while waiting:
        library = waiting.pop()
        if library not in found:
            found.add(library)
            waiting.extend(libraries.get(library, ()))
    return found


def library_of(header):
    """The library of a file, by its path from src: that of its folder, but for one header."""
    if header == "engine/audiocontext.h":
        return "audio_context"
    return header.rpartition("/")[0].replace("/", "_")


def is_path(span):
    looks = "/" in span or re.search(r"\.(md|h|cpp|py|txt|json|ts)$", span)
    return bool(looks) and " " not in span and not span.startswith(("-", "http"))


class Documents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.texts = {path: path.read_text("utf-8") for path in DOCUMENTS}
        cls.code = sources()
        presets = json.loads((ROOT / "CMakePresets.json").read_text("utf-8"))
        cls.presets = {preset["name"] for preset in presets["configurePresets"]}
        cls.test_script = (ROOT / "test").read_text("utf-8")

    def each(self, find):
        """Every finding of `find` with its document; there is at least one."""
        found = [(path, name) for path, text in self.texts.items() for name in find(text)]
        self.assertGreater(len(found), 0)
        return found

    def knows(self, pattern):
        return re.search(pattern, self.code) is not None

    def subject(self, path, name):
        return self.subTest(document=path.name, names=name)

    def commands(self, text):
        starts = ("./", "cmake ", "scripts/", "build/", OWN_PYTHON)
        found = indented_commands(text) + [span for span in spans(text) if " " in span]
        return [command for command in found if command.startswith(starts)]

    def test_links_lead_somewhere(self):
        for path, target in self.each(lambda text: re.findall(r"\]\(([^)#]+)[^)]*\)", text)):
            with self.subject(path, target):
                if not target.startswith("http"):
                    self.assertTrue((path.parent / target).exists())

    def test_paths_exist(self):
        for path, span in self.each(lambda text: filter(is_path, spans(text))):
            with self.subject(path, span):
                self.assertTrue(span.startswith(MADE_BY_RUNNING) or self.is_there(span))

    def is_there(self, span):
        pattern = re.sub(r"<[^>]*>", "*", span).rstrip("/").removeprefix("./")
        anywhere = pattern if "/" in pattern else f"**/{pattern}"
        folders = [ROOT, *(ROOT / folder for folder in CODE_FOLDERS)]
        return any(next(iter(folder.glob(pattern if folder == ROOT else anywhere)), None)
                   for folder in folders)

    def test_names_of_code_exist(self):
        def names(text):
            for span in spans(text):
                if re.fullmatch(r"[A-Za-z]+(::\w+|\.\w+\(\)|\[\w+\])*(\(\))?", span) and \
                        (re.match(r"[A-Z]\w*[a-z]", span) or span.endswith(")")):
                    yield from re.findall(r"[A-Za-z]\w+", span)

        for path, name in self.each(names):
            with self.subject(path, name):
                if name not in FOREIGN_NAMES:
                    self.assertTrue(self.knows(rf"\b{name}\b"))

    def test_classes_in_diagrams_exist(self):
        def classes(text):
            for diagram in diagrams(text):
                yield from re.findall(r"\b(?:[A-Z][a-z]+){2,}\b", diagram)

        for path, name in self.each(classes):
            with self.subject(path, name):
                self.assertTrue(self.knows(rf"\bclass {name}\b"))

    def test_folders_in_diagrams_exist(self):
        text = self.texts[ROOT / "docs/architecture.md"]
        folders = re.findall(r"\[([a-z]+(?:/[a-z.]+)?)<br/>", diagrams(text)[0])
        self.assertGreater(len(folders), 8)
        for folder in folders:
            self.assertTrue((ROOT / "src" / folder).exists(), folder)

    def test_arrows_between_folders_are_those_of_the_build(self):
        drawing = diagrams(self.texts[ROOT / "docs/architecture.md"])[0]
        drawn = set(re.findall(r"^ *(\w+)(?:\[.*?\])? --> (\w+)", drawing, flags=re.M))
        built = {(name, link) for name, links in libraries_of_the_build().items()
                 for link in links}
        self.assertEqual(drawn, built)

    def test_a_folder_includes_only_what_its_library_links(self):
        # The compiler does not see to it: all folders share one include directory.
        libraries = libraries_of_the_build()
        included = 0
        for source in sorted((ROOT / "src").rglob("*.*")):
            if source.suffix not in {".h", ".cpp"}:
                continue
            library = library_of(source.relative_to(ROOT / "src").as_posix())
            self.assertIn(library, libraries)
            includes = re.findall(r'^ *# *include *([<"])([^>"]+\.h)[>"]',
                                  source.read_text("utf-8"), flags=re.M)
            for mark, header in includes:
                if mark == "<" and not (ROOT / "src" / header).exists():
                    continue  # another library's: <pulse/stream.h>
                included += 1
                with self.subject(source, header):
                    self.assertIn(library_of(header), reachable(libraries, library))
        self.assertGreater(included, 100)

    def test_every_thread_of_ours_is_in_the_table(self):
        table = self.texts[ROOT / "docs/architecture.md"].split("## Threads")[1].split("\n\n")[1]
        names = {name for row in table.splitlines()
                 for name in re.findall(r"`([a-z-]+)`", row.split("|")[1])}
        code = "\n".join(path.read_text("utf-8") for path in (ROOT / "src").rglob("*.cpp"))
        self.assertEqual(names, set(re.findall(r'"(audio-[a-z-]+|(?:project|import)-[a-z]+)"', code)))

    def test_the_tours_pictures_are_all_shown(self):
        tour = (ROOT / "scripts/tour").read_text("utf-8")
        listed = re.search(r"^DOCUMENTED = \((.*?)\)", tour, flags=re.S | re.M).group(1)
        taken = {f"{name}.png" for name in re.findall(r'"([\w-]+)"', listed)}
        self.assertEqual({path.name for path in (ROOT / "docs/images").glob("*.*")}, taken)
        for document in ("README.md", "docs/guide.md"):
            shown = re.findall(r"images/([\w-]+\.png)\)", self.texts[ROOT / document])
            self.assertEqual(set(shown), taken, document)

    def test_the_scope_is_kept_in_every_mode_size_and_density(self):
        kept = {path.name for path in (ROOT / "docs/images/scope").iterdir()}
        wanted = {f"{mode}-{size}{density}.png" for mode in ("waveform", "spectrum", "level")
                  for size in ("160x90", "640x360", "1600x300") for density in ("", "@2x")}
        self.assertEqual(kept, wanted)

    def test_presets_and_targets_exist(self):
        for path, command in self.each(self.commands):
            with self.subject(path, command):
                for preset in re.findall(r"--preset (\S+)|\bbuild/([a-z]+)/", command):
                    name = preset[0] or preset[1]
                    self.assertIn(name, self.presets)
                for target in re.findall(r"--target (\S+)", command):
                    self.assertTrue(self.knows(rf"(add_executable|add_custom_target)\({target}\b"))

    def test_commands_and_their_options_exist(self):
        for path, command in self.each(self.commands):
            with self.subject(path, command):
                for part in re.split(r"\s*(?:&&|,)\s*", command):
                    words = part.split()
                    program = words[1] if words[0] == OWN_PYTHON else words[0]
                    if program.startswith("build/"):
                        folder, name = program.split("/", 2)[2].rsplit("/", 1)
                        sources_of_it = (ROOT / folder / f"{name}.cpp")
                        self.assertTrue(sources_of_it.exists(), part)
                    elif "/" in program:
                        self.assertTrue((ROOT / program).is_file(), part)
                    if program == "./test":
                        for option in re.findall(r"--\w+", part):
                            self.assertTrue(option in self.test_script)

    def test_suites_and_functions_exist(self):
        for path, command in self.each(self.commands):
            with self.subject(path, command):
                for suite in re.findall(r"\btst_\w+", command):
                    self.assertTrue(list(ROOT.glob(f"tests/**/{suite}.cpp")), suite)
                for group, function in re.findall(r"\b([A-Z]\w+)\.(test_\w+)", command):
                    self.assertTrue(self.knows(rf"\bclass {group}\b"))
                    self.assertTrue(self.knows(rf"\bdef {function}\("))

    def test_variables_and_log_categories_exist(self):
        def named(text):
            for span in spans(text):
                if re.fullmatch(r"[A-Z]+(_[A-Z]+)+", span):
                    yield span
                yield from re.findall(r"(?:vela|media)(?:\.\w+)+(?=\.debug)", span)

        for path, name in self.each(named):
            with self.subject(path, name):
                self.assertTrue(name in self.code)

    def test_packages_are_those_that_are_installed(self):
        table = self.texts[ROOT / "README.md"].split("## What it is built with")[1]
        rows = re.findall(r"^\| ([a-z][^|]*) \|", table, flags=re.M)
        listed = {name.strip() for row in rows for name in row.split(",")} - {"package"}
        script = (ROOT / "scripts/dependencies.sh").read_text("utf-8")
        installed = set(re.findall(r"^([a-z0-9+.-]+) +(?:cmd:|pc:|-$)", script, flags=re.M))
        self.assertGreater(len(installed), 20)
        self.assertEqual(listed, installed)


class Speed(unittest.TestCase):
    """The rows of the benchmark programs, whose names they put together from literals."""

    def setUp(self):
        self.programs = {path.name: path.read_text("utf-8")
                         for path in sorted((ROOT / "benchmarks").glob("bench_*.cpp"))}

    def test_the_table_names_rows_that_are_printed(self):
        literals = {literal for code in self.programs.values()
                    for literal in re.findall(r'"([^"\\\n]{2,})"', code)}
        name = re.compile(rf"(?:{'|'.join(map(re.escape, literals))}|\d+)+")
        table = (ROOT / "README.md").read_text("utf-8").split("## Speed")[1].split("\n## ")[0]
        rows = re.findall(r"^\| ([^|]+) \|.*(?:yes|NO) \|$", table, flags=re.M)
        self.assertGreater(len(rows), 80)
        for row in rows:
            with self.subTest(row=row):
                self.assertRegex(row, rf"\A{name.pattern}\Z")

    def test_the_filter_is_asked_for_whole_rows(self):
        for program, code in self.programs.items():
            for asked in re.findall(r'wants\("([^"]*)"', code):
                with self.subTest(program=program, asked=asked):
                    self.assertGreater(code.count(f'"{asked}"'), 1)


class Version(unittest.TestCase):
    """The version stands in each of these places, and is the same."""

    def found(self, path, pattern):
        match = re.search(pattern, (ROOT / path).read_text("utf-8"), flags=re.M)
        self.assertIsNotNone(match, path)
        return match

    def test_the_version_is_the_same_everywhere(self):
        places = {
            "CMakeLists.txt": r"^project\(Vela VERSION ([\d.]+)",
            "src/settings/identity.h": r'\bkVersion\[\] = u"([\d.]+)"',
            "packaging/vela.1": r'^\.TH .* Editor ([\d.]+)"',
            "packaging/com.quorix.Vela.metainfo.xml": r'<release version="([\d.]+)"',
            "packaging/changelog.Debian": r"\Avela-audio-editor \(([\d.]+)-\d+\)",
            "CHANGELOG.md": r"^## \[(\d[\d.]*)\]",
        }
        versions = {path: re.sub(r"(\.0)+$", "", self.found(path, pattern).group(1))
                    for path, pattern in places.items()}  # 1.0 is 1.0.0
        self.assertEqual(len(set(versions.values())), 1, versions)

    def test_the_day_of_the_release_is_the_same_everywhere(self):
        metainfo = self.found("packaging/com.quorix.Vela.metainfo.xml",
                              r'<release version="[\d.]+" date="([\d-]+)"').group(1)
        changelog = self.found("CHANGELOG.md", r"^## \[\d[\d.]*\] - (.*)$").group(1)
        debian = self.found("packaging/changelog.Debian", r"^ -- .*>  (.*)$").group(1)
        day = parsedate_to_datetime(debian).date().isoformat()
        self.assertEqual({metainfo, changelog, day}, {metainfo})


def spelled(key):
    """A key as the sources name it, "Qt::CTRL | Qt::Key_O", as the documents do: Ctrl+O."""
    parts = re.findall(r"Qt::(?:Key_)?(\w+)", key)
    spelling = {"CTRL": "Ctrl", "SHIFT": "Shift", "ALT": "Alt", "Plus": "+", "Minus": "-"}
    return "+".join(spelling.get(part, part) for part in parts)


def keys_of_table(text, heading, column=0):
    """The keys in a column of the first table behind that heading."""
    table = re.search(r"(^\|.*?)\n\n", text.split(heading, 1)[1] + "\n\n", flags=re.S | re.M)
    rows = [line.strip("|").split("|") for line in table.group(1).splitlines()[2:]]
    return [key.strip() for row in rows for key in row[column].split(",")]


class Keys(unittest.TestCase):
    def setUp(self):
        window = (ROOT / "src/app/vela.cpp").read_text("utf-8")
        self.bound = [spelled(key) for key in re.findall(r"bind\((Qt::[^,]+),", window)]
        strip = (ROOT / "src/widgets/trackwidget.cpp").read_text("utf-8")
        keys = {spelled(key) for key in re.findall(r"case \(?(Qt::[^).:]+(?:::\w+)?)", strip)}
        self.strip = keys - {"Shift++"}  # the same key as +
        catalogue = (ROOT / "src/shortcuts/shortcutcatalogue.cpp").read_text("utf-8")
        self.catalogued = {spelled(key) for key in
                           re.findall(r"\),\s*(Qt::[\w:| ]+)\}", catalogue)}
        self.guide = (ROOT / "docs/guide.md").read_text("utf-8")
        self.readme = (ROOT / "README.md").read_text("utf-8")

    def test_the_sources_are_understood(self):
        self.assertEqual(len(self.bound), 10)
        self.assertEqual(len(self.catalogued), 24)
        self.assertEqual(len(self.strip), 10)

    def test_the_guide_lists_exactly_the_keys_that_work(self):
        listed = keys_of_table(self.guide, "## Keys")
        self.assertEqual(sorted(listed), sorted([*self.bound, "Shift+Space"]))

    def test_the_guide_lists_exactly_the_keys_of_a_strip(self):
        rows = re.findall(r"^\| a waveform \| ([^|]+) \|", self.guide, flags=re.M)
        listed = {key.strip() for row in rows for key in row.split(",")}
        self.assertEqual(listed, self.strip | {"Menu"})

    def test_the_manual_page_lists_exactly_the_keys_that_work(self):
        manual = (ROOT / "packaging/vela.1").read_text("utf-8")
        keys = manual.split(".SH KEYS")[1].split(".SH")[0]
        rows = re.findall(r"^\.TP\n\.BR? (.+)$", keys, flags=re.M)
        listed = {key.strip().replace("\\-", "-") for row in rows for key in row.split('", "')}
        with_ctrl = {key for key in self.strip if key.startswith("Ctrl+")}
        self.assertEqual(listed, {*self.bound, *self.strip, "Menu"} - with_ctrl)

    def test_the_readme_names_keys_that_work(self):
        named = [key for key in keys_of_table(self.readme, "## First steps", column=1)
                 if " " not in key]
        self.assertGreater(len(named), 5)
        self.assertEqual(set(named) - {*self.bound, "Shift+Space"}, set())

    def test_every_combination_named_is_known(self):
        for text in (self.guide, self.readme):
            for key in re.findall(r"\b(?:Ctrl|Shift|Alt)\+\S*\w|\bF\d+\b", text):
                self.assertIn(key, self.catalogued | self.strip | {"Shift+Space"})


if __name__ == "__main__":
    unittest.main()
