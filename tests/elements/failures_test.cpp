// What the elements do when memory cannot be had or cannot be mapped. The plug-in is linked in
// here, registered by hand, with create and the base classes' allocation in the test's power.
#include <gst/audio/gstaudiodecoder.h>
#include <gst/audio/gstaudioencoder.h>

#include "g719.h"
#include "support.h"

static bool create_fails = false;
static bool output_allocation_fails = false;

extern "C" {

GST_PLUGIN_STATIC_DECLARE(zelg719_avx);

g719_encoder* __real__Z19g719_encoder_createi(std::int32_t bitrate);
g719_decoder* __real__Z19g719_decoder_createi(std::int32_t bitrate);

g719_encoder* __wrap__Z19g719_encoder_createi(std::int32_t bitrate) {
  return create_fails ? nullptr : __real__Z19g719_encoder_createi(bitrate);
}

g719_decoder* __wrap__Z19g719_decoder_createi(std::int32_t bitrate) {
  return create_fails ? nullptr : __real__Z19g719_decoder_createi(bitrate);
}

GstBuffer* __real_gst_audio_encoder_allocate_output_buffer(GstAudioEncoder* base, gsize size);
GstBuffer* __real_gst_audio_decoder_allocate_output_buffer(GstAudioDecoder* base, gsize size);

GstBuffer* __wrap_gst_audio_encoder_allocate_output_buffer(GstAudioEncoder* base, gsize size) {
  if (output_allocation_fails) return nullptr;
  return __real_gst_audio_encoder_allocate_output_buffer(base, size);
}

GstBuffer* __wrap_gst_audio_decoder_allocate_output_buffer(GstAudioDecoder* base, gsize size) {
  if (output_allocation_fails) return nullptr;
  return __real_gst_audio_decoder_allocate_output_buffer(base, size);
}
}

