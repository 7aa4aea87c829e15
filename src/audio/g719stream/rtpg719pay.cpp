/**
 * SECTION:element-rtpg719pay
 * @title: rtpg719pay
 *
 * Puts G.719 payloads into RTP packets, in the non-interleaved form of RFC 5404. Every payload
 * leaves at once; with #GstRTPBasePayload:min-ptime frames wait for as many as it names and share a
 * packet. No packet is larger than #GstRTPBasePayload:mtu or longer than
 * #GstRTPBasePayload:max-ptime, except where one frame is: frames are not cut. Where there are
 * several channels, a frame of each of them counts as one.
 *
 * With #RtpG719Pay:redundancy each packet also carries the frames before its own, so that what is
 * lost with one packet comes with the next. A packet's timestamps are those of its oldest frame.
 *
 * A receiver that needs one bitrate, as the parameter `cbr` of its caps says, gets it: an encoder
 * that can be told by caps is.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 autoaudiosrc ! audioconvert ! audioresample ! zelg719streamenc ! rtpg719pay !
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
#include "rtp_caps.h"
#include "sent_blocks.h"

struct _RtpG719Pay {
  GstRTPBasePayload parent;
  GstAdapter* pending;   // frames that have not been sent; one of each channel counts as one
  gint channels;         // of the caps. Read by queries from other threads
  gint length_code;      // of each of them; 0 before the first. Read by queries from other threads
  gint sources;          // that a packet names with source-info, 0 to 15. Read by queries, too
  GstClockTime pts;      // of the first of them; without any, of the frame that is due
  guint64 sample;        // number of its first sample
  gboolean is_at_start;  // no packet was sent yet, or none since a gap
  gint redundancy;       // the property; may be written while the stream runs
  gint max_red;          // of the output caps, ms
  SentBlocks sent;       // since the start or a gap
};

GST_DEBUG_CATEGORY_STATIC(rtp_g719_pay_debug);
#define GST_CAT_DEFAULT rtp_g719_pay_debug

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("application/x-rtp, media = (string) audio, payload = (int) [ 96, 127 ], "
                    "clock-rate = (int) 48000, encoding-name = (string) G719"));
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(G719_PAYLOAD_CAPS));

enum { PROP_REDUNDANCY = 1 };

G_DEFINE_TYPE(RtpG719Pay, rtp_g719_pay, GST_TYPE_RTP_BASE_PAYLOAD)

static void rtp_g719_pay_set_property(GObject* object, guint id, const GValue* value,
                                      GParamSpec* spec);
static void rtp_g719_pay_get_property(GObject* object, guint id, GValue* value, GParamSpec* spec);
static void rtp_g719_pay_finalize(GObject* object);
static GstStateChangeReturn rtp_g719_pay_change_state(GstElement* element, GstStateChange change);
static GstCaps* rtp_g719_pay_get_caps(GstRTPBasePayload* base, GstPad* pad, GstCaps* filter);
static gboolean rtp_g719_pay_set_caps(GstRTPBasePayload* base, GstCaps* caps);
static GstFlowReturn rtp_g719_pay_handle_buffer(GstRTPBasePayload* base, GstBuffer* buffer);
static gboolean rtp_g719_pay_sink_event(GstRTPBasePayload* base, GstEvent* event);
static gboolean rtp_g719_pay_src_query(GstPad* pad, GstObject* parent, GstQuery* query);

static void rtp_g719_pay_class_init(RtpG719PayClass* klass) {
  auto* object_class = G_OBJECT_CLASS(klass);
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* payload_class = GST_RTP_BASE_PAYLOAD_CLASS(klass);

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  gst_element_class_set_static_metadata(
      element_class, "RTP G.719 payloader", "Codec/Payloader/Network/RTP",
      "Puts G.719 audio in RTP packets (RFC 5404)", "Zelkor audio team <audio@zelkor.example>");

  object_class->set_property = rtp_g719_pay_set_property;
  object_class->get_property = rtp_g719_pay_get_property;
  object_class->finalize = rtp_g719_pay_finalize;
  element_class->change_state = GST_DEBUG_FUNCPTR(rtp_g719_pay_change_state);
  payload_class->get_caps = GST_DEBUG_FUNCPTR(rtp_g719_pay_get_caps);
  payload_class->set_caps = GST_DEBUG_FUNCPTR(rtp_g719_pay_set_caps);
  payload_class->handle_buffer = GST_DEBUG_FUNCPTR(rtp_g719_pay_handle_buffer);
  payload_class->sink_event = GST_DEBUG_FUNCPTR(rtp_g719_pay_sink_event);

  /**
   * RtpG719Pay:redundancy:
   *
   * How many frames before its own each packet carries again, as far as mtu and max-ptime allow.
   * `max-red` in the caps tells the receiver how long to wait for them.
   */
  g_object_class_install_property(
      object_class, PROP_REDUNDANCY,
      g_param_spec_int("redundancy", "Redundancy", "Copies of earlier frames in each packet", 0,
                       MAX_COPIES, 0,
                       static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                GST_PARAM_MUTABLE_PLAYING)));

  GST_DEBUG_CATEGORY_INIT(rtp_g719_pay_debug, "rtpg719pay", 0, "rtpg719pay");
}

