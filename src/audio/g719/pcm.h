// One frame of samples between the codec, which works on host order, and buffers of S16LE at any
// address.
#pragma once

#include <gst/gst.h>

#include <cstring>

#include "g719.h"

inline constexpr gsize FRAME_PCM_BYTES = G719_FRAME_SAMPLES * sizeof(gint16);

inline void read_samples(const guint8* pcm, gint16* samples) {
  std::memcpy(samples, pcm, FRAME_PCM_BYTES);
  for (int i = 0; i < G719_FRAME_SAMPLES; i++) samples[i] = GINT16_FROM_LE(samples[i]);
}

inline void write_samples(const gint16* samples, guint8* pcm) {
  for (int i = 0; i < G719_FRAME_SAMPLES; i++, pcm += sizeof(gint16)) {
    const gint16 sample = GINT16_TO_LE(samples[i]);
    std::memcpy(pcm, &sample, sizeof sample);
  }
}

// Whether the codec can work on the samples where they are: aligned, on a host whose order is
// S16LE.
inline bool holds_samples(const guint8* pcm) {
  return G_BYTE_ORDER == G_LITTLE_ENDIAN && reinterpret_cast<guintptr>(pcm) % alignof(gint16) == 0;
}
