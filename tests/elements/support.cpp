#include "support.h"

#include <gst/audio/audio.h>
#include <gst/rtp/gstrtpmeta.h>
#include <gst/sdp/gstsdpmessage.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

std::string broken;

namespace {

constexpr char RAW_CAPS[] = "audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=1";
constexpr char RTP_CAPS[] = "application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719";
constexpr gsize FRAME_PCM_BYTES = 1920;

// Bytes a frame for each length code of the ToC byte, 0 where there are none.
constexpr gint FRAME_BYTES[32] = {0,   0,   0,   0,   0,   0,   0,   0,   80,  90,  100,
                                  110, 120, 130, 140, 150, 160, 170, 180, 190, 200, 210,
                                  220, 240, 260, 280, 300, 320, 0,   0,   0,   0};

// Of a frame of each channel.
gsize block_bytes(Element* e, guint toc) { return e->channels * FRAME_BYTES[toc >> 2 & 31]; }

std::string outcome;  // of the present step
void note(const std::string& line) { outcome += "=> " + line + "\n"; }

// Notes what elements say, as "LEVEL message". The texts of errors and warnings are read from the
// bus.
void note_log(GstDebugCategory* category, GstDebugLevel level, const gchar*, const gchar*, gint,
              GObject* object, GstDebugMessage* message, gpointer) {
  const std::string name = gst_debug_level_get_name(level), text = gst_debug_message_get(message);
  if (strstr(gst_debug_category_get_name(category), "g719") == nullptr) return;
  if (!GST_IS_ELEMENT(object)) return;
  if (text.starts_with("error: ") || text.starts_with("warning: ")) return;
  note(name.substr(0, name.find(' ')) + " " + text);
}

// The recorded music, from its start again and again.
std::string next_music(Element* e, gsize size) {
  static const std::string MUSIC = contents("vectors/musiclike.pcm");
  std::string music(size, '\0');
  for (char& byte : music) byte = MUSIC.at(e->position++ % MUSIC.size());
  return music;
}

void send_segment(Element* e) {
  GstSegment segment;
  gst_segment_init(&segment, e->format);
  segment.start = segment.time = e->start;
  GstEvent* event = gst_event_new_segment(&segment);
  e->segment = gst_event_get_seqnum(event);
  gst_harness_push_event(e->h, event);
}

void send_start(Element* e, const std::string& caps) {
  gst_harness_push_event(e->h, gst_event_new_stream_start("test"));
  if (caps != "none") {
    g_autoptr(GstCaps) sent = gst_caps_from_string((caps.empty() ? e->caps : caps).c_str());
    if (!gst_pad_peer_query_accept_caps(e->h->srcpad, sent)) return note("refused");
    gst_harness_push_event(e->h, gst_event_new_caps(sent));
  }
  send_segment(e);
  e->is_started = true;
}

// Pushes the bytes at an odd address, with nothing that could be read behind them.
GstFlowReturn push(Element* e, const std::string& bytes, GstClockTime pts,
                   const std::string& marks = "") {
  if (!e->is_started) send_start(e, "");
  GstBuffer* buffer = gst_buffer_new_memdup(("?" + bytes).data(), bytes.size() + 1);
  gst_buffer_resize(buffer, 1, -1);
  GST_BUFFER_PTS(buffer) = pts;
  std::istringstream words(marks);
  for (std::string word; words >> word;) {
    guint64 start = 0, end = 0;
    if (word == "discont") GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT);
    if (word == "resync") GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_RESYNC);
    if (word == "lasts" && words >> start) GST_BUFFER_DURATION(buffer) = start * GST_MSECOND;
    if (word != "clip" || !(words >> start >> end)) continue;
    gst_buffer_add_audio_clipping_meta(buffer, GST_FORMAT_DEFAULT, start, end);
  }
  const guint32 sources[15] = {};
  if (e->sources > 0) gst_buffer_add_rtp_source_meta(buffer, nullptr, sources, e->sources);
  return gst_harness_push(e->h, buffer);
}

GstFlowReturn push_audio(Element* e, std::istream& words, GstClockTime time) {
  gsize samples = 0, block = 1 << 20, done = 0;
  std::string by;
  words >> samples >> by >> block;
  GstFlowReturn flow = GST_FLOW_OK;
  do {
    const std::string audio = next_music(e, 2 * e->channels * std::min(block, samples - done));
    e->input += audio;
    const GstClockTime after = gst_util_uint64_scale(done, GST_SECOND, 48000);
    flow = push(e, audio, GST_CLOCK_TIME_IS_VALID(time) ? time + after : time);
    done += block;
  } while (done < samples);
  return flow;
}

