"""What the project's tools say of payload files."""

import csv
import random
import subprocess
from typing import NamedTuple

import numpy as np

BANDS = 44
DELAY = 960  # samples: sample n that the codec gives holds sample n - 960 of the original
SEED = 2  # any; with this one loud frames are lost of what Debian ships


class Allocation(NamedTuple):
    bits: np.ndarray        # a coefficient, by frame and band
    transient: np.ndarray   # by frame


def read_allocation(tools, payloads):
    dump = subprocess.run([tools / "g719-dump", "--full", "--csv", payloads], check=True,
                          capture_output=True, text=True)
    rows = list(csv.reader(dump.stdout.splitlines()))
    transient_column = rows[0].index("transient")
    transient = [row[transient_column] == "1" for row in rows[1:] if row[0].isdigit()]
    bits = np.zeros((len(transient), BANDS), int)
    for frame, row in enumerate(row for row in rows if row[0] == "bits"):
        bits[frame, :len(row) - 1] = row[1:]
    return Allocation(bits, np.array(transient))


def choose_lost(frames, percents):
    """The same frames for every stream of that length, and those of a lower rate among them."""
    order = list(range(frames))
    random.Random(SEED).shuffle(order)
    return {percent: sorted(order[:max(1, frames * percent // 100)]) for percent in percents}


def decode_with_losses(tools, payloads, list_file, *options):
    """Samples in 16 bits, without the codec's delay."""
    pcm = subprocess.run([tools / "lossy_decode", *options, payloads, list_file], check=True,
                         capture_output=True).stdout
    return pcm[2 * DELAY:]
