/**
 * SECTION:element-zelg719parse
 * @title: zelg719parse
 *
 * Cuts a stream of bytes, as that of a file, into G.719 payloads, one a buffer, with timestamps and
 * durations. Bytes that belong to no payload are passed over.
 *
 * Nothing in a stream says how many channels it has. Where the caps do not say so either, one or
 * two are told apart by the distance of the first headers, before the first payload goes out.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 filesrc location=speech.g719 ! zelg719parse ! zelg719streamdec !
 *     audioconvert ! audioresample ! autoaudiosink
 * ]|
 * plays a file of payloads.
 */
#include "zelg719parse.h"

#include <algorithm>

#include "caps.h"
#include "mapped_buffer.h"
#include "payload/channel_count.h"
#include "payload/payload.h"
#include "payload/payload_finder.h"
#include "payload/payload_map.h"
#include "payload_caps.h"

struct _ZelG719Parse {
  GstBaseParse parent;
  gint channels;                // the property; may be written while the stream runs
  gint caps_channels;           // of the input caps; 0: they say nothing
  gboolean knows_channels;      // of the present stream: the finder has them
  g719::PayloadFinder* finder;  // owned, from start to stop, as is the map
  guint64 position;             // in the stream, of what the finder sees next, in bytes
  guint64 received_since_time;  // bytes from the last pushed buffer on that had a timestamp
  gboolean read_without_gap;    // all from the start to there
  guint64 passed_over;          // bytes since the last payload
  guint warnings;               // posted
  gboolean is_empty;            // the stream, so far
  gint32 bitrate;               // of the caps, bit/s; 0: none yet
  GstCaps* caps[g719::MAX_LENGTH_CODE + 1];  // those needed so far, by length code
  gint32 tagged_bitrate;                     // 0: none yet
  GstClockTime since_tag;                    // duration of the payloads from the tagged one on
  g719::PayloadMap* map;                     // written under the object's lock
};

static constexpr guint MAX_WARNINGS = 100;  // posted; the log has all
static constexpr GstClockTime TAG_INTERVAL = GST_SECOND;
static constexpr guint PULLED_AHEAD = 64 * 1024;  // bytes beyond those that decide

GST_DEBUG_CATEGORY_STATIC(zel_g719_parse_debug);
#define GST_CAT_DEFAULT zel_g719_parse_debug

enum { PROP_CHANNELS = 1 };

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS("audio/G719, framed = (boolean) true"));
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(G719_PAYLOAD_CAPS));

G_DEFINE_TYPE(ZelG719Parse, zel_g719_parse, GST_TYPE_BASE_PARSE)

static void zel_g719_parse_set_property(GObject* object, guint id, const GValue* value,
                                        GParamSpec* spec);
static void zel_g719_parse_get_property(GObject* object, guint id, GValue* value, GParamSpec* spec);
static gboolean zel_g719_parse_start(GstBaseParse* base);
static gboolean zel_g719_parse_stop(GstBaseParse* base);
static gboolean zel_g719_parse_set_sink_caps(GstBaseParse* base, GstCaps* caps);
static GstFlowReturn zel_g719_parse_handle_frame(GstBaseParse* base, GstBaseParseFrame* frame,
                                                 gint* skipsize);
static gboolean zel_g719_parse_convert(GstBaseParse* base, GstFormat src_format, gint64 src_value,
                                       GstFormat dest_format, gint64* dest_value);
static gboolean zel_g719_parse_sink_event(GstBaseParse* base, GstEvent* event);
static gboolean zel_g719_parse_src_event(GstBaseParse* base, GstEvent* event);
static gboolean zel_g719_parse_src_query(GstBaseParse* base, GstQuery* query);

