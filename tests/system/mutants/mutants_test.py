"""mutants_test.py SCRIPTS: holds scripts/mutants to what it promises, in a copy of the small tree beside this file."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

SCRIPTS = pathlib.Path(sys.argv[1])
SMALL_TREE = pathlib.Path(__file__).resolve().parent / "tree"
SOURCE = "src/sums/sums.cpp"

BOUNDARY = "- if (value > limit) {\n+ if (value >= limit) {\n"
SWAPPED = ("- int difference(int left, int right) { return subtract(left, right); }\n"
           "+ int difference(int left, int right) { return subtract(right, left); }\n")


def heed_interrupts():
    """Also where the test runs in the background of a shell, which ignores them."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)


class Tree:
    def __init__(self, folder):
        self.tree = folder / "checkout"
        self._folder = folder
        shutil.copytree(SMALL_TREE, self.tree)
        (self.tree / "scripts/mutation").mkdir(parents=True)
        shutil.copy(SCRIPTS / "mutants", self.tree / "scripts")
        for path in (SCRIPTS / "mutation").glob("*.py"):
            shutil.copy(path, self.tree / "scripts/mutation")
        self.write("scripts/mutation/programs", "# the mirrored folder's alone\n")
        self.explain("")

    def write(self, path, text):
        (self.tree / path).write_text(text, encoding="utf-8")

    def explain(self, text):
        self.write("scripts/mutation/equivalents", text)

    def run(self, *arguments):
        """Exit status, output, messages."""
        process = self.start(*arguments)
        out, messages = process.communicate()
        return process.returncode, out, messages

    def start(self, *arguments):
        environment = {key: value for key, value in os.environ.items() if "LAUNCHER" not in key}
        command = [sys.executable, self.tree / "scripts/mutants", "--folder", self._folder / "work", *arguments]
        return subprocess.Popen(command, cwd=self.tree, env=environment, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True, preexec_fn=heed_interrupts)

    def files(self):
        return {path: path.read_bytes() for path in self.tree.rglob("*") if path.is_file()}


def expect(what, is_so, *seen):
    if not is_so:
        sys.exit(f"{what}:\n" + "\n".join(map(str, seen)))


def check_lists_each_kind(tree):
    status, out, _ = tree.run("--list")
    kinds = {line.rpartition(": ")[2] for line in out.splitlines() if line.startswith("src/")}
    expect("--list names changes of each kind", status == 0 and kinds == {
        "arithmetic", "boundary", "constant", "negation", "removed statement", "swapped arguments"}, out)
    expect("--list shows a change whole", f"{SOURCE}:15: boundary\n{BOUNDARY}" in out, out)


def check_a_choice_depends_on_the_seed_alone(tree):
    choices = [tree.run("--sample", "4", "--seed", seed, "--jobs", "2") for seed in ("1", "1", "2")]
    planted = [sorted(line for line in messages.splitlines() if SOURCE in line) for _, _, messages in choices]
    expect("the same seed makes the same choice", planted[0] == planted[1] and len(planted[0]) == 4, planted)
    expect("another seed makes another choice", planted[0] != planted[2], planted)


def check_survivors_are_shown_and_counted(tree):
    before = tree.files()
    status, out, messages = tree.run("--all", SOURCE)
    expect("survivors are shown and are a failure", status == 1 and f"{SOURCE}:15: boundary\n{BOUNDARY}" in out and
           f"{SOURCE}:21: swapped arguments\n{SWAPPED}" in out, out, messages)
    expect("a program without end is a failed one", "(1 by the time limit)" in out, out)
    expect("what no compiler takes is not counted", "not compiled" in messages and " planted, " in out, out, messages)
    expect("the checkout is as it was", tree.files() == before)


def check_an_interrupt_reports_what_was_tried(tree):
    process = tree.start("--all", "--jobs", "1")
    while not process.stderr.readline().startswith(("mutants: killed", "mutants: survived")):
        pass
    process.send_signal(signal.SIGINT)
    out, messages = process.communicate()
    planted = re.search(r"^(\d+) planted, ", out, re.M)
    everything = len(re.findall("^src", tree.run("--list")[1], re.M))
    expect("an interrupt reports what was tried", "interrupted" in messages and planted and
           0 < int(planted[1]) < everything, out, messages)


def check_what_is_explained_is_no_failure(tree):
    entry = f"{SOURCE}\n{BOUNDARY}= at the limit both are the limit\n"
    tree.explain(entry)
    status, out, _ = tree.run(f"{SOURCE}:15")
    expect("an explained survivor is no failure", status == 0 and "1 survived, 1 of them explained" in out, out)
    tree.explain(entry + f"\n{SOURCE}\n- if (value > 7) {{\n+ if (value >= 7) {{\n= the line is gone\n")
    status, out, _ = tree.run(f"{SOURCE}:15")
    expect("an entry that fits nothing is told", status == 1 and "nothing fits this entry" in out and
           "- if (value > 7) {" in out, out)
    tree.explain(f"{SOURCE}\n+ the wrong way round\n")
    status, _, messages = tree.run("--list")
    expect("a malformed list is told with its place", status == 1 and "equivalents:2: expected" in messages, messages)
    tree.explain("")


def check_what_cannot_be_used_is_told(tree):
    status, _, messages = tree.run("CMakeLists.txt")
    expect("only sources are changed", status == 1 and "not a file in" in messages, messages)
    tree.write("scripts/mutation/programs", f"{SOURCE} -*\n")
    status, _, messages = tree.run(SOURCE)
    expect("a source needs a test", status == 1 and "no test program" in messages, messages)
    tree.write("scripts/mutation/programs", "run sums_test --any\n")
    tree.write("tests/sums/sums_test.cpp", "int main() { return 1; }\n")
    status, _, messages = tree.run(SOURCE)
    expect("tests must pass first", status == 1 and "sums_test fails without a change" in messages, messages)


with tempfile.TemporaryDirectory() as scratch:
    small = Tree(pathlib.Path(scratch))
    for check in (check_lists_each_kind, check_a_choice_depends_on_the_seed_alone,
                  check_survivors_are_shown_and_counted, check_an_interrupt_reports_what_was_tried,
                  check_what_is_explained_is_no_failure, check_what_cannot_be_used_is_told):
        check(small)
        print(f"passed: {check.__name__}")
