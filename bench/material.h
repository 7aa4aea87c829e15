// One second of sound that repeats without end, mono at 48000 Hz.
#pragma once

#include <cstdint>
#include <vector>

constexpr int MATERIAL_PERIOD = 48000;
constexpr int MATERIAL_FRAME_MAX = 1024;

inline constexpr const char* MATERIALS[] = {"speech", "music"};

// The period, followed by as much of its beginning as one frame can need.
struct Material {
  std::vector<std::int16_t> samples;
  std::vector<float> float_samples;  // the same, -1 to 1
};

// Exits with a message when the file cannot be read.
Material load_material(const char* name);

// Where frame `index` of `frame_samples` samples begins.
constexpr int material_offset(int index, int frame_samples) {
  return static_cast<int>(std::int64_t{index} * frame_samples % MATERIAL_PERIOD);
}
