"""Tables and a plot of what a frame costs: see scripts/bench."""

import argparse
from typing import NamedTuple

import measure


class Coder(NamedTuple):
    title: str
    program: str
    complexity: int = 0
    level: str = ""  # processor level that G719_LEVEL asks for

    @property
    def environment(self):
        return {"G719_LEVEL": self.level} if self.level else {}


OURS = Coder("G.719", "g719")
OURS_BASELINE = Coder("G.719 without AVX2", "g719", level="baseline")
PEERS = [
    Coder("Opus, complexity 0", "opus", 0),
    Coder("Opus, complexity 5", "opus", 5),
    Coder("Opus, complexity 10", "opus", 10),
    Coder("LC3", "lc3"),
    Coder("AAC (FFmpeg)", "aac"),
]


def mean(costs, direction):
    """Of one coder's costs, over the materials."""
    values = [costs[material, direction] for material in measure.MATERIALS]
    return sum(values) / len(values)


def table(header, rows):
    """Markdown, the first column to the left and the others to the right."""
    lines = [header, ["---"] + ["---:"] * (len(header) - 1)] + rows
    return "\n".join("| " + " | ".join(line) + " |" for line in lines) + "\n"


def quick_table(frames):
    rows = []
    for coder in (OURS, OURS_BASELINE):
        costs = measure.count_instructions(coder, frames)
        cells = []
        for direction in measure.DIRECTIONS:
            cells += [f"{costs[material, direction]:,.0f}" for material in measure.MATERIALS]
            cells.append(f"{mean(costs, direction):,.0f}")
        rows.append([coder.title] + cells)
    header = ["instructions a frame"]
    for direction in measure.DIRECTIONS:
        header += [f"{direction}, {material}" for material in measure.MATERIALS]
        header.append(f"{direction}, mean")
    return table(header, rows)


def stage_tables(frames):
    """Where the instructions of each direction go, by function, callees included."""
    text = ""
    for coder in (OURS, OURS_BASELINE):
        profiles = {}

        def keep(case, dump, frames_20_ms):
            profiles[case] = measure.inclusive_instructions(dump, frames_20_ms)

        costs = measure.count_instructions(coder, frames, read_dump=keep)
        for direction in measure.DIRECTIONS:
            cases = [(material, direction) for material in measure.MATERIALS]
            names = set().union(*(profiles[case] for case in cases))
            share = {
                name: [profiles[case].get(name, 0) for case in cases] for name in names
            }
            whole = mean(costs, direction)
            names = [name for name in names if sum(share[name]) / 2 > 0.003 * whole]
            names.sort(key=lambda name: -sum(share[name]))
            rows = [
                [f"`{name}`"] + [f"{cost:,.0f}" for cost in share[name]]
                + [f"{sum(share[name]) / 2:,.0f}", f"{50 * sum(share[name]) / whole:.1f}"]
                for name in names
            ]
            header = [f"{coder.title}, {direction}", *measure.MATERIALS, "mean", "% of frame"]
            text += table(header, rows) + "\n"
    return text


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="instructions of this codec alone")
    parser.add_argument("--stages", action="store_true", help="and which functions they go to")
    arguments = parser.parse_args()
    if arguments.quick:
        print(quick_table(frames=50))
    elif arguments.stages:
        print(stage_tables(frames=50))


if __name__ == "__main__":
    main()