GstFlowReturn push_payload(Element* e, std::istream& words, GstClockTime time) {
  guint toc = 0, count = 0;
  gsize size = 0;
  std::string payload, marks;
  if (words >> std::hex >> toc) payload += static_cast<char>(toc);
  if (words >> std::dec >> count >> size) payload += static_cast<char>(count);
  std::getline(words, marks);
  const gsize frame_bytes = block_bytes(e, toc);
  const gsize whole = frame_bytes == 0 ? 0 : std::min<gsize>(count, size / frame_bytes);
  e->bitrate = static_cast<gint>(frame_bytes) * 400;
  // Of earlier payloads the payloader alone may have kept frames.
  if (e->suite != "Payloader") e->input.clear();
  e->input += (payload += next_music(e, size))
                  .substr(std::min<gsize>(payload.size(), 2), whole * frame_bytes);
  for (gsize i = 0; toc < 0x80 && i < whole; i++) {
    e->blocks.push_back(payload.substr(2 + i * frame_bytes, frame_bytes));
  }
  return push(e, payload, time, marks);
}

// Each byte of a frame is the frame's number, which counts from the timestamp 0 on.
GstFlowReturn push_packet(Element* e, std::istream& words, GstClockTime time) {
  std::string list, frames, word;
  char number = static_cast<char>(time / GST_MSECOND / 20), type = 96, source = 1;
  gint more = 0;
  while (words >> word) {
    gint code = 0, count = 0;
    if (std::sscanf(word.c_str(), "%d*%d", &code, &count) == 2) {
      if (!list.empty()) list[list.size() - 2] |= '\x80';
      list += {static_cast<char>(code << 2 | 1), static_cast<char>(count)};
      for (; count > 0; count--) frames.append(block_bytes(e, code << 2), number++);
    }
    if (word == "marked") type |= '\x80';
    if (word.starts_with("type")) type = static_cast<char>(std::stoi(word.substr(4)));
    if (word.starts_with("from")) source = static_cast<char>(std::stoi(word.substr(4)));
    if (word.starts_with("seq")) e->packets = static_cast<guint16>(std::stoi(word.substr(3)));
    if (word.starts_with("size")) more = std::stoi(word.substr(4));
  }
  std::string packet = {'\x80', type, 0, 0, 0, 0, 0, 0, 0, 0, 0, source};
  GST_WRITE_UINT16_BE(&packet[2], e->packets++);
  // Soon after the start it wraps.
  GST_WRITE_UINT32_BE(&packet[4], static_cast<guint32>(time / GST_MSECOND * 48 - 2000));
  packet += list + frames;
  packet.resize(packet.size() + more);
  e->input = packet;
  return push(e, packet, time);
}

GstFlowReturn push_stream(Element* e, std::istream& words, GstClockTime time) {
  guint toc = 0, count = 0;
  gsize size = 0, copies = 1;
  words >> std::hex >> toc >> std::dec >> count >> size >> copies;
  std::string stream;
  for (; copies > 0; copies--) {
    stream += {static_cast<char>(toc), static_cast<char>(count)};
    stream += next_music(e, size);
  }
  e->input += stream;
  return push(e, stream, time);
}

void flush(Element* e) {
  gst_harness_push_event(e->h, gst_event_new_flush_start());
  gst_harness_push_event(e->h, gst_event_new_flush_stop(TRUE));
  send_segment(e);
  e->input.clear();
  e->sent = 0;
  e->codec.next_block = e->blocks.size();
}

// The next bytes are those from another place on.
void jump(Element* e, std::istream& words) {
  words >> e->start;
  flush(e);
  e->start = 0;
}

void seek(Element* e, std::istream& words) {
  std::string format;
  gint64 start = 0, stop = 0;
  words >> format >> start >> stop;
  GstEvent* sought =
      gst_event_new_seek(1.0, gst_format_get_by_nick(format.c_str()), GST_SEEK_FLAG_FLUSH,
                         GST_SEEK_TYPE_SET, start, GST_SEEK_TYPE_SET, stop);
  gst_event_set_seek_trickmode_interval(sought, 7);
  const guint32 number = gst_event_get_seqnum(sought);
  if (!gst_harness_push_upstream_event(e->h, sought)) note("refused");
  while (g_autoptr(GstEvent) event = gst_harness_try_pull_upstream_event(e->h)) {
    if (GST_EVENT_TYPE(event) != GST_EVENT_SEEK) continue;
    GstFormat unit = GST_FORMAT_UNDEFINED;
    GstClockTime interval = 0;
    gst_event_parse_seek(event, nullptr, &unit, nullptr, nullptr, &start, nullptr, &stop);
    gst_event_parse_seek_trickmode_interval(event, &interval);
    const bool is_same = gst_event_get_seqnum(event) == number && interval == 7;
    note(std::string(gst_format_get_name(unit)) + " " + std::to_string(start) + " to " +
         std::to_string(stop) + (is_same ? "" : ", another one"));
  }
}

