/**
 * SECTION:element-zelg719streamenc
 * @title: zelg719streamenc
 *
 * Encodes 48 kHz audio of one channel or two to G.719 payloads, one for every 960 samples, at any
 * bitrate that a payload's header can name. The bitrate may change while the stream runs. At the
 * end of a stream or segment the last samples are filled up with silence and come out as well; a
 * #GstAudioClippingMeta says how much of a payload is filling.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 filesrc location=music.wav ! wavparse ! audioconvert ! audioresample !
 *     zelg719streamenc bitrate=96000 ! filesink location=music.g719
 * ]|
 */
#include "zelg719streamenc.h"

#include <gst/audio/audio.h>

#include <cstring>

#include "g719.h"
#include "mapped_buffer.h"
#include "payload/payload.h"
#include "payload_caps.h"
#include "zelg719streambitrate.h"

static constexpr gint MAX_CHANNELS = 2;

struct _ZelG719StreamEnc {
  GstAudioEncoder parent;
  gint32 bitrate;          // the property, of a channel, bit/s; may be written at any time
  gint32 matched_bitrate;  // what the property was when downstream was asked; 0: ask anew
  gint32 caps_bitrate;     // of the caps and of the next frame, bit/s; 0: no caps yet
  gint channels;
  // Owned, one a channel, left first. Null until the first samples after a start, flush or drain.
  g719_encoder* encoders[MAX_CHANNELS];
};

// What goes into one payload.
struct Sound {
  gint16 samples[MAX_CHANNELS][G719_FRAME_SAMPLES];
  gint filling;  // samples of silence at the end of each channel
};

GST_DEBUG_CATEGORY_STATIC(zel_g719_stream_enc_debug);
#define GST_CAT_DEFAULT zel_g719_stream_enc_debug

enum { PROP_BITRATE = 1 };

static constexpr char PAYLOAD_CAPS[] =
    "audio/G719, rate = (int) 48000, channels = (int) [ 1, 2 ], bitrate = (int) { 32000, 36000, "
    "40000, 44000, 48000, 52000, 56000, 60000, 64000, 68000, 72000, 76000, 80000, 84000, 88000, "
    "96000, 104000, 112000, 120000, 128000 }, framed = (boolean) true";
// Two channels are left and right, or of no place at all.
static constexpr char RAW_CAPS[] =
    "audio/x-raw, format = " GST_AUDIO_NE(S16) ", layout = interleaved, rate = 48000, "
    "channels = 1; "
    "audio/x-raw, format = " GST_AUDIO_NE(S16) ", layout = interleaved, rate = 48000, "
    "channels = 2, channel-mask = (bitmask) 0x3; "
    "audio/x-raw, format = " GST_AUDIO_NE(S16) ", layout = interleaved, rate = 48000, "
    "channels = 2, channel-mask = (bitmask) 0x0";

static GstStaticPadTemplate src_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(PAYLOAD_CAPS));
static GstStaticPadTemplate sink_template =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(RAW_CAPS));

G_DEFINE_TYPE(ZelG719StreamEnc, zel_g719_stream_enc, GST_TYPE_AUDIO_ENCODER)

static void zel_g719_stream_enc_set_property(GObject* object, guint id, const GValue* value,
                                             GParamSpec* spec);
static void zel_g719_stream_enc_get_property(GObject* object, guint id, GValue* value,
                                             GParamSpec* spec);
static gboolean zel_g719_stream_enc_stop(GstAudioEncoder* base);
static void zel_g719_stream_enc_flush(GstAudioEncoder* base);
static gboolean zel_g719_stream_enc_set_format(GstAudioEncoder* base, GstAudioInfo* info);
static gboolean zel_g719_stream_enc_sink_event(GstAudioEncoder* base, GstEvent* event);
static gboolean zel_g719_stream_enc_negotiate(GstAudioEncoder* base);
static GstFlowReturn zel_g719_stream_enc_handle_frame(GstAudioEncoder* base, GstBuffer* input);

