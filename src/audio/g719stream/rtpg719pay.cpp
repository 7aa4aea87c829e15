/**
 * SECTION:element-rtpg719pay
 * @title: rtpg719pay
 *
 * Puts G.719 payloads into RTP packets, in the non-interleaved form of RFC 5404. Every payload
 * leaves at once; with #GstRTPBasePayload:min-ptime frames wait for as many as it names and share a
 * packet. No packet is larger than #GstRTPBasePayload:mtu or longer than
 * #GstRTPBasePayload:max-ptime, except where one frame is: frames are not cut.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 autoaudiosrc ! audioconvert ! audioresample ! zelg719enc ! rtpg719pay !
 *     udpsink host=127.0.0.1 port=5004
 * ]|
 */
#include "rtpg719pay.h"

#include <gst/base/gstadapter.h>
#include <gst/rtp/gstrtpbuffer.h>
#include <gst/rtp/gstrtpmeta.h>

#include <algorithm>

#include "caps.h"
#include "payload/packet.h"
#include "payload/payload.h"

struct _RtpG719Pay {
  GstRTPBasePayload parent;
  GstAdapter* pending;   // frames that have not been sent
  gint length_code;      // of each of them; 0 before the first. Read by queries from other threads
  gint sources;          // that a packet names with source-info, 0 to 15. Read by queries, too
  GstClockTime pts;      // of the first of them; without any, of the frame that is due
  guint64 sample;        // number of its first sample
  gboolean is_at_start;  // no packet was sent yet, or none since a gap
};

GST_DEBUG_CATEGORY_STATIC(rtp_g719_pay_debug);
#define GST_CAT_DEFAULT rtp_g719_pay_debug

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("application/x-rtp, media = (string) audio, payload = (int) [ 96, 127 ], "
                    "clock-rate = (int) 48000, encoding-name = (string) G719"));
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(G719_PAYLOAD_CAPS));

G_DEFINE_TYPE(RtpG719Pay, rtp_g719_pay, GST_TYPE_RTP_BASE_PAYLOAD)

static void rtp_g719_pay_finalize(GObject* object);
static GstStateChangeReturn rtp_g719_pay_change_state(GstElement* element, GstStateChange change);
static gboolean rtp_g719_pay_set_caps(GstRTPBasePayload* base, GstCaps* caps);
static GstFlowReturn rtp_g719_pay_handle_buffer(GstRTPBasePayload* base, GstBuffer* buffer);
static gboolean rtp_g719_pay_sink_event(GstRTPBasePayload* base, GstEvent* event);
static gboolean rtp_g719_pay_src_query(GstPad* pad, GstObject* parent, GstQuery* query);

static void rtp_g719_pay_class_init(RtpG719PayClass* klass) {
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* payload_class = GST_RTP_BASE_PAYLOAD_CLASS(klass);

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  gst_element_class_set_static_metadata(
      element_class, "RTP G.719 payloader", "Codec/Payloader/Network/RTP",
      "Puts G.719 audio in RTP packets (RFC 5404)", "Zelkor audio team <audio@zelkor.example>");

  G_OBJECT_CLASS(klass)->finalize = rtp_g719_pay_finalize;
  element_class->change_state = GST_DEBUG_FUNCPTR(rtp_g719_pay_change_state);
  payload_class->set_caps = GST_DEBUG_FUNCPTR(rtp_g719_pay_set_caps);
  payload_class->handle_buffer = GST_DEBUG_FUNCPTR(rtp_g719_pay_handle_buffer);
  payload_class->sink_event = GST_DEBUG_FUNCPTR(rtp_g719_pay_sink_event);

  GST_DEBUG_CATEGORY_INIT(rtp_g719_pay_debug, "g719pay", 0, "g719pay");
}

// Drops what is pending. What comes next does not continue what came before.
static void rtp_g719_pay_reset(RtpG719Pay* self) {
  gst_adapter_clear(self->pending);
  self->pts = GST_CLOCK_TIME_NONE;
  self->is_at_start = TRUE;
}

static void rtp_g719_pay_init(RtpG719Pay* self) {
  self->pending = gst_adapter_new();
  // The base class leaves queries from downstream to the pad.
  gst_pad_set_query_function(GST_RTP_BASE_PAYLOAD_SRCPAD(self), rtp_g719_pay_src_query);
  rtp_g719_pay_reset(self);
}