void restart(Element* e) {
  e->input.clear();
  e->sent = 0;
  e->codec.next_block = e->blocks.size();
  for (GstState state : {GST_STATE_READY, GST_STATE_PAUSED, GST_STATE_NULL, GST_STATE_PLAYING}) {
    if (gst_element_set_state(e->h->element, state) == GST_STATE_CHANGE_FAILURE) return;
  }
  send_start(e, "");
}

void misalign(Element* e) {
  GstAllocationParams params = {};
  params.prefix = 1;
  gst_harness_set_propose_allocator(e->h, nullptr, &params);
}

std::string output_caps(Element* e) {
  g_autoptr(GstCaps) caps = gst_pad_get_current_caps(e->h->sinkpad);
  g_autofree gchar* text = gst_caps_to_string(caps);
  return text;
}

void note_latency(Element* e) {
  g_autoptr(GstQuery) query = gst_query_new_latency();
  gst_pad_peer_query(e->h->sinkpad, query);
  gboolean is_live = FALSE;
  GstClockTime min = 0, max = 0;
  gst_query_parse_latency(query, &is_live, &min, &max);
  note("latency " + std::to_string(min / GST_MSECOND) + " ms" +
       (max == GST_CLOCK_TIME_NONE ? "" : " to " + std::to_string(max / GST_MSECOND) + " ms") +
       (is_live ? ", live" : ""));
}

void note_facts(Element* e) {
  note(output_caps(e));
  note_latency(e);
  g_autoptr(GstEvent) event = gst_pad_get_sticky_event(e->h->sinkpad, GST_EVENT_TAG, 0);
  if (event == nullptr || !e->is_stream_encoder) return;
  GstTagList* tags = nullptr;
  gst_event_parse_tag(event, &tags);
  g_autofree gchar* text = gst_tag_list_to_string(tags);
  note(text);
}

Codec new_codec(gint bitrate) {
  g719_encoder* encoder = g719_encoder_create(bitrate);
  g719_decoder* decoder = g719_decoder_create(bitrate);
  const Codec codec = {{*encoder, *encoder}, *decoder};
  g719_encoder_destroy(encoder);
  g719_decoder_destroy(decoder);
  return codec;
}

// What the codec makes of 960 samples of each channel or of one frame: a payload, or 960 samples.
std::string coded(Element* e, Codec* codec, const char* input) {
  gint16 samples[960];
  std::string bytes(FRAME_PCM_BYTES, '\0');
  if (!e->is_encoder) {
    g719_decoder_decode(&codec->decoder, reinterpret_cast<const guint8*>(input), samples, 0);
    for (gsize i = 0; i < 960; i++) GST_WRITE_UINT16_LE(&bytes[2 * i], samples[i]);
    return bytes;
  }
  const gsize size = codec->encoders[0].frame_bytes;
  bytes = {static_cast<char>(std::min(size * 2 / 5, size / 5 + 44)), 1};
  for (gsize channel = 0; channel < e->channels; channel++) {
    for (gsize i = 0; i < 960; i++) {
      samples[i] = static_cast<gint16>(GST_READ_UINT16_LE(input + 2 * (i * e->channels + channel)));
    }
    bytes.resize(bytes.size() + size);
    g719_encoder_encode(&codec->encoders[channel], samples,
                        reinterpret_cast<guint8*>(&bytes[bytes.size() - size]));
  }
  return bytes;
}

// Whether `bytes` is what `codec` makes of the next frames of the input, which are then behind it.
bool goes_on(Element* e, Codec codec, gint bitrate, gsize frames, const std::string& bytes) {
  const gsize size =
      e->is_encoder ? e->channels * FRAME_PCM_BYTES : static_cast<gsize>(bitrate / 400);
  for (g719_encoder& encoder : codec.encoders) {
    if (e->is_stream_encoder) g719_encoder_set_bitrate(&encoder, bitrate);
  }
  if (codec.encoders[0].bitrate != bitrate || e->input.size() < frames * size) return false;
  std::string expected;
  for (gsize i = 0; i < frames; i++) expected += coded(e, &codec, &e->input[i * size]);
  if (expected != bytes) return false;
  e->codec = codec;
  e->input.erase(0, frames * size);
  return true;
}

