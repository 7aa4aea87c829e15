#include "support.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "g719.h"

std::string vector_path(const std::string& name) { return VECTOR_DIR "/" + name; }

Bytes vector_file(const std::string& name) {
  Bytes bytes = read_file(vector_path(name));
  EXPECT_FALSE(bytes.empty()) << name;
  return bytes;
}

Bytes test_audio(gsize frames, guint seed) {
  Bytes bytes(frames * FRAME_PCM_BYTES);
  guint32 noise = seed * 2654435761U + 1;
  for (gsize n = 0; n < bytes.size() / 2; n++) {
    noise = noise * 1664525U + 1013904223U;
    const double t = static_cast<double>(n) / 48000.0;
    const double loudness = 6000.0 * (1.0 + std::sin(9.0 * t + seed));
    double x = loudness * std::sin((2000.0 + 700.0 * seed) * t) +
               0.1 * loudness * (static_cast<double>(noise >> 16) / 32768.0 - 1.0);
    if (noise % 5003U == 0) x += 15000.0;
    const auto sample = static_cast<gint16>(CLAMP(x, -32768.0, 32767.0));
    std::memcpy(&bytes[2 * n], &sample, sizeof sample);
  }
  return bytes;
}

CodecStream::CodecStream(gint bitrate)
    : encoder_(g719_encoder_create(bitrate)), decoder_(g719_decoder_create(bitrate)) {}

CodecStream::~CodecStream() {
  g719_encoder_destroy(encoder_);
  g719_decoder_destroy(decoder_);
}

Bytes CodecStream::encode(Span pcm) {
  const auto frame_bytes = static_cast<gsize>(encoder_->frame_bytes);
  const gsize frames = pcm.size() / FRAME_PCM_BYTES;
  Bytes bytes;
  for (gsize i = 0; i < frames; i++) {
    gint16 samples[960];
    std::memcpy(samples, &pcm[i * FRAME_PCM_BYTES], sizeof samples);
    Bytes frame(frame_bytes);
    g719_encoder_encode(encoder_, samples, frame.data());
    bytes.push_back(static_cast<guint8>(frame_bytes / 10 * 4));
    bytes.push_back(1);
    bytes.insert(bytes.end(), frame.begin(), frame.end());
  }
  return bytes;
}

Bytes CodecStream::decode(Span frames) {
  const auto frame_bytes = static_cast<gsize>(decoder_->frame_bytes);
  Bytes bytes(frames.size() / frame_bytes * FRAME_PCM_BYTES);
  for (gsize i = 0; i < frames.size() / frame_bytes; i++) {
    gint16 samples[960];
    g719_decoder_decode(decoder_, &frames[i * frame_bytes], samples, 0);
    std::memcpy(&bytes[i * FRAME_PCM_BYTES], samples, sizeof samples);
  }
  return bytes;
}

Span part(const Bytes& bytes, gsize start, gsize size) { return Span(bytes).subspan(start, size); }

