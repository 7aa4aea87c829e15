"""Speech through encoder, payloader, a network that loses packets, jitter buffer, depayloader and
decoder. All of these are elements; what the network does to the packets between them is done here."""

import time

import gi
gi.require_version("Gst", "1.0")
gi.require_version("GstApp", "1.0")
from gi.repository import GObject, Gst, GstApp  # GstApp for the methods of appsrc and appsink
import numpy as np

import signals

RAW = "audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=1"
SINK = "appsink name=sink sync=false wait-on-eos=false"
LATENCY = 40           # ms, of the jitter buffer; what README proposes
HEADERS = 28           # bytes of IP and UDP in front of a packet
SECOND = Gst.SECOND
PAST = 3600 * SECOND

Gst.init(None)


def to_samples(nanoseconds):
    return round(nanoseconds * signals.RATE / SECOND)


def to_time(samples):
    return samples * SECOND // signals.RATE


def new_buffer(data, pts):
    buffer = Gst.Buffer.new_wrapped(data)
    buffer.pts = buffer.dts = pts
    return buffer


def audio_buffers(pcm, step):
    return [new_buffer(pcm[n:n + step].tobytes(), to_time(n)) for n in range(0, len(pcm), step)]


def buffer_bytes(buffer):
    return buffer.extract_dup(0, buffer.get_size())


def pull_all(sink):
    """What waits there, without waiting for more."""
    buffers = []
    while sample := sink.try_pull_sample(0):
        buffers.append(sample.get_buffer())
    return buffers


def play(pipeline):
    pipeline.set_state(Gst.State.PLAYING)
    message = pipeline.get_bus().timed_pop_filtered(
        Gst.CLOCK_TIME_NONE, Gst.MessageType.EOS | Gst.MessageType.ERROR)
    if message.type == Gst.MessageType.ERROR:
        raise RuntimeError(": ".join(map(str, message.parse_error())))


def feed(pipeline, caps, buffers):
    source = pipeline.get_by_name("source")
    source.set_property("caps", caps)
    for buffer in buffers:
        source.push_buffer(buffer)
    source.end_of_stream()


def send(pcm, encoder):
    """Caps of the packets, and the packets: pairs of timestamp and bytes."""
    pipeline = Gst.parse_launch(f"appsrc name=source format=time max-bytes=0 ! {encoder} "
                                f"ssrc=1 seqnum-offset=0 timestamp-offset=0 ! {SINK}")
    feed(pipeline, Gst.Caps.from_string(RAW), audio_buffers(pcm, signals.FRAME))
    play(pipeline)
    sink = pipeline.get_by_name("sink")
    caps = sink.get_static_pad("sink").get_current_caps()
    packets = [(buffer.pts, buffer_bytes(buffer)) for buffer in pull_all(sink)]
    pipeline.set_state(Gst.State.NULL)
    return caps, packets


# A jitter buffer goes by the times at which packets came, which they carry, and waits by the clock for
# one that is missing. Packets that keep their order, an hour after their times, are the same to it as
# in time, only that it need not wait.
def start_late(pipeline):
    clock = GObject.new(Gst.SystemClock, clock_type=Gst.ClockType.REALTIME)
    pipeline.use_clock(clock)
    pipeline.set_start_time(Gst.CLOCK_TIME_NONE)
    pipeline.set_base_time(clock.get_time() - PAST)


def receive(caps, packets, lost, decoder, in_time=False):
    """Samples from time 0 on, silence where the decoder gave none. `lost` is a set of numbers of
    packets; `in_time` sends them at their times and lets the jitter buffer wait."""
    network = "identity sync=true ! " if in_time else ""
    pipeline = Gst.parse_launch(
        f"appsrc name=source format=time max-bytes=0 ! {network}"
        f"rtpjitterbuffer name=jitter latency={LATENCY} do-lost=true ! {decoder} ! {RAW} ! {SINK}")
    if not in_time:
        start_late(pipeline)
    feed(pipeline, caps, [new_buffer(data, pts) for number, (pts, data) in enumerate(packets)
                          if number not in lost])
    play(pipeline)
    stats = pipeline.get_by_name("jitter").get_property("stats")
    pcm = place(pull_all(pipeline.get_by_name("sink")))
    pipeline.set_state(Gst.State.NULL)
    counted = stats.get_value("num-lost") + stats.get_value("num-late")
    if counted != len(lost):
        raise RuntimeError(f"the jitter buffer lost {counted} packets instead of {len(lost)}")
    return pcm


def receive_again(*arguments):
    """As receive. On a busy machine the threads of one run in some hundreds make other gaps of the same
    losses: what two runs agree on counts."""
    results = [receive(*arguments)]
    for _ in range(4):
        results.append(receive(*arguments))
        if any(np.array_equal(results[-1], before) for before in results[:-1]):
            return results[-1]
    raise RuntimeError("no two runs agree")


def place(buffers):
    pcm = np.zeros(max(to_samples(buffer.pts) + buffer.get_size() // 2 for buffer in buffers),
                   np.int16)
    for buffer in buffers:
        begin = to_samples(buffer.pts)
        pcm[begin:begin + buffer.get_size() // 2] = np.frombuffer(buffer_bytes(buffer), "<i2")
    return pcm


def push_from(element):
    """A pad from which buffers go through the element and all behind it before push returns."""
    pad = Gst.Pad.new("source", Gst.PadDirection.SRC)
    pad.link(element.get_static_pad("sink"))
    pad.set_active(True)
    segment = Gst.Segment()
    segment.init(Gst.Format.TIME)
    pad.push_event(Gst.Event.new_stream_start("speech"))
    pad.push_event(Gst.Event.new_caps(Gst.Caps.from_string(RAW)))
    pad.push_event(Gst.Event.new_segment(segment))
    return pad


def measure_delay(pcm, encoder, decoder):
    """ms from the time that a sample goes in to the time that it comes out, for that which waits
    longest, without network and jitter buffer."""
    step = signals.RATE // 1000
    pipeline = Gst.parse_launch(f"identity name=source ! {encoder} ! {decoder} ! {RAW} ! {SINK}")
    pipeline.set_state(Gst.State.PLAYING)
    pad = push_from(pipeline.get_by_name("source"))
    sink = pipeline.get_by_name("sink")
    came, behind = [], 0
    for number, buffer in enumerate(audio_buffers(pcm, step)):
        pad.push(buffer)
        for output in pull_all(sink):
            behind = max(behind, (number + 1) * step - sum(map(len, came)))
            came.append(np.frombuffer(buffer_bytes(output), "<i2"))
    pipeline.set_state(Gst.State.NULL)
    return (behind + signals.lag(pcm, np.concatenate(came))) * 1000 / signals.RATE
