"""Runs the programs of this folder and reads what they print."""

import json
import os
import re
import subprocess
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BUILD = ROOT / "build-bench"
PROGRAMS = BUILD / "bench"
MATERIALS = ("speech", "music")
DIRECTIONS = ("encode", "decode")
CASES = [(material, direction) for material in MATERIALS for direction in DIRECTIONS]


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


def count_instructions(coder, frames, bitrate=64000, read_dump=None):
    """Instructions per 20 ms for each case; read_dump(case, file, frames) sees every profile."""
    with tempfile.TemporaryDirectory() as folder:
        profile = Path(folder) / "profile"
        text = run(
            ["valgrind", "-q", "--tool=callgrind", "--instr-atstart=no",
             f"--callgrind-out-file={profile}",
             PROGRAMS / f"frame_cost_{coder.program}", "count", frames, bitrate,
             coder.complexity],
            coder.environment,
        )
        frames_20_ms = number_lines(text)
        instructions = {}
        for dump in Path(folder).glob("profile.*"):
            content = dump.read_text()
            label = re.search(r"^desc: Trigger: Client Request: (\w+) (\w+)$", content, re.M)
            case = (label[1], label[2])
            total = int(re.search(r"^totals: (\d+)$", content, re.M)[1])
            instructions[case] = total / frames_20_ms[case]
            if read_dump:
                read_dump(case, dump, frames_20_ms[case])
    assert set(instructions) == set(CASES), instructions
    return instructions


def inclusive_instructions(dump, frames):
    """{function of the codec: instructions per 20 ms}, callees included, from one profile."""
    text = run(["callgrind_annotate", "--inclusive=yes", "--threshold=100", dump])
    functions = {}
    for line in text.replace("(anonymous namespace)::", "").splitlines():
        found = re.match(r"\s*([\d,]+) \([^)]*\)\s+\S*?:((?:g719::|g719_)[\w:]+)", line)
        if found:
            cost = int(found[1].replace(",", "")) / frames
            functions[found[2]] = max(cost, functions.get(found[2], 0))
    return functions


def time_coders(coders, turns, rounds, bitrate=64000):
    """Least microseconds per 20 ms for each coder and case. The coders take turns, so that a busy
    machine slows all of them alike."""
    best = {coder: {case: float("inf") for case in CASES} for coder in coders}
    for _ in range(turns):
        for coder in coders:
            text = run(
                [PROGRAMS / f"frame_cost_{coder.program}", "time", rounds, bitrate,
                 coder.complexity],
                coder.environment,
            )
            for case, microseconds in number_lines(text).items():
                best[coder][case] = min(best[coder][case], microseconds)
    return best


def time_functions():
    """{name: nanoseconds} of the codec's functions and whole frames, by Google Benchmark."""
    text = run([PROGRAMS / "codec_bench", "--benchmark_format=json", "--benchmark_repetitions=7",
                "--benchmark_min_time=0.02", "--benchmark_enable_random_interleaving=true"])
    least = {}
    for result in json.loads(text)["benchmarks"]:
        if result["run_type"] == "iteration":
            name = result["name"].split("/repeats")[0]
            least[name] = min(result["cpu_time"], least.get(name, float("inf")))
    return least


def time_elements(rounds):
    """{(material, direction, "element" | "identity" | "codec"): microseconds a frame}."""
    text = run([PROGRAMS / "element_cost", rounds],
               {"GST_PLUGIN_PATH": str(BUILD / "src" / "audio" / "g719"),
                "GST_REGISTRY": str(BUILD / "bench-registry.bin")})
    return number_lines(text)


def scaling(windows):
    """Bytes of an instance, and frames a second of one thread and of two."""
    lines = number_lines(run([PROGRAMS / "codec_scaling", windows]))
    return {name: number for (name,), number in lines.items()}


def machine():
    """Processor, compiler and peers, as a line of text."""
    processor = re.search(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(), re.M)[1]
    compiler = run(["c++", "--version"]).splitlines()[0]
    peers = run(["dpkg-query", "-W", "-f", "${Package} ${Version}, ", "libopus-dev",
                 "liblc3-dev", "libavcodec-dev"]).rstrip(", ")
    return f"{processor}; {compiler}; {peers}"
