#!/usr/bin/env python3
"""Counts which sentences and which moves of the walk the made pairs lead the model to.

    coverage.py [FIRST [COUNT]]

Every row of the wording tables is listed with the number of times it spoke; the rows that never
did come last.
"""

import sys
import time
from collections import Counter

from changelist_model import Comparison
from mutate import pair
from wording_rows import ADDITIONS, WORDING
from xmeml_tree import parse


def main():
    first, count = (int(each) for each in (sys.argv[1:] + ["0", "2000"][len(sys.argv) - 1:])[:2])
    hits, slowest = Counter(), (0, first)
    for seed in range(first, first + count):
        started = time.monotonic()
        comparison = Comparison(*(parse(each) for each in pair(seed)))
        comparison.changelist()
        hits.update(comparison.hits)
        slowest = max(slowest, (time.monotonic() - started, seed))
    for line, times in sorted((str(what), times) for what, times in hits.items()):
        print("%7i  %s" % (times, line))
    print("slowest: seed %i" % slowest[1])
    never = [each for each in ADDITIONS + WORDING if not hits[each]]
    print("never: %i of %i rows" % (len(never), len(ADDITIONS + WORDING)))
    for each in never:
        print("         %s" % each)


if __name__ == "__main__":
    main()
