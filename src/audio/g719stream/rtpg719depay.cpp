/**
 * SECTION:element-rtpg719depay
 * @title: rtpg719depay
 *
 * Takes G.719 payloads out of RTP packets, in the non-interleaved form of RFC 5404, mono. They are
 * passed on as they came, since zelg719dec knows what to do with damage.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 udpsrc port=5004
 *     caps="application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719" !
 *     rtpjitterbuffer ! rtpg719depay ! zelg719dec ! audioconvert ! audioresample ! autoaudiosink
 * ]|
 */
#include "rtpg719depay.h"

#include <gst/rtp/gstrtpbuffer.h>

#include "g719.h"

struct _RtpG719Depay {
  GstRTPBaseDepayload parent;
};

GST_DEBUG_CATEGORY_STATIC(rtp_g719_depay_debug);
#define GST_CAT_DEFAULT rtp_g719_depay_debug

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("audio/G719, rate = (int) 48000, channels = (int) 1, framed = (boolean) true"));
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("application/x-rtp, media = (string) audio, clock-rate = (int) 48000, "
                    "encoding-name = (string) G719"));

G_DEFINE_TYPE(RtpG719Depay, rtp_g719_depay, GST_TYPE_RTP_BASE_DEPAYLOAD)

static gboolean rtp_g719_depay_set_caps(GstRTPBaseDepayload* base, GstCaps* caps);
static GstBuffer* rtp_g719_depay_process_rtp_packet(GstRTPBaseDepayload* base, GstRTPBuffer* rtp);

static void rtp_g719_depay_class_init(RtpG719DepayClass* klass) {
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* depayload_class = GST_RTP_BASE_DEPAYLOAD_CLASS(klass);

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  gst_element_class_set_static_metadata(element_class, "RTP G.719 depayloader",
                                        "Codec/Depayloader/Network/RTP",
                                        "Extracts G.719 audio from RTP packets (RFC 5404)",
                                        "Zelkor audio team <audio@zelkor.example>");

  depayload_class->set_caps = GST_DEBUG_FUNCPTR(rtp_g719_depay_set_caps);
  depayload_class->process_rtp_packet = GST_DEBUG_FUNCPTR(rtp_g719_depay_process_rtp_packet);

  GST_DEBUG_CATEGORY_INIT(rtp_g719_depay_debug, "g719depay", 0, "g719depay");
}

static void rtp_g719_depay_init(RtpG719Depay*) {}

// Whether a field that announces the number of channels, and may be missing, leaves it at one.
static bool rtp_g719_depay_is_mono(const GstStructure* announced, const gchar* field) {
  const GValue* value = gst_structure_get_value(announced, field);
  if (value == nullptr) return true;
  g_autofree gchar* channels = gst_value_serialize(value);
  return g_strcmp0(channels, "1") == 0;
}

static gboolean rtp_g719_depay_set_caps(GstRTPBaseDepayload* base, GstCaps* caps) {
  const GstStructure* announced = gst_caps_get_structure(caps, 0);
  if (gst_structure_has_field(announced, "interleaving")) {
    GST_ELEMENT_ERROR(base, STREAM, FORMAT, ("Interleaved G.719 is not supported."), (nullptr));
    return FALSE;
  }
  // The last part of SDP's rtpmap, or a parameter.
  if (!rtp_g719_depay_is_mono(announced, "encoding-params") ||
      !rtp_g719_depay_is_mono(announced, "channels")) {
    GST_ELEMENT_ERROR(base, STREAM, FORMAT, ("Only G.719 with one channel is supported."),
                      (nullptr));
    return FALSE;
  }
  base->clock_rate = G719_SAMPLE_RATE;
  g_autoptr(GstCaps) payloads = gst_static_pad_template_get_caps(&src_template);
  return gst_pad_set_caps(GST_RTP_BASE_DEPAYLOAD_SRCPAD(base), payloads);
}

static GstBuffer* rtp_g719_depay_process_rtp_packet(GstRTPBaseDepayload* base, GstRTPBuffer* rtp) {
  if (gst_rtp_buffer_get_payload_len(rtp) == 0) {
    GST_WARNING_OBJECT(base, "packet without a payload");
    return nullptr;
  }
  GstBuffer* payload = gst_rtp_buffer_get_payload_buffer(rtp);
  // The marker stands at the start and after a gap.
  if (gst_rtp_buffer_get_marker(rtp)) GST_BUFFER_FLAG_SET(payload, GST_BUFFER_FLAG_RESYNC);
  return payload;
}
