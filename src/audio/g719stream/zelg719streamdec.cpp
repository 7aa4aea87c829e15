/**
 * SECTION:element-zelg719streamdec
 * @title: zelg719streamdec
 *
 * Decodes G.719 payloads of one channel or two to 48 kHz audio, whatever the network did to them.
 * Lost frames are concealed, a damaged payload is passed over, the bitrate may change at any
 * payload, and each sample has the timestamp that it had before it was encoded.
 *
 * With #GstAudioDecoder:plc set to FALSE, lost frames leave gaps.
 *
 * ## Example launch line
 * |[
 * gst-launch-1.0 udpsrc port=5004
 *     caps="application/x-rtp,media=audio,clock-rate=48000,encoding-name=G719" !
 *     rtpjitterbuffer do-lost=true ! rtpg719depay ! zelg719streamdec !
 *     audioconvert ! audioresample ! autoaudiosink
 * ]|
 */
#include "zelg719streamdec.h"

#include <algorithm>
#include <cstring>

#include "block_decoder.h"
#include "caps.h"
#include "mapped_buffer.h"
#include "payload/payload.h"

// The sound of a frame is whole when the next one is decoded, and has the timestamp of its own
// payload. So a payload stays with the base class until the next one has come.
struct _ZelG719StreamDec {
  GstAudioDecoder parent;
  g719::BlockDecoder
      blocks;            // of the present channels; closed before the first caps and after stop
  guint64 decoded;       // frames since start; this and the next two under the object's lock
  guint64 concealed;     // frames since start
  guint64 longest_gap;   // frames lost in a row since start
  gboolean has_warned;   // since start
  gboolean has_sounded;  // since start

  // Since the sound began anew.
  gboolean is_new;       // no block was decoded, nor counted as lost
  gboolean has_heard;    // a payload was decoded
  gboolean has_said_so;  // a buffer with DISCONT went out
  GstClockTime due;      // when the next payload begins; none while unknown
  GstClockTime sounded;  // until when sound was given out; none if it was not, or while unknown
  guint64 lost;          // frames since the last payload
  gint skip;             // samples at the start that are not sound
  gint left;             // samples before the end that a payload announced; -1: none did
};

static constexpr GstClockTime FRAME = g719::FRAME_DURATION;
static constexpr GstClockTime TOLERANCE = FRAME / 2;    // of timestamps
static constexpr gint64 MAX_JUMP = GST_SECOND / FRAME;  // frames that may be lost unannounced
static constexpr guint64 MAX_CONCEALED = 16;            // frames; the last is hardly heard
static constexpr guint64 MAX_LOST = 3600 * GST_SECOND / FRAME;  // frames; more is a wrong number
static constexpr gint NO_END = -1;

// Payloads that the base class gives up.
static constexpr gint ALL = -1;
static constexpr gint ALL_BUT_THE_LAST = -2;

GST_DEBUG_CATEGORY_STATIC(zel_g719_stream_dec_debug);
#define GST_CAT_DEFAULT zel_g719_stream_dec_debug

static GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("audio/x-raw, format = (string) " GST_AUDIO_NE(
        S16) ", layout = (string) interleaved, rate = (int) 48000, channels = (int) [ 1, 2 ]"));
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS, GST_STATIC_CAPS(G719_PAYLOAD_CAPS));

enum { PROP_STATS = 1 };

G_DEFINE_TYPE(ZelG719StreamDec, zel_g719_stream_dec, GST_TYPE_AUDIO_DECODER)

static void zel_g719_stream_dec_get_property(GObject* object, guint id, GValue* value,
                                             GParamSpec* spec);
static gboolean zel_g719_stream_dec_start(GstAudioDecoder* base);
static gboolean zel_g719_stream_dec_stop(GstAudioDecoder* base);
static gboolean zel_g719_stream_dec_set_format(GstAudioDecoder* base, GstCaps* caps);
static GstFlowReturn zel_g719_stream_dec_handle_frame(GstAudioDecoder* base, GstBuffer* input);
static gboolean zel_g719_stream_dec_sink_event(GstAudioDecoder* base, GstEvent* event);
static GstFlowReturn zel_g719_stream_dec_pre_push(GstAudioDecoder* base, GstBuffer** sound);
static GstCaps* zel_g719_stream_dec_getcaps(GstAudioDecoder* base, GstCaps* filter);
static gboolean zel_g719_stream_dec_transform_meta(GstAudioDecoder* base, GstBuffer* output,
                                                   GstMeta* meta, GstBuffer* input);

