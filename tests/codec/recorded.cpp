#include <gtest/gtest.h>

#include <fstream>

#include "frame/processor_level.h"
#include "material.h"

namespace codec_test {

static bool updating = false;

void expect_recorded(const std::string& file, const std::string& name, const std::string& entries) {
  const std::string path = DIGESTS_DIR "/" + file + ".txt", now = name + " " + entries;
  std::vector<std::string> lines;
  std::ifstream stream(path);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  auto line = std::ranges::find_if(lines, [&](auto& l) { return l.starts_with(name + " "); });
  if (line == lines.end()) line = lines.insert(line, name + " not recorded");
  if (updating) {
    *line = now;
    std::ofstream updated(path);
    for (const std::string& l : lines) updated << l << "\n";
  }
  if (*line == now) return;
  const auto same = std::ranges::mismatch(now, *line).in1;
  ADD_FAILURE() << "entry " << std::count(now.begin(), same, ' ') - 1 << " differs first\nnow      "
                << now << "\nrecorded " << *line;
}

}  // namespace codec_test

// With --update the digest files are written anew. 77 says that this processor lacks the level.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  codec_test::updating = argc > 1 && std::string(argv[1]) == "--update";
  if (find_processor_level(LEVEL) != nullptr) return RUN_ALL_TESTS();
  return 77;
}
