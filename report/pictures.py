"""The pictures, each in two files: for a light page and for a dark one."""

import io

import matplotlib
import numpy as np
from matplotlib.colors import ListedColormap
from matplotlib.figure import Figure
from PIL import Image

import signals
import streams

SIZE = 4.8, 2.7         # inches; on a phone as wide as the screen
DOTS_PER_INCH = 150
QUIET, LOUD = -110, -20
# Ink, paper (those of page.html) and lines.
THEMES = {"light": ("#262626", "#ffffff", ["#0072b2", "#d55e00", "#007a5a", "#8a5a00", "#7b3fa0", "#5f6b75"]),
          "dark": ("#d8d8d8", "#161618", ["#56b4e9", "#ee8f3c", "#2fc79a", "#e0c040", "#c08fe6", "#9aa7b2"])}


def save(path, draw):
    """Calls draw(figure, axes) for each theme."""
    for theme, (ink, paper, lines) in THEMES.items():
        style = {name: ink for name in ("text.color", "axes.labelcolor", "axes.edgecolor",
                                        "xtick.color", "ytick.color")}
        style |= {"axes.prop_cycle": matplotlib.cycler(color=lines), "font.size": 10,
                  "axes.titlesize": 11, "axes.facecolor": paper, "figure.facecolor": paper}
        with matplotlib.rc_context(style):
            figure = Figure(figsize=SIZE, layout="constrained")
            draw(figure, figure.subplots())
            drawn = io.BytesIO()
            figure.savefig(drawn, dpi=DOTS_PER_INCH)
        # Few colours, a third of the size. An octree keeps those of thin lines.
        image = Image.open(drawn).quantize(256, Image.Quantize.FASTOCTREE)
        image.save(f"{path}-{theme}.png", optimize=True)


def spectrogram(path, title, signal, seconds, begin=0.0, lost=(), window=1024):
    levels = signals.decibels(signals.spectrum(signal, window, window // 4), 1e-12).T

    def draw(figure, axes):
        image = axes.imshow(levels, origin="lower", aspect="auto", cmap="magma", vmin=QUIET,
                            vmax=LOUD, extent=(begin, begin + len(signal) / signals.RATE,
                                               0, signals.RATE / 2000))
        for frame in lost:
            axes.axvspan(frame * 0.02, frame * 0.02 + 0.02, 0.95, 1, color="#00e5ff")
        axes.set(title=title, xlabel="time, s", ylabel="frequency, kHz",
                 xlim=(begin, begin + seconds), yticks=range(0, 25, 4))
        axes.locator_params(axis="x", nbins=6)
        figure.colorbar(image, label="level, dB")

    save(path, draw)


def curves(path, title, label, least, curves_by_name):
    def draw(figure, axes):
        for name, curve in curves_by_name.items():
            axes.plot((np.arange(len(curve)) + 0.5) * 0.02, curve, label=name, linewidth=1.1)
        axes.set(title=title, xlabel="time, s", ylabel=label)
        axes.set(xlim=(0, len(curve) * 0.02), ylim=(least, None))
        axes.grid(alpha=0.25)
        axes.spines[["top", "right"]].set_visible(False)
        axes.legend(loc="upper center", bbox_to_anchor=(0.5, -0.2), ncols=3, frameon=False,
                    handlelength=1.2, columnspacing=1.2)

    save(path, draw)


def against_loss(path, title, label, percents, values_by_name):
    def draw(figure, axes):
        for name, values in values_by_name.items():
            axes.plot(percents, values, "o-", label=name, linewidth=1.1, markersize=3)
        axes.set(title=title, xlabel="packets lost in 100", ylabel=label, xticks=percents)
        axes.set(xlim=(0, None), ylim=(0, None))
        axes.grid(alpha=0.25)
        axes.spines[["top", "right"]].set_visible(False)
        axes.legend(frameon=False, handlelength=1.2, fontsize=8)

    save(path, draw)


def allocation(path, title, stream):
    def draw(figure, axes):
        most = 9
        # Without its darkest part, which looks like no colour on a dark page.
        colours = ListedColormap(matplotlib.colormaps["viridis"](np.linspace(0.1, 1, most)))
        image = axes.imshow(np.ma.masked_equal(stream.bits.T, 0), origin="lower", aspect="auto",
                            cmap=colours, vmin=0.5, vmax=most + 0.5, interpolation="nearest",
                            extent=(0, len(stream.bits) * 0.02, 0, streams.BANDS))
        times = np.flatnonzero(stream.transient) * 0.02
        axes.plot(times + 0.01, np.full(len(times), streams.BANDS + 1.5), "|", markersize=6,
                  color="C1")
        axes.set(title=title, xlabel="time, s", ylabel="band", ylim=(0, streams.BANDS + 3))
        figure.colorbar(image, label="bits a coefficient", ticks=range(1, most + 1))

    save(path, draw)