// The sound of one block, see "nff" in support.h; "" where no frame is left.
std::string heard(Element* e, Codec* codec, char step) {
  if (step == 'n') {
    *codec = {
        {}, new_codec(32000).decoder, new_codec(32000).decoder, codec->next_block, e->channels};
  }
  if (step == 'f' && codec->next_block == e->blocks.size()) return "";
  std::string frames = step == 'f' ? e->blocks[codec->next_block++] : std::string(640, '\0');
  const gsize size = frames.size() / codec->channels;
  std::string bytes(codec->channels * FRAME_PCM_BYTES, '\0');
  for (gsize channel = 0; channel < codec->channels && step != 'n'; channel++) {
    gint16 samples[960];
    g719_decoder* decoder = channel == 0 ? &codec->decoder : &codec->right;
    const auto bitrate = static_cast<gint>(size) * 400;
    if (step == 'f' && g719_decoder_set_bitrate(decoder, bitrate) == 0) return "";
    if (step == 'e') std::ranges::fill(decoder->state.previous_spectrum, 0);
    g719_decoder_decode(decoder, reinterpret_cast<guint8*>(&frames[channel * size]), samples,
                        step != 'f');
    for (gsize i = 0; i < 960; i++) {
      const auto* sample = reinterpret_cast<char*>(&samples[i]);
      std::copy_n(sample, 2, &bytes[2 * (i * codec->channels + channel)]);
    }
  }
  return bytes;
}

// Finds out what was decoded for the next of `bytes`, and takes these off.
std::string explain(Element* e, std::string* bytes) {
  for (const std::string steps : {"f", "l", "e", "nff", "nfl", "nfe", "nlf", "nll", "nle", "ff",
                                  "fff", "fffff", "nfff", "ll", "nffe", "ffnfe"}) {
    Codec codec = e->codec;
    std::string sound;
    for (char step : steps) sound = heard(e, &codec, step);
    const std::string part = bytes->substr(0, sound.size());
    if (part.empty() || !(sound.starts_with(part) || sound.ends_with(part))) continue;
    e->codec = codec;
    bytes->erase(0, part.size());
    const gsize samples = part.size() / 2 / codec.channels;
    return steps + (samples == 960 ? "" : ":" + std::to_string(samples)) + " ";
  }
  bytes->clear();
  return "wrong ";
}

void note_sound(Element* e, GstBuffer* buffer) {
  std::string bytes = contents(buffer), text;
  const gsize size = bytes.size();
  while (!bytes.empty()) text += explain(e, &bytes);
  const GstClockTime duration =
      gst_util_uint64_scale_round(size / 2 / e->codec.channels, GST_SECOND, 48000);
  const bool is_right = GST_CLOCK_DIFF(duration, GST_BUFFER_DURATION(buffer)) / 2 == 0;
  note(text + "@" + std::to_string(GST_BUFFER_PTS(buffer) / GST_MSECOND) +
       (is_right ? "" : " for another time") + (GST_BUFFER_IS_DISCONT(buffer) ? " discont" : ""));
}

void note_buffer(Element* e, GstBuffer* buffer) {
  const std::string bytes = contents(buffer), caps = output_caps(e);
  const gint bitrate =
      e->is_encoder ? std::stoi(caps.substr(caps.find("bitrate=(int)") + 13)) : e->bitrate;
  const gsize frames = e->is_encoder ? 1 : bytes.size() / FRAME_PCM_BYTES;
  const auto* clipping = gst_buffer_get_audio_clipping_meta(buffer);
  if (clipping != nullptr) e->input.append(2 * e->channels * clipping->end, '\0');
  const bool is_marked = GST_BUFFER_IS_DISCONT(buffer) || !e->is_stream_encoder;
  const bool is_on =
      (!is_marked || !e->is_stream_encoder) && goes_on(e, e->codec, bitrate, frames, bytes);
  const bool is_new = !is_on && is_marked && goes_on(e, new_codec(bitrate), bitrate, frames, bytes);
  std::ostringstream text;
  text << frames << (is_on ? " on " : is_new ? " new " : " wrong ") << bitrate;
  if (clipping != nullptr) text << " clip " << clipping->end;
  if (GST_BUFFER_PTS_IS_VALID(buffer)) {
    // To the us: times that count samples are rounded to ns.
    text << " @" << static_cast<double>((GST_BUFFER_PTS(buffer) + 500) / 1000) / 1000;
    const GstClockTime duration = (GST_BUFFER_DURATION(buffer) + 500) / 1000;
    if (duration != frames * 20000) text << " lasts " << duration;
  }
  gsize offset = 0;
  gst_buffer_get_sizes(buffer, &offset, nullptr);
  note(text.str() + (offset % 2 == 1 ? " misaligned" : ""));
}

