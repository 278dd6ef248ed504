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


def busy_cores(seconds=1):
    """How many cores are at work, over a moment."""

    def ticks():
        with open("/proc/stat") as file:
            fields = [int(word) for word in file.readline().split()[1:9]]
        return sum(fields) - fields[3] - fields[4]  # all but idle and waiting

    before = ticks()
    time.sleep(seconds)
    return (ticks() - before) / os.sysconf("SC_CLK_TCK") / seconds


def _cpu_seconds(pid):
    """Of all threads, ended ones too, to the nanosecond, which a caret needs."""
    clock = ~pid << 3 | 2  # what clock_getcpuclockid answers
    try:
        return time.clock_gettime(clock)
    except OSError:
        return 0.0


class CpuMeter:
    """CPU seconds of a process tree since the meter was made."""

    def __init__(self, pid):
        self._pids = tree(pid)
        self._before = self._now()
        self._start = time.monotonic()

    def _now(self):
        return sum(map(_cpu_seconds, self._pids))

    def per_second(self):
        return (self._now() - self._before) / (time.monotonic() - self._start)


class WakeupMeter:
    """How often the threads that a process has now have gone to sleep since the meter was made."""

    def __init__(self, pid):
        self._pid = pid
        self._before = self._now()
        self._start = time.monotonic()

    def _now(self):
        """Task -> number."""
        result = {}
        for task in _tasks(self._pid):
            try:
                with open(f"{task}/status") as file:
                    result[task] = next(int(line.split()[1]) for line in file if line.startswith("voluntary_ctxt_switches:"))
            except (OSError, StopIteration):
                pass  # it has ended
        return result

    def per_second(self):
        seconds = time.monotonic() - self._start
        return sum(number - self._before.get(task, 0) for task, number in self._now().items()) / seconds


def _mib(path, name):
    """What a line of such a file in /proc tells, or None."""
    try:
        with open(path) as file:
            for line in file:
                if line.startswith(f"{name}:"):
                    return int(line.split()[1]) / 1024
    except OSError:
        pass
    return None


def peak_memory_mib(pid):
    """The most memory that was ever resident, or None."""
    return _mib(f"/proc/{pid}/status", "VmHWM")


def resident_memory_mib(pid):
    """The memory that is resident now, or None."""
    return _mib(f"/proc/{pid}/status", "VmRSS")


def proportional_memory_mib(pid):
    """The same with what several processes share divided among them, or None."""
    return _mib(f"/proc/{pid}/smaps_rollup", "Pss")
