/**
 * SECTION:element-rtpg719gate
 * @title: rtpg719gate
 *
 * Lets the RTP packets of one source through, the first that sends, so that nobody else who sends
 * to the port disturbs a call. After #rtpg719gate:timeout without a packet of that source the next
 * other one takes its place, as a sender does that was started anew; its first packet bears
 * DISCONT. Dropped are the packets of other sources, those of another payload type than the caps
 * name, and what is no RTP packet.
 *
 * Time is when packets arrived, their DTS or PTS. Without timestamps the first source stays until
 * the element is flushed or stopped.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 udpsrc port=5004
 *     caps="application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719" !
 *     rtpg719gate ! rtpjitterbuffer do-lost=true ! rtpg719depay ! zelg719streamdec ! audioconvert !
 *     audioresample ! autoaudiosink
 * ]|
 */
#include "rtpg719gate.h"

#include <gst/rtp/gstrtpbuffer.h>

struct _RtpG719Gate {
  GstBaseTransform parent;
  GstClockTime timeout;  // this and the next are guarded by the object lock
  guint64 dropped;
  gint payload_type;  // that the caps name, or -1
  gboolean has_source;
  guint32 ssrc;       // of the source
  GstClockTime last;  // when its last packet arrived
};

GST_DEBUG_CATEGORY_STATIC(rtp_g719_gate_debug);
#define GST_CAT_DEFAULT rtp_g719_gate_debug

enum { PROP_TIMEOUT = 1, PROP_DROPPED };

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS("application/x-rtp"));
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS("application/x-rtp"));

G_DEFINE_TYPE(RtpG719Gate, rtp_g719_gate, GST_TYPE_BASE_TRANSFORM)

static void rtp_g719_gate_set_property(GObject* object, guint id, const GValue* value,
                                       GParamSpec* spec);
static void rtp_g719_gate_get_property(GObject* object, guint id, GValue* value, GParamSpec* spec);
static gboolean rtp_g719_gate_start(GstBaseTransform* base);
static gboolean rtp_g719_gate_set_caps(GstBaseTransform* base, GstCaps* caps, GstCaps*);
static gboolean rtp_g719_gate_sink_event(GstBaseTransform* base, GstEvent* event);
static GstFlowReturn rtp_g719_gate_submit_input_buffer(GstBaseTransform* base, gboolean is_discont,
                                                       GstBuffer* buffer);