static void zel_g719_parse_class_init(ZelG719ParseClass* klass) {
  auto* object_class = G_OBJECT_CLASS(klass);
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* parse_class = GST_BASE_PARSE_CLASS(klass);

  object_class->set_property = zel_g719_parse_set_property;
  object_class->get_property = zel_g719_parse_get_property;

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  gst_element_class_set_static_metadata(element_class, "G.719 Parser element", "Codec/Parser/Audio",
                                        "Cuts a stream of G.719 payloads into its payloads",
                                        "Zelkor audio team <audio@zelkor.example>");

  parse_class->start = GST_DEBUG_FUNCPTR(zel_g719_parse_start);
  parse_class->stop = GST_DEBUG_FUNCPTR(zel_g719_parse_stop);
  parse_class->set_sink_caps = GST_DEBUG_FUNCPTR(zel_g719_parse_set_sink_caps);
  parse_class->handle_frame = GST_DEBUG_FUNCPTR(zel_g719_parse_handle_frame);
  parse_class->convert = GST_DEBUG_FUNCPTR(zel_g719_parse_convert);
  parse_class->sink_event = GST_DEBUG_FUNCPTR(zel_g719_parse_sink_event);
  parse_class->src_event = GST_DEBUG_FUNCPTR(zel_g719_parse_src_event);
  parse_class->src_query = GST_DEBUG_FUNCPTR(zel_g719_parse_src_query);

  /**
   * ZelG719Parse:channels:
   *
   * How many channels the next stream has, whatever its caps say. With 0 the caps say it, or it is
   * told by the distance of the first headers.
   */
  g_object_class_install_property(
      object_class, PROP_CHANNELS,
      g_param_spec_int("channels", "Channels", "Channels of the stream (0 = automatic)", 0,
                       g719::MAX_STREAM_CHANNELS, 0,
                       static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));

  GST_DEBUG_CATEGORY_INIT(zel_g719_parse_debug, "zelg719parse", 0, "zelg719parse");
}

static GstPadProbeReturn zel_g719_parse_note_time(GstPad*, GstPadProbeInfo* info, gpointer data) {
  auto* self = ZEL_G719_PARSE(data);
  GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
  if (GST_BUFFER_PTS_IS_VALID(buffer) || GST_BUFFER_DTS_IS_VALID(buffer)) {
    self->received_since_time = 0;
  }
  self->received_since_time += gst_buffer_get_size(buffer);
  return GST_PAD_PROBE_OK;
}

static void zel_g719_parse_init(ZelG719Parse* self) {
  gst_pad_add_probe(
      GST_BASE_PARSE_SINK_PAD(self),
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_PUSH | GST_PAD_PROBE_TYPE_BUFFER),
      zel_g719_parse_note_time, self, nullptr);
}

