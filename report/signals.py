"""Signals and what is measured on them, in frames of 20 ms."""

import wave

import numpy as np

RATE = 48000
FRAME = 960
HIGHEST_CODED = 20.0  # kHz


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


def mean(curve):
    return "–" if np.all(np.isnan(curve)) else f"{np.nanmean(curve):.1f}"
