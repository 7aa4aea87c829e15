/**
 * SECTION:element-zelg719dec
 * @title: zelg719dec
 *
 * Decodes G.719 payloads to 48 kHz mono audio. Every input buffer is one whole payload; its header
 * gives the bitrate, from 32 to 128 kbit/s, and the number of frames.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 filesrc location=speech.g719 ! zelg719parse ! zelg719dec !
 *     audioconvert ! audioresample ! autoaudiosink
 * ]|
 * plays a file of payloads, which the parser cuts apart.
 */
#include "zelg719dec.h"

#include "caps.h"
#include "g719.h"
#include "mapped_buffer.h"
#include "payload/payload.h"
#include "pcm.h"

struct _ZelG719Dec {
  GstAudioDecoder parent;
  g719_decoder* decoder;   // owned; null until the first decodable payload and after stop
  gint32 bitrate;          // of the decoder, bit/s; 0: none yet
  gboolean parser_hinted;  // since start
};

// Nothing in a file of payloads marks their borders, and read at others it mostly gives noise.
static constexpr char PARSER_HINT[] =
    "To play a file of payloads, put zelg719parse before zelg719dec.";

GST_DEBUG_CATEGORY_STATIC(zel_g719_dec_debug);
#define GST_CAT_DEFAULT zel_g719_dec_debug

static GstStaticPadTemplate src_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(G719_RAW_CAPS));
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(G719_PAYLOAD_CAPS));

G_DEFINE_TYPE(ZelG719Dec, zel_g719_dec, GST_TYPE_AUDIO_DECODER)

static gboolean zel_g719_dec_start(GstAudioDecoder* base);
static gboolean zel_g719_dec_stop(GstAudioDecoder* base);
static gboolean zel_g719_dec_set_format(GstAudioDecoder* base, GstCaps* caps);
static GstFlowReturn zel_g719_dec_handle_frame(GstAudioDecoder* base, GstBuffer* input);

static void zel_g719_dec_class_init(ZelG719DecClass* klass) {
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* decoder_class = GST_AUDIO_DECODER_CLASS(klass);

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  // The blank at the end of the classification is part of it.
  gst_element_class_set_static_metadata(element_class, "G.719 Decoder element",
                                        "Codec/Decoder/Audio ", "Decode streams encoded with G.719",
                                        "Zelkor audio team <audio@zelkor.example>");

  decoder_class->start = GST_DEBUG_FUNCPTR(zel_g719_dec_start);
  decoder_class->stop = GST_DEBUG_FUNCPTR(zel_g719_dec_stop);
  decoder_class->set_format = GST_DEBUG_FUNCPTR(zel_g719_dec_set_format);
  decoder_class->handle_frame = GST_DEBUG_FUNCPTR(zel_g719_dec_handle_frame);

  GST_DEBUG_CATEGORY_INIT(zel_g719_dec_debug, "g719dec", 0, "g719dec");
}

static void zel_g719_dec_init(ZelG719Dec* self) {
  gst_audio_decoder_set_needs_format(GST_AUDIO_DECODER(self), TRUE);
}

static gboolean zel_g719_dec_start(GstAudioDecoder* base) {
  gst_audio_decoder_set_drainable(base, FALSE);
  // Without it the base class refuses the byte segments of filesrc and multifilesrc. It forgets the
  // setting with every stop.
  gst_audio_decoder_set_estimate_rate(base, TRUE);
  auto* self = ZEL_G719_DEC(base);
  self->bitrate = 0;
  self->parser_hinted = FALSE;
  return TRUE;
}

static gboolean zel_g719_dec_stop(GstAudioDecoder* base) {
  auto* self = ZEL_G719_DEC(base);
  GST_DEBUG_OBJECT(self, "stop");
  g719_decoder_destroy(self->decoder);
  self->decoder = nullptr;
  return TRUE;
}

// The input caps carry no parameters; every payload says how to read it.
static gboolean zel_g719_dec_set_format(GstAudioDecoder* base, GstCaps*) {
  GstCaps* caps = gst_static_pad_template_get_caps(&src_template);
  GstAudioInfo info;
  const gboolean known = gst_audio_info_from_caps(&info, caps);
  gst_caps_unref(caps);
  return known && gst_audio_decoder_set_output_format(base, &info);
}

// Makes the instance fit `bitrate`. An unchanged bitrate keeps the instance and its memory.
static gboolean zel_g719_dec_init_decoder(ZelG719Dec* self, gint32 bitrate) {
  if (bitrate == self->bitrate) return TRUE;

  GST_DEBUG_OBJECT(self, "Creating decoder with bitrate %d", bitrate);
  g719_decoder_destroy(self->decoder);
  self->decoder = g719_decoder_create(bitrate);
  self->bitrate = self->decoder != nullptr ? bitrate : 0;
  if (self->decoder == nullptr) {
    GST_ELEMENT_ERROR(self, LIBRARY, INIT, ("Could not create a G.719 decoder."),
                      ("bitrate %d", bitrate));
    return FALSE;
  }
  return TRUE;
}

// Says why a payload with length code `L` has no frame size.
static void zel_g719_dec_log_no_frame_size(ZelG719Dec* self, gint32 L) {
  if (L == 0) {
    GST_INFO_OBJECT(self, "ToC L: 0 -> No data");
  } else if (L <= 7) {
    GST_WARNING_OBJECT(self, "ToC L: 1-7 -> N/A (reserved)");
  } else {
    GST_WARNING_OBJECT(self, "ToC L: 28-31 -> N/A (reserved)");
  }
}

