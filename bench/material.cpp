#include "material.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

Material load_material(const char* name) {
  const std::string path = std::string(BENCH_MATERIAL "/") + name + "like.pcm";
  Material material{std::vector<std::int16_t>(MATERIAL_PERIOD), {}};
  std::ifstream file(path, std::ios::binary);
  if (!file.read(reinterpret_cast<char*>(material.samples.data()),
                 MATERIAL_PERIOD * sizeof(std::int16_t))) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    std::exit(1);
  }
  material.samples.reserve(MATERIAL_PERIOD + MATERIAL_FRAME_MAX);
  for (int i = 0; i < MATERIAL_FRAME_MAX; ++i) {
    material.samples.push_back(material.samples[static_cast<std::size_t>(i)]);
  }
  for (const std::int16_t sample : material.samples) {
    material.float_samples.push_back(static_cast<float>(sample) / 32768.0f);
  }
  return material;
}