static void zel_g719_stream_dec_class_init(ZelG719StreamDecClass* klass) {
  auto* object_class = G_OBJECT_CLASS(klass);
  auto* element_class = GST_ELEMENT_CLASS(klass);
  auto* decoder_class = GST_AUDIO_DECODER_CLASS(klass);

  gst_element_class_add_static_pad_template(element_class, &src_template);
  gst_element_class_add_static_pad_template(element_class, &sink_template);
  gst_element_class_set_static_metadata(
      element_class, "G.719 Stream Decoder element", "Codec/Decoder/Audio",
      "Decodes G.719 and conceals what was lost", "Zelkor audio team <audio@zelkor.example>");

  object_class->get_property = zel_g719_stream_dec_get_property;

  /**
   * ZelG719StreamDec:stats:
   *
   * Since the start: `decoded` and `concealed` frames, and the `longest-gap`, in ns. Each frame
   * counts once, whatever the number of channels.
   */
  g_object_class_install_property(
      object_class, PROP_STATS,
      g_param_spec_boxed("stats", "Statistics", "Frames decoded and concealed, longest gap",
                         GST_TYPE_STRUCTURE,
                         static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));

  decoder_class->start = GST_DEBUG_FUNCPTR(zel_g719_stream_dec_start);
  decoder_class->stop = GST_DEBUG_FUNCPTR(zel_g719_stream_dec_stop);
  decoder_class->set_format = GST_DEBUG_FUNCPTR(zel_g719_stream_dec_set_format);
  decoder_class->handle_frame = GST_DEBUG_FUNCPTR(zel_g719_stream_dec_handle_frame);
  decoder_class->sink_event = GST_DEBUG_FUNCPTR(zel_g719_stream_dec_sink_event);
  decoder_class->getcaps = GST_DEBUG_FUNCPTR(zel_g719_stream_dec_getcaps);
  decoder_class->pre_push = GST_DEBUG_FUNCPTR(zel_g719_stream_dec_pre_push);
  decoder_class->transform_meta = GST_DEBUG_FUNCPTR(zel_g719_stream_dec_transform_meta);

  GST_DEBUG_CATEGORY_INIT(zel_g719_stream_dec_debug, "zelg719streamdec", 0, "zelg719streamdec");
}

static void zel_g719_stream_dec_init(ZelG719StreamDec* self) {
  auto* base = GST_AUDIO_DECODER(self);
  gst_audio_decoder_set_needs_format(base, TRUE);
  gst_audio_decoder_set_plc(base, TRUE);
}