static void zel_g719_stream_enc_class_init(ZelG719StreamEncClass* klass) {
  auto* object_class = G_OBJECT_CLASS(klass);
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* encoder_class = GST_AUDIO_ENCODER_CLASS(klass);

  object_class->set_property = zel_g719_stream_enc_set_property;
  object_class->get_property = zel_g719_stream_enc_get_property;

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  gst_element_class_set_static_metadata(
      element_class, "G.719 Stream Encoder element", "Codec/Encoder/Audio",
      "Encodes streams of one channel or two with G.719, to the last sample",
      "Zelkor audio team <audio@zelkor.example>");

  encoder_class->stop = GST_DEBUG_FUNCPTR(zel_g719_stream_enc_stop);
  encoder_class->flush = GST_DEBUG_FUNCPTR(zel_g719_stream_enc_flush);
  encoder_class->set_format = GST_DEBUG_FUNCPTR(zel_g719_stream_enc_set_format);
  encoder_class->sink_event = GST_DEBUG_FUNCPTR(zel_g719_stream_enc_sink_event);
  encoder_class->negotiate = GST_DEBUG_FUNCPTR(zel_g719_stream_enc_negotiate);
  encoder_class->handle_frame = GST_DEBUG_FUNCPTR(zel_g719_stream_enc_handle_frame);

  g_object_class_install_property(
      object_class, PROP_BITRATE,
      g_param_spec_enum(
          "bitrate", "Bitrate",
          "Bits a second of each channel; where downstream does not take this "
          "bitrate, the nearest that it takes is used",
          zel_g719_stream_bitrate_get_type(), ZEL_G719_STREAM_DEFAULT_BITRATE,
          static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_CONSTRUCT | G_PARAM_STATIC_STRINGS |
                                   GST_PARAM_MUTABLE_PLAYING)));

  GST_DEBUG_CATEGORY_INIT(zel_g719_stream_enc_debug, "zelg719streamenc", 0, "zelg719streamenc");
}

// Two channels need not say where they are: caps without the field are no part of the template's.
static void zel_g719_stream_enc_init(ZelG719StreamEnc* self) {
  GST_PAD_SET_ACCEPT_INTERSECT(GST_AUDIO_ENCODER_SINK_PAD(self));
}

