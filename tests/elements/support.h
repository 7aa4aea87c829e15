// What the programs of this folder share: files of cases, and what plays the steps of a case.
#pragma once

#include <gst/check/gstharness.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "g719.h"

// Takes a step and returns what comes of it, every line as "=> line\n".
using Player = std::function<std::string(const std::string&)>;

// Makes a test of every case in a file. A case is a line "Suite.Name" and, indented, its steps,
// each with all that must come of it: "step => line => line", or a line "=> line" of its own. A
// backslash at the end of a line joins the next one to it. `start` gives a player for a case of the
// suite.
void add_cases(const std::string& path, const std::function<Player(const std::string&)>& start);

// What fails at the moment: "create" (an instance), "allocate" (an output buffer), "map input",
// "map output"; "" for nothing.
extern std::string broken;

// The codec without any element. Its instances hold no pointers, so a copy goes its own way.
struct Codec {
  g719_encoder encoders[2];  // one a channel
  g719_decoder decoder;
  g719_decoder right = {};  // of a second channel
  gsize next_block = 0, channels = 1;
};

// An element in a GstHarness, driven by these steps, with "; " between those of one line:
//
//   push N [by M]               encoders: N samples of recorded music, in buffers of M
//   push [TOC [COUNT BYTES]]    decoder: a payload, ToC byte in hexadecimal; any bytes are frames;
//                               behind it "discont", "resync", "clip 0 960", "lasts 40" (ms)
//                               payloader: the same, with " discont" behind it flagged so
//                               parser: bytes with such a header; a number behind it repeats them
//   push L*N ... @T             depayloader, gate: a packet of these entries, length code and count
//                               of frames, and "marked", "from2" (sender), "type97" (of payload),
//                               "seq9", "size+1" (bytes more or less)
//   sources N                   payloader: so many sources are named in what is pushed
//   lose                        depayloader: the next packet does not come
//   lost MS @T                  the same is known, of that time
//   channels N                  payloader, depayloader: what is pushed from now on has so many
//   stats NAME                  the numbers of that property
//   set BITRATE                 writes the property
//   property NAME VALUE         writes another one
//   caps [CAPS]                 stream start, caps, segment; by themselves before the first push
//   caps none                   the same without caps
//   channels N                  the same with so many channels of samples
//   bytes                       from now on segments count bytes, as those of filesrc do
//   downstream CAPS             what the element's peer takes from now on
//   upstream                    from now on it says: live, latency of 30 to 90 ms, 12200 bytes
//   duration                    parser: of the stream
//   facts                       asks for output caps and latency
//   latency                     asks for it alone
//   time BYTE                   parser: when the audio of that byte is played
//   jump BYTE                   parser: flush, and what is pushed comes from that place on
//   seek FORMAT START STOP      parser: which seek it asks for upstream
//   announced                   counts the events with caps and with tags since the last such step
//   sdp                         writes the output caps as SDP and reads them from there
//   flush, eos, segment, gap @T events
//   restart                     to READY, PAUSED, NULL and back to PLAYING, then as `caps`
//   misalign                    asks for output at odd addresses, where all input stands
//   log                         the whole log counts from now on, not only INFO and worse
//
// " @T" after a push is its timestamp in ms, " !WHAT" after a step makes that fail, see `broken`.
//
// What comes of it are log lines, errors and warnings on the bus, the payloader's "latency" when it
// may have changed, buffers, a flow return other than ok. "2 on 64000 @20" is a buffer of two
// frames at 64000 bit/s and 20 ms, byte for byte what the codec gives that goes on from the frames
// before; "new" what it gives from cleared memory, "wrong" neither.
// The encoder of streams is said to begin "new" only where the buffer says discontinuous; "clip
// 959" is how many samples it says are filling.
//
// "nff l e:480 @20" is a buffer of the stream decoder: for each 20 ms the blocks decoded for it,
// "f" the next frame pushed, "l" a lost one, "e" silence behind the last one, "n" cleared memory;
// only what the last of them gives is heard. 480 samples of each channel are there of the last.
//
// "packet 3 at 960: 2 of 160 @20" is an RTP packet: number, RTP timestamp, two frames of 160 bytes,
// those that are due; "160: 3 4 @60" a payload with frames 3 and 4, of 160 bytes, and "gap 20 @60"
// or "lost 20 @60" a gap of 20 ms that the depayloader announces; "122 of 48000 @20 lasts 20" one
// of 122 bytes that the parser found in what was pushed.
struct Element {
  explicit Element(const std::string& suite);  // a row of KINDS
  ~Element();
  std::string step(const std::string& text);

  std::string suite;
  bool is_stream_encoder, is_encoder, is_started = false;
  GstHarness* h;
  GstBus* bus;
  GAsyncQueue* output = g_async_queue_new();  // that was not noted yet, in its order
  guint64 start = 0;                          // of segments
  guint32 segment = 0;                        // number of the last one sent
  std::string caps;                           // of the input
  GstFormat format = GST_FORMAT_TIME;
  gsize position = 0;  // in the recorded music
  guint caps_events = 0, tag_events = 0;
  guint sources = 0;                // that the input names
  guint16 packets = 0;              // pushed or lost
  gsize channels = 1;               // of the input, as far as its sizes count
  gint bitrate = 0;                 // of the last payload pushed
  std::string input;                // audio or frames pushed that nothing has come out for
  std::vector<std::string> blocks;  // stream decoder: all whole frame-blocks pushed
  gsize sent = 0;                   // payloader: of these
  Codec codec = {};                 // as the element's should stand
};

std::string contents(GstBuffer* buffer);
std::string contents(const std::string& path);

// A stream of two channels: of fifty payloads of one frame, and of the same ones backwards.
std::string in_two_channels(const std::string& stream);
