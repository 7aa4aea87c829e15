"""Runs the programs of this folder and reads what they print."""

import os
import re
import subprocess
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PROGRAMS = ROOT / "build-bench" / "bench"
MATERIALS = ("speech", "music")
DIRECTIONS = ("encode", "decode")
CASES = [(material, direction) for material in MATERIALS for direction in DIRECTIONS]


def run(command, environment=None, directory=None):
    """Standard output of a command that must succeed."""
    result = subprocess.run(
        [str(word) for word in command],
        env={**os.environ, **(environment or {})},
        cwd=directory,
        stdout=subprocess.PIPE,
        check=True,
        text=True,
    )
    return result.stdout


def case_lines(text):
    """{(material, direction): number} from lines such as "speech encode 12.5"."""
    lines = [line.split() for line in text.splitlines()]
    return {(material, direction): float(number) for material, direction, number in lines}


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
        frames_20_ms = case_lines(text)
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
            for case, microseconds in case_lines(text).items():
                best[coder][case] = min(best[coder][case], microseconds)
    return best
