// The elements one by one. The plug-in is linked in, with much of what it calls in our power.
#include <gst/audio/gstaudiodecoder.h>
#include <gst/audio/gstaudioencoder.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <thread>

#include "support.h"

extern "C" {

GST_PLUGIN_STATIC_DECLARE(zelg719_avx);
GST_PLUGIN_STATIC_DECLARE(zelg719stream);

// The linker puts __wrap_NAME into the place of NAME.
#define CAN_FAIL(what, failure, type, name, parameters, arguments) \
  type __real_##name parameters;                                   \
  type __wrap_##name parameters { return broken == (what) ? (failure) : __real_##name arguments; }
CAN_FAIL("create", nullptr, g719_encoder*, g719_encoder_create, (gint bitrate), (bitrate))
CAN_FAIL("create", nullptr, g719_decoder*, g719_decoder_create, (gint bitrate), (bitrate))
CAN_FAIL("allocate", nullptr, GstBuffer*, gst_audio_encoder_allocate_output_buffer,
         (GstAudioEncoder * base, gsize size), (base, size))
CAN_FAIL("allocate", nullptr, GstBuffer*, gst_audio_decoder_allocate_output_buffer,
         (GstAudioDecoder * base, gsize size), (base, size))
CAN_FAIL(flags == GST_MAP_READ ? "map input" : "map output", FALSE, gboolean, gst_buffer_map,
         (GstBuffer * buffer, GstMapInfo* info, GstMapFlags flags), (buffer, info, flags))
}

namespace {

TEST(Encoder, BitrateWrittenFromAnotherThread) {
  Element encoder("Encoder");
  std::atomic<bool> done = false;
  std::thread application([&] {
    for (gint i = 0; !done; i++) {
      g_object_set(encoder.h->element, "bitrate", 32000 + i % 3 * 16000, nullptr);
      g_usleep(100);
    }
  });
  for (int i = 0; i < 500; i++) {
    const std::string outcome = encoder.step("push 960");
    EXPECT_TRUE(outcome.starts_with("=> 1 on") || outcome.starts_with("=> 1 new")) << outcome;
  }
  done = true;
  application.join();
}

TEST(Encoder, UnknownProperty) {
  Element encoder("Encoder");
  GObject* object = G_OBJECT(encoder.h->element);
  GParamSpec* spec = g_object_class_find_property(G_OBJECT_GET_CLASS(object), "bitrate");
  g_test_expect_message(nullptr, G_LOG_LEVEL_WARNING, "*invalid property id 99*");
  G_OBJECT_GET_CLASS(object)->set_property(object, 99, nullptr, spec);
  g_test_expect_message(nullptr, G_LOG_LEVEL_WARNING, "*invalid property id 99*");
  G_OBJECT_GET_CLASS(object)->get_property(object, 99, nullptr, spec);
  g_test_assert_expected_messages();
}

Player start(const std::string& suite) {
  const auto element = std::make_shared<Element>(suite);
  return [element](const std::string& steps) {
    std::string outcomes;
    for (gsize at = 0, end = 0; end != std::string::npos; at = end + 2) {
      end = steps.find("; ", at);
      outcomes += element->step(steps.substr(at, end - at));
    }
    return outcomes;
  };
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  gst_init(nullptr, nullptr);
  GST_PLUGIN_STATIC_REGISTER(zelg719_avx);
  GST_PLUGIN_STATIC_REGISTER(zelg719stream);
  std::filesystem::current_path(SOURCE "/tests");
  add_cases("elements/cases.txt", start);
  const int result = RUN_ALL_TESTS();
  gst_deinit();
  return result;
}
