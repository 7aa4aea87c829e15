// The frame-blocks that were sent last, to be sent again as copies.
#pragma once

#include <gst/gst.h>

inline constexpr gint MAX_COPIES = 4;  // of blocks, in a packet

struct SentBlock {
  GstBuffer* frames;  // owned
  gint length_code;
};

struct SentBlocks {
  SentBlock block[MAX_COPIES];  // the oldest first
  gint count;
};

inline void forget_sent_blocks(SentBlocks* sent) {
  while (sent->count > 0) gst_buffer_unref(sent->block[--sent->count].frames);
}

// Remembers the last of the `blocks` blocks of equal size in `frames`. Their bytes are not copied.
inline void remember_sent_blocks(SentBlocks* sent, GstBuffer* frames, gint length_code,
                                 gint blocks) {
  const gsize block_bytes = gst_buffer_get_size(frames) / blocks;
  for (gint i = MAX(blocks - MAX_COPIES, 0); i < blocks; i++) {
    if (sent->count == MAX_COPIES) {
      gst_buffer_unref(sent->block[0].frames);
      for (gint k = 1; k < MAX_COPIES; k++) sent->block[k - 1] = sent->block[k];
      sent->count--;
    }
    GstBuffer* block =
        gst_buffer_copy_region(frames, GST_BUFFER_COPY_MEMORY, i * block_bytes, block_bytes);
    sent->block[sent->count++] = {block, length_code};
  }
}
