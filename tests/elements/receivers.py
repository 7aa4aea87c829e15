#!/usr/bin/python3
"""The receivers of README and docs and examples/receiver.py, all at once: a second of a sender, one
with 10,000 packets of a stranger in it, one without, and after two seconds of silence one of
another sender. The last two must be in the recordings as the codec decodes them, but for 250 ms.

    receivers.py FOLDER    with README.md, docs, examples and tests
"""
import random
import re
import shlex
import signal
import socket
import struct
import subprocess
import sys
import time

ROOT = sys.argv[1]
PORT = random.randrange(20000, 30000)
SDP = "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=-\nt=0 0\nm=audio %d RTP/AVP 96\na=rtpmap:96 G719/48000\n"


def recipes():
    for page in "README.md", "docs/sending.md":
        text = open(f"{ROOT}/{page}").read().replace("\\\n", "")
        for command in re.findall("^gst-launch-1.0 (?:udpsrc|rtpbin).*", text, re.MULTILINE):
            yield page, command.replace("autoaudiosink", "SINK")
    yield "receiver.py", f"{ROOT}/examples/receiver.py call.sdp 'SINK'"


def recorded(name):
    """Payloads of a recorded stream, and what each is decoded to."""
    payloads = open(f"{ROOT}/tests/vectors/{name}.64000.g719", "rb").read()
    decoded = open(f"{ROOT}/tests/vectors/{name}.64000.decoded.pcm", "rb").read()
    return ([payloads[n:n + 162] for n in range(0, len(payloads), 162)],
            [decoded[n:n + 1920] for n in range(0, len(decoded), 1920)])


def packet(ssrc, number, payload):
    return struct.pack(">BBHI", 0x80, 96, number, 960 * number) + ssrc + payload


def send(ssrc, name, first, strangers=0):
    """A second of packets to each receiver, each behind some of a stranger, half of them good."""
    for number, payload in enumerate(recorded(name)[0], first):
        for port in range(PORT, PORT + len(commands)):
            for n in range(strangers):
                evil = good if n % 2 else random.randbytes(n)
                stranger.sendto(packet(b"evil", n, evil), ("127.0.0.1", port))
            sender.sendto(packet(ssrc, number, payload), ("127.0.0.1", port))
        time.sleep(0.02)


sender, stranger = (socket.socket(socket.AF_INET, socket.SOCK_DGRAM) for _ in range(2))
good = recorded("extremes")[0][0]
commands = list(recipes())
receivers = []
for n, (page, command) in enumerate(commands):
    open(f"call.{n}.sdp", "w").write(SDP % (PORT + n))
    command = command.replace("port=5004", f"port={PORT + n}").replace("call.sdp", f"call.{n}.sdp")
    command = command.replace("SINK", f"filesink buffer-mode=unbuffered location=heard.{n}")
    receivers.append(subprocess.Popen(["timeout", "60", *shlex.split(command)],
                                      stdout=subprocess.DEVNULL))
for _ in range(400):
    if all(f":{PORT + n:04X} " in open("/proc/net/udp").read() for n in range(len(commands))):
        break
    time.sleep(0.05)
send(b"real", "speechlike", 0)
send(b"real", "speechlike", 50, strangers=200)
send(b"real", "musiclike", 100)
time.sleep(2.1)
send(b"anew", "castanets", 0)
time.sleep(1)
for n, ((page, _), receiver) in enumerate(zip(commands, receivers)):
    receiver.send_signal(signal.SIGINT)
    receiver.wait()
    sound = open(f"heard.{n}", "rb").read()
    heard = {sound[at:at + 1920] for at in range(0, len(sound), 1920)}
    for name in "musiclike", "castanets":
        found = sum(frame in heard for frame in recorded(name)[1])
        print(page, name, "heard" if found > 37 else found)
