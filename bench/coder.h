// One coder under measurement, mono at 48000 Hz. Every frame_cost program links one definition.
#pragma once

#include <cstdint>

constexpr int PACKET_CAPACITY = 1024;

struct Packet {
  int size;                             // 0: the coder still fills its look-ahead
  std::uint8_t bytes[PACKET_CAPACITY];  // zeros past `size`, which FFmpeg's readers rely on
};

struct Coder;  // an encoder and a decoder

extern const int CODER_FRAME_SAMPLES;

// Exits with a message where the library refuses. `complexity` is Opus's; others ignore it.
Coder* coder_open(int bitrate, int complexity);

// One frame, given both as 16-bit and as floating-point samples (-1 to 1), so that no coder pays
// for a conversion.
void coder_encode(Coder* coder, const std::int16_t* samples, const float* float_samples,
                  Packet* packet);

// Decodes one packet into the coder's own memory. Gives the number of samples.
int coder_decode(Coder* coder, const Packet* packet);