static void rtp_g719_pay_finalize(GObject* object) {
  g_object_unref(RTP_G719_PAY(object)->pending);
  G_OBJECT_CLASS(rtp_g719_pay_parent_class)->finalize(object);
}

static GstStateChangeReturn rtp_g719_pay_change_state(GstElement* element, GstStateChange change) {
  const GstStateChangeReturn result =
      GST_ELEMENT_CLASS(rtp_g719_pay_parent_class)->change_state(element, change);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) rtp_g719_pay_reset(RTP_G719_PAY(element));
  return result;
}

static gboolean rtp_g719_pay_set_caps(GstRTPBasePayload* base, GstCaps*) {
  gst_rtp_base_payload_set_options(base, "audio", TRUE, "G719", G719_SAMPLE_RATE);
  // No frame is sent twice. Only strings get into SDP.
  const gboolean is_set =
      gst_rtp_base_payload_set_outcaps(base, "max-red", G_TYPE_STRING, "0", nullptr);
  if (base->ptime > 0)
    gst_element_post_message(GST_ELEMENT(base), gst_message_new_latency(GST_OBJECT(base)));
  return is_set;
}

// Of the pending frames; 0 before the first.
static gsize rtp_g719_pay_frame_bytes(RtpG719Pay* self) {
  return g719::frame_bytes_of_length_code(g_atomic_int_get(&self->length_code));
}

// How many frames a packet takes: from `least` to `most`, and a multiple of `multiple`.
struct PacketFrames {
  guint64 least, most, multiple;
};

// What the properties say and downstream asked for. A ptime from there is kept to exactly.
static PacketFrames rtp_g719_pay_packet_frames(RtpG719Pay* self) {
  const auto* base = GST_RTP_BASE_PAYLOAD(self);
  PacketFrames frames = {1, g719::MAX_PACKET_BLOCKS, 1};
  if (base->max_ptime >= 0) {
    frames.most = std::min<guint64>(frames.most, base->max_ptime / g719::FRAME_DURATION);
  }
  const gsize frame_bytes = rtp_g719_pay_frame_bytes(self);
  if (frame_bytes > 0) {
    const gsize headers =
        gst_rtp_buffer_calc_header_len(static_cast<guint8>(g_atomic_int_get(&self->sources))) +
        g719::PAYLOAD_HEADER_BYTES;
    const gsize room = base->mtu > headers ? base->mtu - headers : 0;
    frames.most = std::min<guint64>(frames.most, room / frame_bytes);
  }
  frames.most = std::max<guint64>(frames.most, 1);
  frames.multiple =
      std::clamp<guint64>(base->ptime_multiple / g719::FRAME_DURATION, 1, frames.most);
  frames.most -= frames.most % frames.multiple;
  frames.least =
      std::clamp<guint64>((base->min_ptime + g719::FRAME_DURATION - 1) / g719::FRAME_DURATION,
                          frames.multiple, frames.most);
  if (base->ptime > 0) {
    frames.most =
        std::clamp<guint64>(base->ptime / g719::FRAME_DURATION, frames.least, frames.most);
    frames.least = frames.most;
  }
  return frames;
}

// How many frames the mtu allows may change how long they wait for one another.
static void rtp_g719_pay_set_frame_size(RtpG719Pay* self, gint length_code, guint sources) {
  const guint64 least = rtp_g719_pay_packet_frames(self).least;
  g_atomic_int_set(&self->length_code, length_code);
  g_atomic_int_set(&self->sources, std::min(sources, GST_RTP_SOURCE_META_MAX_CSRC_COUNT + 0U));
  if (rtp_g719_pay_packet_frames(self).least != least) {
    gst_element_post_message(GST_ELEMENT(self), gst_message_new_latency(GST_OBJECT(self)));
  }
}

static guint64 rtp_g719_pay_pending_frames(RtpG719Pay* self) {
  const gsize frame_bytes = rtp_g719_pay_frame_bytes(self);
  return frame_bytes == 0 ? 0 : gst_adapter_available(self->pending) / frame_bytes;
}

