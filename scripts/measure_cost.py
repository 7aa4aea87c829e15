"""Measures for scripts/check-cost: the inspector and a folder for the streams are its arguments."""

import os
import random
import resource
import subprocess
import sys

SIZE = 4_000_000
# Without a payload in 2 MB GStreamer's base class of parsers gives up.
UNBROKEN = 2_000_000
RUNS = 5
CLOCK_SECONDS = 1e-3  # less is not seen
MOST_SECONDS = 60
MOST_RATIO = 4

PARSE = 'gst-launch-1.0 -q filesrc location={} ! zelg719parse'
PUSH = 'gst-launch-1.0 -q filesrc location={} ! queue ! zelg719parse'
CHAINS = {
    'parser, pulled': PARSE + ' ! fakesink',
    'parser, pushed': PUSH + ' ! fakesink',
    'parser and decoder': PARSE + ' ! zelg719dec ! fakesink',
    'g719-dump': sys.argv[1] + ' {}',
}


def recorded(bitrate):
    with open(f'tests/vectors/castanets.{bitrate}.g719', 'rb') as file:
        stream = file.read()
    size = bitrate // 400 + 2
    return [stream[i:i + size] for i in range(0, len(stream), size)]


def repeated(bytes_):
    return bytes_ * (SIZE // len(bytes_))


def frame_bytes(toc):
    code = toc >> 2
    return 10 * code if code <= 22 else 20 * code - 220


def hiding_headers():
    """A header that promises 81,600 bytes, three payloads, and on with the next kind of payload.
    That kind comes again within what the next such header promises."""
    body = random.Random(1).randbytes(320).translate(bytes(range(128, 256)) * 2)
    cycle = b''
    for toc in range(0x20, 0x70):
        cycle += b'\x6c\xff' + 3 * (bytes([toc, 1]) + body[:frame_bytes(toc)])
    return recorded(48000)[0] + repeated(cycle)


def make_streams():
    """The bytes of each stream, and how many units it is to be counted in, of which kind."""
    good = recorded(48000)
    lead = b''.join(good[:3])
    streams = {
        'good': repeated(b''.join(good)),
        'no frames': b'\x40\x00\x20\x00' * (SIZE // len(lead) * 3 // 2) + lead,
        'two bitrates in turn': repeated(b''.join(map(bytes.__add__, good, recorded(64000)))),
        'headers that hide others': hiding_headers(),
        'noise': lead + random.Random(2).randbytes(UNBROKEN),
        'zeros': lead + bytes(UNBROKEN),
    }
    return {'start': lead, **streams}


def seconds_of(command, path):
    """Processor time of a run, at best; None if it takes too long or fails."""
    times = []
    for _ in range(RUNS):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        try:
            done = subprocess.run(command.format(path).split(), stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL, timeout=MOST_SECONDS, check=False)
        except subprocess.TimeoutExpired:
            return None
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        # The inspector's 1 tells of damage.
        if done.returncode not in (0, 1 if 'dump' in command else 0):
            return None
        times.append(after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime)
    return min(times)


def main():
    folder = sys.argv[2]
    os.makedirs(folder, exist_ok=True)
    streams = make_streams()
    for name, stream in streams.items():
        with open(f'{folder}/{name.replace(" ", "-")}', 'wb') as file:
            file.write(stream)

    worst = 0
    print(f'{"":20} {"stream":26} {"a second":>17} {"cost":>6}')
    for chain, command in CHAINS.items():
        start = None
        good = {}
        for name, stream in streams.items():
            seconds = seconds_of(command, f'{folder}/{name.replace(" ", "-")}')
            if seconds is None:
                print(f'{chain:20} {name:26} {"failed":>17}')
                worst = float('inf')
                continue
            if name == 'start':
                start = seconds
                continue
            seconds = max(seconds - start, CLOCK_SECONDS)
            costs = {'bytes': seconds / len(stream)}
            if name == 'good':
                good = {'bytes': costs['bytes'], 'payloads': 122 * costs['bytes']}
            if name == 'no frames':
                costs = {'payloads': seconds / (len(stream) / 2)}
            unit, cost = next(iter(costs.items()))
            ratio = cost / good[unit]
            worst = max(worst, ratio)
            print(f'{chain:20} {name:26} {1 / cost:>8,.0f} {unit:>8} {ratio:>6.2f}', flush=True)
    return worst > MOST_RATIO


sys.exit(main())
