"""Makes the tables and pictures of scripts/loss, and says whether the bounds are kept."""

import argparse
import csv
import itertools
import math
import multiprocessing
import pathlib
import sys
from typing import NamedTuple

import numpy as np

import network
import pictures
import signals

SECONDS = 45            # of speech
PERCENTS = 1, 5, 10, 20, 30
KINDS = "random", "bursts"
LISTS = 8
CERTAIN = 10            # packets at both ends that always arrive
JUDGED = 5, 10, 30
WORD = 1 << 64


class Row(NamedTuple):
    name: str
    encoder: str        # with payloader; {percent} are lost
    decoder: str        # with depayloader
    wait: float = 0.0   # for copies, ms


EXACT, STREAM, OPUS = "exact pair", "stream pair", "Opus, plc"


def rows(bitrate, copies):
    """What is compared, all of it at the same bitrate on the wire, copies included."""
    # Of its settings, those with the fewest holes; audio-type=voice has more of them in this speech.
    opus = (f"opusenc bitrate={bitrate} bitrate-type=vbr complexity=10 frame-size=20 "
            "audio-type=generic packet-loss-percentage={percent} inband-fec=%s ! rtpopuspay")
    exact = min(bitrate, 64000)  # its encoder has no higher one
    yield Row(EXACT, f"zelg719enc bitrate={exact} ! rtpg719pay",
              "rtpg719depay ! zelg719dec ! audiorate tolerance=0")
    for n, name in enumerate((STREAM, "with one copy", "with two copies")[:copies + 1]):
        yield Row(name, f"zelg719streamenc bitrate={bitrate // (1 + n)} ! rtpg719pay redundancy={n}",
                  "rtpg719depay ! zelg719streamdec", 20.0 * n)
    yield Row(OPUS, opus % "false", "rtpopusdepay ! opusdec plc=true")
    yield Row("Opus, in-band FEC", opus % "true",
              "rtpopusdepay ! opusdec plc=true use-inband-fec=true")


class Case(NamedTuple):
    row: Row
    kind: str
    percent: int


class Result(NamedTuple):
    lost: float         # packets; this and all below are means of the lists
    holes: float
    holes_ms: float
    clicks: float
    distance: float     # dB
    sent: float         # kbit/s with the headers of RTP, UDP and IP
    delay: float        # ms


# The lists must be the same for ever, which no library promises of its random numbers: SplitMix64.
def random_words(seed):
    state = seed
    while True:
        state = (state + 0x9E3779B97F4A7C15) % WORD
        word = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9 % WORD
        word = (word ^ (word >> 27)) * 0x94D049BB133111EB % WORD
        yield word ^ (word >> 31)


