// What the element tests share: harnesses, buffers, reference streams from the codec itself, and
// the log.
#pragma once

#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

using Bytes = std::vector<guint8>;
using Span = std::span<const guint8>;

inline constexpr gsize FRAME_PCM_BYTES = 1920;
inline constexpr GstClockTime FRAME_TIME = 20 * GST_MSECOND;
inline constexpr char RAW_CAPS[] =
    "audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=1";

struct Rate {
  gint bitrate;
  gsize payload_bytes;
  guint8 toc;
};
inline constexpr Rate RATES[] = {{32000, 82, 0x20}, {48000, 122, 0x30}, {64000, 162, 0x40}};

// A file of tests/vectors: where it lies, and what is in it. An empty one fails the test.
std::string vector_path(const std::string& name);
Bytes vector_file(const std::string& name);

// Audio of every kind of loudness, tones and clicks, different for every seed.
Bytes test_audio(gsize frames, guint seed);

// One stream through the codec without any element.
class CodecStream {
 public:
  explicit CodecStream(gint bitrate);
  ~CodecStream();
  CodecStream(const CodecStream&) = delete;
  CodecStream& operator=(const CodecStream&) = delete;
  Bytes encode(Span pcm);     // whole payloads of the whole frames in `pcm`, back to back
  Bytes decode(Span frames);  // frames without headers to audio

 private:
  struct g719_encoder* encoder_;
  struct g719_decoder* decoder_;
};

Span part(const Bytes& bytes, gsize start, gsize size);
Bytes operator+(Bytes a, Span b);

// A copy of `bytes` in a heap block of exactly that size, or one byte off its alignment.
enum class Placement { ALIGNED, MISALIGNED };
GstBuffer* new_buffer(Span bytes, GstClockTime pts = GST_CLOCK_TIME_NONE,
                      Placement placement = Placement::ALIGNED);

// A payload header followed by `bytes`.
Bytes payload(guint8 toc, guint8 frame_count, Span bytes);

struct Packet {
  Bytes bytes;
  GstClockTime pts;
  GstClockTime duration;
};

// One element in a GstHarness, with a bus that catches its errors.
class Element {
 public:
  explicit Element(const char* name, gint bitrate = 0);
  ~Element();
  Element(const Element&) = delete;
  Element& operator=(const Element&) = delete;

  GstFlowReturn push(Span bytes, GstClockTime pts = GST_CLOCK_TIME_NONE);
  std::vector<Packet> pull();  // everything that has come out since the last call
  Bytes pull_bytes();
  void flush(GstClockTime new_start);
  void restart();       // to NULL and back to PLAYING, caps and segment sent again
  std::string error();  // text of the element error on the bus, "" when there is none
  std::string output_caps();
  void send_stream_start();

  GstHarness* h;

 private:
  bool is_encoder_;
  GstBus* bus_;
};

// Runs a launch line to its end, at most a minute. Returns "" or the error.
std::string run_pipeline(const std::string& line);

// A folder that goes away with the object.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  std::string operator/(const std::string& name) const { return path + "/" + name; }
  std::string path;
};
Bytes read_file(const std::string& path);
void write_file(const std::string& path, Span bytes);

// What one debug category says while the object lives, as "LEVEL message".
class LogCapture {
 public:
  explicit LogCapture(const char* category);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  std::vector<std::string> take();
  int count(const std::string& line);

 private:
  static void log(GstDebugCategory*, GstDebugLevel, const gchar*, const gchar*, gint, GObject*,
                  GstDebugMessage*, gpointer) G_GNUC_NO_INSTRUMENT;
  std::string category_;
  std::mutex mutex_;
  std::vector<std::string> lines_;
};
