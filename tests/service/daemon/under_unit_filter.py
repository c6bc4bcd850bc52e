#!/usr/bin/env python3
"""under_unit_filter.py UNIT PROGRAM [ARGUMENT...]: runs the program with the filter of system calls that the unit of
systemd has: a call that the unit does not allow fails with EPERM, which its SystemCallErrorNumber= says."""

import ctypes
import errno
import os
import subprocess
import sys

FAIL = 0x00050000 | errno.EPERM
ALLOW = 0x7FFF0000


def calls_of(name):
    """The system calls of a name: itself, or what the group holds, also through other groups."""
    if not name.startswith("@"):
        return {name}
    listed = subprocess.run(["systemd-analyze", "syscall-filter", "--no-pager", name], check=True,
                            capture_output=True, text=True, env={**os.environ, "SYSTEMD_COLORS": "0"})
    members = [line.strip() for line in listed.stdout.splitlines()[1:]]
    return set().union(*(calls_of(member) for member in members if member and not member.startswith("#")))


def allowed_by(unit):
    allowed = calls_of("@default")
    with open(unit, encoding="utf-8") as lines:
        for line in lines:
            key, _, value = line.strip().partition("=")
            if key != "SystemCallFilter":
                continue
            calls = set().union(*(calls_of(name) for name in value.lstrip("~").split()))
            allowed = allowed - calls if value.startswith("~") else allowed | calls
    return allowed


def load(allowed):
    library = ctypes.CDLL("libseccomp.so.2", use_errno=True)
    library.seccomp_init.restype = ctypes.c_void_p
    context = ctypes.c_void_p(library.seccomp_init(ctypes.c_uint32(FAIL)))
    for call in allowed:
        number = library.seccomp_syscall_resolve_name(call.encode())
        if number >= 0:
            failure = library.seccomp_rule_add(context, ctypes.c_uint32(ALLOW), ctypes.c_int(number), 0)
            if failure != 0:
                sys.exit(f"cannot allow {call}: {os.strerror(-failure)}")
    failure = library.seccomp_load(context)
    if failure != 0:
        sys.exit(f"cannot load the filter: {os.strerror(-failure)}")


def main():
    allowed = allowed_by(sys.argv[1])
    if len(allowed) < 100:
        sys.exit(f"{sys.argv[1]} allows only {len(allowed)} system calls")
    load(allowed)
    os.execv(sys.argv[2], sys.argv[2:])


main()
