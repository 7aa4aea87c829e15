/**
 * SECTION:element-zelg719enc
 * @title: zelg719enc
 *
 * Encodes 48 kHz mono audio to G.719 payloads: one two-byte header and one frame for every 960
 * samples.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 filesrc location=speech.wav ! wavparse ! audioconvert ! audioresample !
 *     zelg719enc bitrate=48000 ! filesink location=speech.g719
 * ]|
 */
#include "zelg719enc.h"

#include "caps.h"
#include "g719.h"
#include "mapped_buffer.h"
#include "payload/payload.h"
#include "pcm.h"
#include "platform/zelg719bitrate.h"

struct _ZelG719Enc {
  GstAudioEncoder parent;
  g719_encoder* encoder;  // owned; null unless started
  gint32 bitrate;         // the property, bit/s; may be written while the stream runs
};

GST_DEBUG_CATEGORY_STATIC(zel_g719_enc_debug);
#define GST_CAT_DEFAULT zel_g719_enc_debug

enum { PROP_BITRATE = 1 };

static GstStaticPadTemplate src_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(G719_ENCODED_CAPS));
static GstStaticPadTemplate sink_template =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(G719_RAW_CAPS));

G_DEFINE_TYPE(ZelG719Enc, zel_g719_enc, GST_TYPE_AUDIO_ENCODER)

static void zel_g719_enc_set_property(GObject* object, guint id, const GValue* value,
                                      GParamSpec* spec);
static void zel_g719_enc_get_property(GObject* object, guint id, GValue* value, GParamSpec* spec);
static gboolean zel_g719_enc_start(GstAudioEncoder* base);
static gboolean zel_g719_enc_stop(GstAudioEncoder* base);
static gboolean zel_g719_enc_set_format(GstAudioEncoder* base, GstAudioInfo* info);
static GstFlowReturn zel_g719_enc_handle_frame(GstAudioEncoder* base, GstBuffer* input);

static void zel_g719_enc_class_init(ZelG719EncClass* klass) {
  auto* object_class = G_OBJECT_CLASS(klass);
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* encoder_class = GST_AUDIO_ENCODER_CLASS(klass);

  object_class->set_property = zel_g719_enc_set_property;
  object_class->get_property = zel_g719_enc_get_property;

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  // The blank at the end of the classification is part of it.
  gst_element_class_set_static_metadata(element_class, "G.719 Encoder element",
                                        "Codec/Encoder/Audio ", "Encode streams with G.719",
                                        "Zelkor audio team <audio@zelkor.example>");

  encoder_class->start = GST_DEBUG_FUNCPTR(zel_g719_enc_start);
  encoder_class->stop = GST_DEBUG_FUNCPTR(zel_g719_enc_stop);
  encoder_class->set_format = GST_DEBUG_FUNCPTR(zel_g719_enc_set_format);
  encoder_class->handle_frame = GST_DEBUG_FUNCPTR(zel_g719_enc_handle_frame);

  g_object_class_install_property(
      object_class, PROP_BITRATE,
      g_param_spec_enum("bitrate", "Bitrate", "The bitrate to decode", zel_g719_bitrate_get_type(),
                        ZEL_G719_DEFAULT_BITRATE,
                        static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_CONSTRUCT |
                                                 G_PARAM_STATIC_STRINGS)));

  GST_DEBUG_CATEGORY_INIT(zel_g719_enc_debug, "g719enc", 0, "g719enc");
}

static void zel_g719_enc_init(ZelG719Enc*) {}

