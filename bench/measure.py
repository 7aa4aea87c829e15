"""Runs the programs of this folder and reads what they print. Costs are those of 20 ms of sound,
the mean of both materials."""

import json
import os
import re
import subprocess
import tempfile
from collections import Counter
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / os.environ.get("BENCH_BUILD", "build-bench")  # or another compiler's
PROGRAMS = BUILD / "bench"
MATERIALS = ("speech", "music")
DIRECTIONS = ("encode", "decode")
CASES = [(material, direction) for material in MATERIALS for direction in DIRECTIONS]
WHOLE_FRAME = "whole frame"


def run(command, environment=None, standard_input=None):
    """Standard output of a command that must succeed."""
    result = subprocess.run(
        [str(word) for word in command],
        env={**os.environ, **(environment or {})},
        input=standard_input,
        stdout=subprocess.PIPE,
        check=True,
        text=True,
    )
    return result.stdout


def number_lines(text):
    """{words: number} from lines such as "speech encode 12.5"."""
    lines = [line.split() for line in text.splitlines()]
    return {tuple(words): float(number) for *words, number in lines}


def mean_of_materials(costs):
    """{(material, what, ...): cost} without the materials."""
    mean = Counter()
    for (_, *what), cost in costs.items():
        mean[what[0] if len(what) == 1 else tuple(what)] += cost / len(MATERIALS)
    return mean


def frame_cost(coder, mode, amount, bitrate, under=()):
    """Runs one coder's program, as an argument of the command `under`."""
    command = [*under, PROGRAMS / f"frame_cost_{coder.program}", mode, amount, bitrate,
               coder.complexity]
    return number_lines(run(command, {"G719_LEVEL": coder.level}))


def count_instructions(coder, frames, by_function=False):
    """{direction: {function: instructions, callees included}}; without `by_function` the
    whole frame alone."""
    costs = {direction: Counter() for direction in DIRECTIONS}
    with tempfile.TemporaryDirectory() as folder:
        frames_20_ms = frame_cost(
            coder, "count", frames, 64000,
            under=["valgrind", "-q", "--tool=callgrind", "--instr-atstart=no",
                   f"--callgrind-out-file={folder}/profile"])
        dumps = list(Path(folder).glob("profile.*"))
        assert len(dumps) == len(CASES), dumps
        for dump in dumps:
            content = dump.read_text()
            case = re.search(r"^desc: Trigger: Client Request: (\w+) (\w+)$", content, re.M).groups()
            functions = inclusive_instructions(dump) if by_function else {}
            functions[WHOLE_FRAME] = int(re.search(r"^totals: (\d+)$", content, re.M)[1])
            for name, instructions in functions.items():
                costs[case[1]][name] += instructions / frames_20_ms[case] / len(MATERIALS)
    return costs


def inclusive_instructions(dump):
    """{function of the codec: instructions} from one profile."""
    text = run(["callgrind_annotate", "--inclusive=yes", "--threshold=100", dump])
    functions = {}
    for line in text.replace("(anonymous namespace)::", "").splitlines():
        found = re.match(r"\s*([\d,]+) \(.*?\)\s+\S*?:(?:\w+ )?(g719\w*(?:::\w+)*)", line)
        if found:
            name = found[2].split("::")[-1]
            functions[name] = max(int(found[1].replace(",", "")), functions.get(name, 0))
    return functions


def time_coders(coders, turns, rounds, bitrate=64000):
    """{coder: {direction: microseconds}}, the least of all rounds. The coders take turns, so that a
    busy machine slows all of them alike."""
    least = {coder: dict.fromkeys(CASES, float("inf")) for coder in coders}
    for _ in range(turns):
        for coder in coders:
            for case, microseconds in frame_cost(coder, "time", rounds, bitrate).items():
                least[coder][case] = min(least[coder][case], microseconds)
    return {coder: mean_of_materials(cases) for coder, cases in least.items()}


def time_stages():
    """{name: nanoseconds} of the codec's stages, by Google Benchmark."""
    text = run([PROGRAMS / "stage_times", "--benchmark_format=json", "--benchmark_repetitions=7",
                "--benchmark_min_time=0.02", "--benchmark_enable_random_interleaving=true"])
    least = {}
    for result in json.loads(text)["benchmarks"]:
        if result["run_type"] == "iteration":
            name, material = result["name"].split("/")[:2]
            least[material, name] = min(result["cpu_time"],
                                        least.get((material, name), float("inf")))
    return mean_of_materials(least)


def time_elements(rounds):
    """{(direction, "element" | "stream" | "identity" | "codec"): microseconds a frame}."""
    return mean_of_materials(number_lines(
        run([PROGRAMS / "element_cost", rounds],
            {"GST_PLUGIN_PATH": str(BUILD / "src" / "audio"),
             "GST_REGISTRY": str(BUILD / "bench-registry.bin")})))


def scaling(windows):
    """Bytes of an instance, and frames a second of one thread and of two."""
    lines = number_lines(run([PROGRAMS / "codec_scaling", windows]))
    return {name: number for (name,), number in lines.items()}


def processor_has(flag):
    """Whether /proc/cpuinfo lists it; every processor has ""."""
    return flag == "" or flag in Path("/proc/cpuinfo").read_text().split()


def machine():
    """Processor, compiler and peers, as a line of text."""
    processor = re.search(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(), re.M)[1]
    compiler = run(["c++", "--version"]).splitlines()[0]
    peers = run(["dpkg-query", "-W", "-f", "${Package} ${Version}, ", "libopus-dev",
                 "liblc3-dev", "libavcodec-dev"]).rstrip(", ")
    return f"{processor}; {compiler}; {peers}"
