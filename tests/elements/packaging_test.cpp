// The plug-in as a user meets it: plays packaging.txt in the shell.
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>

#include "support.h"

static std::string shell(const std::string& command) {
  const std::string line = "{ { " + command + "\n} 2>&1 || echo exit $?; } | sed 's/^/=> /'";
  FILE* pipe = popen(line.c_str(), "r");
  std::string output;
  for (int c = getc(pipe); c != EOF; c = getc(pipe)) output += static_cast<char>(c);
  pclose(pipe);
  return output;
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // A user's environment instead of the test runner's.
  for (const char* variable :
       {"LC_ALL=C.UTF-8", "GTEST_OUTPUT=", "GST_TRACERS=", "GST_DEBUG=", "BUILD=" BUILD,
        "DUMP=" DUMP, "ELEMENTS_TEST=" ELEMENTS_TEST, "EXAMPLE=" EXAMPLE,
        "GST_PLUGIN_PATH=" PLUGIN_PATH, "HERE=" SOURCE "/tests/elements",
        "LOSSY_DECODE=" LOSSY_DECODE, "PLUGIN=" PLUGIN, "PLUGIN_DIR=" PLUGIN_DIR,
        "STREAM_PLUGIN=" STREAM_PLUGIN}) {
    putenv(const_cast<char*>(variable));
  }
  std::string folder = std::filesystem::temp_directory_path() / "zelg719-XXXXXX";
  std::filesystem::current_path(mkdtemp(folder.data()));
  add_cases(SOURCE "/tests/elements/packaging.txt", [](const std::string&) { return shell; });
  const int result = RUN_ALL_TESTS();
  std::filesystem::remove_all(folder);
  return result;
}
