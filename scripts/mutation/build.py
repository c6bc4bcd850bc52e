"""A private copy of the tree, its build, and what a change of a source concerns there."""

import collections
import fnmatch
import os
import pathlib
import re
import shlex
import shutil
import subprocess

PRESET = "release"
LEFT_OUT = {".git", "build", "__pycache__", ".cache"}
# What a change is compiled with beside the options of the build: quickly, and whatever the compiler thinks of it.
HASTE = ["-O1", "-g0", "-w"]


class Unusable(Exception):
    """The tree or its tests cannot be used."""


def copy_tree(source, target):
    """Makes the copy equal. Files that are equal already keep their times, so that they are not compiled again."""
    wanted = set()
    for folder, folders, files in os.walk(source):
        folders[:] = [name for name in folders if name not in LEFT_OUT]
        for name in files:
            path = pathlib.Path(folder, name)
            copy = target / path.relative_to(source)
            wanted.add(copy)
            if not copy.exists() or copy.read_bytes() != path.read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(path, copy)
    for folder, folders, files in os.walk(target):
        folders[:] = [name for name in folders if name not in LEFT_OUT]
        for name in files:
            if pathlib.Path(folder, name) not in wanted:
                os.remove(pathlib.Path(folder, name))


class Programs:
    """Which test programs look at a source, and how they are run: scripts/mutation/programs."""

    def __init__(self, tree):
        self._tree = tree
        self._rules, self.arguments = [], {}
        for line in (tree / "scripts/mutation/programs").read_text(encoding="utf-8").splitlines():
            words = line.partition("#")[0].split()
            if words and words[0] == "run":
                self.arguments[words[1]] = words[2:]
            elif words:
                self._rules.append((words[0], words[1:]))

    def of(self, source):
        found = self._mirrored(source)
        for pattern, names in self._rules:
            if fnmatch.fnmatch(source, pattern):
                for name in names:
                    found = [other for other in found if not fnmatch.fnmatch(other, name.lstrip("-"))]
                    found += [] if name.startswith("-") else [name]
        return found

    def _mirrored(self, source):
        folder = self._tree / "tests" / pathlib.PurePath(source).parent.relative_to("src")
        path = folder / "CMakeLists.txt"
        return re.findall(r"^keepsafe_test\((\w+)", path.read_text(encoding="utf-8"), re.M) if path.exists() else []


class Build:
    """The build of the copy: which objects a source is in, and which files those objects are linked into."""

    def __init__(self, copy, programs, jobs):
        self.copy, self.folder = copy, copy / "build" / PRESET
        environment = dict(os.environ, CCACHE_BASEDIR=str(copy), CCACHE_NOHASHDIR="1")
        if shutil.which("ccache"):
            for language in ("C", "CXX"):
                environment.setdefault(f"CMAKE_{language}_COMPILER_LAUNCHER", "ccache")
        self._run(["cmake", "--preset", PRESET, "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"], copy, environment)
        self._run(["cmake", "--build", str(self.folder), "--parallel", str(jobs), "--target", *programs], copy,
                  environment)
        self._commands = self._commands_of(programs)
        self._compiled_from = self._dependencies()

    @staticmethod
    def _run(command, folder, environment=None):
        done = subprocess.run(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                              text=True, check=False)
        if done.returncode != 0:
            raise Unusable(f"{shlex.join(command)} failed:\n{done.stdout[-4000:]}{done.stderr[-4000:]}")
        return done.stdout

    def _commands_of(self, programs):
        """The commands that make objects, libraries and programs, each by its result."""
        found = {}
        for line in self._run(["ninja", "-t", "commands", *programs], self.folder).splitlines():
            words = shlex.split(line)
            words = words[2:] if words[:2] == [":", "&&"] else words
            words = words[:words.index("&&")] if "&&" in words else words
            if "-o" in words:
                found[words[words.index("-o") + 1]] = words
        return found

    def _dependencies(self):
        """The objects by the sources of the tree that they were compiled from."""
        found, current = collections.defaultdict(set), None
        for line in self._run(["ninja", "-t", "deps"], self.folder).splitlines():
            if not line.startswith(" "):
                current = line.partition(":")[0]
            else:
                path = os.path.normpath(self.folder / line.strip())
                if path.startswith(f"{self.copy}/src/"):
                    found[os.path.relpath(path, self.copy)].add(current)
        return found

    def objects(self, source, programs):
        """The objects of the libraries and of the named programs."""
        links = [words for result, words in self._commands.items() if self._counts(result, programs)]
        linked = {word for words in links for word in words}
        return sorted(self._compiled_from[source] & linked)

    def _counts(self, result, programs):
        return "-c" not in self._commands[result] and (
            "-shared" in self._commands[result] or os.path.basename(result) in programs)

    def compilation(self, item, target):
        """The command that compiles an object from a worker's own sources into its folder."""
        words = [word.replace(f"{self.copy}/src", f"{target}/src") for word in self._commands[item]]
        for option in ("-MF", "-MT"):
            if option in words:
                words[words.index(option) + 1] = f"{target}/depends"
        words[words.index("-o") + 1] = str(target / item)
        return words[:1] + words[1:words.index("-c")] + HASTE + words[words.index("-c"):]

    def links(self, items, programs, target):
        """Commands that link again what holds one of the objects, by their results."""
        found = {}
        for result, words in self._commands.items():
            if self._counts(result, programs) and not set(items).isdisjoint(words):
                found[result] = [str(target / word) if word in items or word == result else word for word in words]
        return found

    def soname(self, result):
        return next((word.rpartition(",")[2] for word in self._commands[result] if word.startswith("-Wl,-soname,")),
                    None)
