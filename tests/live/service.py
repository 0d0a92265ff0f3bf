"""The unit that packaging/ has for the agent: what it says, and the filter of system calls that it has the
agent run under.

    /usr/bin/python3 tests/live/service.py COMMAND [ARGUMENT...]

executes a command under that filter. What the unit refuses with an error ends it here, so that no test
passes for want of a call that went wrong unseen.
"""

import os
import pathlib
import re
import socket
import subprocess
import sys

PACKAGING = pathlib.Path(__file__).resolve().parents[2] / "packaging"
UNIT = PACKAGING / "intfaddr.service"
# What the agent does without: the lower priority of the process in which it tries something.
REFUSED = ["setpriority"]


def values(key):
    """All that the unit gives for a key, in order."""
    return [word for line in re.findall(rf"^{key}=(.*)$", UNIT.read_text(), re.MULTILINE)
            for word in line.split()]


def members(group):
    """The system calls of a group, and of those that it has within it."""
    listed = subprocess.run(["systemd-analyze", "syscall-filter", "--no-pager", group], check=True,
                            capture_output=True, text=True).stdout
    names = [line.strip() for line in listed.splitlines()[1:] if not line.strip().startswith("#")]
    return [one for name in names if name
            for one in (members(name) if name.startswith("@") else [name])]


def allowed():
    # systemd adds these by itself.
    return {one for word in ["@default", *values("SystemCallFilter")]
            for one in (members(word) if word.startswith("@") else [word])}


def install_filter():
    import seccomp

    calls = seccomp.SyscallFilter(seccomp.KILL_PROCESS)

    def rule(action, call, *conditions):
        try:
            calls.add_rule(action, call, *conditions)
        except (OSError, RuntimeError) as error:
            if seccomp.resolve_syscall(seccomp.Arch(), call) >= 0:
                raise RuntimeError(f"{call}: {error}") from error
            # One of another architecture, or newer than the library.

    for call in allowed() - {"socket"}:
        rule(seccomp.ALLOW, call)
    for family in values("RestrictAddressFamilies"):
        rule(seccomp.ALLOW, "socket", seccomp.Arg(0, seccomp.EQ, getattr(socket, family)))
    for call in REFUSED:
        rule(seccomp.ERRNO(1), call)
    calls.load()


if __name__ == "__main__":
    install_filter()
    os.execv(sys.argv[1], sys.argv[1:])
