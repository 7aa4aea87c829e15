#include "support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "frame/processor_level.h"

namespace codec_test {

namespace {

std::map<std::string, std::vector<std::string>> files;  // their lines
bool updating = false;

std::string path_of(const std::string& file) { return DIGESTS_DIR "/" + file + ".txt"; }

std::vector<std::string>* lines_of(const std::string& file) {
  if (!files.contains(file)) {
    std::ifstream stream(path_of(file));
    for (std::string line; std::getline(stream, line);) files[file].push_back(line);
  }
  return &files[file];
}

}  // namespace

void expect_recorded(const std::string& file, const std::string& name,
                     const std::vector<std::string>& entries) {
  std::string now = name;
  for (const std::string& entry : entries) now += " " + entry;
  auto* lines = lines_of(file);
  auto line = std::find_if(lines->begin(), lines->end(),
                           [&](const std::string& l) { return l.starts_with(name + " "); });
  if (line == lines->end()) line = lines->insert(line, name + " not recorded");
  if (updating) *line = now;
  if (*line == now) return;
  const auto same = std::mismatch(now.begin(), now.end(), line->begin(), line->end()).first;
  ADD_FAILURE() << "entry " << std::count(now.begin(), same, ' ') - 1 << " differs first\nnow      "
                << now << "\nrecorded " << *line;
}

}  // namespace codec_test

// With --update the digest files are written anew. The tests of a copy that the processor lacks are
// skipped, as this exit status says.
int main(int argc, char** argv) {
  using namespace codec_test;
  if (find_processor_level(LEVEL) == nullptr) return 77;
  testing::InitGoogleTest(&argc, argv);
  updating = argc > 1 && std::string(argv[1]) == "--update";
  const int result = RUN_ALL_TESTS();
  for (const auto& [file, lines] : files) {
    if (!updating) break;
    std::ofstream stream(path_of(file));
    for (const std::string& line : lines) stream << line << "\n";
  }
  return result;
}