std::string time_of(GstBuffer* buffer) {
  return " @" + std::to_string(GST_BUFFER_PTS(buffer) / GST_MSECOND);
}

// Frames that were sent before stand before those that are due.
void note_packet(Element* e, GstBuffer* buffer) {
  const std::string packet = contents(buffer), payload = packet.substr(12 + (packet[0] & 15) * 4);
  std::string list;
  gsize at = 0, size = 0;
  gint blocks = 0;
  bool is_right = true;
  for (bool follows = true; follows; at += 2) {
    const guint toc = static_cast<guint8>(payload[at]),
                count = static_cast<guint8>(payload[at + 1]);
    follows = toc >= 0x80;
    is_right = is_right && toc % 4 == 0;
    blocks += count;
    size += count * block_bytes(e, toc);
    list += (at > 0 ? " and " : " ") + std::to_string(count) + " of " +
            std::to_string(block_bytes(e, toc));
  }
  const std::string frames = payload.substr(at);
  const gsize place = e->input.find(frames);
  const bool is_marked = (packet[1] & 0x80) != 0;
  is_right = is_right && frames.size() == size && place <= e->sent && place + size > e->sent &&
             is_marked == GST_BUFFER_IS_DISCONT(buffer) &&
             GST_BUFFER_DURATION(buffer) == blocks * 20U * GST_MSECOND;
  e->sent = place + size;
  note("packet " + std::to_string(GST_READ_UINT16_BE(&packet[2])) + " at " +
       std::to_string(GST_READ_UINT32_BE(&packet[4])) + (is_marked ? " marked" : "") + ":" + list +
       (is_right ? "" : " wrong") + time_of(buffer));
}

void note_same(Element* e, GstBuffer* buffer) {
  note((contents(buffer) == e->input ? "same" : "wrong") + time_of(buffer) +
       (GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT) ? " discont" : ""));
}

void note_payload(Element* e, GstBuffer* buffer) {
  const std::string payload = contents(buffer);
  const gsize size = block_bytes(e, payload[0]);
  std::string text = std::to_string(size) + ":", expected = payload.substr(0, 2);
  for (gint i = 0; i < payload[1]; i++) {
    const char number = payload.at(2 + i * size);
    text.append(" ").append(std::to_string(static_cast<guint8>(number)));
    expected.append(size, number);
  }
  const bool is_placed =
      GST_BUFFER_OFFSET_IS_VALID(buffer) || GST_BUFFER_OFFSET_END_IS_VALID(buffer);
  const bool is_right = payload[0] % 4 == 0 && payload == expected && !is_placed &&
                        GST_BUFFER_DURATION(buffer) == payload[1] * 20U * GST_MSECOND;
  note((is_right ? "" : "wrong ") + text + time_of(buffer) +
       (GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT) ? " discont" : "") +
       (GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_RESYNC) ? " resync" : ""));
}

// What stands before it in the input was passed over, and the buffer is marked so.
void note_found(Element* e, GstBuffer* buffer) {
  const std::string bytes = contents(buffer), caps = output_caps(e);
  const gsize place = e->input.find(bytes);
  e->input.erase(0, place + bytes.size());
  note(std::to_string(bytes.size()) + " of " + caps.substr(caps.find("bitrate=(int)") + 13, 5) +
       (place == 0 ? "" : " behind " + std::to_string(place) + " others") +
       (place == 0 || GST_BUFFER_IS_DISCONT(buffer) ? "" : " unmarked") + time_of(buffer) +
       " lasts " + std::to_string(GST_BUFFER_DURATION(buffer) / GST_MSECOND));
}

void note_time(Element* e, std::istream& words) {
  GstElement* parser = e->h->element;
  gint64 byte = 0, time = 0;
  const bool is_byte = static_cast<bool>(words >> byte);
  if (gst_element_query_convert(parser, GST_FORMAT_BUFFERS, 1, GST_FORMAT_TIME, &time)) note("?");
  time = 0;
  if (is_byte) gst_element_query_convert(parser, GST_FORMAT_BYTES, byte, GST_FORMAT_TIME, &time);
  if (!is_byte) gst_element_query_duration(parser, GST_FORMAT_TIME, &time);
  note(std::to_string(time / static_cast<gint64>(GST_MSECOND)) + " ms");
}

void note_gap(GstEvent* event) {
  GstClockTime time = 0, duration = 0;
  GstGapFlags flags = {};
  gst_event_parse_gap(event, &time, &duration);
  gst_event_parse_gap_flags(event, &flags);
  note((flags == GST_GAP_FLAG_MISSING_DATA ? "lost " : "gap ") +
       std::to_string(duration / GST_MSECOND) + " @" + std::to_string(time / GST_MSECOND));
}

