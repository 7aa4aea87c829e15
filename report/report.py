"""Loses frames of the streams that scripts/report made, measures, draws, and writes the page."""

import pathlib
import sys

import jinja2
import numpy as np

import pictures
import signals
import streams

BITRATES = 32000, 48000, 64000
LOSS_BITRATE = 64000
LOSSES = 1, 5, 10    # in 100 frames
WAYS = {"concealed": [], "gaps": ["--gaps"]}
SHOWN_SECONDS = 10   # of each signal, drawn and measured
LOSS_SECONDS = 2     # of it, where losses are drawn


def compare(original, decoded):
    """What was decoded, and how it differs from the original by frame."""
    decoded = decoded[:len(original)]
    return decoded, signals.snr(original, decoded), signals.log_spectral_distance(original, decoded)


def report_bitrates(folder, tools, original):
    seconds = len(original) / signals.RATE
    pictures.spectrogram(folder / "original", "Original", original, seconds)
    rows, snr_curves, distance_curves = [], {}, {}
    for bitrate in BITRATES:
        name = f"{bitrate} bit/s"
        payloads = folder / f"payloads.{bitrate}.g719"
        decoded, snr, distance = compare(
            original, signals.read_wav(folder / f"decoded.{bitrate}.wav", SHOWN_SECONDS))
        stream = streams.read_allocation(tools, payloads)
        shown = streams.Allocation(*(part[:len(original) // signals.FRAME] for part in stream))
        pictures.spectrogram(folder / f"decoded.{bitrate}", f"Decoded, {name}", decoded,
                             seconds)
        pictures.allocation(folder / f"bits.{bitrate}", f"Bits, {name}", shown)
        snr_curves[name], distance_curves[name] = snr, distance
        rows.append({"bitrate": bitrate, "bytes": payloads.stat().st_size,
                     "snr": signals.mean(snr), "distance": signals.mean(distance),
                     "transients": int(shown.transient.sum()), "frames": len(shown.transient)})
    pictures.curves(folder / "snr", "Segmental SNR", "SNR, dB", -10, snr_curves)
    pictures.curves(folder / "distance", "Log-spectral distance", "distance, dB", 0,
                    distance_curves)
    return rows


def piece_that_suffers(original, lost):
    """First frame and number of those that are drawn: where lost frames were loudest."""
    frames = len(original) // signals.FRAME - 1
    length = min(frames, LOSS_SECONDS * signals.RATE // signals.FRAME)
    level = np.abs(original[:frames * signals.FRAME]).reshape(frames, signals.FRAME).mean(axis=1)
    suffering = np.where(np.isin(np.arange(frames), lost), level, 0)
    return int(np.convolve(suffering, np.ones(length), "valid").argmax()), length


def report_losses(folder, tools, original):
    payloads = folder / f"payloads.{LOSS_BITRATE}.g719"
    frames = payloads.stat().st_size // (LOSS_BITRATE // 400 + 2)
    # A lost frame is missing where it would complete the sound of the frame before.
    chosen = streams.choose_lost(frames, LOSSES)
    times = {percent: np.array(lost) - 1 for percent, lost in chosen.items()}
    first, length = piece_that_suffers(original, times[LOSSES[0]])
    rows = []
    for percent, lost in chosen.items():
        list_file = folder / f"lost.{percent}.txt"
        list_file.write_text(" ".join(map(str, lost)) + "\n")
        marks = [time for time in times[percent] if first <= time < first + length]
        for way, options in WAYS.items():
            path = folder / f"lost.{percent}.{way}"
            signals.write_wav(f"{path}.wav", streams.decode_with_losses(
                tools, payloads, list_file, *options))
            decoded, snr, distance = compare(
                original, signals.read_wav(f"{path}.wav", SHOWN_SECONDS))
            pictures.spectrogram(
                path, f"{percent} in 100 frames lost, {way}",
                decoded[first * signals.FRAME:(first + length) * signals.FRAME],
                length * 0.02, first * 0.02, marks, window=512)
            rows.append({"percent": percent, "way": way, "snr": signals.mean(snr),
                         "distance": signals.mean(distance)})
    return rows


def report_file(folder, tools):
    name = (folder / "name").read_text(errors="replace")
    print(f"report: {name}", flush=True)
    original = signals.read_wav(folder / "original.wav", SHOWN_SECONDS)
    return {"name": name, "folder": folder.name,
            "bitrates": report_bitrates(folder, tools, original),
            "losses": report_losses(folder, tools, original)}


def main():
    output, tools = map(pathlib.Path, sys.argv[1:])
    folders = sorted((path.parent for path in output.glob("*/name")),
                     key=lambda folder: int(folder.name.split("-")[0]))
    files = [report_file(folder, tools) for folder in folders]
    template = pathlib.Path(__file__).with_name("page.html").read_text()
    page = jinja2.Template(template, autoescape=True, trim_blocks=True, lstrip_blocks=True)
    (output / "index.html").write_text(page.render(
        files=files, seconds=SHOWN_SECONDS, loss_bitrate=LOSS_BITRATE, seed=streams.SEED))


if __name__ == "__main__":
    main()
