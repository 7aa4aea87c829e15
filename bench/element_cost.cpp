// Cost of the two elements beside identity in their place and the codec without any element, in
// microseconds a frame at 64000 bit/s: lines of material, direction, what, least time of all
// rounds.
//
//   element_cost ROUNDS
//
// The element stands between two pads of this program, so that nothing else is in the measure.
#include <gst/gst.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <vector>

#include "g719.h"
#include "material.h"
#include "thread_time.h"

namespace {

constexpr int BITRATE = 64000;
constexpr int FRAME_SAMPLES = 960;
constexpr int PAYLOAD_HEADER_BYTES = 2;
constexpr int FRAMES = 400;  // of one round
constexpr const char* PCM_CAPS =
    "audio/x-raw, format=S16LE, layout=interleaved, rate=48000, channels=1";

struct Bench {
  GstElement* element;
  GstPad* source;
  GstPad* sink;
  std::vector<GstBuffer*>* kept;  // null: what arrives is dropped
  int arrived;
  int pushed;
};

void expect(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what);
  std::exit(1);
}

GstFlowReturn receive(GstPad* pad, GstObject*, GstBuffer* buffer) {
  auto* const bench = static_cast<Bench*>(gst_pad_get_element_private(pad));
  bench->arrived++;
  if (bench->kept != nullptr) {
    bench->kept->push_back(buffer);
  } else {
    gst_buffer_unref(buffer);
  }
  return GST_FLOW_OK;
}

void link(GstPad* source, GstPad* sink) {
  expect(GST_PAD_LINK_SUCCESSFUL(gst_pad_link(source, sink)), "pads do not link");
}

void open_bench(Bench* bench, const char* factory, GstCaps* caps) {
  *bench = Bench{gst_element_factory_make(factory, nullptr),
                 gst_pad_new("source", GST_PAD_SRC),
                 gst_pad_new("sink", GST_PAD_SINK),
                 nullptr,
                 0,
                 0};
  expect(bench->element != nullptr, "no such element");
  gst_pad_set_element_private(bench->sink, bench);
  gst_pad_set_chain_function(bench->sink, receive);
  link(bench->source, gst_element_get_static_pad(bench->element, "sink"));
  link(gst_element_get_static_pad(bench->element, "src"), bench->sink);
  gst_pad_set_active(bench->source, TRUE);
  gst_pad_set_active(bench->sink, TRUE);
  expect(gst_element_set_state(bench->element, GST_STATE_PLAYING) == GST_STATE_CHANGE_SUCCESS,
         "the element does not start");
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  gst_pad_push_event(bench->source, gst_event_new_stream_start("bench"));
  expect(gst_pad_push_event(bench->source, gst_event_new_caps(caps)), "caps are refused");
  gst_pad_push_event(bench->source, gst_event_new_segment(&segment));
}

// The same content as `content`, as the next 20 ms of the stream.
GstBuffer* stamped(GstBuffer* content, int frame) {
  GstBuffer* const buffer = gst_buffer_copy(content);
  GST_BUFFER_PTS(buffer) = static_cast<GstClockTime>(frame) * 20 * GST_MSECOND;
  GST_BUFFER_DURATION(buffer) = 20 * GST_MSECOND;
  return buffer;
}

// Microseconds of this thread for one round.
double push_round(Bench* bench, const std::vector<GstBuffer*>& contents) {
  std::vector<GstBuffer*> buffers;
  for (GstBuffer* const content : contents) buffers.push_back(stamped(content, bench->pushed++));
  const int before = bench->arrived;
  const double start = thread_microseconds();
  for (GstBuffer* const buffer : buffers) gst_pad_push(bench->source, buffer);
  const double stop = thread_microseconds();
  expect(bench->arrived - before >= static_cast<int>(contents.size()) - 1, "buffers are missing");
  return stop - start;
}

std::vector<GstBuffer*> pcm_buffers(const Material& material) {
  std::vector<GstBuffer*> buffers;
  for (int i = 0; i < FRAMES; ++i) {
    buffers.push_back(
        gst_buffer_new_memdup(material.samples.data() + material_offset(i, FRAME_SAMPLES),
                              FRAME_SAMPLES * sizeof(std::int16_t)));
  }
  return buffers;
}

