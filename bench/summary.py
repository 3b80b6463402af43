"""Turns the output of the benchmarks (JSON, from standard input) into Markdown tables: the figures
that have a budget, the times beside those of other readers, and the growth of the special shapes."""

import json
import sys

SIZES = ("100kB", "10MB", "79MB")
LARGEST = SIZES[-1]

# What the figure says, the benchmark and the counter it comes from, the budget.
BUDGETS = (
    ("Reading and comparing both, to reading both", "Ratios", "to_parse", 1.5),
    ("The same, edits in place only", "RatiosInPlace", "to_parse", 1.5),
    ("Reading and comparing both, to pugixml reading both", "Ratios", "to_pugixml", 2.5),
    ("The same, edits in place only", "RatiosInPlace", "to_pugixml", 2.5),
    ("Time per byte, to that of 100 kB", "Ratios", "to_smallest", 1.3),
    ("The same, edits in place only", "RatiosInPlace", "to_smallest", 1.3),
    ("Peak memory, to the bytes of both", "PeakMemory", "to_bytes", 5),
)

TIMES = (
    ("Reading one", "ParseOne"),
    ("Reading both on two threads", "ParseBoth"),
    ("Reading both and comparing", "ParseBothAndCompare"),
    ("Comparing only", "CompareOnly"),
    ("Comparing only, edits in place only", "CompareOnlyInPlace"),
    ("pugixml, one", "PugixmlOne"),
    ("pugixml, both on two threads", "PugixmlBoth"),
    ("xmllint, one, as a process", "XmllintOne"),
)


def results(report):
    """The benchmarks of a report by family and argument."""
    found = {}
    for benchmark in report["benchmarks"]:
        family, argument = benchmark["name"].split("/")[:2]
        found[family, argument] = benchmark
    return found


def number(value):
    """A figure with three digits, or a dash where it was not measured."""
    if value is None:
        return "–"
    return f"{value:,.0f}" if value >= 100 else f"{value:.3g}"


def print_table(heads, rows):
    print("| " + " | ".join(heads) + " |")
    print("|---|" + "--:|" * (len(heads) - 1))
    for row in rows:
        print("| " + " | ".join(row) + " |")
    print()


def print_budgets(found):
    rows = []
    for label, family, counter, budget in BUDGETS:
        measured = found.get((family, LARGEST), {}).get(counter)
        verdict = "–" if measured is None else "yes" if measured <= budget else "no"
        rows.append((label, number(measured), str(budget), verdict))
    print_table((f"At {LARGEST[:-2]} MB an export", "Measured", "Budget", "Held"), rows)


def print_times(found):
    rows = []
    for label, family in TIMES:
        cells = [label]
        for size in SIZES:
            benchmark = found.get((family, size), {})
            time, per_byte = benchmark.get("real_time"), benchmark.get("ns_per_byte")
            cells.append(f"{number(time)} ms ({number(per_byte)} ns)")
        rows.append(cells)
    print_table(("Time (per byte)", *(f"{size[:-2]} {size[-2:]}" for size in SIZES)), rows)


def print_shapes(found):
    rows = []
    for (family, argument), benchmark in found.items():
        if benchmark.get("growth"):
            rows.append((family, argument, number(benchmark["real_time"]) + " ms",
                         number(benchmark["growth"]), number(benchmark["parse_growth"])))
    print_table(("Shape", "Count", "Comparing", "Growth", "Growth of reading"), rows)


def main():
    found = results(json.load(sys.stdin))
    print_budgets(found)
    print_times(found)
    print_shapes(found)


main()
