"""keeper.py FOLDER PROGRAM...: runs the program until standard input ends, which it also does when whoever holds its other
end is killed. Then nothing is left of the program, of what it has started, and of the folder."""

import os
import shutil
import signal
import subprocess
import sys


def main():
    folder, program = sys.argv[1], sys.argv[2:]
    kept = subprocess.Popen(program, stdin=subprocess.DEVNULL, start_new_session=True)
    while os.read(sys.stdin.fileno(), 1):
        pass
    try:
        os.killpg(kept.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    kept.wait()
    shutil.rmtree(folder, ignore_errors=True)


main()
