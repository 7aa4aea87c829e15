/**
 * SECTION:element-rtpg719depay
 * @title: rtpg719depay
 *
 * Takes G.719 frames out of RTP packets, in the basic mode of RFC 5404, of as many channels as the
 * caps say. Gives one payload for each entry of a packet, and a GAP event for time that no packet
 * filled. A packet that is not what it promises to be is discarded and counts as lost.
 *
 * A sender may repeat earlier frames in a packet. Each frame is given out once. Where a frame is
 * missing, what follows waits for a copy of it: for as long as `max-red` in the caps says,
 * otherwise for #RtpG719Depay:wait-for-copies. This is part of the latency.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 udpsrc port=5004
 *     caps="application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719" !
 *     rtpjitterbuffer do-lost=true ! rtpg719depay ! zelg719streamdec !
 *     audioconvert ! audioresample ! autoaudiosink
 * ]|
 */
#include "rtpg719depay.h"

#include <gst/rtp/gstrtpbuffer.h>

#include <algorithm>
#include <iterator>

#include "payload/packet.h"
#include "payload/payload.h"
#include "rtp_caps.h"

// What the statistics call the faults of packets, in their order.
static constexpr const gchar* DISCARDED_FOR[] = {
    nullptr, "list-without-end", "reserved-length-code", "other-size", "too-long", "too-empty"};

// Positions are RTP timestamps that never wrap: samples since some start.
struct _RtpG719Depay {
  GstRTPBaseDepayload parent;
  gint wait_for_copies;  // the property, ns; may be written while the stream runs
  gint max_red;          // of the caps, ns; -1 where they say nothing. Read by queries
  gint channels;         // of the caps
  GstCaps* refused;      // owned; null, or caps that the application has heard about

  gboolean is_running;  // a packet came since the start, and all below is known
  gboolean is_anew;     // nothing was given out since the sender began anew
  guint32 ssrc;         // of the last packet
  guint16 next_seqnum;  // behind it
  gint64 position;      // of the last packet without a fault
  GstClockTime pts;     // and its timestamp
  gint64 due;           // the end of the frames that were given out
  gint64 announced;     // the end of these and of the gaps behind them
  gint64 horizon;       // the end of the time that packets, lost ones too, were about
  gint64 fresh;         // how much of the last packet behind another was new
  gint64 fresh_from;    // what of the present packet is new, and no copy
  gint64 lost_until;    // what is missing before that was lost, and not left out by the sender
  GQueue held;          // payloads that wait, ordered by position: their buffers' offset

  // Since the start, under the object's lock.
  guint64 discarded[std::size(DISCARDED_FOR)];  // packets, by their fault
  guint64 copies_used, copies_dropped;          // frame-blocks
};

static constexpr gint64 FRAME = G719_FRAME_SAMPLES;
static constexpr gint64 HALF_FRAME = FRAME / 2;             // what timestamps may be off by
static constexpr gint64 SURELY_ANOTHER = G719_SAMPLE_RATE;  // and by this they are of another start
static constexpr gint MAX_WAIT_FOR_COPIES = 80'000'000;     // ns
static constexpr gint MAX_MAX_RED = 1000;                   // ms: copies older than that begin anew

GST_DEBUG_CATEGORY_STATIC(rtp_g719_depay_debug);
#define GST_CAT_DEFAULT rtp_g719_depay_debug

enum { PROP_WAIT_FOR_COPIES = 1, PROP_PAYLOAD_STATS };

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS(
        "audio/G719, rate = (int) 48000, channels = (int) [ 1, 6 ], framed = (boolean) true"));
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("application/x-rtp, media = (string) audio, clock-rate = (int) 48000, "
                    "encoding-name = (string) G719"));

G_DEFINE_TYPE(RtpG719Depay, rtp_g719_depay, GST_TYPE_RTP_BASE_DEPAYLOAD)

static void rtp_g719_depay_set_property(GObject* object, guint id, const GValue* value,
                                        GParamSpec* spec);
