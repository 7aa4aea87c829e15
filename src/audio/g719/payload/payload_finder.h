// Finds the payloads in a stream of bytes, where they lie back to back and nothing marks their
// borders.
//
// In step, a payload begins where the one before ended, if its header names a frame size. A changed
// header is doubted: if headers like the last one stand inside the payload it promises, and would
// be believed out of step, it is the damaged one. A wrong count byte would else swallow 255 frames.
//
// Out of step any two bytes may look like a header: one is believed when another with the same ToC
// byte and frame count stands where its payload ends, or the stream ends there. A ToC byte other
// than the last payload's needs two that follow. A changed header is doubted as it is in step.
#pragma once

#include <cstddef>
#include <cstdint>

namespace g719 {

// A stream is expected to begin with a payload.
struct FinderState {
  bool in_step = true;
  // Of the last payload with frames; 0, which none has, before the first.
  std::uint8_t toc = 0;
  std::uint8_t count = 0;
};

struct FoundPayload {
  std::size_t skipped_bytes;  // in front of it; they belong to no payload
  std::size_t payload_bytes;  // header included; 0: there is none in these bytes
  std::size_t wanted_bytes;   // behind those skipped, for another call to be worth while
};

// Looks for the next payload in the `size` bytes of the stream that are held. The caller drops the
// skipped bytes and the payload before the next call; when there is no payload, it comes back with
// the rest and more bytes, unless the stream is at its end. How the stream is cut into calls does
// not change what is found. A header that is in doubt has to wait until two like the last one
// follow, or for up to two of the largest payloads. Only the last payload of a stream can be cut:
// it has fewer bytes than its header promises.
FoundPayload find_payload(const std::uint8_t* bytes, std::size_t size, bool at_end,
                          FinderState* state);

}  // namespace g719
