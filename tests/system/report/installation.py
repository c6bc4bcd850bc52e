"""A private installation with access caches, and what the tool says of them."""

import json
import pathlib
import shutil
import subprocess
import tempfile


class Installation:
    def __init__(self, programs):
        self._programs = pathlib.Path(programs)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="report-root-"))

    def close(self):
        shutil.rmtree(self.folder)

    def _run(self, program, *arguments, text=None, statuses=(0,)):
        command = [self._programs / program, *map(str, arguments), "--root", self.folder]
        result = subprocess.run(command, input=text, capture_output=True, text=True, timeout=120, check=False)
        if result.returncode not in statuses:
            raise AssertionError(f"{command} ended with {result.returncode}: {result.stderr}")
        return result.stdout

    def compile(self, cache, policy):
        """Makes a cache of a policy document, given as a path or as a value."""
        if not isinstance(policy, (str, pathlib.Path)):
            path = self.folder / f"{cache}.json"
            path.write_text(json.dumps(policy), encoding="utf-8")
            policy = path
        self._run("ksrbac-sandbox", "compile", policy, "--id", cache)

    def generate(self, cache, objects, seed=1):
        self._run("ksrbac-sandbox", "generate", "--objects", objects, "--seed", seed, "--id", cache)

    def report(self, cache, *more):
        """The path of a new page about the cache."""
        path = self.folder / f"{cache}.html"
        self._run("ksrbac", "--log-level", "17", "report", "--cache", cache, "--output", path, *more)
        return path

    def explain(self, cache, roles, operation, objects):
        """The answers of `check --explain` about the objects."""
        lines = self._run("ksrbac", "--log-level", "17", "--json", "check", "--cache", cache, "--operation", operation,
                          f"--roles={','.join(map(str, roles))}", "--explain", "--objects-from", "-",
                          text="".join(each + "\n" for each in objects), statuses=(0, 1))
        return [json.loads(line) for line in lines.splitlines()]

    def names(self, cache):
        """The objects that the cache holds."""
        return [line.split(",")[0] for line in self.dump(cache)]

    def dump(self, cache):
        """The lines of `cache dump` as a table, without its head."""
        return self._run("ksrbac", "cache", "dump", "--format", "csv", cache).splitlines()[1:]

    def operations(self):
        lines = self._run("ksrbac", "--json", "operations").splitlines()
        return {entry["operation"]: entry["bit"] for entry in map(json.loads, lines)}

    def differences(self, before, after):
        """The lines of `cache diff`, each as its fields."""
        lines = self._run("ksrbac", "cache", "diff", before, after, statuses=(0, 1)).splitlines()
        return [line.split("\t") for line in lines]

    def may(self, cache, role, item):
        """The operations that a role may perform on an object."""
        lines = self._run("ksrbac", "--log-level", "17", "what-can", "--cache", cache, f"--roles={role}", item,
                          statuses=(0, 1))
        return sorted(lines.split())