void send_lost(Element* e, std::istream& words, GstClockTime time) {
  guint64 ms = 0;
  words >> ms;
  GstEvent* event =
      gst_event_new_custom(GST_EVENT_CUSTOM_DOWNSTREAM,
                           gst_structure_new("GstRTPPacketLost", "timestamp", G_TYPE_UINT64, time,
                                             "duration", G_TYPE_UINT64, ms * GST_MSECOND, nullptr));
  if (!gst_harness_push_event(e->h, event)) note("refused");
}

void send_gap(Element* e, std::istream& words, GstClockTime time) {
  guint64 ms = 20;
  words >> ms;
  gst_harness_push_event(e->h, gst_event_new_gap(time, ms * GST_MSECOND));
}

void note_stats(Element* e, std::istream& words) {
  std::string name;
  words >> name;
  g_autoptr(GstStructure) stats = nullptr;
  g_object_get(e->h->element, name.c_str(), &stats, nullptr);
  std::string text;
  for (gint i = 0; i < gst_structure_n_fields(stats); i++) {
    const gchar* field = gst_structure_nth_field_name(stats, i);
    g_autofree gchar* value = gst_value_serialize(gst_structure_get_value(stats, field));
    text += (i > 0 ? ", " : "") + std::string(field) + " " + value;
  }
  note(text);
}

void note_announced(Element* e) {
  note(std::to_string(e->caps_events) + " caps, " + std::to_string(e->tag_events) + " tags");
  e->caps_events = e->tag_events = 0;
}

// The output caps in the description of a session, and as they are read from there.
void note_sdp(Element* e) {
  g_autoptr(GstCaps) caps = gst_pad_get_current_caps(e->h->sinkpad);
  GstSDPMedia* media = nullptr;
  gst_sdp_media_new(&media);
  gst_sdp_media_set_proto(media, "RTP/AVP");
  gst_sdp_media_set_media_from_caps(caps, media);
  g_autofree gchar* text = gst_sdp_media_as_text(media);
  note(g_strchomp(g_strdelimit(text, "\r\n", ' ')));
  g_autoptr(GstCaps) read = gst_sdp_media_get_caps_from_media(media, 96);
  g_autofree gchar* read_text = gst_caps_to_string(read);
  note(read_text);
  gst_sdp_media_free(media);
}

void note_message(GstMessage* message) {
  if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_LATENCY) return note("latency");
  g_autoptr(GError) error = nullptr;
  gst_structure_get(gst_message_get_structure(message), "gerror", G_TYPE_ERROR, &error, nullptr);
  note(std::string(GST_MESSAGE_TYPE_NAME(message)) + ": " + error->message);
}

class Case : public testing::Test {
 public:
  Case(Player play, std::string text) : play_(std::move(play)), text_(std::move(text)) {}
  void TestBody() override {
    std::istringstream lines(text_);
    std::string played;
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with("=> ")) played += line + "\n" + play_(line);
    }
    EXPECT_EQ(played, text_);
  }

 private:
  Player play_;
  std::string text_;
};

struct Kind {
  const char *factory, *caps;
  GstFlowReturn (*push)(Element*, std::istream&, GstClockTime);
  void (*note)(Element*, GstBuffer*);
};
const std::map<std::string, Kind> KINDS = {
    {"Encoder", {"zelg719enc", RAW_CAPS, push_audio, note_buffer}},
    {"StreamEncoder", {"zelg719streamenc", RAW_CAPS, push_audio, note_buffer}},
    {"Decoder", {"zelg719dec", "audio/G719", push_payload, note_buffer}},
    {"StreamDecoder", {"zelg719streamdec", "audio/G719", push_payload, note_sound}},
    {"Payloader", {"rtpg719pay", "audio/G719", push_payload, note_packet}},
    {"Parser", {"zelg719parse", "audio/G719,channels=1", push_stream, note_found}},
    {"Gate", {"rtpg719gate", RTP_CAPS, push_packet, note_same}},
    {"Depayloader", {"rtpg719depay", RTP_CAPS, push_packet, note_payload}},
};

}  // namespace

