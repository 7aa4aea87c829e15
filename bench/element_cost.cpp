// Cost of both pairs of elements beside identity in their place and the codec without any element,
// in microseconds a frame at 64000 bit/s: lines of material, direction, what, least time of all
// rounds.
//
//   element_cost ROUNDS
#include <gst/check/gstharness.h>

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
constexpr int FRAMES = 400;  // of one round
constexpr const char* PCM_CAPS =
    "audio/x-raw, format=S16LE, layout=interleaved, rate=48000, channels=1";

void expect(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what);
  std::exit(1);
}

GstHarness* open_harness(const char* element, GstCaps* caps) {
  GstHarness* const harness = gst_harness_new(element);
  gst_harness_set_src_caps(harness, caps);
  return harness;
}

// Copies of `contents` as round number `round` of the stream. Microseconds of this thread.
double push_round(GstHarness* harness, const std::vector<GstBuffer*>& contents, int round) {
  std::vector<GstBuffer*> buffers;
  for (GstBuffer* const content : contents) {
    const auto frame = static_cast<GstClockTime>(round) * FRAMES + buffers.size();
    GstBuffer* const buffer = gst_buffer_copy(content);
    GST_BUFFER_PTS(buffer) = frame * 20 * GST_MSECOND;
    GST_BUFFER_DURATION(buffer) = 20 * GST_MSECOND;
    buffers.push_back(buffer);
  }
  const unsigned before = gst_harness_buffers_received(harness);
  const double start = thread_microseconds();
  for (GstBuffer* const buffer : buffers) gst_harness_push(harness, buffer);
  const double stop = thread_microseconds();
  expect(gst_harness_buffers_received(harness) - before >= FRAMES - 1, "buffers are missing");
  return stop - start;
}

// A first round, whose output is kept.
std::vector<GstBuffer*> push_and_pull(GstHarness* harness,
                                      const std::vector<GstBuffer*>& contents) {
  std::vector<GstBuffer*> pulled;
  push_round(harness, contents, 0);
  while (GstBuffer* const buffer = gst_harness_try_pull(harness)) pulled.push_back(buffer);
  expect(pulled.size() == FRAMES, "not one payload for each frame");
  return pulled;
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

double encode_round(g719_encoder* encoder, const Material& material, std::uint8_t* payloads) {
  const double start = thread_microseconds();
  for (int i = 0; i < FRAMES; ++i) {
    g719_encoder_encode(encoder, material.samples.data() + material_offset(i, FRAME_SAMPLES),
                        payloads + i * encoder->frame_bytes);
  }
  return thread_microseconds() - start;
}

double decode_round(g719_decoder* decoder, const std::uint8_t* payloads) {
  std::int16_t samples[FRAME_SAMPLES];
  const double start = thread_microseconds();
  for (int i = 0; i < FRAMES; ++i) {
    g719_decoder_decode(decoder, payloads + i * decoder->frame_bytes, samples, 0);
  }
  return thread_microseconds() - start;
}

void measure(const char* name, int rounds) {
  const Material material = load_material(name);
  const std::vector<GstBuffer*> pcm = pcm_buffers(material);
  GstHarness* const encoder = open_harness("zelg719enc", gst_caps_from_string(PCM_CAPS));
  GstHarness* const pcm_identity = open_harness("identity", gst_caps_from_string(PCM_CAPS));
  GstHarness* const stream_encoder =
      open_harness("zelg719streamenc", gst_caps_from_string(PCM_CAPS));
  const std::vector<GstBuffer*> payloads = push_and_pull(encoder, pcm);
  GstHarness* const decoder =
      open_harness("zelg719dec", gst_pad_get_current_caps(encoder->sinkpad));
  GstHarness* const stream_decoder =
      open_harness("zelg719streamdec", gst_pad_get_current_caps(encoder->sinkpad));
  GstHarness* const payload_identity =
      open_harness("identity", gst_pad_get_current_caps(encoder->sinkpad));
  const auto harnesses = {encoder, stream_encoder, pcm_identity,
                          decoder, stream_decoder, payload_identity};
  for (GstHarness* const harness : harnesses) gst_harness_set_drop_buffers(harness, TRUE);

  g719_encoder* const codec_encoder = g719_encoder_create(BITRATE);
  g719_decoder* const codec_decoder = g719_decoder_create(BITRATE);
  std::vector<std::uint8_t> packed(static_cast<std::size_t>(FRAMES * codec_encoder->frame_bytes));

  struct Measured {
    const char* label;
    double least = std::numeric_limits<double>::max();
  };
  Measured measured[] = {{"encode element"},  {"encode stream"},  {"encode identity"},
                         {"encode codec"},    {"decode element"}, {"decode stream"},
                         {"decode identity"}, {"decode codec"}};
  for (int round = 1; round <= rounds; ++round) {
    const double times[] = {push_round(encoder, pcm, round),
                            push_round(stream_encoder, pcm, round),
                            push_round(pcm_identity, pcm, round),
                            encode_round(codec_encoder, material, packed.data()),
                            push_round(decoder, payloads, round),
                            push_round(stream_decoder, payloads, round),
                            push_round(payload_identity, payloads, round),
                            decode_round(codec_decoder, packed.data())};
    for (std::size_t i = 0; i < std::size(times); ++i) {
      measured[i].least = std::min(measured[i].least, times[i]);
    }
  }
  for (const auto& [label, least] : measured) {
    std::printf("%s %s %.4f\n", name, label, least / FRAMES);
  }
  for (GstHarness* const harness : harnesses) gst_harness_teardown(harness);
}

}  // namespace

int main(int argc, char** argv) {
  gst_init(nullptr, nullptr);
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 20;
  for (const char* const name : MATERIALS) measure(name, rounds);
  return 0;
}
