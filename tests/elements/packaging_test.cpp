// The plug-in as a user meets it: its file, the stock tools, the installed tree, the example.
#include <regex>
#include <sstream>

#include "support.h"

namespace {

struct Outcome {
  int status;  // exit status, -1 after a signal
  std::string output;
};

// Runs a shell command in a user's environment, not the test runner's.
Outcome shell(const std::string& command) {
  gchar* output = nullptr;
  gint wait_status = 0;
  const std::string line =
      "unset GTEST_OUTPUT GST_TRACERS GST_DEBUG GST_PLUGIN_PATH; export LC_ALL=C; exec 2>&1; " +
      command;
  const gchar* argv[] = {"/bin/sh", "-c", line.c_str(), nullptr};
  GError* error = nullptr;
  if (!g_spawn_sync(nullptr, const_cast<gchar**>(argv), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr,
                    &output, nullptr, &wait_status, &error)) {
    Outcome failed = {-1, error->message};
    g_error_free(error);
    return failed;
  }
  Outcome outcome = {WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1, output};
  g_free(output);
  return outcome;
}

const std::string PLUGIN_PATH = "GST_PLUGIN_PATH=" PLUGIN_DIR " ";

TEST(Packaging, TwoExports) {
  const Outcome nm = shell("nm -D --defined-only " PLUGIN_FILE_NAME " | sort -k 3");
  EXPECT_EQ(nm.status, 0);
  const std::regex expected(
      "[0-9a-f]+ T gst_plugin_zelg719_avx_get_desc\n[0-9a-f]+ T gst_plugin_zelg719_avx_register\n");
  EXPECT_TRUE(std::regex_match(nm.output, expected)) << nm.output;
}

TEST(Packaging, InspectPlugin) {
  const Outcome inspect = shell(PLUGIN_PATH + "gst-inspect-1.0 zelg719_avx");
  EXPECT_EQ(inspect.status, 0);
  for (const char* pattern :
       {"Name +zelg719_avx\n", "Description +Zelkor AS world-class audio elements\n",
        "Version +1\\.0\\.20\n", "License +Proprietary\n", "Source module +Zelkor\n",
        "Binary package +GStreamer\n", "Origin URL +https://[a-z.]+\\.example/\n",
        "zelg719dec: G\\.719 Decoder element\n *zelg719enc: G\\.719 Encoder element\n",
        "2 features:\n *\\+-- 2 elements\n"}) {
    EXPECT_TRUE(std::regex_search(inspect.output, std::regex(pattern))) << pattern << "\n"
                                                                        << inspect.output;
  }
}

TEST(Packaging, InspectElements) {
  const Outcome encoder = shell(PLUGIN_PATH + "gst-inspect-1.0 zelg719enc");
  const Outcome decoder = shell(PLUGIN_PATH + "gst-inspect-1.0 zelg719dec");
  EXPECT_EQ(encoder.status, 0);
  EXPECT_EQ(decoder.status, 0);
  for (const char* pattern :
       {"Rank +none \\(0\\)\n", "Klass +Codec/Encoder/Audio \n",
        "bitrate: \\{ \\(int\\)32000, \\(int\\)48000, \\(int\\)64000 \\}\n",
        "bitrate +: The bitrate to decode\n *flags: readable, writable\n *Enum \"[A-Za-z0-9]+\" "
        "Default: 64000, \"64000\"\n"}) {
    EXPECT_TRUE(std::regex_search(encoder.output, std::regex(pattern))) << pattern << "\n"
                                                                        << encoder.output;
  }
  for (const char* pattern : {"Rank +none \\(0\\)\n", "Klass +Codec/Decoder/Audio \n",
                              "SINK template: 'sink'\n.*\n.*\n *audio/G719\n"}) {
    EXPECT_TRUE(std::regex_search(decoder.output, std::regex(pattern))) << pattern << "\n"
                                                                        << decoder.output;
  }
}

TEST(Packaging, UsableUninstalled) {
  const Outcome inspect = shell("meson devenv -C " BUILD_DIR " gst-inspect-1.0 zelg719_avx");
  EXPECT_EQ(inspect.status, 0) << inspect.output;
  EXPECT_NE(inspect.output.find(PLUGIN_FILE_NAME), std::string::npos) << inspect.output;
}

TEST(Packaging, InstalledWhereGStreamerLooks) {
  const TemporaryFolder root;
  const Outcome install =
      shell("meson install -C " BUILD_DIR " --no-rebuild --quiet --destdir " + root.path);
  ASSERT_EQ(install.status, 0) << install.output;
  const std::string plugins = root.path + INSTALLED_PLUGIN_DIR;
  const Outcome inspect =
      shell("GST_PLUGIN_PATH=" + plugins + " gst-inspect-1.0 zelg719_avx | grep Filename");
  EXPECT_NE(inspect.output.find(plugins + "/libgstzelg719_avx.so"), std::string::npos)
      << inspect.output;
}

TEST(Packaging, ExampleApplication) {
  const TemporaryFolder folder;
  const Outcome run = shell(EXAMPLE " " + (folder / "tone.wav"));
  EXPECT_EQ(run.status, 0) << run.output;
  const Bytes wav = read_file(folder / "tone.wav");
  ASSERT_GE(wav.size(), 50 * FRAME_PCM_BYTES);
  EXPECT_EQ(std::string(wav.begin(), wav.begin() + 4), "RIFF");
  // Silence for the codec's delay, then the tone.
  int loudest = 0;
  for (gsize i = wav.size() / 2; i < wav.size(); i++) loudest = std::max(loudest, int{wav[i]});
  EXPECT_GT(loudest, 0);
  EXPECT_EQ(shell(EXAMPLE " /nowhere/at/all.wav").status, 1);
}

// The pipelines that the README shows, in its order and in one folder. A tone stands for the
// microphone and a file for the loudspeaker, which must not stay silent.
TEST(Packaging, PipelinesOfTheReadme) {
  const Bytes readme = read_file(README);
  const std::string text(readme.begin(), readme.end());
  const std::string port = std::to_string(g_random_int_range(20000, 60000));
  const TemporaryFolder folder;
  const std::regex code("```sh\n([^`]*)```"), command("gst-launch-1\\.0(\\\\\n|[^\n])*");
  int commands = 0;
  for (std::sregex_iterator block(text.begin(), text.end(), code), end; block != end; ++block) {
    const std::string lines = (*block)[1];
    for (std::sregex_iterator i(lines.begin(), lines.end(), command); i != end; ++i, ++commands) {
      std::string line = i->str();
      const bool heard = line.find("autoaudiosink") != std::string::npos;
      const bool receiver = line.find("udpsrc") != std::string::npos;
      line = std::regex_replace(line, std::regex("autoaudiosrc"),
                                "audiotestsrc is-live=true num-buffers=100");
      line = std::regex_replace(line, std::regex("autoaudiosink"), "filesink location=heard");
      line = std::regex_replace(line, std::regex("port=5004"), "port=" + port);
      std::string script = "cd " + folder.path + "; " + PLUGIN_PATH + "; export GST_PLUGIN_PATH; ";
      script += receiver ? "timeout -s INT 7 " + line + " >/dev/null 2>&1 & sleep 2" : line;
      const Outcome run = shell(script);
      EXPECT_EQ(run.status, 0) << line << "\n" << run.output;
      if (!receiver && (heard || line.find("udpsink") != std::string::npos)) {
        EXPECT_GT(read_file(folder / "heard").size(), FRAME_PCM_BYTES * 20) << line;
        write_file(folder / "heard", {});
      }
    }
  }
  EXPECT_EQ(commands, 8);
}

// Start, stop, error and flush paths and every failure, with each block of memory accounted for.
TEST(Packaging, ValgrindFindsNothing) {
  const std::string valgrind =
      "G_DEBUG=fatal-warnings valgrind -q --leak-check=full --errors-for-leak-kinds=definite "
      "--show-leak-kinds=definite --error-exitcode=99 "
      "--suppressions=/usr/share/glib-2.0/valgrind/glib.supp --suppressions=" VALGRIND_SUPPRESSIONS
      " ";
  for (const char* program :
       {ELEMENTS_TEST " --gtest_filter=Encoder*:Decoder*:*Lifecycle*-*OneMinute*", FAILURES_TEST}) {
    const Outcome run = shell(valgrind + program);
    EXPECT_EQ(run.status, 0) << run.output;
  }
}

}  // namespace
