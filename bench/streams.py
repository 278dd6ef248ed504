"""What a recorded stream shows, when it arrived and how good it looks."""

import json
import math
import os
import statistics
import subprocess

from running import NotMeasured


def percentile(values, share):
    """The value that `share` of the values do not exceed."""
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, math.ceil(share * len(ordered)) - 1)] if ordered else None


def psnr(mean_squared_error):
    """Decibels; a perfect picture counts as one with an error of one step in a thousand samples."""
    return 10 * math.log10(255 * 255 / max(mean_squared_error, 1e-3))


class Picture:
    def __init__(self, arrival, index, damaged, size):
        self.arrival, self.index, self.damaged, self.size = arrival, index, damaged, size


def is_comparable(errors):
    """Is any of the compared indices shown?"""
    return any(not row[7] for row in errors)


class Quality:
    """PSNR against the screen, from the mean error over the compared indices: of the first and of the last picture that
    shows each, and of what was seen at last of all of them, lost ones too."""

    def __init__(self, errors):
        def decibels(rows, first_column):
            planes = [statistics.fmean(row[first_column + i] for row in rows) for i in range(3)]
            return psnr(planes[0]), psnr((4 * planes[0] + planes[1] + planes[2]) / 6)

        shown = [row for row in errors if not row[7]]
        self.compared, self.lost = len(errors), len(errors) - len(shown)
        self.first_luma, self.first_all = decibels(shown, 1)
        self.settled_luma, self.settled_all = decibels(shown, 4)
        self.seen_luma, self.seen_all = decibels(errors, 4)

    def record(self):
        return vars(self)


class Stream:
    """A candidate's stream of a scene. `drawn` is the scene's log; what was drawn before `since` (ns) belongs to
    the start-up and does not count."""

    def __init__(self, build, candidate, scene_name, size, fps, drawn, since, compare=12):
        indices = sorted(index for index, moment in drawn.items() if moment >= since) or [max(drawn)]
        every = max(1, len(indices) // compare) if compare else 1 << 31
        tool = os.path.join(build, "bench", "quillon-stream-check")
        result = subprocess.run(
            [tool, scene_name, size, str(fps), candidate.stream_path, str(indices[0]), str(every)],
            capture_output=True, text=True, timeout=300, check=False)
        if result.returncode:
            raise NotMeasured(result.stderr.strip())
        report = json.loads(result.stdout)
        ends = [end for end, _, _ in report["pictures"]]
        if not ends:
            raise NotMeasured("the stream has no picture")
        moments = candidate.arrivals(ends)
        self.pictures = [
            Picture(moment, index, damaged, end - start)
            for moment, start, (end, index, damaged) in zip(moments, [0, *ends], report["pictures"])]
        self.errors = report["errors"]
        self.quality = Quality(self.errors) if is_comparable(self.errors) else None
        self._drawn, self._since = drawn, since

    def within(self, start, end):
        return [picture for picture in self.pictures if start <= picture.arrival < end]

    def latencies(self, first_seen=None):
        """Milliseconds from the scene's drawing request to the arrival of the first picture that shows it, per index.
        `first_seen` replaces the arrivals: index -> moment."""
        if first_seen is None:
            first_seen = {}
            for picture in self.pictures:
                if picture.index is not None:
                    first_seen.setdefault(picture.index, picture.arrival)
        return [(first_seen[index] - moment) / 1e6 for index, moment in self._drawn.items()
                if moment >= self._since and index in first_seen]

    def missed(self, start, end):
        """(How many indices drawn in that time were never seen, how many there were.)"""
        seen = {picture.index for picture in self.pictures}
        drawn = [index for index, moment in self._drawn.items() if start <= moment < end]
        return sum(index not in seen for index in drawn), len(drawn)

    def damaged(self):
        return sum(picture.damaged for picture in self.pictures)