def lose(packets, kind, percent, number):
    """A set of numbers of packets. In bursts, a lost packet is followed by another with a chance of one
    half, so that a burst has two on average. What a low rate loses at random, higher ones lose, too."""
    words = random_words(2 * number + KINDS.index(kind))
    begin = percent * WORD // 100
    if kind == "bursts":
        begin = percent * WORD // (2 * (100 - percent))
    lost, losing = set(), False
    for packet, word in zip(range(CERTAIN, packets - CERTAIN), words):
        losing = word < (WORD // 2 if losing and kind == "bursts" else begin)
        if losing:
            lost.add(packet)
    return lost


def compare(intact, damaged):
    length = min(len(intact), len(damaged))
    before, after = intact[:length].astype(float), damaged[:length].astype(float)
    return (*signals.holes(before, after), signals.clicks(before, after),
            signals.band_distance(before, after))


def measure(case, speech, lists, in_time):
    row = case.row
    encoder = row.encoder.format(percent=case.percent)
    caps, packets = network.send(speech, encoder)
    receive = network.receive if in_time else network.receive_again
    intact = receive(caps, packets, set(), row.decoder, in_time)
    measured = []
    for number in range(lists):
        lost = lose(len(speech) // signals.FRAME, case.kind, case.percent, number)
        damaged = receive(caps, packets, lost, row.decoder, in_time)
        measured.append((len(lost), *compare(intact, damaged)))
    sent = sum(len(data) + network.HEADERS for _, data in packets) * 8 / len(speech)
    delay = network.measure_delay(speech[:2 * signals.RATE], encoder, row.decoder)
    return Result(*np.mean(measured, axis=0), sent * signals.RATE / 1000, delay + row.wait)


def read_speech(path, has_pauses):
    piece = signals.read_wav(path, SECONDS)
    if not has_pauses:
        piece = signals.without_pauses(piece)
    speech = np.tile(piece, math.ceil(SECONDS * signals.RATE / len(piece)))
    return speech[:SECONDS * signals.RATE].astype(np.int16)


def write_csv(path, results):
    with open(path, "w", newline="", encoding="ascii") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(("codec", "kind", "percent", *Result._fields))
        for case, result in results.items():
            writer.writerow((case.row.name, case.kind, case.percent,
                             *(f"{value:.3f}" for value in result)))


def heading(kind, lists, has_bounds):
    return (f"Packets lost, {kind}; {SECONDS} s of speech with{'' if has_bounds else 'out'} pauses, "
            f"{'means of ' if lists > 1 else ''}{lists} list{'s' if lists > 1 else ''}")


def table(results, kind):
    lines = [f"{'lost, %':<9}{'packets':>9}  {'codec':<20}{'holes':>8}{'ms':>9}{'clicks':>9}"
             f"{'distance, dB':>14}{'kbit/s':>9}{'delay, ms':>11}"]
    for case, result in results.items():
        if case.kind != kind:
            continue
        lines.append(
            f"{case.percent if case.row.name == EXACT else '':<9}"
            f"{f'{result.lost:.0f}' if case.row.name == EXACT else '':>9}  {case.row.name:<20}"
            f"{result.holes:>8.1f}{result.holes_ms:>9.0f}{result.clicks:>9.1f}"
            f"{result.distance:>14.2f}{result.sent:>9.1f}{result.delay:>11.1f}")
    return "\n".join(lines)


def judge(results, kind, percent):
    """Lines that say what the stream pair must reach beside Opus, and does or not."""
    ours, opus = (next(result for case, result in results.items()
                       if (case.row.name, case.kind, case.percent) == (name, kind, percent))
                  for name in (STREAM, OPUS))
    clicks = 100 * ours.clicks / ours.lost
    if percent <= 10:
        holes_kept, bound = ours.holes_ms <= opus.holes_ms / 2, f"half of {opus.holes_ms:.0f}"
    else:
        holes_kept, bound = ours.holes_ms < opus.holes_ms, f"less than {opus.holes_ms:.0f}"
    for kept, what in (
            (holes_kept, f"{ours.holes_ms:.0f} ms of holes, {bound} allowed"),
            (ours.distance < opus.distance,
             f"distance {ours.distance:.2f} dB, less than {opus.distance:.2f} allowed"),
            (clicks <= 5, f"{clicks:.1f} clicks for 100 lost packets, 5 allowed")):
        yield kept, f"{kind}, {percent} % lost: {what}: {'kept' if kept else 'MISSED'}"


def draw(folder, results, percents, compared):
    for kind, (field, label) in itertools.product(
            KINDS, (("holes_ms", "holes, ms"), ("distance", "distance, dB"))):
        by_row = {row.name: [getattr(results[Case(row, kind, percent)], field)
                             for percent in percents] for row in compared}
        title = "Packets lost at random" if kind == "random" else "Packets lost in bursts"
        pictures.against_loss(folder / f"{field}.{kind}", title, label, percents, by_row)


def main():
    parser = argparse.ArgumentParser(prog="scripts/loss")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--bounds", action="store_true")
    parser.add_argument("--in-time", action="store_true")
    parser.add_argument("folder", type=pathlib.Path)
    arguments = parser.parse_args()
    percents, lists = ((10,), 1) if arguments.quick else (PERCENTS, LISTS)
    speech = read_speech(arguments.folder / "speech.wav", arguments.bounds)
    compared = tuple(rows(48000, 0) if arguments.bounds else rows(96000, 2))
    cases = [Case(row, kind, percent) for kind in KINDS for percent in percents
             for row in compared]
    workers = len(cases) if arguments.in_time else None
    # Each worker begins without GStreamer's threads.
    with multiprocessing.get_context("spawn").Pool(workers) as pool:
        results = dict(zip(cases, pool.starmap(
            measure, [(case, speech, lists, arguments.in_time) for case in cases], chunksize=1)))
    write_csv(arguments.folder / "loss.csv", results)
    draw(arguments.folder, results, percents, compared)
    verdicts = [verdict for kind, percent in itertools.product(KINDS, JUDGED)
                if arguments.bounds and percent in percents
                for verdict in judge(results, kind, percent)]
    lines = [f"{heading(kind, lists, arguments.bounds)}\n\n{table(results, kind)}\n" for kind in KINDS]
    lines += [line for _, line in verdicts]
    text = "\n".join(lines) + "\n"
    (arguments.folder / "loss.txt").write_text(text, encoding="ascii")
    print(text)
    missed = sum(not kept for kept, _ in verdicts)
    bounds = f"{len(verdicts) - missed} bounds kept, {missed} missed; " if arguments.bounds else ""
    print(f"loss: {bounds}tables and pictures are in {arguments.folder}/")
    sys.exit(1 if missed else 0)


if __name__ == "__main__":
    main()