static void rtp_g719_depay_get_property(GObject* object, guint id, GValue* value, GParamSpec* spec);
static GstStateChangeReturn rtp_g719_depay_change_state(GstElement* element, GstStateChange change);
static gboolean rtp_g719_depay_set_caps(GstRTPBaseDepayload* base, GstCaps* caps);
static GstBuffer* rtp_g719_depay_process_rtp_packet(GstRTPBaseDepayload* base, GstRTPBuffer* rtp);
static gboolean rtp_g719_depay_packet_lost(GstRTPBaseDepayload* base, GstEvent* event);
static gboolean rtp_g719_depay_handle_event(GstRTPBaseDepayload* base, GstEvent* event);
static gboolean rtp_g719_depay_src_query(GstPad* pad, GstObject* parent, GstQuery* query);

static void rtp_g719_depay_class_init(RtpG719DepayClass* klass) {
  auto* object_class = G_OBJECT_CLASS(klass);
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* depayload_class = GST_RTP_BASE_DEPAYLOAD_CLASS(klass);

  object_class->set_property = rtp_g719_depay_set_property;
  object_class->get_property = rtp_g719_depay_get_property;

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  gst_element_class_set_static_metadata(element_class, "RTP G.719 depayloader",
                                        "Codec/Depayloader/Network/RTP",
                                        "Extracts G.719 audio from RTP packets (RFC 5404)",
                                        "Zelkor audio team <audio@zelkor.example>");

  element_class->change_state = GST_DEBUG_FUNCPTR(rtp_g719_depay_change_state);
  depayload_class->set_caps = GST_DEBUG_FUNCPTR(rtp_g719_depay_set_caps);
  depayload_class->process_rtp_packet = GST_DEBUG_FUNCPTR(rtp_g719_depay_process_rtp_packet);
  depayload_class->packet_lost = GST_DEBUG_FUNCPTR(rtp_g719_depay_packet_lost);
  depayload_class->handle_event = GST_DEBUG_FUNCPTR(rtp_g719_depay_handle_event);

  /**
   * RtpG719Depay:wait-for-copies:
   *
   * How long the frames behind a missing one wait for a copy of it, in ns, where the caps have no
   * `max-red`. It is added to the latency.
   */
  g_object_class_install_property(
      object_class, PROP_WAIT_FOR_COPIES,
      g_param_spec_uint64("wait-for-copies", "Wait for copies",
                          "How long to wait for a copy of a lost frame without max-red, in ns", 0,
                          MAX_WAIT_FOR_COPIES, 0,
                          static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
  /**
   * RtpG719Depay:payload-stats:
   *
   * Since the start: how many packets were discarded, for each reason, how many frames came as
   * copies of lost ones (`copies-used`), and how many came again (`copies-dropped`).
   */
  g_object_class_install_property(
      object_class, PROP_PAYLOAD_STATS,
      g_param_spec_boxed("payload-stats", "Payload statistics",
                         "Packets discarded, copies used and dropped", GST_TYPE_STRUCTURE,
                         static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));

  GST_DEBUG_CATEGORY_INIT(rtp_g719_depay_debug, "rtpg719depay", 0, "rtpg719depay");
}

// Forgets the stream. Payloads that wait are dropped.
static void rtp_g719_depay_reset(RtpG719Depay* self) {
  g_queue_clear_full(&self->held, reinterpret_cast<GDestroyNotify>(gst_buffer_unref));
  self->is_running = FALSE;
  self->is_anew = FALSE;
}

static void rtp_g719_depay_init(RtpG719Depay* self) {
  g_queue_init(&self->held);
  self->max_red = -1;
  // The base class leaves queries from downstream to the pad.
  gst_pad_set_query_function(GST_RTP_BASE_DEPAYLOAD_SRCPAD(self), rtp_g719_depay_src_query);
}

static void rtp_g719_depay_set_property(GObject* object, guint id, const GValue* value,
                                        GParamSpec* spec) {
  switch (id) {
    case PROP_WAIT_FOR_COPIES:
      g_atomic_int_set(&RTP_G719_DEPAY(object)->wait_for_copies,
                       static_cast<gint>(g_value_get_uint64(value)));
      gst_element_post_message(GST_ELEMENT(object), gst_message_new_latency(GST_OBJECT(object)));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

static GstStructure* rtp_g719_depay_stats(RtpG719Depay* self) {
  GST_OBJECT_LOCK(self);
  GstStructure* stats =
      gst_structure_new("rtpg719depay-stats", "copies-used", G_TYPE_UINT64, self->copies_used,
                        "copies-dropped", G_TYPE_UINT64, self->copies_dropped, nullptr);
  for (gsize fault = 1; fault < std::size(DISCARDED_FOR); fault++) {
    gst_structure_set(stats, DISCARDED_FOR[fault], G_TYPE_UINT64, self->discarded[fault], nullptr);
  }
  GST_OBJECT_UNLOCK(self);
  return stats;
}

static void rtp_g719_depay_get_property(GObject* object, guint id, GValue* value,
                                        GParamSpec* spec) {
  switch (id) {
    case PROP_PAYLOAD_STATS:
      g_value_take_boxed(value, rtp_g719_depay_stats(RTP_G719_DEPAY(object)));
      break;
    case PROP_WAIT_FOR_COPIES:
      g_value_set_uint64(value, g_atomic_int_get(&RTP_G719_DEPAY(object)->wait_for_copies));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

static GstStateChangeReturn rtp_g719_depay_change_state(GstElement* element,
                                                        GstStateChange change) {
  auto* self = RTP_G719_DEPAY(element);
  const GstStateChangeReturn result =
      GST_ELEMENT_CLASS(rtp_g719_depay_parent_class)->change_state(element, change);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) {
    rtp_g719_depay_reset(self);
    gst_clear_caps(&self->refused);
    g_atomic_int_set(&self->max_red, -1);
    GST_OBJECT_LOCK(self);
    std::ranges::fill(self->discarded, 0);
    self->copies_used = self->copies_dropped = 0;
    GST_OBJECT_UNLOCK(self);
  }
  return result;
}

// Tells the application of caps that are refused: once, though they come again with every packet.
static gboolean rtp_g719_depay_refuse(RtpG719Depay* self, GstCaps* caps, const gchar* text) {
  if (self->refused == nullptr || !gst_caps_is_equal(self->refused, caps)) {
    GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("%s", text),
                      ("caps: %" GST_PTR_FORMAT, static_cast<void*>(caps)));
  }
  gst_caps_replace(&self->refused, caps);
  return FALSE;
}

static gboolean rtp_g719_depay_set_caps(GstRTPBaseDepayload* base, GstCaps* caps) {
  auto* self = RTP_G719_DEPAY(base);
  const GstStructure* announced = gst_caps_get_structure(caps, 0);
  if (gst_structure_has_field(announced, "interleaving")) {
    return rtp_g719_depay_refuse(
        self, caps, "Interleaved G.719 is refused; rtpg719depay takes the basic mode alone.");
  }
  if (!read_announced_channels(announced, &self->channels)) {
    return rtp_g719_depay_refuse(
        self, caps,
        "G.719 with this number of channels is refused; rtpg719depay takes one to six channels.");
  }
  gst_clear_caps(&self->refused);

  guint64 max_red = 0;
  const bool is_announced = read_announced_number(announced, "max-red", G_MAXUINT32, &max_red);
  const gint before = self->max_red;
  g_atomic_int_set(
      &self->max_red,
      is_announced ? static_cast<gint>(std::min<guint64>(max_red, MAX_MAX_RED) * GST_MSECOND) : -1);
  if (self->max_red != before) {
    gst_element_post_message(GST_ELEMENT(self), gst_message_new_latency(GST_OBJECT(self)));
  }

  base->clock_rate = G719_SAMPLE_RATE;
  g_autoptr(GstCaps) payloads =
      gst_caps_make_writable(gst_static_pad_template_get_caps(&src_template));
  gst_caps_set_simple(payloads, "channels", G_TYPE_INT, self->channels, nullptr);
  return gst_pad_set_caps(GST_RTP_BASE_DEPAYLOAD_SRCPAD(base), payloads);
}

// How long what follows a missing frame waits for a copy of it, in ns.
static GstClockTime rtp_g719_depay_wait(RtpG719Depay* self) {
  const gint max_red = g_atomic_int_get(&self->max_red);
  return max_red >= 0 ? max_red : g_atomic_int_get(&self->wait_for_copies);
}

static gint64 rtp_g719_depay_samples(GstClockTimeDiff time) {
  return time >= 0
             ? static_cast<gint64>(gst_util_uint64_scale_round(time, G719_SAMPLE_RATE, GST_SECOND))
             : -rtp_g719_depay_samples(-time);
}

static GstClockTimeDiff rtp_g719_depay_time(gint64 samples) {
  return samples >= 0 ? static_cast<GstClockTimeDiff>(
                            gst_util_uint64_scale_round(samples, GST_SECOND, G719_SAMPLE_RATE))
                      : -rtp_g719_depay_time(-samples);
}

// Says downstream that nothing comes until `end`, as far as that was not said before.
static void rtp_g719_depay_announce_gap(RtpG719Depay* self, gint64 end) {
  const gint64 start = self->announced;
  if (end - start < HALF_FRAME) return;
  self->announced = end;
  GstPad* pad = GST_RTP_BASE_DEPAYLOAD_SRCPAD(self);
  g_autoptr(GstEvent) segment = gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0);
  if (segment == nullptr || !GST_CLOCK_TIME_IS_VALID(self->pts)) return;
  const GstClockTimeDiff pts =
      static_cast<GstClockTimeDiff>(self->pts) + rtp_g719_depay_time(start - self->position);
  if (pts < 0) return;
  GstEvent* gap = gst_event_new_gap(pts, rtp_g719_depay_time(end - start));
  if (start < self->lost_until) gst_event_set_gap_flags(gap, GST_GAP_FLAG_MISSING_DATA);
  gst_pad_push_event(pad, gap);
}

static void rtp_g719_depay_push_first_held(RtpG719Depay* self) {
  auto* payload = static_cast<GstBuffer*>(g_queue_pop_head(&self->held));
  self->due = static_cast<gint64>(GST_BUFFER_OFFSET_END(payload));
  self->announced = std::max(self->announced, self->due);
  if (self->is_anew) GST_BUFFER_FLAG_SET(payload, GST_BUFFER_FLAG_DISCONT);
  self->is_anew = FALSE;
  GST_BUFFER_OFFSET(payload) = GST_BUFFER_OFFSET_NONE;
  GST_BUFFER_OFFSET_END(payload) = GST_BUFFER_OFFSET_NONE;
  gst_rtp_base_depayload_push(GST_RTP_BASE_DEPAYLOAD(self), payload);
}

// Gives out the payloads in front of which no frame is missing. No copy comes any more of what is
// missing before `limit`: that is a gap, and nothing waits for it.
static void rtp_g719_depay_give_out(RtpG719Depay* self, gint64 limit) {
  while (!g_queue_is_empty(&self->held)) {
    const auto* next = static_cast<GstBuffer*>(g_queue_peek_head(&self->held));
    const auto start = static_cast<gint64>(GST_BUFFER_OFFSET(next));
    rtp_g719_depay_announce_gap(self, std::min(start, limit));
    if (start - self->due >= HALF_FRAME && start > limit) return;
    rtp_g719_depay_push_first_held(self);
  }
  rtp_g719_depay_announce_gap(self, limit);
}

// Goes on to the end of a packet or gap.
static void rtp_g719_depay_advance(RtpG719Depay* self, gint64 end) {
  self->horizon = std::max(self->horizon, end);
  const auto wait = static_cast<GstClockTimeDiff>(rtp_g719_depay_wait(self));
  rtp_g719_depay_give_out(self, self->horizon - rtp_g719_depay_samples(wait));
}

// Waits for nothing any more.
static void rtp_g719_depay_drain(RtpG719Depay* self) {
  if (self->is_running) rtp_g719_depay_give_out(self, self->horizon);
}

// Whether the frame at `position` was given out or is held.
static bool rtp_g719_depay_has_frame(RtpG719Depay* self, gint64 position) {
  if (position < self->due - HALF_FRAME) return true;
  for (const GList* item = self->held.head; item != nullptr; item = item->next) {
    const auto* held = static_cast<GstBuffer*>(item->data);
    if (position >= static_cast<gint64>(GST_BUFFER_OFFSET(held)) - HALF_FRAME &&
        position < static_cast<gint64>(GST_BUFFER_OFFSET_END(held)) - HALF_FRAME) {
      return true;
    }
  }
  return false;
}

static gint rtp_g719_depay_compare(gconstpointer a, gconstpointer b, gpointer) {
  return GST_BUFFER_OFFSET(a) < GST_BUFFER_OFFSET(b) ? -1 : 1;
}

// Holds the frames of an entry from `first` on, `count` of them, as a payload.
static void rtp_g719_depay_hold(RtpG719Depay* self, GstRTPBuffer* rtp,
                                const g719::PacketEntry& entry, gint first, gint count) {
  const g719::TocEntry header = {false, entry.toc.length_code, count};
  guint8 header_bytes[g719::PAYLOAD_HEADER_BYTES];
  g719::write_toc_entry(header, header_bytes);
  const auto* frames = static_cast<const guint8*>(gst_rtp_buffer_get_payload(rtp)) +
                       entry.frames_offset + entry.frames_bytes / entry.toc.blocks * first;
  const gsize frames_bytes = g719::promised_bytes(header, self->channels);
  GstBuffer* payload =
      gst_buffer_new_allocate(nullptr, sizeof header_bytes + frames_bytes, nullptr);
  gst_buffer_fill(payload, 0, header_bytes, sizeof header_bytes);
  gst_buffer_fill(payload, sizeof header_bytes, frames, frames_bytes);

  const gint block = entry.first_block + first;
  if (GST_CLOCK_TIME_IS_VALID(self->pts)) {
    GST_BUFFER_PTS(payload) = self->pts + block * g719::FRAME_DURATION;
  }
  GST_BUFFER_DURATION(payload) = count * g719::FRAME_DURATION;
  GST_BUFFER_OFFSET(payload) = self->position + block * FRAME;
  GST_BUFFER_OFFSET_END(payload) = self->position + (block + count) * FRAME;
  // The marker stands at the start of a talkspurt, which the first block of the packet begins.
  if (block == 0 && gst_rtp_buffer_get_marker(rtp)) {
    GST_BUFFER_FLAG_SET(payload, GST_BUFFER_FLAG_RESYNC);
  }
  g_queue_insert_sorted(&self->held, payload, rtp_g719_depay_compare, nullptr);
}

static void rtp_g719_depay_count_copy(RtpG719Depay* self, bool is_used) {
  GST_OBJECT_LOCK(self);
  (is_used ? self->copies_used : self->copies_dropped)++;
  GST_OBJECT_UNLOCK(self);
}

// Holds those frames of an entry that did not come before: one payload, or where frames in between
// have come, several.
static void rtp_g719_depay_take_entry(RtpG719Depay* self, GstRTPBuffer* rtp,
                                      const g719::PacketEntry& entry) {
  if (entry.frames_bytes == 0) return;
  gint count = 0;
  for (gint i = 0; i < entry.toc.blocks; i++) {
    const gint64 position = self->position + (entry.first_block + i) * FRAME;
    const bool has_frame = rtp_g719_depay_has_frame(self, position);
    const bool is_copy = position < self->fresh_from - HALF_FRAME;
    if (is_copy) rtp_g719_depay_count_copy(self, !has_frame);
    if (!has_frame) {
      count++;
      continue;
    }
    if (count > 0) rtp_g719_depay_hold(self, rtp, entry, i - count, count);
    count = 0;
  }
  if (count > 0) rtp_g719_depay_hold(self, rtp, entry, entry.toc.blocks - count, count);
}

// Begins at an RTP timestamp, far enough from 0 for all that may come before it.
static void rtp_g719_depay_begin(RtpG719Depay* self, guint32 timestamp) {
  self->is_running = TRUE;
  self->due = self->announced = self->horizon = self->lost_until =
      (G_GINT64_CONSTANT(1) << 32) + timestamp;
}

static void rtp_g719_depay_begin_anew(RtpG719Depay* self, guint32 timestamp) {
  GST_INFO_OBJECT(self, "the sender begins anew at RTP timestamp %u", timestamp);
  rtp_g719_depay_drain(self);
  rtp_g719_depay_begin(self, timestamp);
  self->is_anew = TRUE;
}

// The position with this RTP timestamp that is nearest to the one expected.
static gint64 rtp_g719_depay_unwrap(RtpG719Depay* self, guint32 timestamp) {
  return self->announced + static_cast<gint32>(timestamp - static_cast<guint32>(self->announced));
}

// Whether the packet is of another start of the sender than the ones before. Sequence numbers that
// go back mean one: the base class drops them unless they are further back than its max-reorder.
static bool rtp_g719_depay_is_of_another_start(RtpG719Depay* self, GstRTPBuffer* rtp,
                                               gint missing_packets, gint blocks) {
  if (missing_packets < 0 || gst_rtp_buffer_get_ssrc(rtp) != self->ssrc) return true;
  const gint64 first = rtp_g719_depay_unwrap(self, gst_rtp_buffer_get_timestamp(rtp));
  const gint64 last = first + (blocks - 1) * FRAME;
  return first - self->announced > SURELY_ANOTHER || self->announced - last > SURELY_ANOTHER;
}

// Follows sequence number and timestamp to a packet of `blocks` blocks.
static void rtp_g719_depay_follow(RtpG719Depay* self, GstRTPBuffer* rtp, gint blocks) {
  const guint16 seqnum = gst_rtp_buffer_get_seq(rtp);
  const guint32 timestamp = gst_rtp_buffer_get_timestamp(rtp);
  const gint missing_packets = gst_rtp_buffer_compare_seqnum(self->next_seqnum, seqnum);
  bool is_behind_loss = false;
  if (!self->is_running) {
    rtp_g719_depay_begin(self, timestamp);
  } else if (rtp_g719_depay_is_of_another_start(self, rtp, missing_packets, blocks)) {
    rtp_g719_depay_begin_anew(self, timestamp);
  } else if (missing_packets > 0) {
    is_behind_loss = true;
  }
  self->position = rtp_g719_depay_unwrap(self, timestamp);
  const gint64 end = self->position + blocks * FRAME;
  if (is_behind_loss) {
    self->lost_until = std::max(self->lost_until, end);
  } else {
    self->fresh = end - self->horizon;
  }
  self->fresh_from = end - self->fresh;
  self->pts = GST_BUFFER_PTS(rtp->buffer);
  self->ssrc = gst_rtp_buffer_get_ssrc(rtp);
  self->next_seqnum = static_cast<guint16>(seqnum + 1);
}

static GstBuffer* rtp_g719_depay_process_rtp_packet(GstRTPBaseDepayload* base, GstRTPBuffer* rtp) {
  auto* self = RTP_G719_DEPAY(base);
  const auto* bytes = static_cast<const guint8*>(gst_rtp_buffer_get_payload(rtp));
  const g719::Packet packet =
      g719::read_packet(bytes, gst_rtp_buffer_get_payload_len(rtp), self->channels);
  if (packet.fault != g719::PacketFault::NONE) {
    GST_OBJECT_LOCK(self);
    self->discarded[static_cast<gsize>(packet.fault)]++;
    GST_OBJECT_UNLOCK(self);
    GST_WARNING_OBJECT(self, "packet %u is discarded: %s", gst_rtp_buffer_get_seq(rtp),
                       g719::describe(packet.fault));
    return nullptr;
  }
  rtp_g719_depay_follow(self, rtp, packet.blocks);
  for (g719::PacketEntry entry = {}; g719::next_entry(bytes, packet, &entry);) {
    rtp_g719_depay_take_entry(self, rtp, entry);
  }
  rtp_g719_depay_advance(self, self->position + packet.blocks * FRAME);
  return nullptr;
}

// Nothing comes for the time until `end`, in ns. Returns whether that time has a place.
static bool rtp_g719_depay_skip(RtpG719Depay* self, GstClockTime end, bool is_lost) {
  if (!self->is_running || !GST_CLOCK_TIME_IS_VALID(self->pts)) return false;
  const gint64 position = self->position + rtp_g719_depay_samples(GST_CLOCK_DIFF(self->pts, end));
  if (is_lost) self->lost_until = std::max(self->lost_until, position);
  rtp_g719_depay_advance(self, position);
  return true;
}

// What was given out is not missing, even if the lost packet began with a copy of it.
static gboolean rtp_g719_depay_packet_lost(GstRTPBaseDepayload* base, GstEvent* event) {
  const GstStructure* lost = gst_event_get_structure(event);
  GstClockTime timestamp = 0;
  GstClockTime duration = 0;
  if (gst_structure_get_clock_time(lost, "timestamp", &timestamp) &&
      gst_structure_get_clock_time(lost, "duration", &duration)) {
    rtp_g719_depay_skip(RTP_G719_DEPAY(base), timestamp + duration, true);
  }
  return TRUE;
}

// A gap from upstream. False where it is to go on as it is.
static bool rtp_g719_depay_take_gap(RtpG719Depay* self, GstEvent* event) {
  GstClockTime timestamp = 0;
  GstClockTime duration = 0;
  GstGapFlags flags = {};
  gst_event_parse_gap(event, &timestamp, &duration);
  gst_event_parse_gap_flags(event, &flags);
  const bool is_lost = (flags & GST_GAP_FLAG_MISSING_DATA) != 0;
  return GST_CLOCK_TIME_IS_VALID(duration) &&
         rtp_g719_depay_skip(self, timestamp + duration, is_lost);
}

static gboolean rtp_g719_depay_handle_event(GstRTPBaseDepayload* base, GstEvent* event) {
  auto* self = RTP_G719_DEPAY(base);
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_STREAM_START:
    case GST_EVENT_SEGMENT:
    case GST_EVENT_EOS:
      rtp_g719_depay_drain(self);
      rtp_g719_depay_reset(self);
      break;
    case GST_EVENT_CAPS:
      rtp_g719_depay_drain(self);
      break;
    case GST_EVENT_GAP:
      if (rtp_g719_depay_take_gap(self, event)) {
        gst_event_unref(event);
        return TRUE;
      }
      break;
    case GST_EVENT_FLUSH_STOP:
      rtp_g719_depay_reset(self);
      break;
    default:
      break;
  }
  return GST_RTP_BASE_DEPAYLOAD_CLASS(rtp_g719_depay_parent_class)->handle_event(base, event);
}

static gboolean rtp_g719_depay_src_query(GstPad* pad, GstObject* parent, GstQuery* query) {
  const gboolean is_answered = gst_pad_query_default(pad, parent, query);
  if (is_answered && GST_QUERY_TYPE(query) == GST_QUERY_LATENCY) {
    const GstClockTime wait = rtp_g719_depay_wait(RTP_G719_DEPAY(parent));
    gboolean is_live = FALSE;
    GstClockTime min = 0;
    GstClockTime max = 0;
    gst_query_parse_latency(query, &is_live, &min, &max);
    min += wait;
    if (GST_CLOCK_TIME_IS_VALID(max)) max += wait;
    gst_query_set_latency(query, is_live, min, max);
  }
  return is_answered;
}