namespace {

GstPadProbeReturn keep_output(GstPad*, GstPadProbeInfo* info, gpointer output) {
  auto* item = static_cast<GstMiniObject*>(GST_PAD_PROBE_INFO_DATA(info));
  g_async_queue_push(static_cast<GAsyncQueue*>(output), gst_mini_object_ref(item));
  return GST_PAD_PROBE_OK;
}

GstPadProbeReturn answer_query(GstPad*, GstPadProbeInfo* info, gpointer) {
  GstQuery* query = GST_PAD_PROBE_INFO_QUERY(info);
  GstFormat format = GST_FORMAT_UNDEFINED;
  if (GST_QUERY_TYPE(query) == GST_QUERY_DURATION)
    gst_query_parse_duration(query, &format, nullptr);
  if (format == GST_FORMAT_BYTES) gst_query_set_duration(query, format, 12200);
  if (format == GST_FORMAT_BYTES) return GST_PAD_PROBE_HANDLED;
  if (GST_QUERY_TYPE(query) != GST_QUERY_LATENCY) return GST_PAD_PROBE_OK;
  gst_query_set_latency(query, TRUE, 30 * GST_MSECOND, 90 * GST_MSECOND);
  return GST_PAD_PROBE_HANDLED;
}

void note_event(Element* e, GstEvent* event) {
  const GstEventType type = GST_EVENT_TYPE(event);
  e->caps_events += type == GST_EVENT_CAPS;
  e->tag_events += type == GST_EVENT_TAG;
  if (type == GST_EVENT_GAP) note_gap(event);
  const bool is_changed = gst_event_get_seqnum(event) != e->segment;
  if (type == GST_EVENT_SEGMENT && e->suite == "Payloader" && is_changed) note("another segment");
}

// Buffers, gaps, and what should not be: a segment with a number of its own, and buffers behind the
// start of a stream that they do not belong to.
void note_output(Element* e, bool was_started) {
  bool is_new = false;
  while (auto* item = static_cast<GstMiniObject*>(g_async_queue_try_pop(e->output))) {
    if (GST_IS_BUFFER(item)) {
      KINDS.at(e->suite).note(e, GST_BUFFER(item));
      if (is_new) note("too late");
    } else {
      note_event(e, GST_EVENT(item));
      is_new = is_new || (was_started && GST_EVENT_TYPE(item) == GST_EVENT_STREAM_START);
    }
    gst_mini_object_unref(item);
  }
  while (g_autoptr(GstBuffer) buffer = gst_harness_try_pull(e->h)) continue;
  while (g_autoptr(GstEvent) event = gst_harness_try_pull_event(e->h)) continue;
}

}  // namespace

Element::Element(const std::string& name)
    : suite(name),
      is_stream_encoder(suite == "StreamEncoder"),
      is_encoder(suite.ends_with("Encoder")),
      bus(gst_bus_new()),
      caps(KINDS.at(suite).caps) {
  // In brackets: macros of these names are no clean C++.
  (gst_debug_remove_log_function)(gst_debug_log_default);
  (gst_debug_add_log_function)(note_log, nullptr, nullptr);
  gst_debug_set_threshold_for_name("*g719*", GST_LEVEL_INFO);
  GstElement* element = gst_element_factory_make(KINDS.at(suite).factory, nullptr);
  if (suite == "Payloader") {
    g_object_set(element, "ssrc", 1, "seqnum-offset", 0, "timestamp-offset", 0, nullptr);
  }
  gst_element_set_bus(element, bus);
  h = gst_harness_new_with_element(element, "sink", "src");
  gst_object_unref(element);
  gst_pad_add_probe(
      h->sinkpad,
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM),
      keep_output, output, nullptr);
}

Element::~Element() {
  gst_bus_set_flushing(bus, TRUE);
  gst_harness_teardown(h);
  gst_object_unref(bus);
  g_async_queue_unref(output);
  gst_debug_unset_threshold_for_name("*g719*");
  (gst_debug_remove_log_function)(note_log);
  (gst_debug_add_log_function)(gst_debug_log_default, nullptr, nullptr);
}

