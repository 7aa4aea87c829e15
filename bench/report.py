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


def level_note(counts):
    """Says so when both rows measured the same code."""
    if counts[OURS] != counts[OURS_BASELINE]:
        return ""
    return "\nG719_LEVEL=baseline changed nothing: the processor or the build has no other level.\n"


def quick_table(frames):
    counts = {coder: measure.count_instructions(coder, frames) for coder in (OURS, OURS_BASELINE)}
    rows = []
    for coder, costs in counts.items():
        cells = []
        for direction in measure.DIRECTIONS:
            cells += [f"{costs[material, direction]:,.0f}" for material in measure.MATERIALS]
            cells.append(f"{mean(costs, direction):,.0f}")
        rows.append([coder.title] + cells)
    header = ["instructions a frame"]
    for direction in measure.DIRECTIONS:
        header += [f"{direction}, {material}" for material in measure.MATERIALS]
        header.append(f"{direction}, mean")
    return table(header, rows) + level_note(counts)


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


def cost_table(counts, times):
    """The mean of both materials for every coder."""
    header = ["64000 bit/s, mono, 20 ms"]
    for direction in measure.DIRECTIONS:
        header += [f"{direction}: instructions", "µs", "time / G.719", "streams a core"]
    rows = []
    for coder in times:
        cells = []
        for direction in measure.DIRECTIONS:
            microseconds = mean(times[coder], direction)
            cells += [
                f"{mean(counts[coder], direction):,.0f}",
                f"{microseconds:.2f}",
                f"{microseconds / mean(times[OURS], direction):.2f}",
                f"{20000 / microseconds:,.0f}",
            ]
        rows.append([coder.title] + cells)
    return table(header, rows)


def material_table(counts, times):
    header = ["instructions / µs"]
    header += [f"{direction}, {material}" for material, direction in measure.CASES]
    rows = [
        [coder.title]
        + [f"{counts[coder][case]:,.0f} / {times[coder][case]:.2f}" for case in measure.CASES]
        for coder in times
    ]
    return table(header, rows)


def bitrate_table(functions):
    header = ["µs a frame"]
    header += [f"{direction}, {material}" for material, direction in measure.CASES]
    rows = []
    for bitrate in (32000, 48000, 64000, 128000):
        names = [f"frame_{direction}/{material}/{bitrate}" for material, direction in measure.CASES]
        rows.append([f"{bitrate} bit/s"] + [f"{functions[name] / 1000:.2f}" for name in names])
    return table(header, rows)


def function_table(functions):
    stages = {name: time for name, time in functions.items() if not name.startswith("frame_")}
    names = sorted({name.split("/")[0] for name in stages},
                   key=lambda name: -max(stages[f"{name}/{m}"] for m in measure.MATERIALS))
    rows = [
        [f"`{name}`"] + [f"{stages[f'{name}/{material}']:,.0f}" for material in measure.MATERIALS]
        for name in names
    ]
    return table(["ns a frame", *measure.MATERIALS], rows)


def element_overhead(elements, case):
    """Microseconds a frame beyond the codec and beyond identity in the element's place."""
    return elements[*case, "element"] - elements[*case, "identity"] - elements[*case, "codec"]


def element_table(elements):
    header = ["µs a frame", "element", "codec", "identity", "added by the element"]
    rows = []
    for material, direction in measure.CASES:
        costs = [elements[material, direction, what] for what in ("element", "codec", "identity")]
        costs.append(element_overhead(elements, (material, direction)))
        name = "zelg719" + direction[:3]
        rows.append([f"`{name}`, {material}"] + [f"{cost:.2f}" for cost in costs])
    return table(header, rows)


