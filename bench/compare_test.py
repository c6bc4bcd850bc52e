"""compare_test.py BENCH_COMPARE FIGURES: holds scripts/bench-compare to what it promises."""

import copy
import json
import pathlib
import subprocess
import sys
import tempfile

script, path = sys.argv[1:]
figures = json.loads(pathlib.Path(path).read_text(encoding="utf-8"))
measured = next(result["name"] for result in figures["results"] if result["unit"] == "ns")
rate = next(result["name"] for result in figures["results"] if result["unit"] == "checks/s")


def compared_with(change):
    """Exit status and output for the figures and a changed copy of them."""
    other = copy.deepcopy(figures)
    change(other)
    with tempfile.TemporaryDirectory() as folder:
        changed = pathlib.Path(folder) / "changed.json"
        changed.write_text(json.dumps(other), encoding="utf-8")
        done = subprocess.run([sys.executable, script, path, changed], capture_output=True, text=True, check=False)
    return done.returncode, done.stdout + done.stderr


def scaled(name, factor):
    def change(other):
        for result in other["results"]:
            if result["name"] == name:
                for key in ("median", "low", "high"):
                    result[key] *= factor
    return change


def expect(what, change, status, text):
    got, output = compared_with(change)
    if got != status or text not in output:
        sys.exit(f"{what}: status {got}, output:\n{output}")


count = len(figures["results"])
expect("equal figures are the same", lambda other: None, 0, f"0 slower, 0 faster, {count} same")
expect("twice the time is slower", scaled(measured, 2), 1, f"1 slower, 0 faster, {count - 1} same")
expect("half the time is faster", scaled(measured, 0.5), 0, f"0 slower, 1 faster, {count - 1} same")
expect("half the rate is slower", scaled(rate, 0.5), 1, f"1 slower, 0 faster, {count - 1} same")
expect("a missing measurement is named", lambda other: other["results"].pop(), 0, "only in the first file")
expect("another compiler is told", lambda other: other["machine"].update(compiler="other"), 0, "compiler differs")
expect("another file is refused", lambda other: other.pop("results"), 1, "not figures of ksrbac_bench")
