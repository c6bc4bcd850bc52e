"""The run of a plan, and its report."""

import collections
import concurrent.futures
import contextlib
import fcntl
import hashlib
import os
import pathlib
import queue
import sys

from mutation import equivalents
from mutation.build import Build, Programs, Unusable, copy_tree
from mutation.trial import Worker

LONGEST_USUAL_RUN = 600


def _say(text):
    print(f"mutants: {text}", file=sys.stderr, flush=True)


def _default_folder(tree):
    cache = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache")
    return cache / "keepsafe-rbac/mutants" / hashlib.sha256(str(tree).encode()).hexdigest()[:12]


@contextlib.contextmanager
def _held(folder):
    folder.mkdir(parents=True, exist_ok=True)
    with open(folder / "lock", "w", encoding="utf-8") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise Unusable(f"another run uses {folder}") from None
        yield


def _programs_of(plan, programs):
    found = {file: programs.of(file) for file in sorted({change.file for change in plan})}
    for file, names in found.items():
        if not names:
            raise Unusable(f"{file}: no test program; name one in scripts/mutation/programs")
    return found


def _usual_seconds(names, worker):
    """How long each program takes without a change."""
    found = {}
    for name in names:
        status, found[name] = worker.run_program(name, LONGEST_USUAL_RUN)
        if status != 0:
            raise Unusable(f"{name} fails without a change")
    return found


def _wait(tasks):
    """Until all are done or one has failed. Wakes now and then: a signal that another thread takes does not wake this one."""
    waits_end = concurrent.futures.FIRST_EXCEPTION
    while True:
        done, pending = concurrent.futures.wait(tasks, timeout=0.2, return_when=waits_end)
        if not pending or any(task.exception() for task in done):
            return


def _results(plan, programs, seconds, workers):
    """The results by change. An interrupt ends the run; what was tried until then is reported."""
    free = queue.SimpleQueue()
    for worker in workers:
        free.put(worker)

    def result(change):
        worker = free.get()
        try:
            order = sorted((seconds[name], name) for name in programs[change.file])
            outcome = worker.try_change(change, [(name, usual) for usual, name in order])
        finally:
            free.put(worker)
        _say(f"{outcome}: {change.text()}")
        return outcome

    with concurrent.futures.ThreadPoolExecutor(len(workers)) as pool:
        tasks = {change: pool.submit(result, change) for change in plan}
        try:
            _wait(tasks.values())
        except KeyboardInterrupt:
            _say("interrupted")
        pool.shutdown(cancel_futures=True)
    return {change: task.result() for change, task in tasks.items() if not task.cancelled()}


def _report(results, known, outdated):
    counts = collections.Counter(results.values())
    survivors = sorted(change for change, result in results.items() if result == "survived")
    unexplained = [change for change in survivors if equivalents.key_of(change) not in known]
    for change in unexplained:
        print(f"{change.text()}\n")
    for file, before, after in outdated:
        print(f"{file}: nothing fits this entry of scripts/mutation/equivalents\n- {before}\n+ {after}\n")
    print(f"{len(results)} planted, {len(results) - counts['not compiled']} compiled, "
          f"{counts['killed'] + counts['hung']} killed ({counts['hung']} by the time limit), "
          f"{len(survivors)} survived, {len(survivors) - len(unexplained)} of them explained")
    return 1 if unexplained or outdated else 0


def run(tree, plan, known, outdated, folder, jobs):
    folder = (folder or _default_folder(tree)).resolve()
    jobs = jobs or max(1, (os.cpu_count() or 1) // 2)
    with _held(folder):
        copy = folder / "tree"
        copy_tree(tree, copy)
        programs = Programs(copy)
        by_file = _programs_of(plan, programs)
        names = sorted({name for found in by_file.values() for name in found})
        _say(f"building {len(names)} test programs")
        build = Build(copy, names, jobs)
        workers = [Worker(build, programs, folder / f"worker{index}") for index in range(jobs)]
        _say("running them without a change")
        results = _results(plan, by_file, _usual_seconds(names, workers[0]), workers)
    return _report(results, known, outdated)