Bytes operator+(Bytes a, Span b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

GstBuffer* new_buffer(Span bytes, GstClockTime pts, Placement placement) {
  const gsize offset = placement == Placement::ALIGNED ? 0 : 1;
  GstBuffer* buffer = gst_buffer_new();
  if (!bytes.empty()) {
    auto* block = static_cast<guint8*>(g_malloc(offset + bytes.size()));
    std::memcpy(block + offset, bytes.data(), bytes.size());
    gst_buffer_append_memory(
        buffer, gst_memory_new_wrapped(GST_MEMORY_FLAG_READONLY, block, offset + bytes.size(),
                                       offset, bytes.size(), block, g_free));
  }
  GST_BUFFER_PTS(buffer) = pts;
  return buffer;
}

Bytes payload(guint8 toc, guint8 frame_count, Span bytes) {
  return Bytes{toc, frame_count} + bytes;
}

Element::Element(const char* name, gint bitrate)
    : is_encoder_(std::string(name) == "zelg719enc"), bus_(gst_bus_new()) {
  GstElement* element = gst_element_factory_make(name, nullptr);
  if (bitrate != 0) g_object_set(element, "bitrate", bitrate, nullptr);
  gst_element_set_bus(element, bus_);
  h = gst_harness_new_with_element(element, "sink", "src");
  gst_object_unref(element);
  gst_harness_set_src_caps_str(h, is_encoder_ ? RAW_CAPS : "audio/G719");
}

Element::~Element() {
  gst_bus_set_flushing(bus_, TRUE);
  gst_element_set_bus(h->element, nullptr);
  gst_harness_teardown(h);
  gst_object_unref(bus_);
}

GstFlowReturn Element::push(Span bytes, GstClockTime pts) {
  return gst_harness_push(h, new_buffer(bytes, pts));
}

std::vector<Packet> Element::pull() {
  std::vector<Packet> packets;
  while (GstBuffer* buffer = gst_harness_try_pull(h)) {
    Packet packet = {{}, GST_BUFFER_PTS(buffer), GST_BUFFER_DURATION(buffer)};
    packet.bytes.resize(gst_buffer_get_size(buffer));
    gst_buffer_extract(buffer, 0, packet.bytes.data(), packet.bytes.size());
    packets.push_back(std::move(packet));
    gst_buffer_unref(buffer);
  }
  return packets;
}

Bytes Element::pull_bytes() {
  Bytes bytes;
  for (const Packet& packet : pull()) bytes = std::move(bytes) + packet.bytes;
  return bytes;
}

void Element::send_stream_start() {
  gst_harness_push_event(h, gst_event_new_stream_start("test"));
  GstCaps* caps = gst_caps_from_string(is_encoder_ ? RAW_CAPS : "audio/G719");
  gst_harness_push_event(h, gst_event_new_caps(caps));
  gst_caps_unref(caps);
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  gst_harness_push_event(h, gst_event_new_segment(&segment));
}

void Element::flush(GstClockTime new_start) {
  EXPECT_TRUE(gst_harness_push_event(h, gst_event_new_flush_start()));
  EXPECT_TRUE(gst_harness_push_event(h, gst_event_new_flush_stop(TRUE)));
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  segment.start = segment.time = segment.position = new_start;
  EXPECT_TRUE(gst_harness_push_event(h, gst_event_new_segment(&segment)));
}

void Element::restart() {
  EXPECT_EQ(gst_element_set_state(h->element, GST_STATE_NULL), GST_STATE_CHANGE_SUCCESS);
  EXPECT_EQ(gst_element_set_state(h->element, GST_STATE_PLAYING), GST_STATE_CHANGE_SUCCESS);
  send_stream_start();
}

std::string Element::error() {
  GstMessage* message = gst_bus_pop_filtered(bus_, GST_MESSAGE_ERROR);
  if (message == nullptr) return "";
  GError* error = nullptr;
  gst_message_parse_error(message, &error, nullptr);
  std::string text = error->message;
  g_error_free(error);
  gst_message_unref(message);
  return text;
}

std::string Element::output_caps() {
  GstCaps* caps = gst_pad_get_current_caps(h->sinkpad);
  if (caps == nullptr) return "";
  gchar* text = gst_caps_to_string(caps);
  gst_caps_unref(caps);
  std::string result = text;
  g_free(text);
  return result;
}

std::string run_pipeline(const std::string& line) {
  GError* error = nullptr;
  GstElement* pipeline = gst_parse_launch(line.c_str(), &error);
  std::string result;
  if (error == nullptr) {
    GstBus* bus = gst_element_get_bus(pipeline);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, 60 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    if (message == nullptr) {
      result = "no end within a minute";
    } else {
      if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        gst_message_parse_error(message, &error, nullptr);
      }
      gst_message_unref(message);
    }
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(bus);
  }
  if (error != nullptr) result = error->message;
  g_clear_error(&error);
  gst_clear_object(&pipeline);
  return result;
}

TemporaryFolder::TemporaryFolder() {
  gchar* made = g_dir_make_tmp("zelg719-XXXXXX", nullptr);
  path = made;
  g_free(made);
}

TemporaryFolder::~TemporaryFolder() { std::filesystem::remove_all(path); }

Bytes read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void write_file(const std::string& path, Span bytes) {
  std::ofstream file(path, std::ios::binary);
  for (guint8 byte : bytes) file.put(static_cast<char>(byte));
  EXPECT_TRUE(file.flush()) << path;
}

LogCapture::LogCapture(const char* category) : category_(category) {
  // In brackets: what GStreamer defines as macros of these names is no clean C++.
  (gst_debug_remove_log_function)(gst_debug_log_default);
  (gst_debug_add_log_function)(log, this, nullptr);
  gst_debug_set_threshold_for_name(category, GST_LEVEL_LOG);
}

LogCapture::~LogCapture() {
  gst_debug_unset_threshold_for_name(category_.c_str());
  gst_debug_remove_log_function_by_data(this);
  (gst_debug_add_log_function)(gst_debug_log_default, nullptr, nullptr);
}

void LogCapture::log(GstDebugCategory* category, GstDebugLevel level, const gchar*, const gchar*,
                     gint, GObject* object, GstDebugMessage* message, gpointer data) {
  auto* self = static_cast<LogCapture*>(data);
  if (self->category_ != gst_debug_category_get_name(category)) return;
  EXPECT_TRUE(GST_IS_ELEMENT(object));
  const std::lock_guard lock(self->mutex_);
  std::string name = gst_debug_level_get_name(level);
  name.erase(name.find_last_not_of(' ') + 1);
  self->lines_.push_back(name + " " + gst_debug_message_get(message));
}

std::vector<std::string> LogCapture::take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(lines_, {});
}

int LogCapture::count(const std::string& line) {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(std::count(lines_.begin(), lines_.end(), line));
}