// The property may be written by the application while the streaming thread reads it.
static void zel_g719_stream_enc_set_property(GObject* object, guint id, const GValue* value,
                                             GParamSpec* spec) {
  switch (id) {
    case PROP_BITRATE:
      g_atomic_int_set(&ZEL_G719_STREAM_ENC(object)->bitrate, g_value_get_enum(value));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

static void zel_g719_stream_enc_get_property(GObject* object, guint id, GValue* value,
                                             GParamSpec* spec) {
  switch (id) {
    case PROP_BITRATE:
      g_value_set_enum(value, g_atomic_int_get(&ZEL_G719_STREAM_ENC(object)->bitrate));
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

// The next samples begin a new stretch of sound.
static void zel_g719_stream_enc_forget_sound(ZelG719StreamEnc* self) {
  for (g719_encoder*& encoder : self->encoders) {
    g719_encoder_destroy(encoder);
    encoder = nullptr;
  }
}

static bool zel_g719_stream_enc_holds_sound(const ZelG719StreamEnc* self) {
  return self->encoders[0] != nullptr;
}

static gboolean zel_g719_stream_enc_stop(GstAudioEncoder* base) {
  zel_g719_stream_enc_forget_sound(ZEL_G719_STREAM_ENC(base));
  return TRUE;
}

static void zel_g719_stream_enc_flush(GstAudioEncoder* base) {
  zel_g719_stream_enc_forget_sound(ZEL_G719_STREAM_ENC(base));
}

// The base class drains when a segment comes. With a new stream that is too late, since the
// stream's start has gone out. So the old segment is sent again first, to drain in time.
static gboolean zel_g719_stream_enc_sink_event(GstAudioEncoder* base, GstEvent* event) {
  auto* parent_class = GST_AUDIO_ENCODER_CLASS(zel_g719_stream_enc_parent_class);
  if (GST_EVENT_TYPE(event) == GST_EVENT_STREAM_START) {
    GstPad* pad = GST_AUDIO_ENCODER_SINK_PAD(base);
    GstEvent* segment = gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0);
    if (segment != nullptr) parent_class->sink_event(base, segment);
  }
  return parent_class->sink_event(base, event);
}

// The base class answers a wish of downstream when a payload is ready, whose bitrate then stays.
static gboolean zel_g719_stream_enc_negotiate(GstAudioEncoder* base) {
  ZEL_G719_STREAM_ENC(base)->matched_bitrate = 0;
  return GST_AUDIO_ENCODER_CLASS(zel_g719_stream_enc_parent_class)->negotiate(base);
}

// The bitrate nearest to `bitrate` that downstream takes, the lower of two; 0 if it takes none.
static gint32 zel_g719_stream_enc_nearest_bitrate(ZelG719StreamEnc* self, gint32 bitrate) {
  g_autoptr(GstCaps) offered = gst_static_pad_template_get_caps(&src_template);
  g_autoptr(GstCaps) wanted = gst_pad_peer_query_caps(GST_AUDIO_ENCODER_SRC_PAD(self), offered);
  gint32 nearest = 0;
  for (gint code = g719::MIN_LENGTH_CODE; code <= g719::MAX_LENGTH_CODE; code++) {
    const gint32 offer = g719::bitrate_of_frame_bytes(g719::frame_bytes_of_length_code(code));
    if (nearest != 0 && ABS(offer - bitrate) >= ABS(nearest - bitrate)) continue;
    g_autoptr(GstCaps) caps = new_payload_caps(self->channels, offer);
    if (gst_caps_can_intersect(wanted, caps)) nearest = offer;
  }
  return nearest;
}

// Says what the next payloads are, to those downstream and to those who list or label streams.
static gboolean zel_g719_stream_enc_announce(ZelG719StreamEnc* self, gint32 bitrate) {
  auto* base = GST_AUDIO_ENCODER(self);
  g_autoptr(GstCaps) caps = new_payload_caps(self->channels, bitrate);
  if (!gst_audio_encoder_set_output_format(base, caps)) return FALSE;

  g_autoptr(GstTagList) tags =
      gst_tag_list_new(GST_TAG_AUDIO_CODEC, "G.719", GST_TAG_BITRATE,
                       static_cast<guint>(self->channels * bitrate), nullptr);
  gst_audio_encoder_merge_tags(base, tags, GST_TAG_MERGE_REPLACE);
  return TRUE;
}

// Makes the caps agree with the property, as far as downstream allows. Downstream is asked before a
// frame is encoded, as its bitrate is what the caps say, and only when something has changed.
static GstFlowReturn zel_g719_stream_enc_match_bitrate(ZelG719StreamEnc* self) {
  const gint32 bitrate = g_atomic_int_get(&self->bitrate);
  const bool is_asked = gst_pad_needs_reconfigure(GST_AUDIO_ENCODER_SRC_PAD(self)) != FALSE;
  if (bitrate == self->matched_bitrate && !is_asked) return GST_FLOW_OK;

  const gint32 nearest = zel_g719_stream_enc_nearest_bitrate(self, bitrate);
  if (nearest == 0) return GST_FLOW_NOT_NEGOTIATED;
  if (nearest != self->caps_bitrate) {
    GST_DEBUG_OBJECT(self, "bitrate %d, downstream allows %d", bitrate, nearest);
    if (!zel_g719_stream_enc_announce(self, nearest)) return GST_FLOW_NOT_NEGOTIATED;
    self->caps_bitrate = nearest;
  }
  self->matched_bitrate = bitrate;
  return GST_FLOW_OK;
}

static gboolean zel_g719_stream_enc_set_format(GstAudioEncoder* base, GstAudioInfo* info) {
  auto* self = ZEL_G719_STREAM_ENC(base);
  self->channels = GST_AUDIO_INFO_CHANNELS(info);
  self->matched_bitrate = 0;
  self->caps_bitrate = 0;

  gst_audio_encoder_set_frame_samples_min(base, G719_FRAME_SAMPLES);
  gst_audio_encoder_set_frame_samples_max(base, G719_FRAME_SAMPLES);
  // Without it a large buffer arrives as many frames in one call.
  gst_audio_encoder_set_frame_max(base, 1);
  gst_audio_encoder_set_hard_min(base, FALSE);
  gst_audio_encoder_set_drainable(base, TRUE);
  gst_audio_encoder_set_latency(base, g719::FRAME_DURATION, g719::FRAME_DURATION);
  if (zel_g719_stream_enc_match_bitrate(self) != GST_FLOW_OK) return FALSE;
  // Otherwise the segment of a stream without a sample goes out before the caps.
  gst_audio_encoder_negotiate(base);
  return TRUE;
}

// Makes an encoder at the bitrate of the caps ready for each channel.
static GstFlowReturn zel_g719_stream_enc_ready_encoders(ZelG719StreamEnc* self) {
  for (gint channel = 0; channel < self->channels; channel++) {
    g719_encoder*& encoder = self->encoders[channel];
    if (encoder == nullptr) encoder = g719_encoder_create(self->caps_bitrate);
    if (encoder == nullptr) {
      zel_g719_stream_enc_forget_sound(self);
      GST_ELEMENT_ERROR(self, LIBRARY, INIT, ("Could not create a G.719 encoder."),
                        ("bitrate %d", self->caps_bitrate));
      return GST_FLOW_ERROR;
    }
    g719_encoder_set_bitrate(encoder, self->caps_bitrate);
  }
  return GST_FLOW_OK;
}

// Reads `count` samples that are `stride` bytes apart.
static void zel_g719_stream_enc_read_channel(const guint8* pcm, gint count, gsize stride,
                                             gint16* samples) {
  for (gint i = 0; i < count; i++, pcm += stride) std::memcpy(&samples[i], pcm, sizeof(gint16));
}

// Reads a frame of audio, or what is left of one at the end; null is silence.
static GstFlowReturn zel_g719_stream_enc_read(ZelG719StreamEnc* self, GstBuffer* input,
                                              Sound* sound) {
  *sound = {.samples = {}, .filling = G719_FRAME_SAMPLES};
  if (input == nullptr) return GST_FLOW_OK;
  const MappedBuffer pcm(input, GST_MAP_READ);
  if (!pcm) {
    GST_ELEMENT_ERROR(self, RESOURCE, READ, ("Could not map the audio to encode."), (nullptr));
    return GST_FLOW_ERROR;
  }
  const gsize stride = self->channels * sizeof(gint16);
  const gint count = static_cast<gint>(pcm.size() / stride);
  sound->filling = G719_FRAME_SAMPLES - count;
  for (gint channel = 0; channel < self->channels; channel++) {
    zel_g719_stream_enc_read_channel(pcm.data() + channel * sizeof(gint16), count, stride,
                                     sound->samples[channel]);
  }
  return GST_FLOW_OK;
}

// Writes a block: the frame of each channel.
static GstFlowReturn zel_g719_stream_enc_encode(ZelG719StreamEnc* self, const Sound& sound,
                                                GstBuffer** output) {
  const g719::TocEntry header = {false, g719::length_code_of_bitrate(self->caps_bitrate), 1};
  *output = gst_audio_encoder_allocate_output_buffer(GST_AUDIO_ENCODER(self),
                                                     g719::payload_bytes(header, self->channels));
  if (*output == nullptr) return GST_FLOW_ERROR;
  const MappedBuffer payload(*output, GST_MAP_WRITE);
  if (!payload) {
    GST_ELEMENT_ERROR(self, RESOURCE, WRITE, ("Could not map the buffer for the payload."),
                      (nullptr));
    return GST_FLOW_ERROR;
  }
  g719::write_toc_entry(header, payload.data());
  guint8* frame = payload.data() + g719::PAYLOAD_HEADER_BYTES;
  for (gint channel = 0; channel < self->channels; channel++) {
    g719_encoder* encoder = self->encoders[channel];
    g719_encoder_encode(encoder, sound.samples[channel], frame);
    frame += g719_encoder_frame_bytes(encoder);
  }
  return GST_FLOW_OK;
}

// At a drain what is left of a frame may come, then null until nothing is given. The first null
// fetches what the last frame left in memory.
static GstFlowReturn zel_g719_stream_enc_handle_frame(GstAudioEncoder* base, GstBuffer* input) {
  auto* self = ZEL_G719_STREAM_ENC(base);
  const bool is_first = !zel_g719_stream_enc_holds_sound(self);
  if (input == nullptr && is_first) return GST_FLOW_OK;

  Sound sound;
  GstBuffer* payload = nullptr;
  GstFlowReturn flow = zel_g719_stream_enc_match_bitrate(self);
  if (flow == GST_FLOW_OK) flow = zel_g719_stream_enc_ready_encoders(self);
  if (flow == GST_FLOW_OK) flow = zel_g719_stream_enc_read(self, input, &sound);
  if (flow == GST_FLOW_OK) flow = zel_g719_stream_enc_encode(self, sound, &payload);
  if (input == nullptr) zel_g719_stream_enc_forget_sound(self);
  if (flow != GST_FLOW_OK) {
    gst_clear_buffer(&payload);
    return flow;
  }
  if (is_first) GST_BUFFER_FLAG_SET(payload, GST_BUFFER_FLAG_DISCONT);
  if (sound.filling > 0) {
    gst_buffer_add_audio_clipping_meta(payload, GST_FORMAT_DEFAULT, 0, sound.filling);
  }
  return gst_audio_encoder_finish_frame(base, payload, G719_FRAME_SAMPLES);
}