static void zel_g719_stream_dec_get_property(GObject* object, guint id, GValue* value,
                                             GParamSpec* spec) {
  auto* self = ZEL_G719_STREAM_DEC(object);
  switch (id) {
    case PROP_STATS:
      GST_OBJECT_LOCK(self);
      g_value_take_boxed(
          value,
          gst_structure_new("zelg719streamdec-stats", "decoded", G_TYPE_UINT64, self->decoded,
                            "concealed", G_TYPE_UINT64, self->concealed, "longest-gap",
                            G_TYPE_UINT64, self->longest_gap * FRAME, nullptr));
      GST_OBJECT_UNLOCK(self);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

static void zel_g719_stream_dec_count(ZelG719StreamDec* self, guint64 decoded, guint64 concealed) {
  GST_OBJECT_LOCK(self);
  self->decoded += decoded;
  self->concealed += concealed;
  self->longest_gap = std::max(self->longest_gap, self->lost);
  GST_OBJECT_UNLOCK(self);
}

// Forgets the sound so far; a timestamp, or the start of the segment, says where it begins.
static void zel_g719_stream_dec_reset(ZelG719StreamDec* self) {
  g719::clear_memory(&self->blocks);
  self->is_new = TRUE;
  self->has_heard = FALSE;
  self->has_said_so = FALSE;
  self->due = GST_CLOCK_TIME_NONE;
  self->sounded = GST_CLOCK_TIME_NONE;
  self->lost = 0;
  self->skip = 0;
  self->left = NO_END;
}

static gboolean zel_g719_stream_dec_start(GstAudioDecoder* base) {
  auto* self = ZEL_G719_STREAM_DEC(base);
  // The base class asks for the rest at each DISCONT, which every lost packet leaves behind it.
  gst_audio_decoder_set_drainable(base, FALSE);
  // For the byte segments of files. It is forgotten with every stop.
  gst_audio_decoder_set_estimate_rate(base, TRUE);
  GST_OBJECT_LOCK(self);
  self->decoded = 0;
  self->concealed = 0;
  self->longest_gap = 0;
  GST_OBJECT_UNLOCK(self);
  self->has_warned = FALSE;
  self->has_sounded = FALSE;
  zel_g719_stream_dec_reset(self);
  return TRUE;
}

static gboolean zel_g719_stream_dec_stop(GstAudioDecoder* base) {
  g719::close_decoder(&ZEL_G719_STREAM_DEC(base)->blocks);
  return TRUE;
}

// From one time to another one, rounded; negative where it is the earlier one.
static gint64 zel_g719_stream_dec_frames_between(GstClockTime from, GstClockTime to) {
  return to >= from ? static_cast<gint64>((to - from + TOLERANCE) / FRAME)
                    : -static_cast<gint64>((from - to + TOLERANCE) / FRAME);
}

// When the sound begins that the next block gives; none while unknown.
static GstClockTime zel_g719_stream_dec_next_sound(ZelG719StreamDec* self) {
  if (!GST_CLOCK_TIME_IS_VALID(self->due)) return GST_CLOCK_TIME_NONE;
  if (self->is_new) return self->due;
  return self->due > FRAME ? self->due - FRAME : 0;
}

// How many blocks of the next sound were given out before, as concealment of a gap that was
// announced too long.
static gint64 zel_g719_stream_dec_known_sound(ZelG719StreamDec* self) {
  const GstClockTime start = zel_g719_stream_dec_next_sound(self);
  if (!GST_CLOCK_TIME_IS_VALID(start) || !GST_CLOCK_TIME_IS_VALID(self->sounded)) return 0;
  return std::max<gint64>(zel_g719_stream_dec_frames_between(start, self->sounded), 0);
}

// The timestamp of the next sound that is given out; none while unknown.
static GstClockTime zel_g719_stream_dec_next_timestamp(ZelG719StreamDec* self) {
  const GstClockTime start = zel_g719_stream_dec_next_sound(self);
  if (!GST_CLOCK_TIME_IS_VALID(start)) return GST_CLOCK_TIME_NONE;
  return start + zel_g719_stream_dec_known_sound(self) * FRAME +
         gst_util_uint64_scale_round(self->skip, GST_SECOND, G719_SAMPLE_RATE);
}

// Cuts off what is before the start and behind the end of the sound that payloads announced. Takes
// the buffer and returns what is left, or null.
static GstBuffer* zel_g719_stream_dec_trim(ZelG719StreamDec* self, GstBuffer* sound) {
  const gint bytes = self->blocks.channels * static_cast<gint>(sizeof(gint16));  // of a sample
  gint samples = static_cast<gint>(gst_buffer_get_size(sound)) / bytes;
  const gint skipped = std::min(samples, self->skip);
  samples -= skipped;
  self->skip -= skipped;
  if (self->left != NO_END) {
    samples = std::min(samples, self->left);
    self->left -= samples;
  }
  if (samples == 0) {
    gst_buffer_unref(sound);
    return nullptr;
  }
  gst_buffer_resize(sound, static_cast<gssize>(skipped) * bytes,
                    static_cast<gssize>(samples) * bytes);
  return sound;
}

// Decodes blocks with `decode(i, samples)`, from `first` to before `end`, into a new buffer.
template <typename Decode>
static GstBuffer* zel_g719_stream_dec_decode(ZelG719StreamDec* self, gint first, gint end,
                                             const Decode& decode) {
  const gsize block_bytes = self->blocks.channels * G719_FRAME_SAMPLES * sizeof(gint16);
  GstBuffer* sound = gst_audio_decoder_allocate_output_buffer(GST_AUDIO_DECODER(self),
                                                              (end - first) * block_bytes);
  if (sound == nullptr) {
    GST_WARNING_OBJECT(self, "no buffer for the sound");
    return nullptr;
  }
  const MappedBuffer pcm(sound, GST_MAP_WRITE);
  if (!pcm) {
    GST_ELEMENT_ERROR(self, RESOURCE, WRITE, ("Could not map the buffer for the audio."),
                      (nullptr));
    gst_buffer_unref(sound);
    return nullptr;
  }
  gint16 samples[g719::MAX_SOUND_CHANNELS * G719_FRAME_SAMPLES];
  for (gint i = first; i < end; i++) {
    decode(i, samples);
    std::memcpy(pcm.data() + (i - first) * block_bytes, samples, block_bytes);
  }
  return sound;
}

// Goes on by `count` blocks, decoded with `decode(i, samples)`, and gives out what of their sound
// is new. The base class takes the timestamp from the oldest payload that it holds. The one at
// hand, null outside of handle_frame, gets it, too, as it may be the oldest.
template <typename Decode>
static GstFlowReturn zel_g719_stream_dec_go_on(ZelG719StreamDec* self, GstBuffer* input, gint count,
                                               const Decode& decode) {
  const GstClockTime timestamp = zel_g719_stream_dec_next_timestamp(self);
  const gint64 known = zel_g719_stream_dec_known_sound(self);
  // The first block of a new decoder completes no sound.
  const gint unheard = self->is_new ? 1 : 0;
  const auto hidden = static_cast<gint>(std::min<gint64>(count, unheard + known));
  gint16 samples[g719::MAX_SOUND_CHANNELS * G719_FRAME_SAMPLES];
  for (gint i = 0; i < hidden; i++) decode(i, samples);
  GstBuffer* sound = nullptr;
  if (hidden < count) {
    sound = zel_g719_stream_dec_decode(self, hidden, count, decode);
    if (sound == nullptr) return GST_FLOW_ERROR;
  }

  self->is_new = FALSE;
  if (self->left != NO_END) {
    self->left = std::max(self->left - (hidden - unheard) * G719_FRAME_SAMPLES, 0);
  }
  if (GST_CLOCK_TIME_IS_VALID(self->due)) {
    self->due += count * FRAME;
    if (sound != nullptr) self->sounded = zel_g719_stream_dec_next_sound(self);
  }
  if (sound != nullptr) sound = zel_g719_stream_dec_trim(self, sound);
  if (sound == nullptr) return GST_FLOW_OK;
  if (input != nullptr) GST_BUFFER_PTS(input) = timestamp;
  self->has_sounded = TRUE;
  return gst_audio_decoder_finish_frame(GST_AUDIO_DECODER(self), sound,
                                        input != nullptr ? ALL_BUT_THE_LAST : ALL);
}

// No block follows the last one: gives out its second half, and begins anew.
static GstFlowReturn zel_g719_stream_dec_end(ZelG719StreamDec* self, GstBuffer* input) {
  auto* base = GST_AUDIO_DECODER(self);
  GstFlowReturn flow = GST_FLOW_OK;
  if (self->has_heard && base->input_segment.rate > 0.0) {
    flow = zel_g719_stream_dec_go_on(self, input, 1, [self](gint, gint16* samples) {
      g719::finish_sound(&self->blocks, samples);
    });
  }
  zel_g719_stream_dec_reset(self);
  if (flow != GST_FLOW_OK) return flow;
  // Payloads that the base class still holds would lend their timestamps to the new sound.
  return gst_audio_decoder_finish_frame(base, nullptr, input != nullptr ? ALL_BUT_THE_LAST : ALL);
}

// Says downstream that there is no sound from `start` to `end`.
static void zel_g719_stream_dec_say_gap(ZelG719StreamDec* self, GstClockTime start,
                                        GstClockTime end) {
  auto* parent_class = GST_AUDIO_DECODER_CLASS(zel_g719_stream_dec_parent_class);
  parent_class->sink_event(GST_AUDIO_DECODER(self), gst_event_new_gap(start, end - start));
}

// Ends the sound, and begins it anew behind `frames` frames without any.
static GstFlowReturn zel_g719_stream_dec_pause(ZelG719StreamDec* self, GstBuffer* input,
                                               guint64 frames) {
  const GstClockTime start = self->due;
  const guint64 lost = self->lost;
  const GstFlowReturn flow = zel_g719_stream_dec_end(self, input);
  if (flow != GST_FLOW_OK || !GST_CLOCK_TIME_IS_VALID(start)) return flow;
  self->due = start + frames * FRAME;
  self->sounded = start;
  self->lost = lost;
  zel_g719_stream_dec_say_gap(self, start, self->due);
  return GST_FLOW_OK;
}

// Goes on by frames that are lost before the first payload, whose sound fades in over the last one.
static void zel_g719_stream_dec_begin_with_gap(ZelG719StreamDec* self, guint64 frames) {
  const GstClockTime start = zel_g719_stream_dec_next_sound(self);
  self->is_new = FALSE;
  if (!GST_CLOCK_TIME_IS_VALID(self->due)) return;
  self->due += frames * FRAME;
  const GstClockTime end = zel_g719_stream_dec_next_sound(self);
  if (end > start) zel_g719_stream_dec_say_gap(self, start, end);
}

// Fills the time of lost frames.
static GstFlowReturn zel_g719_stream_dec_conceal(ZelG719StreamDec* self, GstBuffer* input,
                                                 guint64 frames) {
  frames = std::min(frames, MAX_LOST);
  if (frames == 0) return GST_FLOW_OK;
  GST_DEBUG_OBJECT(self, "%" G_GUINT64_FORMAT " frames are lost", frames);
  const bool is_wanted = gst_audio_decoder_get_plc(GST_AUDIO_DECODER(self));
  const guint64 left =
      is_wanted && self->has_heard && self->lost < MAX_CONCEALED ? MAX_CONCEALED - self->lost : 0;
  const guint64 concealed = std::min(frames, left);
  self->lost += frames;
  zel_g719_stream_dec_count(self, 0, concealed);
  if (is_wanted && !self->has_heard && !GST_CLOCK_TIME_IS_VALID(self->sounded)) {
    zel_g719_stream_dec_begin_with_gap(self, frames);
    return GST_FLOW_OK;
  }
  GstFlowReturn flow = GST_FLOW_OK;
  if (concealed > 0) {
    flow = zel_g719_stream_dec_go_on(
        self, input, static_cast<gint>(concealed),
        [self](gint, gint16* samples) { g719::conceal_block(&self->blocks, samples); });
  }
  if (frames > concealed && flow == GST_FLOW_OK) {
    flow = zel_g719_stream_dec_pause(self, input, frames - concealed);
  }
  return flow;
}

// Whether the sound begins anew with the payload at hand: nothing was lost where a sender was
// silent or the timestamps are those of another place.
static bool zel_g719_stream_dec_is_elsewhere(ZelG719StreamDec* self, GstBuffer* input,
                                             gint64 jump) {
  const auto* clip = gst_buffer_get_audio_clipping_meta(input);
  const bool has_start = clip != nullptr && clip->format == GST_FORMAT_DEFAULT && clip->start > 0;
  const bool is_behind_end = self->left != NO_END && (jump > 0 || GST_BUFFER_IS_DISCONT(input));
  const bool is_behind_silence = jump > 0 && GST_BUFFER_FLAG_IS_SET(input, GST_BUFFER_FLAG_RESYNC);
  // What comes late, from a gap that was filled already, goes on.
  const bool is_filled = self->has_heard || GST_CLOCK_TIME_IS_VALID(self->sounded);
  const bool is_before = jump < 0 && (!is_filled || static_cast<guint64>(-jump) > self->lost);
  return has_start || is_behind_end || is_behind_silence || is_before || jump > MAX_JUMP;
}

// Goes on to the payload at hand.
static GstFlowReturn zel_g719_stream_dec_follow(ZelG719StreamDec* self, GstBuffer* input) {
  // Without timestamps payloads follow one another from the start of the segment on.
  GstClockTime pts = GST_BUFFER_PTS(input);
  if (!GST_CLOCK_TIME_IS_VALID(pts)) pts = self->due;
  if (!GST_CLOCK_TIME_IS_VALID(pts)) pts = GST_AUDIO_DECODER(self)->input_segment.start;
  gint64 jump = 0;
  if (GST_CLOCK_TIME_IS_VALID(self->due)) {
    jump = zel_g719_stream_dec_frames_between(self->due, pts);
  }
  GstFlowReturn flow = GST_FLOW_OK;
  if (zel_g719_stream_dec_is_elsewhere(self, input, jump)) {
    GST_DEBUG_OBJECT(self, "the sound begins anew at %" GST_TIME_FORMAT, GST_TIME_ARGS(pts));
    flow = zel_g719_stream_dec_end(self, input);
  } else if (jump > 0) {
    flow = zel_g719_stream_dec_conceal(self, input, static_cast<guint64>(jump));
  }
  self->due = pts;
  return flow;
}

// Notes what of a payload of `blocks` blocks is filling.
static void zel_g719_stream_dec_read_clipping(ZelG719StreamDec* self, GstBuffer* input,
                                              gint blocks) {
  const auto* clip = gst_buffer_get_audio_clipping_meta(input);
  if (clip == nullptr || clip->format != GST_FORMAT_DEFAULT) return;
  if (clip->start > 0) self->skip = static_cast<gint>(std::min<guint64>(clip->start, G_MAXINT));
  if (clip->end > 0) {
    const gint64 whole = gint64{blocks + (self->is_new ? 0 : 1)} * G719_FRAME_SAMPLES - self->skip;
    const gint64 end = whole - static_cast<gint64>(std::min<guint64>(clip->end, G_MAXINT));
    const auto left = static_cast<gint>(std::max<gint64>(end, 0));
    self->left = self->left == NO_END ? left : std::min(self->left, left);
  }
}

// Says what is wrong with a payload: the application hears of the first one.
static void zel_g719_stream_dec_report(ZelG719StreamDec* self, const gchar* what) {
  if (!self->has_warned) {
    GST_ELEMENT_WARNING(self, STREAM, DECODE,
                        ("A payload %s; this and others like it are passed over.", what),
                        (nullptr));
  }
  GST_WARNING_OBJECT(self, "a payload %s", what);
  self->has_warned = TRUE;
}

// What is wrong with a payload of `size` bytes, or null.
static const gchar* zel_g719_stream_dec_fault(const g719::Payload& payload, gsize size) {
  if (size < g719::PAYLOAD_HEADER_BYTES) return "has no whole header";
  if (payload.header.has_follower) return "has more than one ToC entry";
  if (g719::is_reserved_length_code(payload.header.length_code)) return "has a reserved frame size";
  if (payload.frame_bytes == 0) return nullptr;
  if (payload.blocks_complete < payload.header.blocks) return "is cut short";
  return payload.bytes_behind > 0 ? "goes on behind its frames" : nullptr;
}

// Reads the header of a payload, and says what is wrong with it. Without blocks to decode nothing
// in it is of use but the number that it promises.
static g719::Payload zel_g719_stream_dec_read_header(ZelG719StreamDec* self, GstBuffer* input) {
  guint8 header[g719::PAYLOAD_HEADER_BYTES] = {};
  gst_buffer_extract(input, 0, header, sizeof header);
  const gsize size = gst_buffer_get_size(input);
  g719::Payload payload =
      g719::read_payload(header, std::max(size, sizeof header), self->blocks.channels);
  const gchar* fault = zel_g719_stream_dec_fault(payload, size);
  if (fault != nullptr) zel_g719_stream_dec_report(self, fault);
  if (payload.header.has_follower) payload.blocks_complete = 0;
  if (size < sizeof header) payload.header.blocks = 1;
  return payload;
}

// How many frames are lost with a payload that holds none.
static guint64 zel_g719_stream_dec_lost_frames(GstBuffer* input, const g719::Payload& payload) {
  if (GST_BUFFER_DURATION_IS_VALID(input)) {
    return zel_g719_stream_dec_frames_between(0, GST_BUFFER_DURATION(input));
  }
  const bool is_without_data = payload.header.length_code == g719::NO_DATA_LENGTH_CODE;
  return is_without_data ? payload.header.blocks : std::min(payload.header.blocks, 1);
}

static GstFlowReturn zel_g719_stream_dec_decode_payload(ZelG719StreamDec* self, GstBuffer* input,
                                                        const g719::Payload& payload) {
  zel_g719_stream_dec_read_clipping(self, input, payload.blocks_complete);
  const MappedBuffer bytes(input, GST_MAP_READ);
  if (!bytes) {
    GST_ELEMENT_ERROR(self, RESOURCE, READ, ("Could not map the payload."), (nullptr));
    return GST_FLOW_ERROR;
  }
  self->lost = 0;
  self->has_heard = TRUE;
  zel_g719_stream_dec_count(self, static_cast<guint64>(payload.blocks_complete), 0);
  return zel_g719_stream_dec_go_on(
      self, input, payload.blocks_complete, [&](gint i, gint16* samples) {
        g719::decode_block(bytes.data(), payload, i, &self->blocks, samples);
      });
}

static GstFlowReturn zel_g719_stream_dec_handle_frame(GstAudioDecoder* base, GstBuffer* input) {
  if (input == nullptr) return GST_FLOW_OK;
  auto* self = ZEL_G719_STREAM_DEC(base);
  const g719::Payload payload = zel_g719_stream_dec_read_header(self, input);
  GST_LOG_OBJECT(self, "%d blocks of %d bit/s at %" GST_TIME_FORMAT, payload.blocks_complete,
                 payload.bitrate, GST_TIME_ARGS(GST_BUFFER_PTS(input)));
  GstFlowReturn flow = zel_g719_stream_dec_follow(self, input);
  if (flow != GST_FLOW_OK) return flow;
  flow = payload.blocks_complete > 0
             ? zel_g719_stream_dec_decode_payload(self, input, payload)
             : zel_g719_stream_dec_conceal(self, input,
                                           zel_g719_stream_dec_lost_frames(input, payload));
  if (flow != GST_FLOW_OK) return flow;
  GST_BUFFER_PTS(input) = zel_g719_stream_dec_next_timestamp(self);
  return gst_audio_decoder_finish_frame(base, nullptr, self->has_heard ? ALL_BUT_THE_LAST : ALL);
}

static gboolean zel_g719_stream_dec_set_format(GstAudioDecoder* base, GstCaps* caps) {
  auto* self = ZEL_G719_STREAM_DEC(base);
  gint channels = 1;
  gst_structure_get_int(gst_caps_get_structure(caps, 0), "channels", &channels);
  if (channels == self->blocks.channels) return TRUE;
  if (channels < 1 || channels > g719::MAX_SOUND_CHANNELS) {
    GST_ELEMENT_ERROR(self, STREAM, FORMAT,
                      ("G.719 with %d channels is refused; zelg719streamdec takes one channel or "
                       "two.",
                       channels),
                      (nullptr));
    return FALSE;
  }
  zel_g719_stream_dec_end(self, nullptr);
  g719::close_decoder(&self->blocks);
  if (!g719::open_decoder(channels, &self->blocks)) {
    GST_ELEMENT_ERROR(self, LIBRARY, INIT, ("Could not create a G.719 decoder."), (nullptr));
    return FALSE;
  }
  gst_audio_decoder_set_latency(base, FRAME, FRAME);
  GstAudioInfo info;
  gst_audio_info_set_format(&info, GST_AUDIO_FORMAT_S16, G719_SAMPLE_RATE, channels, nullptr);
  return gst_audio_decoder_set_output_format(base, &info);
}

// All payloads, so that set_format can say which are refused. The base class would ask for channels
// that payloads need not name.
static GstCaps* zel_g719_stream_dec_getcaps(GstAudioDecoder*, GstCaps* filter) {
  GstCaps* caps = gst_static_pad_template_get_caps(&sink_template);
  if (filter == nullptr) return caps;
  GstCaps* filtered = gst_caps_intersect_full(filter, caps, GST_CAPS_INTERSECT_FIRST);
  gst_caps_unref(caps);
  return filtered;
}

// Whether a new segment gives timestamps another meaning.
static bool zel_g719_stream_dec_is_other_segment(const GstSegment& old, GstEvent* event) {
  const GstSegment* segment = nullptr;
  gst_event_parse_segment(event, &segment);
  return segment->format != old.format || segment->rate != old.rate ||
         segment->start != old.start || segment->base != old.base || segment->offset != old.offset;
}

// A GAP event counts as loss.
static void zel_g719_stream_dec_take_gap(ZelG719StreamDec* self, GstEvent* event) {
  GstClockTime start = 0;
  GstClockTime duration = 0;
  gst_event_parse_gap(event, &start, &duration);
  if (!GST_CLOCK_TIME_IS_VALID(duration)) duration = FRAME;
  const GstClockTime end =
      std::min<GstClockTime>(start, G_MAXINT64) + std::min<GstClockTime>(duration, G_MAXINT64);
  if (self->left != NO_END) zel_g719_stream_dec_end(self, nullptr);
  if (!GST_CLOCK_TIME_IS_VALID(self->due)) self->due = start;
  const gint64 frames = zel_g719_stream_dec_frames_between(self->due, end);
  if (frames > 0) zel_g719_stream_dec_conceal(self, nullptr, static_cast<guint64>(frames));
}

// The base class calls it an error when a stream ends without sound.
static gboolean zel_g719_stream_dec_end_soundless(GstAudioDecoder* base, GstEvent* event) {
  auto* parent_class = GST_AUDIO_DECODER_CLASS(zel_g719_stream_dec_parent_class);
  parent_class->sink_event(base, gst_event_new_gap(base->input_segment.start, 0));
  return gst_pad_push_event(GST_AUDIO_DECODER_SRC_PAD(base), event);
}

// Takes a serialized event. True where the base class is not to see it.
static bool zel_g719_stream_dec_take_event(ZelG719StreamDec* self, GstEvent* event) {
  const GstSegment& segment = GST_AUDIO_DECODER(self)->input_segment;
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_STREAM_START:
    case GST_EVENT_SEGMENT_DONE:
    case GST_EVENT_EOS:
      zel_g719_stream_dec_end(self, nullptr);
      return false;
    case GST_EVENT_SEGMENT:
      if (zel_g719_stream_dec_is_other_segment(segment, event)) {
        zel_g719_stream_dec_end(self, nullptr);
      }
      return false;
    case GST_EVENT_FLUSH_STOP:
      zel_g719_stream_dec_reset(self);
      return false;
    case GST_EVENT_GAP:
      // Before the first caps the base class would decide on two channels.
      if (self->blocks.channels == 0) return true;
      if (segment.rate < 0.0) return false;
      zel_g719_stream_dec_take_gap(self, event);
      return true;
    default:
      return false;
  }
}

static gboolean zel_g719_stream_dec_sink_event(GstAudioDecoder* base, GstEvent* event) {
  auto* self = ZEL_G719_STREAM_DEC(base);
  bool is_done = false;
  if ((static_cast<guint>(GST_EVENT_TYPE(event)) & GST_EVENT_TYPE_SERIALIZED) != 0) {
    GST_AUDIO_DECODER_STREAM_LOCK(base);
    is_done = zel_g719_stream_dec_take_event(self, event);
    GST_AUDIO_DECODER_STREAM_UNLOCK(base);
  }
  if (is_done) {
    gst_event_unref(event);
    return TRUE;
  }
  if (GST_EVENT_TYPE(event) == GST_EVENT_EOS && base->input_segment.rate > 0.0 &&
      self->blocks.channels > 0 && !self->has_sounded) {
    return zel_g719_stream_dec_end_soundless(base, event);
  }
  return GST_AUDIO_DECODER_CLASS(zel_g719_stream_dec_parent_class)->sink_event(base, event);
}

// Sets DISCONT only where the sound begins anew; the base class does so behind every lost packet.
static GstFlowReturn zel_g719_stream_dec_pre_push(GstAudioDecoder* base, GstBuffer** sound) {
  auto* self = ZEL_G719_STREAM_DEC(base);
  if (base->input_segment.rate > 0.0 && self->has_said_so) {
    GST_BUFFER_FLAG_UNSET(*sound, GST_BUFFER_FLAG_DISCONT);
  } else {
    GST_BUFFER_FLAG_SET(*sound, GST_BUFFER_FLAG_DISCONT);
  }
  self->has_said_so = TRUE;
  return GST_FLOW_OK;
}

// What was to be cut off is cut off.
static gboolean zel_g719_stream_dec_transform_meta(GstAudioDecoder* base, GstBuffer* output,
                                                   GstMeta* meta, GstBuffer* input) {
  if (meta->info->api == GST_AUDIO_CLIPPING_META_API_TYPE) return FALSE;
  return GST_AUDIO_DECODER_CLASS(zel_g719_stream_dec_parent_class)
      ->transform_meta(base, output, meta, input);
}
