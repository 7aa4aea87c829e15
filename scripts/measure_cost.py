"""Measures for scripts/check-cost: the inspector and a folder for the streams are its arguments."""

import os
import random
import resource
import struct
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
DEPAY = ('gst-launch-1.0 -q filesrc location={} ! application/x-rtp-stream,media=audio,'
         'clock-rate=48000,encoding-name=G719 ! rtpstreamdepay ! '
         'rtpg719depay wait-for-copies=80000000')


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


def payload_streams():
    good = recorded(48000)
    lead = b''.join(good[:3])
    streams = {
        'good': repeated(b''.join(good)),
        'no frames': b'\x40\x00\x20\x00' * (SIZE // len(lead) * 3 // 2) + lead,
        'two channels': repeated(b''.join(payload + payload[2:] for payload in good)),
        'two bitrates in turn': repeated(b''.join(map(bytes.__add__, good, recorded(64000)))),
        'headers that hide others': hiding_headers(),
        'noise': lead + random.Random(2).randbytes(UNBROKEN),
        'zeros': lead + bytes(UNBROKEN),
    }
    return {'start': lead, **streams}


def packets(payloads, timestamps):
    """RTP packets, each behind its size, as TCP carries them."""
    return b''.join(
        struct.pack('!HBBHII', 12 + len(payload), 0x80, 96, i % 65536, timestamps(i) % 2**32, 1) +
        payload for i, payload in enumerate(payloads))


def packet_streams():
    good = recorded(48000)[0]
    count = SIZE // len(good)
    return {
        'start': packets([good] * 3, lambda i: 960 * i),
        'good': packets([good] * count, lambda i: 960 * i),
        'no data': packets([b'\0\1'] * count, lambda i: 960 * i),
        'every second frame': packets([good] * count, lambda i: 1920 * i),
        'frames of two others': packets([good] * count, lambda i: 960 * i + i % 2 * 2**31),
        'a byte too many': packets([good + b'?'] * count, lambda i: 960 * i),
        'entries of nothing': packets([b'\xb0\0' * 700 + b'\x30\0'] * (SIZE // 1402), lambda i: 960),
        'copies': packets([b'\x30\2' + 2 * good[2:]] * (count // 2), lambda i: 960 * i),
    }


CHAINS = {
    'parser, pulled': (payload_streams, PARSE + ' ! fakesink'),
    'parser, pushed': (payload_streams, PUSH + ' ! fakesink'),
    'parser and decoder': (payload_streams, PARSE + ' channels=1 ! zelg719dec ! fakesink'),
    'g719-dump': (payload_streams, sys.argv[1] + ' {}'),
    'depayloader': (packet_streams, DEPAY + ' ! fakesink'),
    'depayloader and decoder': (packet_streams, DEPAY + ' ! zelg719dec ! fakesink'),
}


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
    worst = 0
    print(f'{"":20} {"stream":26} {"a second":>17} {"cost":>6}')
    for chain, (make_streams, command) in CHAINS.items():
        start = None
        good = {}
        for name, stream in make_streams().items():
            path = f'{folder}/{name.replace(" ", "-")}'
            with open(path, 'wb') as file:
                file.write(stream)
            seconds = seconds_of(command, path)
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
            if name == 'no data':
                costs = {'payloads': seconds / (len(stream) / 16)}
            unit, cost = next(iter(costs.items()))
            ratio = cost / good[unit]
            worst = max(worst, ratio)
            print(f'{chain:20} {name:26} {1 / cost:>8,.0f} {unit:>8} {ratio:>6.2f}', flush=True)
    return worst > MOST_RATIO


sys.exit(main())
