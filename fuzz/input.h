// What the fuzzers share: made-up bytes that are taken piece by piece, zeros when none are left.
#pragma once

#undef NDEBUG
#include <algorithm>
#include <cassert>
#include <memory>
#include <vector>

#include "frame/processor_level.h"

inline constexpr int MAX_FRAMES = 8;  // a run

struct Input {
  const std::uint8_t* data;
  std::size_t size;

  // A block of its own, so that a step outside is seen.
  template <typename Value>
  std::vector<Value> take(std::size_t count) {
    std::vector<Value> block(count);
    const std::size_t taken = std::min(size, count * sizeof(Value));
    std::copy_n(data, taken, reinterpret_cast<std::uint8_t*>(block.data()));
    data += taken;
    size -= taken;
    return block;
  }
  std::uint8_t byte() { return take<std::uint8_t>(1)[0]; }
};