static void zel_g719_parse_set_property(GObject* object, guint id, const GValue* value,
                                        GParamSpec* spec) {
  switch (id) {
    case PROP_CHANNELS:
      g_atomic_int_set(&ZEL_G719_PARSE(object)->channels, g_value_get_int(value));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

static void zel_g719_parse_get_property(GObject* object, guint id, GValue* value,
                                        GParamSpec* spec) {
  switch (id) {
    case PROP_CHANNELS:
      g_value_set_int(value, g_atomic_int_get(&ZEL_G719_PARSE(object)->channels));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

static gboolean zel_g719_parse_start(GstBaseParse* base) {
  auto* self = ZEL_G719_PARSE(base);
  self->caps_channels = 0;
  self->knows_channels = FALSE;
  self->finder = new g719::PayloadFinder;
  self->position = 0;
  self->read_without_gap = TRUE;
  self->passed_over = 0;
  self->warnings = 0;
  self->is_empty = TRUE;
  self->received_since_time = 0;
  self->bitrate = 0;
  self->tagged_bitrate = 0;
  GST_OBJECT_LOCK(self);
  self->map = new g719::PayloadMap;
  GST_OBJECT_UNLOCK(self);
  gst_base_parse_set_min_frame_size(base, 1);
  // The sound of a payload may come out of a decoder with the next one.
  gst_base_parse_set_frame_rate(base, G719_SAMPLE_RATE, G719_FRAME_SAMPLES, 0, 1);
  return TRUE;
}

static void zel_g719_parse_forget_caps(ZelG719Parse* self) {
  for (GstCaps*& caps : self->caps) gst_clear_caps(&caps);
  self->bitrate = 0;
}

static gboolean zel_g719_parse_stop(GstBaseParse* base) {
  auto* self = ZEL_G719_PARSE(base);
  zel_g719_parse_forget_caps(self);
  delete self->finder;
  self->finder = nullptr;
  GST_OBJECT_LOCK(self);
  delete self->map;
  self->map = nullptr;
  GST_OBJECT_UNLOCK(self);
  return TRUE;
}

static gboolean zel_g719_parse_set_sink_caps(GstBaseParse* base, GstCaps* caps) {
  auto* self = ZEL_G719_PARSE(base);
  gint channels = 0;
  gst_structure_get_int(gst_caps_get_structure(caps, 0), "channels", &channels);
  if (channels < 0 || channels > g719::MAX_STREAM_CHANNELS) return FALSE;
  if (channels != self->caps_channels) {
    gst_base_parse_drain(base);
    self->knows_channels = FALSE;
  }
  self->caps_channels = channels;
  return TRUE;
}

// After a seek the stream goes on elsewhere, mostly at the border of a payload.
static void zel_g719_parse_follow_jump(ZelG719Parse* self, guint64 offset) {
  if (offset == self->position) return;
  GST_DEBUG_OBJECT(self, "from byte %" G_GUINT64_FORMAT " to %" G_GUINT64_FORMAT, self->position,
                   offset);
  self->position = offset;
  self->read_without_gap = g719::is_payload_border(*self->map, offset);
  self->passed_over = 0;
  *self->finder = {.in_step = self->read_without_gap != FALSE, .channels = self->finder->channels};
}

// Says how many bytes were passed over, once they are over.
static void zel_g719_parse_report_damage(ZelG719Parse* self) {
  if (self->passed_over == 0) return;
  g_autofree gchar* text =
      g_strdup_printf("%" G_GUINT64_FORMAT " bytes before byte %" G_GUINT64_FORMAT
                      " belong to no payload and are passed over.",
                      self->passed_over, self->position);
  if (self->warnings < MAX_WARNINGS) {
    self->warnings++;
    GST_ELEMENT_WARNING(self, STREAM, DECODE, ("%s", text), (nullptr));
  } else {
    GST_WARNING_OBJECT(self, "%s", text);
  }
  self->passed_over = 0;
}

// For those who list or label streams, who need not know of every change. `bitrate` is that of all
// channels.
static void zel_g719_parse_tag(ZelG719Parse* self, gint32 bitrate) {
  if (bitrate == self->tagged_bitrate) return;
  if (self->tagged_bitrate != 0 && self->since_tag < TAG_INTERVAL) return;
  GstTagList* tags = gst_tag_list_new(GST_TAG_AUDIO_CODEC, "G.719", GST_TAG_BITRATE,
                                      static_cast<guint>(bitrate), nullptr);
  gst_base_parse_merge_tags(GST_BASE_PARSE(self), tags, GST_TAG_MERGE_REPLACE);
  gst_tag_list_unref(tags);
  self->tagged_bitrate = bitrate;
  self->since_tag = 0;
}

// Caps that cannot be set, in a flush for one, are set with the next payload; the push of this one
// says what is wrong.
static void zel_g719_parse_set_caps(ZelG719Parse* self, const g719::Payload& payload) {
  if (payload.bitrate == self->bitrate) return;
  GstCaps*& caps = self->caps[payload.header.length_code];
  if (caps == nullptr) caps = new_payload_caps(self->finder->channels, payload.bitrate);
  if (gst_pad_set_caps(GST_BASE_PARSE_SRC_PAD(self), caps)) self->bitrate = payload.bitrate;
}

// A payload without frames goes out under the caps of the one before: a decoder keeps what is said
// about payloads until their sound comes.
static void zel_g719_parse_announce(ZelG719Parse* self, const g719::Payload& payload) {
  const bool has_frames = payload.blocks_complete > 0;
  if (has_frames) zel_g719_parse_tag(self, payload.bitrate * self->finder->channels);
  if (has_frames || self->bitrate == 0) zel_g719_parse_set_caps(self, payload);
  self->since_tag += payload.blocks_complete * g719::FRAME_DURATION;
}

// A frame for what comes next of all that is held.
static GstBaseParseFrame zel_g719_parse_next_frame(ZelG719Parse* self,
                                                   const GstBaseParseFrame* held) {
  GstBaseParseFrame frame;
  gst_base_parse_frame_init(&frame);
  frame.buffer = gst_buffer_new();
  frame.offset = GST_BUFFER_OFFSET(frame.buffer) = self->position;
  if (self->position == held->offset) {
    frame.flags = held->flags;
    const guint copied = GST_BUFFER_COPY_FLAGS | GST_BUFFER_COPY_TIMESTAMPS;
    gst_buffer_copy_into(frame.buffer, held->buffer, static_cast<GstBufferCopyFlags>(copied), 0,
                         -1);
  }
  return frame;
}

// How many frames of time the payload takes. One without data stands for frames that are lost.
static gint zel_g719_parse_frames(const g719::Payload& payload) {
  const bool is_without_data = payload.header.length_code == g719::NO_DATA_LENGTH_CODE;
  return is_without_data ? payload.header.blocks : payload.blocks_complete;
}

static GstFlowReturn zel_g719_parse_finish_payload(ZelG719Parse* self,
                                                   const GstBaseParseFrame* held, gsize size,
                                                   const g719::Payload& payload) {
  GstBaseParseFrame frame = zel_g719_parse_next_frame(self, held);
  if (self->passed_over > 0) GST_BUFFER_FLAG_SET(frame.buffer, GST_BUFFER_FLAG_DISCONT);
  zel_g719_parse_report_damage(self);
  zel_g719_parse_announce(self, payload);
  if (self->read_without_gap) {
    GST_OBJECT_LOCK(self);
    g719::add_payload(self->map, self->position, static_cast<guint32>(size),
                      zel_g719_parse_frames(payload));
    GST_OBJECT_UNLOCK(self);
  }
  self->position += size;
  GST_BUFFER_DURATION(frame.buffer) = zel_g719_parse_frames(payload) * g719::FRAME_DURATION;
  const GstFlowReturn flow =
      gst_base_parse_finish_frame(GST_BASE_PARSE(self), &frame, static_cast<gint>(size));
  gst_base_parse_frame_free(&frame);
  return flow;
}

static void zel_g719_parse_pass_over(ZelG719Parse* self, gsize size) {
  self->position += size;
  self->passed_over += size;
}

// Passes bytes over in a call that finishes payloads, too, in which the base class does not.
static void zel_g719_parse_drop(ZelG719Parse* self, const GstBaseParseFrame* held, gsize size) {
  if (size == 0) return;
  GstBaseParseFrame frame = zel_g719_parse_next_frame(self, held);
  zel_g719_parse_pass_over(self, size);
  frame.flags |= GST_BASE_PARSE_FRAME_FLAG_DROP;
  gst_base_parse_finish_frame(GST_BASE_PARSE(self), &frame, static_cast<gint>(size));
  gst_base_parse_frame_free(&frame);
}

// How much a call may do. When bytes are passed over in a call of their own a pulled stream is read
// again, and for each call all that is held of a pushed one is copied. So a call goes on as far as
// it can. But a pulled stream must leave room for a seek between any two payloads, one that is
// played backwards needs the bytes passed over, and only the base class sees timestamps.
struct CallLimits {
  bool ends_behind_damage;
  bool ends_behind_payload;
};

static CallLimits zel_g719_parse_call_limits(ZelG719Parse* self, gsize held) {
  GstBaseParse* base = GST_BASE_PARSE(self);
  if (base->segment.rate < 0.0) return {true, true};
  if (GST_PAD_MODE(GST_BASE_PARSE_SINK_PAD(base)) == GST_PAD_MODE_PULL) return {false, true};
  const bool has_timestamps = held > self->received_since_time || GST_BASE_PARSE_DRAINING(base);
  return {has_timestamps, has_timestamps};
}

// Where reading on costs no time, it is read on for some more doubts.
static void zel_g719_parse_want(ZelG719Parse* self, gsize wanted) {
  GstBaseParse* base = GST_BASE_PARSE(self);
  const bool is_pulled = GST_PAD_MODE(GST_BASE_PARSE_SINK_PAD(base)) == GST_PAD_MODE_PULL;
  gst_base_parse_set_min_frame_size(base,
                                    static_cast<guint>(wanted) + (is_pulled ? PULLED_AHEAD : 0));
}

// Sees to it that the finder has the stream's number of channels. False as long as the `size` bytes
// of it at `bytes` do not tell.
static bool zel_g719_parse_know_channels(ZelG719Parse* self, const guint8* bytes, gsize size,
                                         bool at_end) {
  if (self->knows_channels) return true;
  gint channels = g_atomic_int_get(&self->channels);
  if (channels == 0) channels = self->caps_channels;
  if (channels == 0) {
    const g719::ChannelCount count = g719::count_channels(bytes, size, at_end);
    if (count.channels == 0) zel_g719_parse_want(self, count.wanted_bytes);
    channels = count.channels;
  }
  if (channels == 0) return false;
  GST_DEBUG_OBJECT(self, "channels: %d", channels);
  if (channels != self->finder->channels) zel_g719_parse_forget_caps(self);
  self->finder->channels = channels;
  self->knows_channels = TRUE;
  return true;
}

// Takes what is found in the bytes that are held. Returns in `skipped` how many come first of those
// left that belong to no payload.
static GstFlowReturn zel_g719_parse_take(ZelG719Parse* self, const GstBaseParseFrame* held,
                                         const MappedBuffer& bytes, gsize* skipped) {
  GstBaseParse* base = GST_BASE_PARSE(self);
  const gsize size = std::min<gsize>(bytes.size(), G_MAXINT);
  const bool at_end = GST_BASE_PARSE_DRAINING(base) && size == bytes.size();
  const CallLimits limits = zel_g719_parse_call_limits(self, size);
  gst_base_parse_set_min_frame_size(base, g719::PAYLOAD_HEADER_BYTES);
  if (!zel_g719_parse_know_channels(self, bytes.data(), size, at_end)) return GST_FLOW_OK;
  GstFlowReturn flow = GST_FLOW_OK;
  bool is_done = false;
  for (gsize taken = 0; taken < size && flow == GST_FLOW_OK && !is_done;) {
    const guint8* rest = bytes.data() + taken;
    const auto found = g719::find_payload(rest, size - taken, at_end, self->finder);
    taken += found.skipped_bytes + found.payload_bytes;
    *skipped += found.skipped_bytes;
    if (found.payload_bytes > 0) {
      zel_g719_parse_drop(self, held, *skipped);
      *skipped = 0;
      flow = zel_g719_parse_finish_payload(
          self, held, found.payload_bytes,
          g719::read_payload(rest, found.payload_bytes, self->finder->channels));
      is_done = limits.ends_behind_payload;
    } else if (found.skipped_bytes > 0) {
      is_done = limits.ends_behind_damage;
    } else {
      zel_g719_parse_want(self, found.wanted_bytes);
      is_done = true;
    }
  }
  return flow;
}

static GstFlowReturn zel_g719_parse_handle_frame(GstBaseParse* base, GstBaseParseFrame* frame,
                                                 gint* skipsize) {
  auto* self = ZEL_G719_PARSE(base);
  self->is_empty = FALSE;
  zel_g719_parse_follow_jump(self, frame->offset);
  const MappedBuffer bytes(frame->buffer, GST_MAP_READ);
  if (!bytes) {
    GST_ELEMENT_ERROR(self, RESOURCE, READ, ("Could not map the stream."), (nullptr));
    return GST_FLOW_ERROR;
  }
  gsize skipped = 0;
  const GstFlowReturn flow = zel_g719_parse_take(self, frame, bytes, &skipped);
  if (self->position > frame->offset) {
    zel_g719_parse_drop(self, frame, skipped);
  } else {
    *skipsize = static_cast<gint>(skipped);
    zel_g719_parse_pass_over(self, skipped);
  }
  const bool is_rest = GST_BASE_PARSE_DRAINING(base) && skipped == bytes.size();
  if (is_rest && self->bitrate != 0) zel_g719_parse_report_damage(self);
  return flow;
}

static gboolean zel_g719_parse_convert(GstBaseParse* base, GstFormat src_format, gint64 src_value,
                                       GstFormat dest_format, gint64* dest_value) {
  auto* self = ZEL_G719_PARSE(base);
  gboolean converted = FALSE;
  GST_OBJECT_LOCK(self);
  if (self->map != nullptr && !self->map->empty() && src_value >= 0) {
    const auto value = static_cast<guint64>(src_value);
    converted = TRUE;
    if (src_format == GST_FORMAT_BYTES && dest_format == GST_FORMAT_TIME) {
      *dest_value =
          static_cast<gint64>(g719::frame_at_offset(*self->map, value) * g719::FRAME_DURATION);
    } else if (src_format == GST_FORMAT_TIME && dest_format == GST_FORMAT_BYTES) {
      *dest_value =
          static_cast<gint64>(g719::offset_of_frame(*self->map, value / g719::FRAME_DURATION));
    } else {
      converted = FALSE;
    }
  }
  GST_OBJECT_UNLOCK(self);
  return converted ||
         gst_base_parse_convert_default(base, src_format, src_value, dest_format, dest_value);
}

// What comes next does not continue what came before.
static void zel_g719_parse_forget_position(ZelG719Parse* self) {
  self->position = GST_BUFFER_OFFSET_NONE;
  gst_base_parse_set_min_frame_size(GST_BASE_PARSE(self), 1);
}

static gboolean zel_g719_parse_sink_event(GstBaseParse* base, GstEvent* event) {
  auto* self = ZEL_G719_PARSE(base);
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_STREAM_START:
      gst_base_parse_drain(base);
      zel_g719_parse_forget_position(self);
      self->caps_channels = 0;
      self->knows_channels = FALSE;
      GST_OBJECT_LOCK(self);
      self->map->clear();
      GST_OBJECT_UNLOCK(self);
      break;
    case GST_EVENT_FLUSH_STOP:
      zel_g719_parse_forget_position(self);
      break;
    case GST_EVENT_EOS:
      // For a pushed stream without a byte the base class reports nothing, so we do.
      if (self->is_empty) {
        GST_ELEMENT_ERROR(self, STREAM, WRONG_TYPE, ("The stream is empty."), (nullptr));
      }
      break;
    default:
      break;
  }
  return GST_BASE_PARSE_CLASS(zel_g719_parse_parent_class)->sink_event(base, event);
}

// Every seek is made an accurate one, in time: the base class then begins at a payload that it
// knows and reads on to the one that is asked for, whatever lies between.
static gboolean zel_g719_parse_src_event(GstBaseParse* base, GstEvent* event) {
  auto* parent_class = GST_BASE_PARSE_CLASS(zel_g719_parse_parent_class);
  if (GST_EVENT_TYPE(event) != GST_EVENT_SEEK) return parent_class->src_event(base, event);

  gdouble rate = 0.0;
  GstFormat format = GST_FORMAT_UNDEFINED;
  GstSeekFlags flags = GST_SEEK_FLAG_NONE;
  GstSeekType start_type = GST_SEEK_TYPE_NONE;
  GstSeekType stop_type = GST_SEEK_TYPE_NONE;
  gint64 start = 0;
  gint64 stop = 0;
  gst_event_parse_seek(event, &rate, &format, &flags, &start_type, &start, &stop_type, &stop);
  GstClockTime interval = 0;
  gst_event_parse_seek_trickmode_interval(event, &interval);
  gint64 start_time = 0;
  gint64 stop_time = -1;
  if (format == GST_FORMAT_BYTES &&
      zel_g719_parse_convert(base, format, start, GST_FORMAT_TIME, &start_time) &&
      (stop == -1 || zel_g719_parse_convert(base, format, stop, GST_FORMAT_TIME, &stop_time))) {
    format = GST_FORMAT_TIME;
    start = start_time;
    stop = stop_time;
  }
  flags = static_cast<GstSeekFlags>(flags | GST_SEEK_FLAG_ACCURATE);
  GstEvent* accurate = gst_event_new_seek(rate, format, flags, start_type, start, stop_type, stop);
  gst_event_set_seek_trickmode_interval(accurate, interval);
  gst_event_set_seqnum(accurate, gst_event_get_seqnum(event));
  gst_event_unref(event);
  return parent_class->src_event(base, accurate);
}

// The base class may not know the length yet: ask upstream each time.
static gboolean zel_g719_parse_src_query(GstBaseParse* base, GstQuery* query) {
  GstFormat format = GST_FORMAT_UNDEFINED;
  gint64 bytes = 0;
  gint64 duration = 0;
  if (GST_QUERY_TYPE(query) == GST_QUERY_DURATION) {
    gst_query_parse_duration(query, &format, nullptr);
    if (format == GST_FORMAT_TIME &&
        gst_pad_peer_query_duration(GST_BASE_PARSE_SINK_PAD(base), GST_FORMAT_BYTES, &bytes) &&
        zel_g719_parse_convert(base, GST_FORMAT_BYTES, bytes, GST_FORMAT_TIME, &duration)) {
      gst_query_set_duration(query, GST_FORMAT_TIME, duration);
      return TRUE;
    }
  }
  return GST_BASE_PARSE_CLASS(zel_g719_parse_parent_class)->src_query(base, query);
}