namespace {

// Gives memory that cannot be mapped.
struct BrokenAllocator {
  GstAllocator parent;
};
struct BrokenAllocatorClass {
  GstAllocatorClass parent_class;
};
G_DEFINE_TYPE(BrokenAllocator, broken_allocator, GST_TYPE_ALLOCATOR)

GstMemory* broken_alloc(GstAllocator* allocator, gsize size, GstAllocationParams*) {
  auto* memory = g_new0(GstMemory, 1);
  gst_memory_init(memory, GST_MEMORY_FLAG_NO_SHARE, allocator, nullptr, size, 0, 0, size);
  return memory;
}

void broken_allocator_class_init(BrokenAllocatorClass* klass) {
  GST_ALLOCATOR_CLASS(klass)->alloc = broken_alloc;
  GST_ALLOCATOR_CLASS(klass)->free = [](GstAllocator*, GstMemory* memory) { g_free(memory); };
}

void broken_allocator_init(BrokenAllocator* self) {
  GST_ALLOCATOR(self)->mem_type = "broken";
  GST_ALLOCATOR(self)->mem_map = [](GstMemory*, gsize, GstMapFlags) -> gpointer { return nullptr; };
  GST_ALLOCATOR(self)->mem_unmap = [](GstMemory*) {};
  GST_OBJECT_FLAG_SET(self, GST_ALLOCATOR_FLAG_CUSTOM_ALLOC);
}

GstAllocator* new_broken_allocator() {
  return GST_ALLOCATOR(gst_object_ref_sink(g_object_new(broken_allocator_get_type(), nullptr)));
}

GstBuffer* new_unmappable_buffer(gsize size) {
  GstAllocator* allocator = new_broken_allocator();
  GstBuffer* buffer = gst_buffer_new();
  gst_buffer_append_memory(buffer, broken_alloc(allocator, size, nullptr));
  gst_object_unref(allocator);
  return buffer;
}

class Failures : public testing::Test {
 protected:
  static void SetUpTestSuite() { GST_PLUGIN_STATIC_REGISTER(zelg719_avx); }
  void TearDown() override { create_fails = output_allocation_fails = false; }
};

TEST_F(Failures, EncoderCannotBeCreatedAtStart) {
  GstElement* encoder = gst_element_factory_make("zelg719enc", nullptr);
  GstBus* bus = gst_bus_new();
  gst_element_set_bus(encoder, bus);
  create_fails = true;
  EXPECT_EQ(gst_element_set_state(encoder, GST_STATE_PLAYING), GST_STATE_CHANGE_FAILURE);
  GstMessage* message = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
  ASSERT_NE(message, nullptr);
  GError* error = nullptr;
  gst_message_parse_error(message, &error, nullptr);
  EXPECT_STREQ(error->message, "Could not create a G.719 encoder.");
  g_error_free(error);
  gst_message_unref(message);

  create_fails = false;
  gst_element_set_state(encoder, GST_STATE_NULL);
  EXPECT_NE(gst_element_set_state(encoder, GST_STATE_PLAYING), GST_STATE_CHANGE_FAILURE);
  gst_element_set_state(encoder, GST_STATE_NULL);
  gst_element_set_bus(encoder, nullptr);
  gst_object_unref(bus);
  gst_object_unref(encoder);
}

TEST_F(Failures, EncoderCannotBeCreatedForANewBitrate) {
  const Bytes pcm = test_audio(1, 1);
  Element encoder("zelg719enc", 64000);
  ASSERT_EQ(encoder.push(pcm), GST_FLOW_OK);
  create_fails = true;
  g_object_set(encoder.h->element, "bitrate", 32000, nullptr);
  EXPECT_EQ(encoder.push(pcm), GST_FLOW_ERROR);
  EXPECT_EQ(encoder.error(), "Could not create a G.719 encoder.");
  EXPECT_EQ(encoder.push(pcm), GST_FLOW_ERROR);
  EXPECT_EQ(encoder.pull().size(), 1U);
}

TEST_F(Failures, DecoderCannotBeCreated) {
  Element decoder("zelg719dec");
  ASSERT_EQ(decoder.push(payload(0x40, 1, Bytes(160))), GST_FLOW_OK);
  create_fails = true;
  EXPECT_EQ(decoder.push(payload(0x30, 1, Bytes(120))), GST_FLOW_ERROR);
  EXPECT_EQ(decoder.error(), "Could not create a G.719 decoder.");
  EXPECT_EQ(decoder.push(payload(0x30, 1, Bytes(120))), GST_FLOW_ERROR);
  create_fails = false;
  EXPECT_EQ(decoder.push(payload(0x30, 1, Bytes(120))), GST_FLOW_OK);
  EXPECT_EQ(decoder.pull().size(), 2U);
}

// The base class copies input into frames of its own, so the call stands for it.
TEST_F(Failures, EncoderInputCannotBeMapped) {
  Element encoder("zelg719enc");
  GstBuffer* buffer = new_unmappable_buffer(FRAME_PCM_BYTES);
  auto* base = GST_AUDIO_ENCODER(encoder.h->element);
  EXPECT_EQ(GST_AUDIO_ENCODER_GET_CLASS(base)->handle_frame(base, buffer), GST_FLOW_ERROR);
  gst_buffer_unref(buffer);
  EXPECT_EQ(encoder.error(), "Could not map the audio to encode.");
}

TEST_F(Failures, DecoderInputCannotBeMapped) {
  Element decoder("zelg719dec");
  EXPECT_EQ(gst_harness_push(decoder.h, new_unmappable_buffer(162)), GST_FLOW_ERROR);
  EXPECT_EQ(decoder.error(), "Could not map the payload.");
}

TEST_F(Failures, OutputCannotBeMapped) {
  Element encoder("zelg719enc");
  gst_harness_set_propose_allocator(encoder.h, new_broken_allocator(), nullptr);
  EXPECT_EQ(encoder.push(test_audio(1, 1)), GST_FLOW_ERROR);
  EXPECT_EQ(encoder.error(), "Could not map the buffer for the payload.");

  Element decoder("zelg719dec");
  gst_harness_set_propose_allocator(decoder.h, new_broken_allocator(), nullptr);
  EXPECT_EQ(decoder.push(payload(0x40, 1, Bytes(160))), GST_FLOW_ERROR);
  EXPECT_EQ(decoder.error(), "Could not map the buffer for the audio.");
}

TEST_F(Failures, OutputCannotBeAllocated) {
  LogCapture encoder_log("g719enc"), decoder_log("g719dec");
  output_allocation_fails = true;
  Element encoder("zelg719enc");
  EXPECT_EQ(encoder.push(test_audio(1, 1)), GST_FLOW_ERROR);
  EXPECT_EQ(encoder_log.count("DEBUG failed to alloc buffer"), 1);

  Element decoder("zelg719dec");
  EXPECT_EQ(decoder.push(payload(0x40, 1, Bytes(160))), GST_FLOW_ERROR);
  EXPECT_EQ(decoder_log.count("WARN failed to allocate buffer"), 1);
}

}  // namespace