// The property may be written by the application while the streaming thread reads it.
static void zel_g719_enc_set_property(GObject* object, guint id, const GValue* value,
                                      GParamSpec* spec) {
  switch (id) {
    case PROP_BITRATE:
      g_atomic_int_set(&ZEL_G719_ENC(object)->bitrate, g_value_get_enum(value));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

static void zel_g719_enc_get_property(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  switch (id) {
    case PROP_BITRATE:
      g_value_set_enum(value, g_atomic_int_get(&ZEL_G719_ENC(object)->bitrate));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

// Puts a fresh instance at `bitrate` in the place of the present one, which stays when none can be
// had.
static gboolean zel_g719_enc_init_encoder(ZelG719Enc* self, gint32 bitrate) {
  GST_DEBUG_OBJECT(self, "Creating encoder with bitrate %d", bitrate);
  g719_encoder* encoder = g719_encoder_create(bitrate);
  if (encoder == nullptr) {
    GST_ELEMENT_ERROR(self, LIBRARY, INIT, ("Could not create a G.719 encoder."),
                      ("bitrate %d", bitrate));
    return FALSE;
  }
  g719_encoder_destroy(self->encoder);
  self->encoder = encoder;
  return TRUE;
}

// Whether downstream may take the output caps `caps`. Where the bitrate alone is in the way, the
// application hears what to do; the framework, which sees to the rest, only says not-negotiated.
static gboolean zel_g719_enc_is_wanted(ZelG719Enc* self, GstCaps* caps, gint32 bitrate) {
  GstPad* pad = GST_AUDIO_ENCODER_SRC_PAD(self);
  g_autoptr(GstCaps) offered = gst_pad_get_pad_template_caps(pad);
  g_autoptr(GstCaps) wanted = gst_pad_peer_query_caps(pad, offered);
  if (gst_caps_is_empty(wanted) || gst_caps_can_intersect(wanted, caps)) return TRUE;

  GST_ELEMENT_ERROR(
      self, CORE, NEGOTIATION,
      ("zelg719enc cannot produce the bitrate that is asked for downstream; set its "
       "property bitrate to 32000, 48000 or 64000."),
      ("property bitrate: %d, downstream: %" GST_PTR_FORMAT, bitrate, static_cast<void*>(wanted)));
  return FALSE;
}

// Makes the instance and the output caps agree on `bitrate`.
static GstFlowReturn zel_g719_enc_fit_bitrate(ZelG719Enc* self, gint32 bitrate) {
  g_autoptr(GstCaps) caps = gst_caps_make_writable(gst_static_pad_template_get_caps(&src_template));
  gst_structure_fixate_field_nearest_int(gst_caps_get_structure(caps, 0), "bitrate", bitrate);
  if (!zel_g719_enc_is_wanted(self, caps, bitrate)) return GST_FLOW_NOT_NEGOTIATED;
  if (bitrate != self->encoder->bitrate && !zel_g719_enc_init_encoder(self, bitrate)) {
    return GST_FLOW_ERROR;
  }
  return gst_audio_encoder_set_output_format(GST_AUDIO_ENCODER(self), caps)
             ? GST_FLOW_OK
             : GST_FLOW_NOT_NEGOTIATED;
}

static gboolean zel_g719_enc_start(GstAudioEncoder* base) {
  auto* self = ZEL_G719_ENC(base);
  return zel_g719_enc_init_encoder(self, g_atomic_int_get(&self->bitrate));
}

static gboolean zel_g719_enc_stop(GstAudioEncoder* base) {
  auto* self = ZEL_G719_ENC(base);
  GST_DEBUG_OBJECT(self, "stop");
  g719_encoder_destroy(self->encoder);
  self->encoder = nullptr;
  return TRUE;
}

static gboolean zel_g719_enc_set_format(GstAudioEncoder* base, GstAudioInfo*) {
  auto* self = ZEL_G719_ENC(base);
  const GstFlowReturn flow = zel_g719_enc_fit_bitrate(self, g_atomic_int_get(&self->bitrate));

  gst_audio_encoder_set_frame_samples_min(base, G719_FRAME_SAMPLES);
  gst_audio_encoder_set_frame_samples_max(base, G719_FRAME_SAMPLES);
  // Without it a large buffer arrives as many frames in one call.
  gst_audio_encoder_set_frame_max(base, 1);
  gst_audio_encoder_set_hard_min(base, TRUE);
  gst_audio_encoder_set_drainable(base, FALSE);

  const GstClockTime frame_time =
      gst_util_uint64_scale_int(G719_FRAME_SAMPLES, GST_SECOND, G719_SAMPLE_RATE);
  gst_audio_encoder_set_latency(base, frame_time, frame_time);
  return flow == GST_FLOW_OK;
}

// Of each payload: one frame at the instance's bitrate.
static g719::TocEntry zel_g719_enc_header(ZelG719Enc* self) {
  return {false, g719::length_code_of_bitrate(self->encoder->bitrate), 1};
}

// Writes the payload of the frame at `pcm`.
static void zel_g719_enc_write_payload(ZelG719Enc* self, const guint8* pcm, guint8* payload) {
  gint16 samples[G719_FRAME_SAMPLES];
  read_samples(pcm, samples);
  g719::write_toc_entry(zel_g719_enc_header(self), payload);
  g719_encoder_encode(self->encoder, samples, payload + g719::PAYLOAD_HEADER_BYTES);
}

// Turns one frame of audio into a new buffer with its payload.
static GstFlowReturn zel_g719_enc_encode_frame(ZelG719Enc* self, GstBuffer* input,
                                               GstBuffer** output) {
  const MappedBuffer pcm(input, GST_MAP_READ);
  if (!pcm) {
    GST_ELEMENT_ERROR(self, RESOURCE, READ, ("Could not map the audio to encode."), (nullptr));
    return GST_FLOW_ERROR;
  }
  GST_LOG_OBJECT(self, "Received buffer of size %" G_GSIZE_FORMAT, pcm.size());

  *output = gst_audio_encoder_allocate_output_buffer(
      GST_AUDIO_ENCODER(self), g719::payload_bytes(zel_g719_enc_header(self)));
  if (*output == nullptr) {
    GST_DEBUG_OBJECT(self, "failed to alloc buffer");
    return GST_FLOW_ERROR;
  }
  const MappedBuffer payload(*output, GST_MAP_WRITE);
  if (!payload) {
    GST_ELEMENT_ERROR(self, RESOURCE, WRITE, ("Could not map the buffer for the payload."),
                      (nullptr));
    return GST_FLOW_ERROR;
  }
  zel_g719_enc_write_payload(self, pcm.data(), payload.data());
  GST_LOG_OBJECT(self, "Finished encoding");
  return GST_FLOW_OK;
}

static GstFlowReturn zel_g719_enc_handle_frame(GstAudioEncoder* base, GstBuffer* input) {
  auto* self = ZEL_G719_ENC(base);
  const gint32 bitrate = g_atomic_int_get(&self->bitrate);
  GstFlowReturn flow = GST_FLOW_OK;
  GstBuffer* payload = nullptr;
  if (bitrate != self->encoder->bitrate) flow = zel_g719_enc_fit_bitrate(self, bitrate);
  if (flow == GST_FLOW_OK) flow = zel_g719_enc_encode_frame(self, input, &payload);
  if (flow != GST_FLOW_OK) {
    gst_clear_buffer(&payload);
    return flow;
  }
  return gst_audio_encoder_finish_frame(base, payload, G719_FRAME_SAMPLES);
}
