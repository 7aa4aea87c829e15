#!/usr/bin/python3
"""Three who send a tone each to a conference server: what they hear, and what the server says."""
import array
import cmath
import random
import re
import subprocess
import sys

TONES = 500, 1100, 2300
RTP = "application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719"
PORT = random.randrange(20000, 30000)
call = " ".join(f"""
    audiotestsrc is-live=true volume=0.2 freq={tone} ! zelg719enc ! rtpg719pay !
    udpsink host=127.0.0.1 port={PORT + n} async=false
    udpsrc port={PORT + 3 + n} caps={RTP} ! rtpjitterbuffer ! rtpg719depay ! zelg719dec !
    filesink location=heard.{n}""" for n, tone in enumerate(TONES))
callers = subprocess.Popen(["timeout", "10", "gst-launch-1.0", "-q", *call.split()])
server = subprocess.run(
    ["timeout", "--preserve-status", "--signal=INT", "3", sys.argv[1],
     *(f"{PORT + n}:127.0.0.1:{PORT + 3 + n}" for n in range(3))],
    capture_output=True, text=True)
callers.terminate()
callers.wait()

for n, tone in enumerate(TONES):
    heard = array.array("h", open(f"heard.{n}", "rb").read())[-48000:]
    print(f"who sends {tone} Hz hears", *(other for other in TONES if 1000 * len(heard) < abs(sum(
        sample * cmath.exp(-2j * cmath.pi * other * at / 48000) for at, sample in enumerate(heard)))), "Hz")
print("they come at", *re.findall(r"(\S+) dB", server.stdout.splitlines()[-1]), "dB")
sys.exit(server.stderr or server.returncode)
