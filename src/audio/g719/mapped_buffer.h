#pragma once

#include <gst/gst.h>

// A buffer mapped for as long as the scope lasts, which must end before the buffer is handed on.
// Nothing may be assumed about the alignment of the data. When mapping failed the object is false
// and has no data.
class MappedBuffer {
 public:
  MappedBuffer(GstBuffer* buffer, GstMapFlags flags)
      : buffer_(gst_buffer_map(buffer, &info_, flags) ? buffer : nullptr) {}
  ~MappedBuffer() {
    if (buffer_ != nullptr) gst_buffer_unmap(buffer_, &info_);
  }
  MappedBuffer(const MappedBuffer&) = delete;
  MappedBuffer& operator=(const MappedBuffer&) = delete;

  explicit operator bool() const { return buffer_ != nullptr; }
  guint8* data() const { return info_.data; }
  gsize size() const { return info_.size; }

 private:
  GstMapInfo info_ = GST_MAP_INFO_INIT;
  GstBuffer* buffer_;
};
