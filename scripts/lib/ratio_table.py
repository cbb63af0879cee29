"""Prints how many times as fast the library is as its peers.

Reads Google Benchmark's JSON files. A result named "rule/ours" is the library's, and every other
"rule/peer" is compared to it, median to median. A peer's counter "wanted" is the ratio that the
library is to reach beside it. Time is the processor's, the kernel's share included.
"""

import json
import sys


def median_results(file_names):
    """Gives {rule: {who: result}}, in the order of the files."""
    rules = {}
    for file_name in file_names:
        with open(file_name, encoding="utf-8") as file:
            text = file.read()
        # A program whose benchmarks are all filtered out writes nothing.
        for result in json.loads(text)["benchmarks"] if text.strip() else []:
            if result.get("error_occurred"):
                sys.exit(f"{result['name']}: {result['error_message']}")
            if result.get("aggregate_name") == "median":
                rule, who = result["run_name"].rsplit("/", 1)
                rules.setdefault(rule, {})[who] = result
    return rules


def nanoseconds(result):
    """Of one item, if the benchmark counts items, else of one iteration."""
    if "items_per_second" in result:
        return 1e9 / result["items_per_second"]
    return result["cpu_time"] * {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[result["time_unit"]]


def time_text(time):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if time >= size:
            return f"{time / size:.3g} {unit}"
    return f"{time:.3g} ns"


def table_rows(rules):
    yield ("rule", "peer", "ours", "peer's", "times as fast", "wanted")
    for rule, results in sorted(rules.items()):
        if "ours" not in results:
            continue
        ours = nanoseconds(results["ours"])
        for peer in sorted(results.keys() - {"ours"}):
            theirs = nanoseconds(results[peer])
            ratio = theirs / ours
            wanted = results[peer].get("wanted")
            verdict = ""
            if wanted is not None:
                verdict = f"{wanted:g}" if ratio >= wanted else f"{wanted:g}  MISSED"
            yield (rule, peer, time_text(ours), time_text(theirs), f"{ratio:.2f}", verdict)


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        fields = [line.split(":", 1) for line in file if ":" in line]
    names = [value.strip() for key, value in fields if key.strip() == "model name"]
    return f"{names[0]}, {len(names)} logical processors" if names else "unknown"


def main():
    rows = list(table_rows(median_results(sys.argv[1:])))
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    print(f"Processor: {processor()}\n")
    for row in rows:
        cells = [
            cell.ljust(width) if column < 2 or column == 5 else cell.rjust(width)
            for column, (cell, width) in enumerate(zip(row, widths))
        ]
        print("  ".join(cells).rstrip())


main()
