"""Signals and what is measured on them, in frames of 20 ms."""

import wave

import numpy as np

RATE = 48000
FRAME = 960
HIGHEST_CODED = 20.0  # kHz
ACTIVE = 200          # root mean square from which on a signal is not quiet
PAUSE = RATE // 5      # a quiet stretch of words is shorter


def read_wav(path, seconds):
    with wave.open(str(path)) as file:
        return np.frombuffer(file.readframes(seconds * RATE), "<i2").astype(float)


def write_wav(path, pcm):
    with wave.open(str(path), "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(pcm)


def spectrum(signal, size, step):
    """Power of the windowed blocks, a row each; a full-scale sine has the power 1."""
    window = np.hanning(size)
    blocks = np.lib.stride_tricks.sliding_window_view(signal, size)[::step] * window
    return np.abs(np.fft.rfft(blocks) / (32768 * window.sum() / 2)) ** 2


def decibels(power, least):
    return 10 * np.log10(np.maximum(power, least))


def snr(original, decoded):
    """dB a frame as tools/segmental_snr.cpp has it: between -10 and 35, none where it is silent."""
    frames = len(decoded) // FRAME
    signal, noise = (np.mean(values[:frames * FRAME].reshape(frames, FRAME) ** 2, axis=1)
                     for values in (original, original[:len(decoded)] - decoded))
    ratio = 10 * np.log10(np.maximum(signal, 1e-3) / np.maximum(noise, 1e-3))
    return np.where(signal < 100, np.nan, np.clip(ratio, -10, 35))


def log_spectral_distance(original, decoded):
    """dB a frame, up to the highest coded frequency; what 16 bits round away counts as silence."""
    bins = int(HIGHEST_CODED * 1000 * FRAME / RATE)
    silence = 1 / 12 / 32768 ** 2 * 6 / FRAME  # in this window
    difference = [decibels(spectrum(signal[:len(decoded)], FRAME, FRAME)[:, :bins], silence)
                  for signal in (original, decoded)]
    return np.sqrt(np.mean((difference[0] - difference[1]) ** 2, axis=1))


def lag(original, decoded):
    """By how many samples the second is later."""
    size = 2 * max(len(original), len(decoded))
    products = np.fft.irfft(np.fft.rfft(decoded, size) * np.conj(np.fft.rfft(original, size)))
    place = int(products.argmax())
    return place if place < size // 2 else place - size


def blocks(signal, size):
    return signal[:len(signal) // size * size].reshape(-1, size)


def level(signal, size):
    """Root mean square of each block."""
    return np.sqrt(np.mean(blocks(signal, size) ** 2, axis=1))


def runs(flags):
    """Begin and end of each stretch of true ones."""
    return np.flatnonzero(np.diff(np.concatenate(([0], flags, [0])))).reshape(-1, 2)


def without_pauses(signal):
    """What is left when pauses between words are gone, joined without a step."""
    fade = RATE // 200
    loud = np.repeat(level(signal, FRAME) > ACTIVE, FRAME)
    for begin, end in runs(~loud):
        if end - begin < PAUSE:
            loud[begin:end] = True
    rise = np.linspace(0, 1, fade)
    joined = np.zeros(fade)
    for begin, end in runs(loud):
        piece = signal[begin:end].copy()
        piece[:fade] *= rise
        piece[-fade:] *= rise[::-1]
        joined[-fade:] += piece[:fade]
        joined = np.concatenate((joined, piece[fade:]))
    return joined


def holes(intact, damaged):
    """How many, and ms: 5 ms and more that have lost nine tenths of their level and were not quiet."""
    step = RATE // 200
    before = level(intact, step)
    empty = (before > ACTIVE) & (level(damaged, step) < before / 10)
    return int(np.sum(np.diff(empty.astype(int), prepend=0) == 1)), int(empty.sum()) * 5


def clicks(intact, damaged):
    """In how many times 10 ms the signal bends far more than the intact one."""
    before, after = (np.abs(blocks(np.diff(signal, 2), RATE // 100)).max(axis=1)
                     for signal in (intact, damaged))
    return int(np.sum((after > 3 * before) & (after > 800)))


def band_distance(intact, damaged):
    """Mean over the active frames of the RMS of the difference of 24 bands, in dB."""
    size = 10 * RATE // 100  # bins of 10 Hz
    edges = np.geomspace(100, 1000 * HIGHEST_CODED, 25) // 10
    levels = []
    for signal in (intact, damaged):
        power = np.abs(np.fft.rfft(blocks(signal, FRAME) * np.hanning(FRAME), size)) ** 2
        bands = np.add.reduceat(power, edges.astype(int), axis=1)[:, :-1] / np.diff(edges)
        # What 16 bits round away counts as silence.
        levels.append(decibels(bands, np.sum(np.hanning(FRAME) ** 2) / 12))
    frames = level(intact, FRAME) > ACTIVE
    return float(np.sqrt(np.mean((levels[0] - levels[1]) ** 2, axis=1))[frames].mean())


def mean(curve):
    return "–" if np.all(np.isnan(curve)) else f"{np.nanmean(curve):.1f}"
