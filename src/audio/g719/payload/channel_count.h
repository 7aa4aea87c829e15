// How many channels a stream of payloads has. Its headers do not say so, but the next one stands
// where a payload of that many channels ends.
#pragma once

#include <cstddef>
#include <cstdint>

namespace g719 {

// So many equal headers, each where the payload before ends, are 48 bits that no chance brings
// about.
inline constexpr int HEADERS_IN_A_ROW = 4;

struct ChannelCount {
  int channels;              // 1 or 2; 0: more bytes have to tell
  std::size_t wanted_bytes;  // of the stream, from its start, if so
};

// Judges by the first `size` bytes of a stream: it has two channels if the headers stand as they do
// with two, and not as with one. A stream that ends before is as good as HEADERS_IN_A_ROW if a
// second header stood there or it ends with a payload. Looks at no more than nine headers, and
// wants no more than three payloads and a header. How the stream is cut into calls does not change
// what comes of it.
ChannelCount count_channels(const std::uint8_t* bytes, std::size_t size, bool at_end);

}  // namespace g719
