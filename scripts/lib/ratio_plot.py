# SPDX-License-Identifier: MIT

"""Draws how many times as fast the library is as its peers, with one bar per peer."""

import matplotlib
from matplotlib import pyplot
from matplotlib.ticker import LogLocator, StrMethodFormatter

# Of medium lightness, readable on white and on black.
TEXT = "#768390"
MET, MISSED, PLAIN = "#2da44e", "#d4583b", "#4f8fd6"
SETTINGS = {"svg.hashsalt": "", "svg.fonttype": "none", "font.family": "sans-serif", "text.color": TEXT,
        "axes.labelcolor": TEXT, "axes.edgecolor": TEXT, "xtick.color": TEXT, "ytick.color": TEXT}


def colour(ratio, wanted):
    if wanted is None:
        return PLAIN
    return MET if ratio >= wanted else MISSED


def draw(bars, note, file_name):
    """Writes the picture; bars are (rule, peer, ratio, wanted ratio or None)."""
    matplotlib.use("svg")
    matplotlib.rcParams.update(SETTINGS)
    figure, axes = pyplot.subplots(figsize=(10, 1.2 + 0.28 * len(bars)), layout="constrained")
    for place, (_, _, ratio, wanted) in enumerate(bars):
        # Bars start at 1 on a logarithmic scale, so twice and half as fast have the same length.
        axes.barh(place, ratio - 1, left=1, height=0.6, color=colour(ratio, wanted))
        axes.annotate(f"{ratio:.3g} ×", (max(ratio, wanted or 1, 1), place), (5, 0),
                      textcoords="offset points", va="center")
        if wanted is not None:
            axes.vlines(wanted, place - 0.4, place + 0.4, color=TEXT, linewidth=2)
    axes.set_yticks(range(len(bars)),
                    [f"{rule}, beside {peer.replace('_', ' ')}" for rule, peer, _, _ in bars])
    axes.set_xscale("log", base=2)
    axes.xaxis.set_major_locator(LogLocator(base=2))
    axes.xaxis.set_major_formatter(StrMethodFormatter("{x:g} ×"))
    axes.set_xlim(left=min([0.5] + [ratio for _, _, ratio, _ in bars]),
                  right=1.5 * max([2] + [max(ratio, wanted or 0) for _, _, ratio, wanted in bars]))
    axes.set_ylim(len(bars) - 0.5, -0.5)
    axes.grid(axis="x", alpha=0.35)
    axes.axvline(1, color=TEXT, linewidth=1.5)
    axes.spines[:].set_visible(False)
    figure.suptitle("Times as fast as peers. Right of 1 × the library is faster; "
                    "a short line marks what is wanted.", x=0.01, ha="left", fontsize="medium")
    axes.set_xlabel(note, loc="left")
    figure.savefig(file_name, transparent=True, metadata={"Date": None})