static void rtp_g719_gate_class_init(RtpG719GateClass* klass) {
  auto* object_class = G_OBJECT_CLASS(klass);
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* transform_class = GST_BASE_TRANSFORM_CLASS(klass);

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  gst_element_class_set_static_metadata(element_class, "RTP G.719 gate", "Filter/Network/RTP",
                                        "Lets the RTP packets of one source through",
                                        "Zelkor audio team <audio@zelkor.example>");

  object_class->set_property = rtp_g719_gate_set_property;
  object_class->get_property = rtp_g719_gate_get_property;
  g_object_class_install_property(
      object_class, PROP_TIMEOUT,
      g_param_spec_uint64("timeout", "Timeout",
                          "Silence after which another source takes the place of the present one "
                          "(ns)",
                          0, G_MAXUINT64, 2 * GST_SECOND,
                          static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
  g_object_class_install_property(
      object_class, PROP_DROPPED,
      g_param_spec_uint64("dropped", "Dropped", "Packets that were dropped", 0, G_MAXUINT64, 0,
                          static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));

  transform_class->start = GST_DEBUG_FUNCPTR(rtp_g719_gate_start);
  transform_class->set_caps = GST_DEBUG_FUNCPTR(rtp_g719_gate_set_caps);
  transform_class->sink_event = GST_DEBUG_FUNCPTR(rtp_g719_gate_sink_event);
  transform_class->submit_input_buffer = GST_DEBUG_FUNCPTR(rtp_g719_gate_submit_input_buffer);

  GST_DEBUG_CATEGORY_INIT(rtp_g719_gate_debug, "rtpg719gate", 0, "rtpg719gate");
}

static void rtp_g719_gate_init(RtpG719Gate* self) {
  self->timeout = 2 * GST_SECOND;
  self->payload_type = -1;
  gst_base_transform_set_passthrough(GST_BASE_TRANSFORM(self), TRUE);
}

static void rtp_g719_gate_set_property(GObject* object, guint id, const GValue* value,
                                       GParamSpec* spec) {
  if (id != PROP_TIMEOUT) {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    return;
  }
  GST_OBJECT_LOCK(object);
  RTP_G719_GATE(object)->timeout = g_value_get_uint64(value);
  GST_OBJECT_UNLOCK(object);
}

static void rtp_g719_gate_get_property(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  auto* self = RTP_G719_GATE(object);
  if (id != PROP_TIMEOUT && id != PROP_DROPPED) {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    return;
  }
  GST_OBJECT_LOCK(object);
  g_value_set_uint64(value, id == PROP_TIMEOUT ? self->timeout : self->dropped);
  GST_OBJECT_UNLOCK(object);
}

static gboolean rtp_g719_gate_start(GstBaseTransform* base) {
  RTP_G719_GATE(base)->has_source = FALSE;
  return TRUE;
}

static gboolean rtp_g719_gate_set_caps(GstBaseTransform* base, GstCaps* caps, GstCaps*) {
  gint* payload_type = &RTP_G719_GATE(base)->payload_type;
  if (!gst_structure_get_int(gst_caps_get_structure(caps, 0), "payload", payload_type)) {
    *payload_type = -1;
  }
  return TRUE;
}

static gboolean rtp_g719_gate_sink_event(GstBaseTransform* base, GstEvent* event) {
  if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) RTP_G719_GATE(base)->has_source = FALSE;
  return GST_BASE_TRANSFORM_CLASS(rtp_g719_gate_parent_class)->sink_event(base, event);
}

static bool rtp_g719_gate_is_silent(RtpG719Gate* self, GstClockTime now) {
  if (!GST_CLOCK_TIME_IS_VALID(now) || !GST_CLOCK_TIME_IS_VALID(self->last)) return false;
  GST_OBJECT_LOCK(self);
  const GstClockTime timeout = self->timeout;
  GST_OBJECT_UNLOCK(self);
  return now > self->last && now - self->last >= timeout;
}

// Whether the packet passes. Where it is the first of a new source, it gets its flag.
static bool rtp_g719_gate_lets_pass(RtpG719Gate* self, GstBuffer** buffer) {
  GstRTPBuffer rtp = GST_RTP_BUFFER_INIT;
  if (!gst_rtp_buffer_map(*buffer, GST_MAP_READ, &rtp)) return false;
  const guint32 ssrc = gst_rtp_buffer_get_ssrc(&rtp);
  const gint payload_type = gst_rtp_buffer_get_payload_type(&rtp);
  gst_rtp_buffer_unmap(&rtp);
  if (self->payload_type != -1 && payload_type != self->payload_type) return false;

  const GstClockTime now = GST_BUFFER_DTS_OR_PTS(*buffer);
  if (!self->has_source || self->ssrc != ssrc) {
    if (self->has_source && !rtp_g719_gate_is_silent(self, now)) return false;
    GST_INFO_OBJECT(self, "source is %08x", ssrc);
    self->has_source = TRUE;
    self->ssrc = ssrc;
    *buffer = gst_buffer_make_writable(*buffer);
    GST_BUFFER_FLAG_SET(*buffer, GST_BUFFER_FLAG_DISCONT);
  }
  self->last = now;
  return true;
}

// Drops here what does not pass: after GST_BASE_TRANSFORM_FLOW_DROPPED the next packet would bear
// DISCONT, and others could mark those of the source.
static GstFlowReturn rtp_g719_gate_submit_input_buffer(GstBaseTransform* base, gboolean is_discont,
                                                       GstBuffer* buffer) {
  auto* self = RTP_G719_GATE(base);
  if (rtp_g719_gate_lets_pass(self, &buffer)) {
    return GST_BASE_TRANSFORM_CLASS(rtp_g719_gate_parent_class)
        ->submit_input_buffer(base, is_discont, buffer);
  }
  GST_LOG_OBJECT(self, "dropped a packet");
  gst_buffer_unref(buffer);
  GST_OBJECT_LOCK(self);
  self->dropped++;
  GST_OBJECT_UNLOCK(self);
  return GST_FLOW_OK;
}
