/**
 * SECTION:element-zelg719parse
 * @title: zelg719parse
 *
 * Cuts a stream of bytes, as that of a file, into G.719 payloads, one a buffer, with timestamps and
 * durations. Bytes that belong to no payload are passed over.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 filesrc location=speech.g719 ! zelg719parse ! zelg719dec !
 *     audioconvert ! audioresample ! autoaudiosink
 * ]|
 * plays a file of payloads.
 */
#include "zelg719parse.h"

#include <algorithm>

#include "caps.h"
#include "mapped_buffer.h"
#include "payload/payload.h"
#include "payload/payload_finder.h"
#include "payload/payload_map.h"

struct _ZelG719Parse {
  GstBaseParse parent;
  g719::FinderState finder;
  guint64 position;           // in the stream, of what the finder sees next, in bytes
  gboolean read_without_gap;  // all from the start to there
  guint64 passed_over;        // bytes since the last payload
  guint warnings;             // posted
  gboolean is_empty;          // the stream, so far
  gint32 bitrate;             // of the caps, bit/s; 0: none yet
  g719::PayloadMap* map;      // owned, from start to stop; guarded by the object's lock
};

static constexpr guint MAX_WARNINGS = 100;  // posted; the log has all

GST_DEBUG_CATEGORY_STATIC(zel_g719_parse_debug);
#define GST_CAT_DEFAULT zel_g719_parse_debug

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS("audio/G719, framed = (boolean) true"));
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(G719_PAYLOAD_CAPS));

G_DEFINE_TYPE(ZelG719Parse, zel_g719_parse, GST_TYPE_BASE_PARSE)

static gboolean zel_g719_parse_start(GstBaseParse* base);
static gboolean zel_g719_parse_stop(GstBaseParse* base);
static GstFlowReturn zel_g719_parse_handle_frame(GstBaseParse* base, GstBaseParseFrame* frame,
                                                 gint* skipsize);
static gboolean zel_g719_parse_convert(GstBaseParse* base, GstFormat src_format, gint64 src_value,
                                       GstFormat dest_format, gint64* dest_value);
static gboolean zel_g719_parse_sink_event(GstBaseParse* base, GstEvent* event);
static gboolean zel_g719_parse_src_event(GstBaseParse* base, GstEvent* event);
static gboolean zel_g719_parse_src_query(GstBaseParse* base, GstQuery* query);

static void zel_g719_parse_class_init(ZelG719ParseClass* klass) {
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* parse_class = GST_BASE_PARSE_CLASS(klass);

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  gst_element_class_set_static_metadata(element_class, "G.719 Parser element", "Codec/Parser/Audio",
                                        "Cuts a stream of G.719 payloads into its payloads",
                                        "Zelkor audio team <audio@zelkor.example>");

  parse_class->start = GST_DEBUG_FUNCPTR(zel_g719_parse_start);
  parse_class->stop = GST_DEBUG_FUNCPTR(zel_g719_parse_stop);
  parse_class->handle_frame = GST_DEBUG_FUNCPTR(zel_g719_parse_handle_frame);
  parse_class->convert = GST_DEBUG_FUNCPTR(zel_g719_parse_convert);
  parse_class->sink_event = GST_DEBUG_FUNCPTR(zel_g719_parse_sink_event);
  parse_class->src_event = GST_DEBUG_FUNCPTR(zel_g719_parse_src_event);
  parse_class->src_query = GST_DEBUG_FUNCPTR(zel_g719_parse_src_query);

  GST_DEBUG_CATEGORY_INIT(zel_g719_parse_debug, "g719parse", 0, "g719parse");
}

static void zel_g719_parse_init(ZelG719Parse*) {}

static gboolean zel_g719_parse_start(GstBaseParse* base) {
  auto* self = ZEL_G719_PARSE(base);
  self->finder = {};
  self->position = 0;
  self->read_without_gap = TRUE;
  self->passed_over = 0;
  self->warnings = 0;
  self->is_empty = TRUE;
  self->bitrate = 0;
  GST_OBJECT_LOCK(self);
  self->map = new g719::PayloadMap;
  GST_OBJECT_UNLOCK(self);
  gst_base_parse_set_min_frame_size(base, 1);
  return TRUE;
}

