"""Prints the medians of benchmark results as a table of rows: ours, a peer's, and the ratio of the
peer's time to ours: above 1, ours is faster.

A benchmark is named <row>/<who>[/<arguments>]; "qzk" is ours, and each other name is a peer of the same row and
arguments. Arguments: result files in the JSON format of the benchmark library.
"""
import json
import re
import statistics
import sys

OURS = "qzk"


def times(path):
    """Yields (row, who, arguments, nanoseconds) of every single run."""
    with open(path) as file:
        text = file.read()
    if not text.strip():  # no row matched the filter
        return
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    for run in json.loads(text)["benchmarks"]:
        if run["run_type"] != "iteration" or run.get("error_occurred"):
            continue
        name = re.sub(r"/(real_time|process_time|(repeats|min_time|iterations|threads):[^/]*)", "", run["run_name"])
        row, who, *arguments = name.split("/")
        yield row, who, "/".join(arguments), run["cpu_time"] * scale[run["time_unit"]]


def readable(nanoseconds):
    for unit, size in ("ms", 1e6), ("us", 1e3):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def in_order(key):
    """Rows by name, their arguments by value."""
    return [(int(part), "") if part.isdigit() else (0, part) for part in re.split(r"(\d+)", key)]


def main():
    measured = {}  # row and arguments -> who -> times
    for path in sys.argv[1:]:
        for row, who, arguments, time in times(path):
            key = f"{row} {arguments}".strip()
            measured.setdefault(key, {}).setdefault(who, []).append(time)

    if not measured:
        sys.exit("no row matches the filter")
    lines = [("row", "ours", "peer", "", "ratio")]
    for key in sorted(measured, key=in_order):
        median = {who: statistics.median(values) for who, values in sorted(measured[key].items())}
        ours = median.pop(OURS, None)
        shown = readable(ours) if ours is not None else ""
        for who, theirs in median.items() or [("", None)]:
            if theirs is None:
                lines.append((key, shown, "", "", ""))
            elif ours is None:
                lines.append((key, "", who, readable(theirs), ""))
            else:
                lines.append((key, shown, who, readable(theirs), f"{theirs / ours:.2f}x"))

    widths = [max(len(line[column]) for line in lines) for column in range(5)]
    for number, line in enumerate(lines):
        print("| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |")
        if number == 0:
            print("|" + "|".join("-" * (width + 2) for width in widths) + "|")


if __name__ == "__main__":
    main()
