#include "typefind.h"

#include <algorithm>

#include "caps.h"
#include "payload/payload.h"

// A stream of payloads has no mark of its own: it is known by headers that are alike, each standing
// where the payload before ends.
static constexpr int HEADERS_IN_A_ROW = 4;
static constexpr gint MAX_FRAMES = 16;  // more, and the headers are too far apart to be looked for

// Text, tables and silent samples are full of equal bytes or pairs of bytes, and no frame is.
static bool holds_frames(const guint8* bytes, const g719::Payload& payload) {
  for (gint i = 0; i < payload.header.blocks; i++) {
    const guint8* frame = bytes + g719::frame_offset(payload, i);
    // Each byte is the one before the last.
    if (std::equal(frame + 2, frame + payload.frame_bytes, frame)) return false;
  }
  return true;
}

// Four equal headers are 48 bits that never agree by chance, while the finders that mistake frames
// for video go by one start code of 24 or 32 bits. So this one claims more certainty than they do.
static void find_type(GstTypeFind* find, gpointer caps) {
  const guint8* start = gst_type_find_peek(find, 0, g719::PAYLOAD_HEADER_BYTES);
  if (start == nullptr) return;
  const g719::Payload first = g719::read_payload(start, g719::PAYLOAD_HEADER_BYTES);
  const gint frames = first.header.blocks;
  if (first.header.has_follower || first.frame_bytes == 0 || frames < 1 || frames > MAX_FRAMES) {
    return;
  }
  const auto size = static_cast<guint>(g719::payload_bytes(first.header));
  const guint8* stream = gst_type_find_peek(find, 0, HEADERS_IN_A_ROW * size);
  if (stream == nullptr) return;
  for (int i = 0; i < HEADERS_IN_A_ROW; i++) {
    const guint8* payload = stream + i * size;
    if (!std::equal(payload, payload + g719::PAYLOAD_HEADER_BYTES, stream)) return;
    if (!holds_frames(payload, first)) return;
  }
  gst_type_find_suggest(find, GST_TYPE_FIND_NEARLY_CERTAIN, GST_CAPS(caps));
}

gboolean zel_g719_register_typefind(GstPlugin* plugin) {
  GstCaps* caps = gst_caps_from_string(G719_PAYLOAD_CAPS);
  const gboolean registered =
      gst_type_find_register(plugin, "audio/G719", GST_RANK_PRIMARY, find_type, "g719", caps,
                             gst_caps_ref(caps), reinterpret_cast<GDestroyNotify>(gst_caps_unref));
  gst_caps_unref(caps);
  return registered;
}
