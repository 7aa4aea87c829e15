#!/usr/bin/python3
"""Three who send a tone each to a conference server, a fourth whose elements fail, and a stranger
who sends 10,000 packets to the first and the fourth: what the three hear, what the server says."""
import array
import cmath
import os
import random
import socket
import subprocess
import sys
import time

TONES = 500, 1100, 2300
RTP = "application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719"
PORT = random.randrange(20000, 30000)
RECORDINGS = [f"heard.{n}" for n in range(3)]
example = open(sys.argv[1]).read()
for element, frames in ("level name", 20), ("udpsink", 100):
    example = example.replace(
        element, f"identity error-after={{{frames} if me == 3 else -1}} ! {element}")
open("faulty.py", "w").write(example)


# The server prints one a second. Without a server, its rows are empty.
def next_table():
    return [server.stdout.readline().split() for _ in range(6)][2:]


server = subprocess.Popen(
    ["/usr/bin/python3", "faulty.py", "--seconds", "60",
     *(f"{PORT + n}:127.0.0.1:{PORT + 4 + n}" for n in range(4))],
    stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
table = next_table()
callers = subprocess.Popen(["timeout", "60", "gst-launch-1.0", "-q", *" ".join(f"""
    audiotestsrc is-live=true volume=0.2 freq={tone} ! zelg719enc ! rtpg719pay !
    udpsink host=127.0.0.1 port={PORT + n} async=false
    udpsrc port={PORT + 4 + n} caps={RTP} ! rtpjitterbuffer do-lost=true ! rtpg719depay !
    zelg719dec ! filesink buffer-mode=unbuffered location=heard.{n}"""
    for n, tone in enumerate(TONES)).split()])
while table[0] and not all(os.path.exists(name) and any(open(name, "rb").read())
                           for name in RECORDINGS):
    table = next_table()
stranger = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
for n in range(10000):
    payload = b"\x40\1" + random.randbytes(160) if n % 2 else random.randbytes(n % 200)
    for port in PORT, PORT + 3:
        stranger.sendto(b"\x80\x60" + n.to_bytes(2, "big") + bytes(4) + b"evil" + payload,
                        ("127.0.0.1", port))
    time.sleep(0.0005)
while table[0] and int(table[0][3]) + int(table[0][4]) < 10000:
    table = next_table()
server.terminate()
errors = server.communicate(timeout=60)[1]
callers.terminate()
callers.wait()

for n, tone in enumerate(TONES):
    heard = array.array("h", open(RECORDINGS[n], "rb").read())[-72000:-24000]
    levels = {other: abs(sum(sample * cmath.exp(-2j * cmath.pi * other * at / 48000)
                             for at, sample in enumerate(heard))) for other in TONES}
    print(f"who sends {tone} Hz hears",
          *(other for other in TONES if levels[other] > 1000 * len(heard)), "Hz")
print("the table shows all of the stranger's packets:", table[0] != [])
print("packets were sent to", sum(int(row[7]) > 200 for row in table if row))
print(errors.replace(str(PORT + 3), "the fourth").split(": ")[0].rstrip())
sys.exit(len(errors.splitlines()) != 1 or server.returncode)
