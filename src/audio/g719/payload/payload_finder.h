// Finds the payloads in a stream of bytes, where they lie back to back and nothing marks their
// borders.
//
// In step, a payload begins where the one before ended, if its header names a frame size. A changed
// header is doubted: if headers like the last one stand inside the payload it promises, and would
// be believed out of step, it is the damaged one. Otherwise a wrong count byte costs 255 frames. A
// header without data, which stands for lost frames, is believed behind the first payload if
// another one follows, or one like the last.
//
// Out of step any two bytes may look like a header: one is believed when another with the same ToC
// byte and frame count stands where its payload ends, or the stream ends there. A ToC byte other
// than the last payload's needs two that follow. A changed header is doubted as it is in step.
//
// The work is linear in the bytes, whatever they are: each makes for no more than 14 looks at a
// header, and each call for 5 more. A byte is looked at as the start of a payload in step (1) and
// out of step, with two headers that must follow (3); to be added to the index of what lies ahead
// (2, as that may begin anew); when it comes first in its chain and is forgotten, with the header
// that follows (4); and where it is in doubt the first header of another chain, with the one that
// follows that, which stays there (4, in step and out of step).
#pragma once

#include <cstddef>
#include <cstdint>

#include "payload/header_index.h"

namespace g719 {

// Holds no memory of its own before the first doubt, then 1.54 MB.
struct PayloadFinder {
  bool in_step = true;         // a stream is expected to begin with a payload
  int channels = 1;            // to MAX_STREAM_CHANNELS, of all payloads
  HeaderKind last_kind = {};   // of the last payload with frames; {}, which none has, before it
  std::uint64_t position = 0;  // how many bytes the caller has dropped
  HeaderIndex ahead = {};
};

// One of these is not 0: at the end of the stream one of the first two.
struct FoundPayload {
  std::size_t skipped_bytes;  // belong to no payload
  std::size_t payload_bytes;  // are one, header included
  std::size_t wanted_bytes;   // must be held for another call to be worth while
};

// Says what the `size` bytes of the stream that are held begin with; at its end 1 at least. Before
// the next call the caller drops the bytes skipped or the payload, or adds bytes if some are
// wanted. How the stream is cut into calls does not change what is found. A header that is in doubt
// has to wait until two like the last one follow, or for up to two of the largest payloads. Only
// the last payload of a stream can be cut: it has fewer bytes than its header promises.
FoundPayload find_payload(const std::uint8_t* bytes, std::size_t size, bool at_end,
                          PayloadFinder* finder);

}  // namespace g719
