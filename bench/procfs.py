"""What Linux knows of running processes: CPU time, memory, wake-ups."""

import os
import time


def _children():
    """Parent -> children of all processes."""
    result = {}
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open(f"/proc/{entry}/stat") as file:
                parent = int(file.read().rpartition(")")[2].split()[1])
        except OSError:
            continue
        result.setdefault(parent, []).append(int(entry))
    return result


def tree(pid):
    """The process and everything that it started."""
    children, result = _children(), [pid]
    for one in result:
        result.extend(children.get(one, []))
    return result


def _tasks(pid):
    try:
        return [f"/proc/{pid}/task/{task}" for task in os.listdir(f"/proc/{pid}/task")]
    except OSError:
        return []


def _first_number(path):
    try:
        with open(path) as file:
            return int(file.read().split()[0])
    except (OSError, IndexError):
        return 0


def _ticks_seconds(pid):
    """User and system time, in the kernel's steps of 10 ms."""
    try:
        with open(f"/proc/{pid}/stat") as file:
            fields = file.read().rpartition(")")[2].split()
    except OSError:
        return 0.0
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def busy_cores(seconds=1):
    """How many cores are at work, over a moment."""

    def ticks():
        with open("/proc/stat") as file:
            fields = [int(word) for word in file.readline().split()[1:9]]
        return sum(fields) - fields[3] - fields[4]  # all but idle and waiting

    before = ticks()
    time.sleep(seconds)
    return (ticks() - before) / os.sysconf("SC_CLK_TCK") / seconds


class CpuMeter:
    """CPU seconds of a process tree since the meter was made.

    The scheduler's own counters of the threads are exact to the nanosecond, which a caret needs; they
    leave out threads that have ended, which user and system time keeps.
    """

    def __init__(self, pid):
        self._pids = tree(pid)
        self._threads = self._thread_seconds()
        self._ticks = self._tick_seconds()
        self._start = time.monotonic()

    def _thread_seconds(self):
        return sum(_first_number(f"{task}/schedstat") for pid in self._pids for task in _tasks(pid)) / 1e9

    def _tick_seconds(self):
        return sum(_ticks_seconds(pid) for pid in self._pids)

    def per_second(self):
        threads = self._thread_seconds() - self._threads
        ticks = self._tick_seconds() - self._ticks
        used = ticks if ticks > threads + 0.05 else threads
        return used / (time.monotonic() - self._start)


def wakeups(pid):
    """How often the process's threads have gone to sleep so far."""
    total = 0
    for task in _tasks(pid):
        try:
            with open(f"{task}/status") as file:
                for line in file:
                    if line.startswith("voluntary_ctxt_switches:"):
                        total += int(line.split()[1])
        except OSError:
            pass
    return total


def peak_memory_mib(pid):
    """The most memory that was ever resident, or None."""
    try:
        with open(f"/proc/{pid}/status") as file:
            for line in file:
                if line.startswith("VmHWM:"):
                    return int(line.split()[1]) / 1024
    except OSError:
        pass
    return None