// Sends the first `frames` of the pending ones.
static GstFlowReturn rtp_g719_pay_send_packet(RtpG719Pay* self, guint64 frames) {
  auto* base = GST_RTP_BASE_PAYLOAD(self);
  GstBuffer* packet =
      gst_rtp_base_payload_allocate_output_buffer(base, g719::PAYLOAD_HEADER_BYTES, 0, 0);
  GstRTPBuffer rtp = GST_RTP_BUFFER_INIT;
  gst_rtp_buffer_map(packet, GST_MAP_WRITE, &rtp);
  const g719::TocEntry header = {false, self->length_code, static_cast<int>(frames)};
  g719::write_toc_entry(header, static_cast<guint8*>(gst_rtp_buffer_get_payload(&rtp)));
  gst_rtp_buffer_set_marker(&rtp, self->is_at_start);
  gst_rtp_buffer_unmap(&rtp);

  packet = gst_buffer_append(
      packet, gst_adapter_take_buffer_fast(self->pending, g719::promised_bytes(header)));
  GST_BUFFER_PTS(packet) = self->pts;
  GST_BUFFER_DURATION(packet) = frames * g719::FRAME_DURATION;
  // The base class makes RTP timestamps of it. They count samples, whatever the timestamps of a
  // live source do between two frames.
  GST_BUFFER_OFFSET(packet) = self->sample;
  if (self->is_at_start) GST_BUFFER_FLAG_SET(packet, GST_BUFFER_FLAG_DISCONT);

  if (GST_CLOCK_TIME_IS_VALID(self->pts)) self->pts += frames * g719::FRAME_DURATION;
  self->sample += frames * G719_FRAME_SAMPLES;
  self->is_at_start = FALSE;
  return gst_rtp_base_payload_push(base, packet);
}

// Sends what is pending. Where not `all` of it has to go, too few frames for a packet stay.
static GstFlowReturn rtp_g719_pay_send(RtpG719Pay* self, bool all) {
  const PacketFrames packet = rtp_g719_pay_packet_frames(self);
  const guint64 least = all ? 1 : packet.least;
  GstFlowReturn flow = GST_FLOW_OK;
  while (flow == GST_FLOW_OK) {
    const guint64 pending = rtp_g719_pay_pending_frames(self);
    if (pending < least) break;
    guint64 frames = std::min(pending, packet.most);
    if (frames > packet.multiple) frames -= frames % packet.multiple;
    flow = rtp_g719_pay_send_packet(self, frames);
  }
  return flow;
}

// Samples from `from` to `to`, modulo 2^64 where `to` is the earlier one.
static guint64 rtp_g719_pay_samples_between(GstClockTime from, GstClockTime to) {
  return to >= from ? gst_util_uint64_scale_round(to - from, G719_SAMPLE_RATE, GST_SECOND)
                    : -gst_util_uint64_scale_round(from - to, G719_SAMPLE_RATE, GST_SECOND);
}

// Sends what does not share a packet with the payload in `buffer`, and follows its timestamp. Where
// it is off by half a frame or more, something is missing.
static GstFlowReturn rtp_g719_pay_follow(RtpG719Pay* self, GstBuffer* buffer, gint length_code) {
  const GstClockTime pts = GST_BUFFER_PTS(buffer);
  const guint64 pending = rtp_g719_pay_pending_frames(self);
  GstClockTime due = self->pts;
  if (GST_CLOCK_TIME_IS_VALID(due)) due += pending * g719::FRAME_DURATION;
  const bool are_both_timed = GST_CLOCK_TIME_IS_VALID(pts) && GST_CLOCK_TIME_IS_VALID(due);
  const bool is_off =
      are_both_timed && (pts > due ? pts - due : due - pts) >= g719::FRAME_DURATION / 2;
  const bool is_after_gap = is_off || GST_BUFFER_IS_DISCONT(buffer);

  GstFlowReturn flow = GST_FLOW_OK;
  if (is_after_gap || length_code != self->length_code) flow = rtp_g719_pay_send(self, true);
  if (is_off) self->sample += rtp_g719_pay_samples_between(self->pts, pts);
  if (is_after_gap) self->is_at_start = TRUE;
  if (GST_CLOCK_TIME_IS_VALID(pts) && rtp_g719_pay_pending_frames(self) == 0) self->pts = pts;
  return flow;
}