static gboolean zel_g719_parse_stop(GstBaseParse* base) {
  auto* self = ZEL_G719_PARSE(base);
  GST_OBJECT_LOCK(self);
  delete self->map;
  self->map = nullptr;
  GST_OBJECT_UNLOCK(self);
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
  self->finder = {};
  self->finder.in_step = self->read_without_gap;
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

// For those who list or label streams.
static void zel_g719_parse_tag(ZelG719Parse* self, gint32 bitrate) {
  GstTagList* tags = gst_tag_list_new(GST_TAG_AUDIO_CODEC, "G.719", GST_TAG_BITRATE,
                                      static_cast<guint>(bitrate), nullptr);
  gst_base_parse_merge_tags(GST_BASE_PARSE(self), tags, GST_TAG_MERGE_REPLACE);
  gst_tag_list_unref(tags);
}

// Caps that cannot be set, in a flush for one, are set with the next payload; the push of this one
// says what is wrong.
static void zel_g719_parse_set_bitrate(ZelG719Parse* self, gint32 bitrate) {
  if (bitrate == self->bitrate) return;
  zel_g719_parse_tag(self, bitrate);
  GstCaps* caps = gst_caps_new_simple("audio/G719", "rate", G_TYPE_INT, G719_SAMPLE_RATE,
                                      "channels", G_TYPE_INT, 1, "bitrate", G_TYPE_INT, bitrate,
                                      "framed", G_TYPE_BOOLEAN, TRUE, nullptr);
  if (gst_pad_set_caps(GST_BASE_PARSE_SRC_PAD(self), caps)) self->bitrate = bitrate;
  gst_caps_unref(caps);
}

static GstFlowReturn zel_g719_parse_finish_payload(ZelG719Parse* self, GstBaseParseFrame* frame,
                                                   gsize size, const g719::Payload& payload) {
  zel_g719_parse_report_damage(self);
  zel_g719_parse_set_bitrate(self, payload.bitrate);
  if (self->read_without_gap) {
    GST_OBJECT_LOCK(self);
    g719::add_payload(self->map, self->position, static_cast<guint32>(size),
                      payload.frames_complete);
    GST_OBJECT_UNLOCK(self);
  }
  self->position += size;
  GST_BUFFER_DURATION(frame->buffer) = payload.frames_complete * g719::FRAME_DURATION;
  gst_base_parse_set_min_frame_size(GST_BASE_PARSE(self), g719::PAYLOAD_HEADER_BYTES);
  return gst_base_parse_finish_frame(GST_BASE_PARSE(self), frame, static_cast<gint>(size));
}

static GstFlowReturn zel_g719_parse_handle_frame(GstBaseParse* base, GstBaseParseFrame* frame,
                                                 gint* skipsize) {
  auto* self = ZEL_G719_PARSE(base);
  self->is_empty = FALSE;
  zel_g719_parse_follow_jump(self, frame->offset);
  g719::FoundPayload found;
  g719::Payload payload = {};
  {
    const MappedBuffer bytes(frame->buffer, GST_MAP_READ);
    if (!bytes) {
      GST_ELEMENT_ERROR(self, RESOURCE, READ, ("Could not map the stream."), (nullptr));
      return GST_FLOW_ERROR;
    }
    found = g719::find_payload(bytes.data(), bytes.size(), GST_BASE_PARSE_DRAINING(base),
                               &self->finder);
    if (found.payload_bytes > 0) {
      payload = g719::read_payload(bytes.data() + found.skipped_bytes, found.payload_bytes);
    }
  }
  // Of what is behind those skipped.
  const gsize needed = found.payload_bytes > 0 ? found.payload_bytes : found.wanted_bytes;
  gst_base_parse_set_min_frame_size(base, static_cast<guint>(needed));
  if (found.skipped_bytes > 0) {
    const gsize skipped = std::min<gsize>(found.skipped_bytes, G_MAXINT);
    self->position += skipped;
    self->passed_over += skipped;
    *skipsize = static_cast<gint>(skipped);
    const bool is_rest = GST_BASE_PARSE_DRAINING(base) && found.payload_bytes == 0;
    if (is_rest && self->bitrate != 0) zel_g719_parse_report_damage(self);
    return GST_FLOW_OK;
  }
  if (found.payload_bytes > 0) {
    return zel_g719_parse_finish_payload(self, frame, found.payload_bytes, payload);
  }
  return GST_FLOW_OK;
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

// What comes next is in no connection with what came before.
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