std::string Element::step(const std::string& text) {
  const gsize at = text.find(" @"), failing = text.find(" !");
  const GstClockTime time =
      at == std::string::npos ? GST_CLOCK_TIME_NONE : std::stoul(text.substr(at + 2)) * GST_MSECOND;
  std::istringstream words(text.substr(0, std::min(at, failing)));
  std::string verb, word;
  words >> verb;
  GstFlowReturn flow = GST_FLOW_OK;
  const bool was_started = is_started;
  const std::map<std::string, std::function<void()>> VERBS = {
      {"push", [&] { flow = KINDS.at(suite).push(this, words, time); }},
      {"set", [&] { gst_util_set_object_arg(G_OBJECT(h->element), "bitrate", &text[4]); }},
      {"property",
       [&] {
         words >> word;
         gst_util_set_object_arg(G_OBJECT(h->element), word.c_str(), &text[10 + word.size()]);
       }},
      {"caps",
       [&] {
         if (words >> word && suite == "StreamDecoder") {
           caps = word;
           channels = caps.ends_with("2") ? 2 : 1;
         }
         send_start(this, word);
       }},
      {"bytes", [&] { format = GST_FORMAT_BYTES; }},
      {"downstream", [&] { words >> word, gst_harness_set_sink_caps_str(h, word.c_str()); }},
      {"facts", [&] { note_facts(this); }},
      {"channels",
       [&] {
         if (suite == "StreamEncoder") {
           caps.back() = text.back();
           send_start(this, "");
           note_output(this, was_started);
         }
         words >> channels;
       }},
      {"latency", [&] { note_latency(this); }},
      {"stats", [&] { note_stats(this, words); }},
      {"time", [&] { note_time(this, words); }},
      {"announced", [&] { note_announced(this); }},
      {"sdp", [&] { note_sdp(this); }},
      {"flush", [&] { flush(this); }},
      {"jump", [&] { jump(this, words); }},
      {"seek", [&] { seek(this, words); }},
      {"segment", [&] { send_segment(this); }},
      {"gap", [&] { send_gap(this, words, time); }},
      {"sources", [&] { words >> sources; }},
      {"upstream",
       [&] {
         gst_pad_add_probe(h->srcpad, GST_PAD_PROBE_TYPE_QUERY_UPSTREAM, answer_query, nullptr,
                           nullptr);
       }},
      {"lose", [&] { packets++; }},
      {"lost", [&] { send_lost(this, words, time); }},
      {"eos", [&] { gst_harness_push_event(h, gst_event_new_eos()); }},
      {"restart", [&] { restart(this); }},
      {"misalign", [&] { misalign(this); }},
      {"log", [&] { gst_debug_set_threshold_for_name("*g719*", GST_LEVEL_LOG); }},
  };
  if (!VERBS.contains(verb)) return "=> no such step\n";
  outcome.clear();
  broken = failing == std::string::npos ? "" : text.substr(failing + 2);
  VERBS.at(verb)();
  broken.clear();
  const auto types =
      static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_WARNING |
                                  (suite.ends_with("ayloader") ? GST_MESSAGE_LATENCY : 0));
  while (g_autoptr(GstMessage) message = gst_bus_pop_filtered(bus, types)) note_message(message);
  note_output(this, was_started);
  if (flow != GST_FLOW_OK) {
    note(std::string("flow ") + gst_flow_get_name(flow));
    input.clear();
    sent = 0;
  }
  return outcome;
}

void add_cases(const std::string& path, const std::function<Player(const std::string&)>& start) {
  std::map<std::string, std::string> cases;
  std::string name;
  std::ifstream file(path);
  for (std::string line, next; std::getline(file, line);) {
    while (line.ends_with('\\') && std::getline(file, next)) {
      line.replace(line.size() - 1, 1, next, next.find_first_not_of(' '));
    }
    if (!line.starts_with(' ')) {
      name = line;
      continue;
    }
    const gsize first = line.find_first_not_of(' '), arrow = line.find("=> ");
    std::string what = line.substr(first, arrow - first);
    what.erase(what.find_last_not_of(' ') + 1);
    if (!what.empty()) cases[name] += what + "\n";
    if (arrow == std::string::npos) continue;
    std::string outcomes = line.substr(arrow);
    for (gsize at = 0; (at = outcomes.find(" => ", at)) != std::string::npos;) outcomes[at] = '\n';
    cases[name] += outcomes + "\n";
  }
  if (cases.empty()) g_error("no cases in %s", path.c_str());
  for (const auto& [full_name, text] : cases) {
    const gsize dot = full_name.find('.');
    const std::string suite = full_name.substr(0, dot);
    testing::RegisterTest(
        suite.c_str(), &full_name[dot + 1], nullptr, nullptr, path.c_str(), 0,
        [=, steps = text]() -> testing::Test* { return new Case(start(suite), steps); });
  }
}

std::string contents(GstBuffer* buffer) {
  GstMapInfo map = GST_MAP_INFO_INIT;
  EXPECT_TRUE(gst_buffer_map(buffer, &map, GST_MAP_READ));
  const std::string bytes(reinterpret_cast<const char*>(map.data), map.size);
  gst_buffer_unmap(buffer, &map);
  return bytes;
}

std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string in_two_channels(const std::string& stream) {
  const gsize size = stream.size() / 50;
  std::string both;
  for (gsize i = 0; i < 50; i++) {
    both += stream.substr(i * size, size) + stream.substr((49 - i) * size + 2, size - 2);
  }
  return both;
}