// Says when a payload is too short or too long for its frames. The application hears of bytes
// behind them once, and only from streams without timestamps, as those of files are.
static void zel_g719_dec_check_size(ZelG719Dec* self, const GstBuffer* input, gsize size,
                                    const g719::Payload& payload) {
  if (payload.blocks_complete < payload.header.blocks) {
    GST_WARNING_OBJECT(self, "payload of %" G_GSIZE_FORMAT " bytes holds %d of %d frames", size,
                       payload.blocks_complete, payload.header.blocks);
  }
  if (payload.bytes_behind > 0 && !GST_BUFFER_PTS_IS_VALID(input) && !self->parser_hinted) {
    self->parser_hinted = TRUE;
    GST_ELEMENT_WARNING(
        self, STREAM, FORMAT,
        ("%" G_GSIZE_FORMAT " bytes behind a payload of %" G_GSIZE_FORMAT " bytes are ignored. %s",
         payload.bytes_behind, size - payload.bytes_behind, PARSER_HINT),
        (nullptr));
  }
}

// Decodes the complete frames of the payload at `bytes`: straight into `pcm` where it can hold
// samples.
static void zel_g719_dec_decode_frames(ZelG719Dec* self, const guint8* bytes,
                                       const g719::Payload& payload, guint8* pcm) {
  const bool straight = holds_samples(pcm);
  gint16 bounce[G719_FRAME_SAMPLES];
  for (gint i = 0; i < payload.blocks_complete; i++) {
    GST_LOG_OBJECT(self, "Decoding frame %u/%u", i + 1, payload.blocks_complete);
    gint16* samples = straight ? static_cast<gint16*>(static_cast<void*>(pcm)) : bounce;
    g719_decoder_decode(self->decoder, bytes + g719::frame_offset(payload, i), samples, 0);
    if (!straight) write_samples(bounce, pcm);
    pcm += FRAME_PCM_BYTES;
  }
}

// Turns the complete frames of the payload at `bytes`, at least one, into a new buffer of audio.
static GstFlowReturn zel_g719_dec_decode_payload(ZelG719Dec* self, const guint8* bytes,
                                                 const g719::Payload& payload, GstBuffer** audio) {
  *audio = gst_audio_decoder_allocate_output_buffer(GST_AUDIO_DECODER(self),
                                                    payload.blocks_complete * FRAME_PCM_BYTES);
  if (*audio == nullptr) {
    GST_WARNING_OBJECT(self, "failed to allocate buffer");
    return GST_FLOW_ERROR;
  }
  const MappedBuffer pcm(*audio, GST_MAP_WRITE);
  if (!pcm) {
    GST_ELEMENT_ERROR(self, RESOURCE, WRITE, ("Could not map the buffer for the audio."),
                      (nullptr));
    return GST_FLOW_ERROR;
  }
  zel_g719_dec_decode_frames(self, bytes, payload, pcm.data());
  GST_LOG_OBJECT(self, "Finished decoding");
  return GST_FLOW_OK;
}

// Reads a payload. `audio` stays null where the payload has none to give.
static GstFlowReturn zel_g719_dec_read_payload(ZelG719Dec* self, GstBuffer* input,
                                               GstBuffer** audio) {
  const MappedBuffer bytes(input, GST_MAP_READ);
  if (!bytes) {
    GST_ELEMENT_ERROR(self, RESOURCE, READ, ("Could not map the payload."), (nullptr));
    return GST_FLOW_ERROR;
  }
  if (bytes.size() < g719::PAYLOAD_HEADER_BYTES) {
    GST_WARNING_OBJECT(self, "payload without a whole header: %" G_GSIZE_FORMAT " bytes",
                       bytes.size());
    return GST_FLOW_OK;
  }
  const g719::Payload payload = g719::read_payload(bytes.data(), bytes.size());
  if (payload.header.has_follower) {
    GST_ERROR_OBJECT(self, "Oh NO! More then one ToC. Not supported!");
    GST_ELEMENT_ERROR(self, STREAM, DECODE, ("A payload has more than one ToC byte."),
                      (GST_BUFFER_PTS_IS_VALID(input) ? nullptr : PARSER_HINT));
    return GST_FLOW_ERROR;
  }
  if (payload.frame_bytes == 0) {
    zel_g719_dec_log_no_frame_size(self, payload.header.length_code);
    return GST_FLOW_OK;
  }

  GST_DEBUG_OBJECT(self, "Parsed ToC: bytes-per-frame: %u, bitrate=%d, frames: %u",
                   payload.frame_bytes, payload.bitrate, payload.header.blocks);
  if (!zel_g719_dec_init_decoder(self, payload.bitrate)) return GST_FLOW_ERROR;
  zel_g719_dec_check_size(self, input, bytes.size(), payload);
  GST_LOG_OBJECT(self, "we have %u frames, %u in, %u out", payload.blocks_complete,
                 payload.blocks_complete * payload.frame_bytes,
                 payload.blocks_complete * static_cast<guint>(FRAME_PCM_BYTES));
  if (payload.blocks_complete == 0) return GST_FLOW_OK;
  return zel_g719_dec_decode_payload(self, bytes.data(), payload, audio);
}

static GstFlowReturn zel_g719_dec_handle_frame(GstAudioDecoder* base, GstBuffer* input) {
  GstBuffer* audio = nullptr;
  const GstFlowReturn flow = zel_g719_dec_read_payload(ZEL_G719_DEC(base), input, &audio);
  if (flow != GST_FLOW_OK) {
    gst_clear_buffer(&audio);
    return flow;
  }
  // Without audio too: left in the base class's queue, the payload would lend its timestamp to the
  // audio of the next one.
  return gst_audio_decoder_finish_frame(base, audio, 1);
}