// Reads the header of a payload; all zero where it has none that names a frame size.
static g719::Payload rtp_g719_pay_read_header(GstBuffer* buffer) {
  guint8 header[g719::PAYLOAD_HEADER_BYTES] = {};
  gst_buffer_extract(buffer, 0, header, sizeof header);
  const gsize size = gst_buffer_get_size(buffer);
  if (size < sizeof header) return {};
  const g719::Payload payload = g719::read_payload(header, size);
  return payload.header.has_follower || payload.frame_bytes == 0 ? g719::Payload{} : payload;
}

static GstFlowReturn rtp_g719_pay_handle_buffer(GstRTPBasePayload* base, GstBuffer* buffer) {
  auto* self = RTP_G719_PAY(base);
  const g719::Payload payload = rtp_g719_pay_read_header(buffer);
  if (payload.blocks_complete == 0 || payload.blocks_complete < payload.header.blocks) {
    GST_WARNING_OBJECT(self, "payload of %" G_GSIZE_FORMAT " bytes holds %d of %d frames",
                       gst_buffer_get_size(buffer), payload.blocks_complete, payload.header.blocks);
  }
  GstFlowReturn flow = GST_FLOW_OK;
  if (payload.blocks_complete > 0) {
    flow = rtp_g719_pay_follow(self, buffer, payload.header.length_code);
  }
  if (payload.blocks_complete == 0 || flow != GST_FLOW_OK) {
    gst_buffer_unref(buffer);
    return flow;
  }

  rtp_g719_pay_set_frame_size(self, payload.header.length_code,
                              gst_rtp_base_payload_get_source_count(base, buffer));
  buffer = gst_buffer_make_writable(buffer);
  gst_buffer_resize(buffer, g719::PAYLOAD_HEADER_BYTES,
                    static_cast<gssize>(payload.blocks_complete) * payload.frame_bytes);
  gst_adapter_push(self->pending, buffer);
  return rtp_g719_pay_send(self, false);
}

// A segment that counts bytes, as those of filesrc do, becomes one that counts time. Payloads
// without timestamps follow one another from its start on.
static GstEvent* rtp_g719_pay_begin_segment(RtpG719Pay* self, GstEvent* event) {
  GstSegment segment;
  gst_event_copy_segment(event, &segment);
  if (segment.format != GST_FORMAT_TIME) {
    const guint32 seqnum = gst_event_get_seqnum(event);
    gst_event_unref(event);
    gst_segment_init(&segment, GST_FORMAT_TIME);
    event = gst_event_new_segment(&segment);
    gst_event_set_seqnum(event, seqnum);
  }
  self->pts = segment.start;
  return event;
}

static gboolean rtp_g719_pay_sink_event(GstRTPBasePayload* base, GstEvent* event) {
  auto* self = RTP_G719_PAY(base);
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_CAPS:
    case GST_EVENT_EOS:
    case GST_EVENT_GAP:
      rtp_g719_pay_send(self, true);
      break;
    case GST_EVENT_STREAM_START:
      rtp_g719_pay_send(self, true);
      rtp_g719_pay_reset(self);
      break;
    case GST_EVENT_SEGMENT:
      rtp_g719_pay_send(self, true);
      rtp_g719_pay_reset(self);
      event = rtp_g719_pay_begin_segment(self, event);
      break;
    case GST_EVENT_FLUSH_STOP:
      rtp_g719_pay_reset(self);
      break;
    default:
      break;
  }
  return GST_RTP_BASE_PAYLOAD_CLASS(rtp_g719_pay_parent_class)->sink_event(base, event);
}

// The first frame of a packet waits for the last one.
static gboolean rtp_g719_pay_src_query(GstPad* pad, GstObject* parent, GstQuery* query) {
  const gboolean is_answered = gst_pad_query_default(pad, parent, query);
  if (is_answered && GST_QUERY_TYPE(query) == GST_QUERY_LATENCY) {
    const guint64 least = rtp_g719_pay_packet_frames(RTP_G719_PAY(parent)).least;
    gboolean is_live = FALSE;
    GstClockTime min = 0;
    GstClockTime max = 0;
    gst_query_parse_latency(query, &is_live, &min, &max);
    min += (least - 1) * g719::FRAME_DURATION;
    if (GST_CLOCK_TIME_IS_VALID(max)) max += (least - 1) * g719::FRAME_DURATION;
    gst_query_set_latency(query, is_live, min, max);
  }
  return is_answered;
}
