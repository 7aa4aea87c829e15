// What an instance weighs, and how throughput grows with threads: frames of music-like material
// that are encoded and decoded each second, best of many short windows.
//
//   codec_scaling WINDOWS
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "g719.h"
#include "material.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int BITRATE = 64000;
constexpr int FRAME_SAMPLES = 960;
constexpr auto WINDOW = std::chrono::milliseconds(50);

struct Worker {
  g719_encoder* encoder;
  g719_decoder* decoder;
  int frames;
};

void work(Worker* worker, const Material& material, std::atomic<int>* missing) {
  std::uint8_t bytes[320];
  std::int16_t samples[FRAME_SAMPLES];
  int frames = 0;
  missing->fetch_sub(1);
  while (missing->load() > 0) {
  }
  const auto end = Clock::now() + WINDOW;
  for (; Clock::now() < end; ++frames) {
    const int offset = material_offset(frames, FRAME_SAMPLES);
    g719_encoder_encode(worker->encoder, material.samples.data() + offset, bytes);
    g719_decoder_decode(worker->decoder, bytes, samples, 0);
  }
  worker->frames = frames;
}

// Frames a second of `count` threads together, each with its own instances.
double window_throughput(std::vector<Worker>* workers, int count, const Material& material) {
  std::atomic<int> missing = count;
  std::vector<std::thread> threads;
  for (int i = 1; i < count; ++i) {
    threads.emplace_back(work, &(*workers)[static_cast<std::size_t>(i)], std::cref(material),
                         &missing);
  }
  work(&(*workers)[0], material, &missing);
  for (std::thread& thread : threads) thread.join();
  double frames = 0;
  for (int i = 0; i < count; ++i) frames += (*workers)[static_cast<std::size_t>(i)].frames;
  return frames / std::chrono::duration<double>(WINDOW).count();
}

}  // namespace

int main(int argc, char** argv) {
  const int windows = argc > 1 ? std::atoi(argv[1]) : 60;
  const Material material = load_material("music");
  std::vector<Worker> workers;
  for (int i = 0; i < 2; ++i) {
    workers.push_back({g719_encoder_create(BITRATE), g719_decoder_create(BITRATE), 0});
  }
  double one = 0;
  double two = 0;
  for (int window = 0; window < windows; ++window) {
    one = std::max(one, window_throughput(&workers, 1, material));
    two = std::max(two, window_throughput(&workers, 2, material));
  }
  std::printf("encoder_bytes %zu\ndecoder_bytes %zu\n", sizeof(g719_encoder), sizeof(g719_decoder));
  std::printf("one_thread %.0f\ntwo_threads %.0f\n", one, two);
  for (const Worker& worker : workers) {
    g719_encoder_destroy(worker.encoder);
    g719_decoder_destroy(worker.decoder);
  }
  return 0;
}
