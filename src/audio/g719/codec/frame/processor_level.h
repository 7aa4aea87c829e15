#pragma once

#include <cstdint>

#include "base/word.h"

// An instruction set that the library holds a copy of the codec for. All copies work on the same
// records and give the same bits.
struct ProcessorLevel {
  const char* name;
  bool (*is_supported)();  // by the processor and the operating system
  void (*encode)(const std::int16_t* samples, std::uint8_t* bytes, g719_encoder_state* state);
  void (*decode)(const std::uint8_t* bytes, bool erased, std::int16_t* samples,
                 g719_decoder_state* state);
};

// The level of this name, or null when the library or this machine does not have it.
const ProcessorLevel* find_processor_level(const char* name);

// The best level that the library has and this machine supports; the same in every call.
const ProcessorLevel* processor_level();
