// Prints what the frames of payload files say, a line a frame, as the decoder's own reader
// understands them. The text of --help is below.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "frame/frame_fields.h"
#include "lattice/codebook.h"
#include "payload/channel_count.h"
#include "payload/payload.h"
#include "payload/payload_finder.h"

namespace {

constexpr char USAGE[] = "usage: g719-dump [--full] [--csv] FILE...\n";
constexpr char HELP[] =
    R"(Prints what the frames of G.719 payload files say, a line a frame. FILE - is standard input.

  --full     adds to each frame its norms, the bits a coefficient of its bands and, for each band
             that has bits, its coefficient indices; with one bit a coefficient one for every eight
  --csv      puts commas between the columns
  --help     prints this
  --version  prints the version

  file       name of the file, if several are given
  frame      number of the frame in its file, from 0 on; of two channels both, the left one first
  time       where its audio begins, in s; what was lost does not count
  offset     of the frame in the file, in bytes
  bytes      of the frame
  transient  1: four short blocks in place of a long one
  bands      coded bands
  norms      code of the norm differences: fixed or huffman
  coefs      code of the coefficient indices
  bits       spent on fields
  leftover   bands with no bits but those that were left over
  padding    bits behind the fields
  noise      noise level; "-" in transient frames, which send none

Damage goes to standard error with its byte offset, the dump goes on, and the exit status is 1. So
it is with files that cannot be read.
)";

struct Column {
  const char* name;
  int width;
};
constexpr std::array<Column, 13> COLUMNS = {{{"file", 0},  // as wide as the longest name
                                             {"frame", 6},
                                             {"time", 8},
                                             {"offset", 9},
                                             {"bytes", 5},
                                             {"transient", 9},
                                             {"bands", 5},
                                             {"norms", 7},
                                             {"coefs", 7},
                                             {"bits", 4},
                                             {"leftover", 8},
                                             {"padding", 7},
                                             {"noise", 5}}};
using Row = std::array<std::string, COLUMNS.size()>;

constexpr double FRAME_SECONDS = 0.02;
constexpr std::size_t BLOCK_BYTES = 65536;

struct Options {
  bool full = false;
  bool csv = false;
  std::vector<const char*> paths = {};
};

// What was printed so far of a file.
struct Progress {
  const char* path = nullptr;
  int channels = 1;
  std::uint64_t frames = 0;  // one of each channel counts as one
  bool damaged = false;
  int read_error = 0;  // an errno
};

bool names_files(const Options& options) { return options.paths.size() > 1; }

void report(const char* path, const std::string& what) {
  std::fflush(stdout);  // so that the message stands below the frames before it
  std::fprintf(stderr, "g719-dump: %s%s%s\n", path, *path == '\0' ? "" : ": ", what.c_str());
}

void report_damage(std::uint64_t offset, const std::string& what, const Options& options,
                   Progress* progress) {
  report(names_files(options) ? progress->path : "",
         "byte " + std::to_string(offset) + ": " + what);
  progress->damaged = true;
}

int width_of_names(const Options& options) {
  std::size_t width = std::strlen(COLUMNS[0].name);
  for (const char* path : options.paths) width = std::max(width, std::strlen(path));
  return -static_cast<int>(width);  // to the left
}

void print_row(const Row& cells, const Options& options) {
  const std::size_t first = names_files(options) ? 0 : 1;
  for (std::size_t i = first; i < cells.size(); ++i) {
    if (i > first) std::putchar(options.csv ? ',' : ' ');
    const int width = i == 0 ? width_of_names(options) : COLUMNS[i].width;
    std::printf("%*s", options.csv ? 0 : width, cells[i].c_str());
  }
  std::putchar('\n');
}

void print_header(const Options& options) {
  Row names;
  std::transform(COLUMNS.begin(), COLUMNS.end(), names.begin(), [](Column c) { return c.name; });
  print_row(names, options);
}

// Every `step`-th of `count` values.
void print_list(const std::string& name, const g719::Word16* values, int count, int step,
                const Options& options) {
  std::printf(options.csv ? "%s" : "  %-10s", name.c_str());
  for (int i = 0; i < count; i += step) std::printf(options.csv ? ",%d" : " %d", values[i]);
  std::putchar('\n');
}

void print_lists(const g719::FrameFields& fields, const Options& options) {
  print_list("norms", fields.norm_index, g719::NUM_BANDS, 1, options);
  print_list("bits", fields.band_bits, fields.coded_bands, 1, options);
  for (int b = 0; b < fields.coded_bands; ++b) {
    if (fields.band_bits[b] == 0) continue;
    const int step = fields.band_bits[b] == 1 ? g719::VECTOR_SIZE : 1;
    print_list("band " + std::to_string(b), fields.coef_index + g719::band_start[b],
               g719::band_width[b], step, options);
  }
}

std::string time_of_frame(std::uint64_t number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", static_cast<double>(number) * FRAME_SECONDS);
  return text;
}

std::string code_name(bool huffman) { return huffman ? "huffman" : "fixed"; }

