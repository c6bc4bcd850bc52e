"""One change at a time: plant, compile, link, run."""

import os
import pathlib
import resource
import shutil
import signal
import subprocess
import tempfile
import time

MOST_MEMORY = 16 << 30  # of addresses; some tests map large empty files
PATIENCE = 10           # seconds beside five times what the tests usually take
COMPILE_LIMIT = 600


def _limit():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))


def _end(process):
    """With all processes that the program has started in its session."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()


def run(command, limit, folder, environment):
    """Exit status; None after the time limit."""
    process = subprocess.Popen(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True,
                               preexec_fn=_limit)
    try:
        return process.wait(limit)
    except subprocess.TimeoutExpired:
        return None
    finally:
        _end(process)


class Worker:
    """Sources, objects and results of its own beside the build that all share."""

    def __init__(self, build, programs, folder):
        self._build, self._programs, self._folder = build, programs, folder
        shutil.rmtree(folder, ignore_errors=True)
        shutil.copytree(build.copy / "src", folder / "src")

    def run_program(self, name, limit):
        """Exit status and seconds."""
        program = self._folder / "bin" / name
        program = program if program.exists() else self._build.folder / "bin" / name
        with tempfile.TemporaryDirectory(prefix="mutants-", ignore_cleanup_errors=True) as scratch:
            os.chmod(scratch, 0o755)
            environment = dict(os.environ, TMPDIR=scratch, LD_LIBRARY_PATH=str(self._folder / "lib"))
            start = time.monotonic()
            status = run([str(program), *self._programs.arguments.get(name, []), "--gtest_fail_fast"], limit, scratch,
                         environment)
            return status, time.monotonic() - start

    def try_change(self, change, programs):
        """What becomes of it: "not compiled", "killed", "hung" or "survived". Programs are (name, usual seconds)."""
        source = self._folder / change.file
        original = (self._build.copy / change.file).read_text(encoding="utf-8")
        try:
            source.write_text(change.applied(original), encoding="utf-8")
            if not self._make(change, [name for name, _ in programs]):
                return "not compiled"
            for name, seconds in programs:
                status, _ = self.run_program(name, PATIENCE + 5 * seconds)
                if status != 0:
                    return "hung" if status is None else "killed"
            return "survived"
        finally:
            source.write_text(original, encoding="utf-8")
            for folder in ("bin", "lib"):
                shutil.rmtree(self._folder / folder, ignore_errors=True)

    def _make(self, change, programs):
        items = self._build.objects(change.file, programs)
        links = self._build.links(items, programs, self._folder)
        commands = [(item, self._build.compilation(item, self._folder)) for item in items] + list(links.items())
        environment = dict(os.environ, CCACHE_DISABLE="1")
        for result, command in commands:
            path = pathlib.Path(self._folder, result)
            path.parent.mkdir(parents=True, exist_ok=True)
            if run(command, COMPILE_LIMIT, self._build.folder, environment) != 0:
                return False
            if self._build.soname(result):
                (path.parent / self._build.soname(result)).symlink_to(path.name)
        return bool(links)
