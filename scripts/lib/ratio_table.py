# SPDX-License-Identifier: MIT

"""Prints how many times as fast the library is as its peers, and other figures.

    ratio_table.py [--plot FILE.svg] RESULTS.json...

Reads Google Benchmark's JSON files. A result named "rule/ours" is the library's; every other
"rule/peer" is compared with it, by the least time of each. A peer's counter "wanted" is the ratio that the
library must reach; a counter "figure NAME" is a figure of the library alone, and "limit NAME" its
upper limit. Time is processor time, including the kernel's.
"""

import json
import re
import sys

# Google Benchmark's suffixes for run options.
RUN_SUFFIX = re.compile(r"/(iterations:\d+|repeats:\d+|manual_time)$")


def rule_and_peer(run_name):
    while RUN_SUFFIX.search(run_name):
        run_name = RUN_SUFFIX.sub("", run_name)
    return run_name.rsplit("/", 1)


def least_results(file_names):
    """Returns {rule: {who: the result with the least time}}, in the order of the files."""
    rules = {}
    for file_name in file_names:
        with open(file_name, encoding="utf-8") as file:
            text = file.read()
        # A program whose benchmarks are all filtered out writes nothing.
        for result in json.loads(text)["benchmarks"] if text.strip() else []:
            if result.get("error_occurred"):
                sys.exit(f"{result['name']}: {result['error_message']}")
            if result["run_type"] == "iteration":
                rule, who = rule_and_peer(result["run_name"])
                least = rules.setdefault(rule, {}).setdefault(who, result)
                rules[rule][who] = min(least, result, key=nanoseconds)
    return rules


def nanoseconds(result):
    """Returns the time per item if the benchmark counts items, else per iteration."""
    if "items_per_second" in result:
        return 1e9 / result["items_per_second"]
    # The benchmark measures the time of programs itself; it is reported as the "real" time.
    is_manual = "/manual_time" in result["run_name"]
    time = result["real_time" if is_manual else "cpu_time"]
    return time * {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[result["time_unit"]]


def time_text(time):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if time >= size:
            return f"{time / size:.3g} {unit}"
    return f"{time:.3g} ns"


def comparisons(rules):
    """Yields (rule, peer, our time, the peer's time, wanted ratio or None)."""
    for rule, results in sorted(rules.items()):
        for peer in sorted(results.keys() - {"ours"}) if "ours" in results else []:
            theirs = results[peer]
            yield (rule, peer, nanoseconds(results["ours"]), nanoseconds(theirs), theirs.get("wanted"))


def verdict(wanted, is_met):
    if wanted is None:
        return ""
    return f"{wanted:.3g}  {'met' if is_met else 'MISSED'}"


def ratio_rows(rules):
    yield ("rule", "peer", "ours", "peer's", "times as fast", "wanted")
    for rule, peer, ours, theirs, wanted in comparisons(rules):
        ratio = theirs / ours
        is_met = wanted is None or ratio >= wanted
        yield (rule, peer, time_text(ours), time_text(theirs), f"{ratio:.2f}", verdict(wanted, is_met))


def figure_rows(rules):
    yield ("rule", "figure", "ours", "wanted below")
    for rule, results in sorted(rules.items()):
        for key, value in results.get("ours", {}).items():
            if key.startswith("figure "):
                name = key.removeprefix("figure ")
                limit = results["ours"].get(f"limit {name}")
                yield (rule, name, f"{value:.4g}", verdict(limit, limit is None or value < limit))


def print_table(rows, right_columns):
    if len(rows) < 2:
        return
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    print()
    for row in rows:
        cells = [
            cell.rjust(width) if column in right_columns else cell.ljust(width)
            for column, (cell, width) in enumerate(zip(row, widths))
        ]
        print("  ".join(cells).rstrip())


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        fields = [line.split(":", 1) for line in file if ":" in line]
    names = [value.strip() for key, value in fields if key.strip() == "model name"]
    return f"{names[0]}, {len(names)} logical processors" if names else "unknown"


def main(arguments):
    plot = None
    if arguments[:1] == ["--plot"]:
        plot, arguments = arguments[1], arguments[2:]
    rules = least_results(arguments)
    print(f"Processor: {processor()}")
    print_table(list(ratio_rows(rules)), right_columns=(2, 3, 4))
    print_table(list(figure_rows(rules)), right_columns=(2,))
    if plot is not None:
        # matplotlib is only needed, and only installed, for the picture.
        import ratio_plot

        bars = [(rule, peer, theirs / ours, wanted)
                for rule, peer, ours, theirs, wanted in comparisons(rules)]
        ratio_plot.draw(bars, f"Measured on {processor()}", plot)


if __name__ == "__main__":
    main(sys.argv[1:])