double encode_round(g719_encoder* encoder, const Material& material) {
  std::uint8_t bytes[320];
  const double start = thread_microseconds();
  for (int i = 0; i < FRAMES; ++i) {
    g719_encoder_encode(encoder, material.samples.data() + material_offset(i, FRAME_SAMPLES),
                        bytes);
  }
  return thread_microseconds() - start;
}

double decode_round(g719_decoder* decoder, const std::vector<std::uint8_t>& payloads) {
  std::int16_t samples[FRAME_SAMPLES];
  const std::size_t payload_bytes = payloads.size() / FRAMES;
  const double start = thread_microseconds();
  for (std::size_t i = 0; i < FRAMES; ++i) {
    g719_decoder_decode(decoder, &payloads[i * payload_bytes + PAYLOAD_HEADER_BYTES], samples, 0);
  }
  return thread_microseconds() - start;
}

// The payloads one behind the other: the codec alone reads them without mapping buffers.
std::vector<std::uint8_t> payload_bytes(const std::vector<GstBuffer*>& payloads) {
  std::vector<std::uint8_t> bytes;
  for (GstBuffer* const payload : payloads) {
    const std::size_t size = gst_buffer_get_size(payload);
    bytes.resize(bytes.size() + size);
    gst_buffer_extract(payload, 0, bytes.data() + bytes.size() - size, size);
  }
  return bytes;
}

struct Least {
  double element = std::numeric_limits<double>::max();
  double identity = std::numeric_limits<double>::max();
  double codec = std::numeric_limits<double>::max();
};

void print(const char* material, const char* direction, const Least& least) {
  std::printf("%s %s element %.4f\n", material, direction, least.element / FRAMES);
  std::printf("%s %s identity %.4f\n", material, direction, least.identity / FRAMES);
  std::printf("%s %s codec %.4f\n", material, direction, least.codec / FRAMES);
}

void measure(const char* name, int rounds) {
  const Material material = load_material(name);
  const std::vector<GstBuffer*> pcm = pcm_buffers(material);
  GstCaps* const pcm_caps = gst_caps_from_string(PCM_CAPS);

  Bench encoder;
  Bench pcm_identity;
  open_bench(&encoder, "zelg719enc", pcm_caps);
  open_bench(&pcm_identity, "identity", pcm_caps);
  std::vector<GstBuffer*> payloads;
  encoder.kept = &payloads;
  push_round(&encoder, pcm);
  encoder.kept = nullptr;
  expect(payloads.size() == FRAMES, "not one payload for each frame");

  Bench decoder;
  Bench payload_identity;
  GstCaps* const payload_caps = gst_pad_get_current_caps(encoder.sink);
  open_bench(&decoder, "zelg719dec", payload_caps);
  open_bench(&payload_identity, "identity", payload_caps);

  g719_encoder* const codec_encoder = g719_encoder_create(BITRATE);
  g719_decoder* const codec_decoder = g719_decoder_create(BITRATE);
  const std::vector<std::uint8_t> packed = payload_bytes(payloads);

  Least encode;
  Least decode;
  for (int round = 0; round < rounds; ++round) {
    encode.element = std::min(encode.element, push_round(&encoder, pcm));
    encode.identity = std::min(encode.identity, push_round(&pcm_identity, pcm));
    encode.codec = std::min(encode.codec, encode_round(codec_encoder, material));
    decode.element = std::min(decode.element, push_round(&decoder, payloads));
    decode.identity = std::min(decode.identity, push_round(&payload_identity, payloads));
    decode.codec = std::min(decode.codec, decode_round(codec_decoder, packed));
  }
  print(name, "encode", encode);
  print(name, "decode", decode);
  for (const Bench* const bench : {&encoder, &pcm_identity, &decoder, &payload_identity}) {
    gst_element_set_state(bench->element, GST_STATE_NULL);
  }
}

}  // namespace

int main(int argc, char** argv) {
  gst_init(nullptr, nullptr);
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 20;
  for (const char* const name : MATERIALS) measure(name, rounds);
  return 0;
}