def bounds_table(counts, times, elements, scale):
    """What the codec holds itself to, on both materials: the worse one counts."""
    def most(costs, direction):
        return max(costs[material, direction] for material in measure.MATERIALS)

    def least_ratio(peer, direction):
        return min(times[peer][material, direction] / times[OURS][material, direction]
                   for material in measure.MATERIALS)

    opus, lc3, aac = PEERS[0], PEERS[3], PEERS[4]
    bytes_most = max(scale["encoder_bytes"], scale["decoder_bytes"])
    added = max(element_overhead(elements, case) for case in measure.CASES)
    # what, measured, bound, whether the bound is the most or the least
    lines = [
        ("instructions to encode", most(counts[OURS], "encode"), 90000, "most"),
        ("instructions to decode", most(counts[OURS], "decode"), 62000, "most"),
        ("instructions to encode, without AVX2", most(counts[OURS_BASELINE], "encode"), 170000,
         "most"),
        ("instructions to decode, without AVX2", most(counts[OURS_BASELINE], "decode"), 145000,
         "most"),
        ("times faster than Opus, complexity 0, to encode", least_ratio(opus, "encode"), 2.5,
         "least"),
        ("times faster than LC3 to encode", least_ratio(lc3, "encode"), 4, "least"),
        ("times faster than Opus to decode", least_ratio(opus, "decode"), 4, "least"),
        ("times faster than LC3 to decode", least_ratio(lc3, "decode"), 4, "least"),
        ("times faster than AAC to decode", least_ratio(aac, "decode"), 1, "least"),
        ("µs that an element adds", added, 4, "most"),
        ("bytes of an instance", bytes_most, 20480, "most"),
        ("throughput of two threads / one", scale["two_threads"] / scale["one_thread"], 1.9,
         "least"),
    ]
    rows = []
    for what, measured, bound, kind in lines:
        held = measured <= bound if kind == "most" else measured >= bound
        digits = 0 if bound > 1000 else 2
        rows.append([what, f"{measured:,.{digits}f}", f"{kind} {bound:,}", "yes" if held else "NO"])
    return table(["on the worse material", "measured", "bound", "held"], rows)


PLOT = """
set terminal pngcairo noenhanced size 1200,560 font ",11"
set output "{output}"
set style fill solid 0.8
set boxwidth 0.7
set xtics rotate by -35 nomirror
set ylabel "µs per 20 ms frame, 64000 bit/s"
set grid ytics
set yrange [0:*]
set offsets 0.5, 0.5, graph 0.1, 0
unset key
set multiplot layout 1,2
"""
PLOT_DIRECTION = """
set title "{direction}"
$costs << end
{costs}
end
plot $costs using 0:2:($0 < {ours} ? 0x2f6fb0 : 0x9a9a9a):xtic(1) with boxes lc rgb variable, \\
     $costs using 0:2:(sprintf("%.1f", $2)) with labels offset 0,0.7
"""


def write_plot(path, times, elements):
    script = PLOT.format(output=path)
    for direction in measure.DIRECTIONS:
        bars = {coder.title: mean(times[coder], direction) for coder in (OURS, OURS_BASELINE)}
        bars["zelg719" + direction[:3]] = mean(
            {case: elements[*case, "element"] for case in measure.CASES}, direction)
        ours = len(bars)
        bars |= {coder.title: mean(times[coder], direction) for coder in PEERS}
        costs = "\n".join(f'"{title}" {cost}' for title, cost in bars.items())
        script += PLOT_DIRECTION.format(direction=direction, costs=costs, ours=ours)
    measure.run(["gnuplot"], standard_input=script)


def full_report(folder):
    coders = [OURS, OURS_BASELINE, *PEERS]
    counts = {coder: measure.count_instructions(coder, frames=100) for coder in coders}
    times = measure.time_coders(coders, turns=12, rounds=3)
    functions = measure.time_functions()
    elements = measure.time_elements(rounds=40)
    scale = measure.scaling(windows=30)

    sections = [
        ("Cost of a frame, mean of speech-like and music-like material",
         cost_table(counts, times) + level_note(counts)),
        ("Bounds", bounds_table(counts, times, elements, scale)),
        ("By material", material_table(counts, times)),
        ("By bitrate", bitrate_table(functions)),
        ("Elements", element_table(elements)),
        ("Functions", function_table(functions)),
        ("Instructions by function, callees included", stage_tables(frames=50)),
    ]
    text = f"{measure.machine()}\n\n"
    text += "\n".join(f"## {title}\n\n{content}" for title, content in sections)
    folder.mkdir(exist_ok=True)
    (folder / "bench.md").write_text(text)
    write_plot(folder / "bench.png", times, elements)
    print(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="instructions of this codec alone")
    parser.add_argument("--stages", action="store_true", help="and which functions they go to")
    arguments = parser.parse_args()
    if arguments.quick:
        print(quick_table(frames=50))
    elif arguments.stages:
        print(stage_tables(frames=50))
    else:
        full_report(measure.ROOT / "bench-output")


if __name__ == "__main__":
    main()
