"""Tables and a plot of what a frame costs: see scripts/bench."""

import argparse
from typing import NamedTuple

import measure
from measure import DIRECTIONS, WHOLE_FRAME


class Coder(NamedTuple):
    title: str
    program: str
    complexity: int = 0
    level: str = ""          # of the processor, as G719_LEVEL asks for it
    processor_flag: str = ""
    countable: bool = True   # valgrind knows its instructions


# One for each processor level, the lowest first.
LEVELS = [
    Coder("G.719, baseline", "g719", level="baseline"),
    Coder("G.719, SSE4.2", "g719", level="v2", processor_flag="sse4_2"),
    Coder("G.719, AVX2", "g719", level="avx2", processor_flag="avx2"),
    Coder("G.719, AVX-512", "g719", level="v4", processor_flag="avx512_vbmi2", countable=False),
]
OURS = [coder for coder in LEVELS if measure.processor_has(coder.processor_flag)]
BEST = OURS[-1]
OPUS_0 = Coder("Opus, complexity 0", "opus", 0)
LC3 = Coder("LC3", "lc3")
AAC = Coder("AAC (FFmpeg)", "aac")
PEERS = [OPUS_0, Coder("Opus, complexity 5", "opus", 5), Coder("Opus, complexity 10", "opus", 10),
         LC3, AAC]


def table(header, rows):
    """Markdown, the first column to the left and the others to the right."""
    lines = [header, ["---"] + ["---:"] * (len(header) - 1)] + rows
    return "\n".join("| " + " | ".join(line) + " |" for line in lines) + "\n"


def count_coders(coders, frames, by_function=False):
    return {coder: measure.count_instructions(coder, frames, by_function)
            for coder in coders if coder.countable}


def cost_table(counts, times):
    header = ["64000 bit/s, mono, 20 ms"]
    for direction in DIRECTIONS:
        header += [f"{direction}: instructions", "µs", "time / G.719", "streams a core"]
    rows = []
    for coder in times:
        cells = []
        for direction in DIRECTIONS:
            microseconds = times[coder][direction]
            cells += [
                f"{counts[coder][direction][WHOLE_FRAME]:,.0f}" if coder in counts else "–",
                f"{microseconds:.2f}",
                f"{microseconds / times[BEST][direction]:.2f}",
                f"{20000 / microseconds:,.0f}",
            ]
        rows.append([coder.title] + cells)
    return table(header, rows)


def function_tables(counts):
    """Where the instructions of each direction go, callees included, level by level."""
    text = ""
    for direction in DIRECTIONS:
        levels = [functions[direction] for functions in counts.values()]
        names = [name for name in set().union(*levels)
                 if any(level[name] > 0.003 * level[WHOLE_FRAME] for level in levels)]
        names.sort(key=lambda name: [-level[name] for level in levels])
        rows = []
        for name in names:
            cells = []
            for level in levels:
                cells += [f"{level[name]:,.0f}", f"{100 * level[name] / level[WHOLE_FRAME]:.1f}"]
            rows.append([f"`{name}`"] + cells)
        header = [direction]
        for coder in counts:
            header += [coder.title, "% of frame"]
        text += table(header, rows) + "\n"
    return text


def bitrate_table():
    rows = []
    for bitrate in (32000, 48000, 64000, 128000):
        times = measure.time_coders(OURS, turns=4, rounds=3, bitrate=bitrate)
        rows.append([f"{bitrate} bit/s"] + [f"{times[coder][direction]:.2f}"
                                            for coder in OURS for direction in DIRECTIONS])
    header = [f"{coder.title}, {direction}" for coder in OURS for direction in DIRECTIONS]
    return table(["µs a frame", *header], rows)


def stage_table(stages):
    names = sorted(stages, key=lambda name: -stages[name])
    return table(["stage", "ns a frame"],
                 [[f"`{name}`", f"{stages[name]:,.0f}"] for name in names])


def element_overhead(elements, direction, pair="element"):
    """Microseconds a frame beyond the codec and beyond identity in the element's place."""
    return (elements[direction, pair] - elements[direction, "identity"]
            - elements[direction, "codec"])


def element_table(elements):
    rows = []
    for pair, name in ("element", "zelg719"), ("stream", "zelg719stream"):
        for direction in DIRECTIONS:
            costs = [elements[direction, what] for what in (pair, "codec", "identity")]
            costs.append(element_overhead(elements, direction, pair))
            rows.append([f"`{name}{direction[:3]}`"] + [f"{cost:.2f}" for cost in costs])
    return table(["µs a frame", "element", "codec", "identity", "added by the element"], rows)