// Begins a talkspurt. No packet has copies of frames from before a gap.
static void rtp_g719_pay_begin_talkspurt(RtpG719Pay* self) {
  self->is_at_start = TRUE;
  forget_sent_blocks(&self->sent);
}

// Drops what is pending. What comes next does not continue what came before.
static void rtp_g719_pay_reset(RtpG719Pay* self) {
  gst_adapter_clear(self->pending);
  self->pts = GST_CLOCK_TIME_NONE;
  rtp_g719_pay_begin_talkspurt(self);
}

static void rtp_g719_pay_init(RtpG719Pay* self) {
  self->pending = gst_adapter_new();
  self->channels = 1;
  // Caps that do not say what a receiver needs may still be right.
  GST_PAD_SET_ACCEPT_INTERSECT(GST_RTP_BASE_PAYLOAD_SINKPAD(self));
  // The base class leaves queries from downstream to the pad.
  gst_pad_set_query_function(GST_RTP_BASE_PAYLOAD_SRCPAD(self), rtp_g719_pay_src_query);
  rtp_g719_pay_reset(self);
}

static void rtp_g719_pay_set_property(GObject* object, guint id, const GValue* value,
                                      GParamSpec* spec) {
  switch (id) {
    case PROP_REDUNDANCY:
      g_atomic_int_set(&RTP_G719_PAY(object)->redundancy, g_value_get_int(value));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

static void rtp_g719_pay_get_property(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  switch (id) {
    case PROP_REDUNDANCY:
      g_value_set_int(value, g_atomic_int_get(&RTP_G719_PAY(object)->redundancy));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

static void rtp_g719_pay_finalize(GObject* object) {
  forget_sent_blocks(&RTP_G719_PAY(object)->sent);
  g_object_unref(RTP_G719_PAY(object)->pending);
  G_OBJECT_CLASS(rtp_g719_pay_parent_class)->finalize(object);
}

static GstStateChangeReturn rtp_g719_pay_change_state(GstElement* element, GstStateChange change) {
  const GstStateChangeReturn result =
      GST_ELEMENT_CLASS(rtp_g719_pay_parent_class)->change_state(element, change);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) rtp_g719_pay_reset(RTP_G719_PAY(element));
  return result;
}

// What payloads a receiver of these packets takes.
static GstStructure* rtp_g719_pay_wanted_payloads(const GstStructure* packets) {
  GstStructure* payloads = gst_structure_new_empty("audio/G719");
  guint64 bitrate = 0;
  gint channels = 0;
  if (read_announced_number(packets, "cbr", G_MAXINT, &bitrate)) {
    gst_structure_set(payloads, "bitrate", G_TYPE_INT, static_cast<gint>(bitrate), nullptr);
  }
  if (gst_structure_has_field(packets, "encoding-params") &&
      read_announced_channels(packets, &channels)) {
    gst_structure_set(payloads, "channels", G_TYPE_INT, channels, nullptr);
  }
  return payloads;
}

static GstCaps* rtp_g719_pay_get_caps(GstRTPBasePayload* base, GstPad*, GstCaps* filter) {
  g_autoptr(GstCaps) offered = gst_static_pad_template_get_caps(&src_template);
  g_autoptr(GstCaps) packets = gst_pad_peer_query_caps(GST_RTP_BASE_PAYLOAD_SRCPAD(base), offered);
  GstCaps* payloads = gst_caps_new_empty();
  for (guint i = 0; i < gst_caps_get_size(packets); i++) {
    payloads = gst_caps_merge_structure(
        payloads, rtp_g719_pay_wanted_payloads(gst_caps_get_structure(packets, i)));
  }
  // What nobody takes is refused when it comes.
  if (gst_caps_is_empty(payloads))
    gst_caps_append_structure(payloads, gst_structure_new_empty("audio/G719"));
  if (filter == nullptr) return payloads;
  GstCaps* wanted = gst_caps_intersect_full(filter, payloads, GST_CAPS_INTERSECT_FIRST);
  gst_caps_unref(payloads);
  return wanted;
}

// Of the pending frames, in all channels; 0 before the first.
static gsize rtp_g719_pay_frame_bytes(RtpG719Pay* self) {
  return static_cast<gsize>(g_atomic_int_get(&self->channels)) *
         g719::frame_bytes_of_length_code(g_atomic_int_get(&self->length_code));
}

// How many frames max-ptime lets into a packet.
static guint64 rtp_g719_pay_most_frames(RtpG719Pay* self) {
  const gint64 max_ptime = GST_RTP_BASE_PAYLOAD(self)->max_ptime;
  if (max_ptime < 0) return g719::MAX_PACKET_BLOCKS;
  return std::min<guint64>(g719::MAX_PACKET_BLOCKS, max_ptime / g719::FRAME_DURATION);
}

// How many bytes of frames and of further entries the mtu lets into a packet.
static gsize rtp_g719_pay_room(RtpG719Pay* self) {
  const gsize mtu = GST_RTP_BASE_PAYLOAD(self)->mtu;
  const gsize headers =
      gst_rtp_buffer_calc_header_len(static_cast<guint8>(g_atomic_int_get(&self->sources))) +
      g719::PAYLOAD_HEADER_BYTES;
  return mtu > headers ? mtu - headers : 0;
}

// How many frames a packet takes: from `least` to `most`, and a multiple of `multiple`.
struct PacketFrames {
  guint64 least, most, multiple;
};

// What the properties say and downstream asked for. A ptime from there is kept to exactly.
static PacketFrames rtp_g719_pay_packet_frames(RtpG719Pay* self) {
  const auto* base = GST_RTP_BASE_PAYLOAD(self);
  PacketFrames frames = {1, rtp_g719_pay_most_frames(self), 1};
  const gsize frame_bytes = rtp_g719_pay_frame_bytes(self);
  if (frame_bytes > 0) {
    frames.most = std::min<guint64>(frames.most, rtp_g719_pay_room(self) / frame_bytes);
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

// Whether a receiver takes as many channels. Otherwise the base class announces its number.
static bool rtp_g719_pay_is_wanted(GstRTPBasePayload* base, gint channels) {
  g_autoptr(GstCaps) wanted = rtp_g719_pay_get_caps(base, nullptr, nullptr);
  g_autoptr(GstCaps) payloads =
      gst_caps_new_simple("audio/G719", "channels", G_TYPE_INT, channels, nullptr);
  return gst_caps_can_intersect(wanted, payloads);
}

// How old a copy can be when it is sent, in ms: copies go with whole packets.
static gint rtp_g719_pay_max_red(RtpG719Pay* self) {
  const auto frames = static_cast<gint>(rtp_g719_pay_packet_frames(self).least);
  const gint packets = (g_atomic_int_get(&self->redundancy) + frames - 1) / frames;
  return packets * frames * static_cast<gint>(g719::FRAME_DURATION / GST_MSECOND);
}

// Tells receivers how to read the packets. Only strings get into SDP.
static gboolean rtp_g719_pay_announce(RtpG719Pay* self) {
  self->max_red = rtp_g719_pay_max_red(self);
  g_autofree gchar* max_red = g_strdup_printf("%d", self->max_red);
  g_autoptr(GstStructure) announced =
      gst_structure_new("application/x-rtp", "max-red", G_TYPE_STRING, max_red, nullptr);
  if (self->channels > 1) {
    g_autofree gchar* channels = g_strdup_printf("%d", self->channels);
    gst_structure_set(announced, "encoding-params", G_TYPE_STRING, channels, nullptr);
  }
  return gst_rtp_base_payload_set_outcaps_structure(GST_RTP_BASE_PAYLOAD(self), announced);
}

static gboolean rtp_g719_pay_set_caps(GstRTPBasePayload* base, GstCaps* caps) {
  auto* self = RTP_G719_PAY(base);
  gint channels = 1;
  gst_structure_get_int(gst_caps_get_structure(caps, 0), "channels", &channels);
  if (channels < 1 || channels > g719::MAX_PACKET_CHANNELS) return FALSE;
  if (!rtp_g719_pay_is_wanted(base, channels)) return FALSE;
  const guint64 least = rtp_g719_pay_packet_frames(self).least;
  if (channels != self->channels) forget_sent_blocks(&self->sent);
  g_atomic_int_set(&self->channels, channels);

  gst_rtp_base_payload_set_options(base, "audio", TRUE, "G719", G719_SAMPLE_RATE);
  const gboolean is_set = rtp_g719_pay_announce(self);
  if (base->ptime > 0 || rtp_g719_pay_packet_frames(self).least != least) {
    gst_element_post_message(GST_ELEMENT(base), gst_message_new_latency(GST_OBJECT(base)));
  }
  return is_set;
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

// How many copies a packet has room for beside `frames` frames of its own.
static gint rtp_g719_pay_copies(RtpG719Pay* self, guint64 frames) {
  const guint64 most = rtp_g719_pay_most_frames(self);
  const gsize room = rtp_g719_pay_room(self);
  const gint wanted = std::min(g_atomic_int_get(&self->redundancy), self->sent.count);
  gsize bytes = frames * rtp_g719_pay_frame_bytes(self);
  gint length_code = self->length_code;
  for (gint copies = 0; copies < wanted; copies++) {
    const SentBlock& block = self->sent.block[self->sent.count - 1 - copies];
    bytes += gst_buffer_get_size(block.frames);
    if (block.length_code != length_code) bytes += g719::TOC_ENTRY_BYTES;
    if (bytes > room || frames + copies + 1 > most) return copies;
    length_code = block.length_code;
  }
  return wanted;
}

// The list of a packet.
struct PacketList {
  g719::TocEntry entry[MAX_COPIES + 1];
  gint count;
};

static void rtp_g719_pay_add_to_list(PacketList* list, gint length_code, gint blocks) {
  g719::TocEntry* last = list->count > 0 ? &list->entry[list->count - 1] : nullptr;
  if (last != nullptr && last->length_code == length_code) {
    last->blocks += blocks;
    return;
  }
  if (last != nullptr) last->has_follower = true;
  list->entry[list->count++] = {false, length_code, blocks};
}

// A new packet with a list and without frames.
static GstBuffer* rtp_g719_pay_begin_packet(RtpG719Pay* self, const PacketList& list) {
  GstBuffer* packet = gst_rtp_base_payload_allocate_output_buffer(
      GST_RTP_BASE_PAYLOAD(self), static_cast<guint>(list.count * g719::TOC_ENTRY_BYTES), 0, 0);
  GstRTPBuffer rtp = GST_RTP_BUFFER_INIT;
  gst_rtp_buffer_map(packet, GST_MAP_WRITE, &rtp);
  auto* bytes = static_cast<guint8*>(gst_rtp_buffer_get_payload(&rtp));
  for (gint i = 0; i < list.count; i++, bytes += g719::TOC_ENTRY_BYTES) {
    g719::write_toc_entry(list.entry[i], bytes);
  }
  gst_rtp_buffer_set_marker(&rtp, self->is_at_start);
  gst_rtp_buffer_unmap(&rtp);
  return packet;
}

// Makes a packet of `copies` copies and the `blocks` blocks in `frames` behind them.
static GstBuffer* rtp_g719_pay_make_packet(RtpG719Pay* self, gint copies, GstBuffer* frames,
                                           gint blocks) {
  const SentBlock* first_copy = &self->sent.block[self->sent.count - copies];
  PacketList list = {};
  for (gint i = 0; i < copies; i++) rtp_g719_pay_add_to_list(&list, first_copy[i].length_code, 1);
  rtp_g719_pay_add_to_list(&list, self->length_code, blocks);

  GstBuffer* packet = rtp_g719_pay_begin_packet(self, list);
  for (gint i = 0; i < copies; i++) {
    packet = gst_buffer_append(packet, gst_buffer_ref(first_copy[i].frames));
  }
  return gst_buffer_append(packet, gst_buffer_ref(frames));
}

// Sends the first `frames` of the pending ones, behind copies of those before them.
static GstFlowReturn rtp_g719_pay_send_packet(RtpG719Pay* self, guint64 frames) {
  const auto blocks = static_cast<gint>(frames);
  const gint copies = rtp_g719_pay_copies(self, frames);
  g_autoptr(GstBuffer) own =
      gst_adapter_take_buffer_fast(self->pending, frames * rtp_g719_pay_frame_bytes(self));
  GstBuffer* packet = rtp_g719_pay_make_packet(self, copies, own, blocks);
  // The packet's time is that of its first frame. The base class makes RTP timestamps of the
  // offset: they count samples, whatever the timestamps of a live source do between two frames.
  if (GST_CLOCK_TIME_IS_VALID(self->pts)) {
    const GstClockTime age = copies * g719::FRAME_DURATION;
    GST_BUFFER_PTS(packet) = self->pts > age ? self->pts - age : 0;
    self->pts += frames * g719::FRAME_DURATION;
  }
  GST_BUFFER_DURATION(packet) = (copies + frames) * g719::FRAME_DURATION;
  GST_BUFFER_OFFSET(packet) = self->sample - static_cast<guint64>(copies) * G719_FRAME_SAMPLES;
  if (self->is_at_start) GST_BUFFER_FLAG_SET(packet, GST_BUFFER_FLAG_DISCONT);

  self->sample += frames * G719_FRAME_SAMPLES;
  self->is_at_start = FALSE;
  if (g_atomic_int_get(&self->redundancy) > 0) {
    remember_sent_blocks(&self->sent, own, self->length_code, blocks);
  }
  return gst_rtp_base_payload_push(GST_RTP_BASE_PAYLOAD(self), packet);
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
  if (is_after_gap) rtp_g719_pay_begin_talkspurt(self);
  if (GST_CLOCK_TIME_IS_VALID(pts) && rtp_g719_pay_pending_frames(self) == 0) self->pts = pts;
  return flow;
}

// Reads the header of a payload; all zero where it has none that names a frame size.
static g719::Payload rtp_g719_pay_read_header(GstBuffer* buffer, gint channels) {
  guint8 header[g719::PAYLOAD_HEADER_BYTES] = {};
  gst_buffer_extract(buffer, 0, header, sizeof header);
  const gsize size = gst_buffer_get_size(buffer);
  if (size < sizeof header) return {};
  const g719::Payload payload = g719::read_payload(header, size, channels);
  return payload.header.has_follower || payload.frame_bytes == 0 ? g719::Payload{} : payload;
}

static GstFlowReturn rtp_g719_pay_handle_buffer(GstRTPBasePayload* base, GstBuffer* buffer) {
  auto* self = RTP_G719_PAY(base);
  const g719::Payload payload = rtp_g719_pay_read_header(buffer, self->channels);
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
  if (rtp_g719_pay_max_red(self) != self->max_red) rtp_g719_pay_announce(self);
  buffer = gst_buffer_make_writable(buffer);
  gst_buffer_resize(
      buffer, g719::PAYLOAD_HEADER_BYTES,
      static_cast<gssize>(payload.blocks_complete) * payload.frame_bytes * self->channels);
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