void dump_frame(const std::uint8_t* frame, int frame_bytes, std::uint64_t offset,
                const Options& options, Progress* progress) {
  g719::FrameFields fields = {};
  const int frame_bits = frame_bytes * 8;
  const int bits = g719::read_frame_fields(frame, frame_bits, &fields);
  const auto leftover_bands =
      std::count(fields.leftover_bits, fields.leftover_bits + fields.coded_bands, 1);

  print_row({progress->path, std::to_string(progress->frames), time_of_frame(progress->frames),
             std::to_string(offset), std::to_string(frame_bytes), fields.transient ? "1" : "0",
             std::to_string(fields.coded_bands), code_name(fields.norm_huffman),
             code_name(fields.coef_huffman), std::to_string(bits), std::to_string(leftover_bands),
             std::to_string(std::max(frame_bits - bits, 0)),
             fields.transient ? "-" : std::to_string(fields.noise_level_index)},
            options);
  if (options.full) print_lists(fields, options);
  if (bits > frame_bits) {
    report_damage(offset,
                  "frame " + std::to_string(progress->frames) + " asks for " +
                      std::to_string(bits) + " bits and has " + std::to_string(frame_bits),
                  options, progress);
  }
}

void dump_payload(const std::uint8_t* bytes, std::size_t size, std::uint64_t offset,
                  const Options& options, Progress* progress) {
  const g719::Payload payload = g719::read_payload(bytes, size, progress->channels);
  for (int i = 0; i < payload.blocks_complete * progress->channels; ++i) {
    const std::size_t start = g719::frame_offset(payload, i);
    dump_frame(bytes + start, payload.frame_bytes, offset + start, options, progress);
    if ((i + 1) % progress->channels == 0) progress->frames++;
  }
  if (payload.blocks_complete < payload.header.blocks) {
    report_damage(offset,
                  "the payload is cut: " + std::to_string(size) + " bytes hold " +
                      std::to_string(payload.blocks_complete) + " of " +
                      std::to_string(payload.header.blocks) + " frames",
                  options, progress);
  }
}

void report_skipped(std::uint64_t end, std::uint64_t skipped, const Options& options,
                    Progress* progress) {
  if (skipped == 0) return;
  report_damage(end - skipped,
                "no header that fits; " + std::to_string(skipped) + " bytes are passed over",
                options, progress);
}

// Reads a block behind what is held, of which the first `done` bytes are given up. False if the
// file ends in it.
bool read_block(std::FILE* file, std::size_t done, std::vector<std::uint8_t>* held,
                Progress* progress) {
  held->erase(held->begin(), held->begin() + static_cast<std::ptrdiff_t>(done));
  const std::size_t rest = held->size();
  held->resize(rest + BLOCK_BYTES);
  const std::size_t read = std::fread(held->data() + rest, 1, BLOCK_BYTES, file);
  if (std::ferror(file) != 0) progress->read_error = errno;
  held->resize(rest + read);
  return read == BLOCK_BYTES;
}

// Holds no more than three of the largest payloads and a block, however long the file is.
void dump_stream(std::FILE* file, const Options& options, Progress* progress) {
  std::vector<std::uint8_t> held;
  bool at_end = false;
  for (progress->channels = 0; progress->channels == 0;) {
    at_end = !read_block(file, 0, &held, progress);
    progress->channels = g719::count_channels(held.data(), held.size(), at_end).channels;
  }
  g719::PayloadFinder finder = {.channels = progress->channels};
  std::size_t done = 0;
  std::uint64_t skipped = 0;  // bytes since the last payload
  while (!at_end || done < held.size()) {
    const g719::FoundPayload found =
        g719::find_payload(held.data() + done, held.size() - done, at_end, &finder);
    if (found.wanted_bytes > 0) {
      at_end = !read_block(file, done, &held, progress);
      done = 0;
    } else if (found.payload_bytes > 0) {
      const std::uint64_t offset = finder.position - found.payload_bytes;
      report_skipped(offset, skipped, options, progress);
      dump_payload(&held[done], found.payload_bytes, offset, options, progress);
      skipped = 0;
    }
    skipped += found.skipped_bytes;
    done += found.skipped_bytes + found.payload_bytes;
  }
  report_skipped(finder.position, skipped, options, progress);
}

// Returns whether the whole file was understood.
bool dump_file(const char* path, const Options& options, bool* has_header) {
  const bool is_stdin = std::strcmp(path, "-") == 0;
  std::FILE* file = is_stdin ? stdin : std::fopen(path, "rb");
  Progress progress = {.path = path};
  if (file == nullptr) {
    progress.read_error = errno;
  } else {
    if (!*has_header) print_header(options);
    *has_header = true;
    dump_stream(file, options, &progress);
    if (!is_stdin) std::fclose(file);
  }
  if (progress.read_error != 0) report(path, std::strerror(progress.read_error));
  return !progress.damaged && progress.read_error == 0;
}

// False if the arguments are not what USAGE says.
bool parse_arguments(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--full") {
      options->full = true;
    } else if (argument == "--csv") {
      options->csv = true;
    } else if (argument.size() > 1 && argument[0] == '-') {
      return false;
    } else {
      options->paths.push_back(argv[i]);
    }
  }
  return !options->paths.empty();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view only = argc == 2 ? argv[1] : "";
  if (only == "--help") {
    std::printf("%s\n%s", USAGE, HELP);
    return 0;
  }
  if (only == "--version") {
    std::puts("g719-dump " VERSION);
    return 0;
  }
  Options options;
  if (!parse_arguments(argc, argv, &options)) {
    std::fputs(USAGE, stderr);
    return 2;
  }
  bool is_sound = true;
  bool has_header = false;
  for (const char* path : options.paths) is_sound &= dump_file(path, options, &has_header);
  const bool is_written = std::fflush(stdout) == 0;
  if (!is_written) std::perror("g719-dump: standard output");
  return is_sound && is_written ? 0 : 1;
}