def capacity_table(times, elements):
    """Streams that are both encoded and decoded, in elements."""
    added = sum(element_overhead(elements, direction) for direction in DIRECTIONS)
    rows = []
    for coder in OURS:
        a_core = 20000 / (sum(times[coder][direction] for direction in DIRECTIONS) + added)
        rows.append([coder.title, f"{a_core:,.0f}", f"{16 * a_core:,.0f}"])
    return table(["64000 bit/s, encoded and decoded", "a core", "16 cores"], rows)


def bounds_table(counts, times, elements, scale):
    """What the codec holds itself to, in the mean of both materials."""
    instructions = {("baseline", "encode"): 141000, ("baseline", "decode"): 114000,
                    ("v2", "encode"): 100000, ("v2", "decode"): 73000,
                    ("avx2", "encode"): 71000, ("avx2", "decode"): 44500}
    if BEST.level == "v4":
        speeds = [(OPUS_0, "encode", 3.8), (LC3, "encode", 5.8), (OPUS_0, "decode", 5.5),
                  (LC3, "decode", 7), (AAC, "decode", 1.12)]
    else:
        speeds = [(OPUS_0, "encode", 3.6), (LC3, "encode", 5.5), (OPUS_0, "decode", 4.5),
                  (LC3, "decode", 6), (AAC, "decode", 1.05)]
    most = [
        (f"instructions to {direction}, {coder.title}", counts[coder][direction][WHOLE_FRAME],
         instructions[coder.level, direction])
        for coder in counts for direction in DIRECTIONS if (coder.level, direction) in instructions
    ]
    most += [
        ("µs that an element adds", max(element_overhead(elements, d) for d in DIRECTIONS), 4),
        ("µs that one of the stream pair adds to that",
         max(elements[d, "stream"] - elements[d, "element"] for d in DIRECTIONS), 0.3),
        ("bytes of an instance", max(scale["encoder_bytes"], scale["decoder_bytes"]), 20480),
    ]
    least = [
        (f"times faster than {peer.title} to {direction}",
         times[peer][direction] / times[BEST][direction], bound)
        for peer, direction, bound in speeds
    ]
    least.append(("throughput of two threads / one", scale["two_threads"] / scale["one_thread"],
                  1.9))
    rows = []
    for kind, lines in (("most", most), ("least", least)):
        for what, measured, bound in lines:
            held = measured <= bound if kind == "most" else measured >= bound
            digits = 0 if bound > 1000 else 2
            rows.append([what, f"{measured:,.{digits}f}", f"{kind} {bound:,}",
                         "yes" if held else "NO"])
    return table(["", "measured", "bound", "held"], rows)


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
    for direction in DIRECTIONS:
        bars = {coder.title: times[coder][direction] for coder in OURS}
        bars["zelg719" + direction[:3]] = elements[direction, "element"]
        ours = len(bars)
        bars |= {coder.title: times[coder][direction] for coder in PEERS}
        costs = "\n".join(f'"{title}" {cost}' for title, cost in bars.items())
        script += PLOT_DIRECTION.format(direction=direction, costs=costs, ours=ours)
    measure.run(["gnuplot"], standard_input=script)


def full_report(folder):
    counts = count_coders([*OURS, *PEERS], frames=100)
    times = measure.time_coders([*OURS, *PEERS], turns=12, rounds=3)
    elements = measure.time_elements(rounds=40)
    scale = measure.scaling(windows=30)
    sections = [
        ("Cost of a frame", cost_table(counts, times)),
        ("Streams a server carries", capacity_table(times, elements)),
        ("Bounds", bounds_table(counts, times, elements, scale)),
        ("By bitrate", bitrate_table()),
        ("Elements", element_table(elements)),
        ("Stages", stage_table(measure.time_stages())),
        ("Instructions by function, callees included",
         function_tables(count_coders(OURS, frames=50, by_function=True))),
    ]
    text = f"{measure.machine()}; the mean of speech-like and music-like material\n\n"
    text += "\n".join(f"## {title}\n\n{content}" for title, content in sections)
    folder.mkdir(exist_ok=True)
    (folder / "bench.md").write_text(text)
    write_plot(folder / "bench.png", times, elements)
    print(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="this codec alone")
    parser.add_argument("--stages", action="store_true", help="and which functions it goes to")
    arguments = parser.parse_args()
    if arguments.quick:
        print(cost_table(count_coders(OURS, frames=50),
                         measure.time_coders(OURS, turns=6, rounds=3)))
    elif arguments.stages:
        print(function_tables(count_coders(OURS, frames=50, by_function=True)))
    else:
        full_report(measure.ROOT / "bench-output")


if __name__ == "__main__":
    main()
