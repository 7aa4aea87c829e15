// Prints what the frames of a payload file say, a line a frame, as the decoder's own reader
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
#include "payload/payload.h"
#include "payload/payload_finder.h"

namespace {

constexpr char USAGE[] = "usage: g719-dump [--full] [--csv] FILE\n";
constexpr char HELP[] =
    R"(Prints what the frames of a G.719 payload file say, a line a frame. FILE - is standard input.

  --full  adds to each frame its norms, the bits a coefficient of its bands and, for each band that
          has bits, its coefficient indices; with one bit a coefficient one for every eight
  --csv   puts commas between the columns
  --help  prints this

  frame      number of the frame, from 0 on
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

Damage goes to standard error with its byte offset, the dump goes on, and the exit status is 1.
)";

struct Column {
  const char* name;
  int width;
};
constexpr std::array<Column, 12> COLUMNS = {{{"frame", 6},
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

struct Options {
  bool full = false;
  bool csv = false;
  const char* path = nullptr;
};

// What was printed so far.
struct Progress {
  int frames = 0;
  bool damaged = false;
};

void report_damage(std::size_t offset, const std::string& what, Progress* progress) {
  std::fflush(stdout);  // so that the message stands below the frames before it
  std::fprintf(stderr, "g719-dump: byte %zu: %s\n", offset, what.c_str());
  progress->damaged = true;
}

void print_row(const Row& cells, const Options& options) {
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (i > 0) std::putchar(options.csv ? ',' : ' ');
    std::printf("%*s", options.csv ? 0 : COLUMNS[i].width, cells[i].c_str());
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

std::string time_of_frame(int number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", number * FRAME_SECONDS);
  return text;
}

std::string code_name(bool huffman) { return huffman ? "huffman" : "fixed"; }

void dump_frame(const std::uint8_t* frame, int frame_bytes, std::size_t offset,
                const Options& options, Progress* progress) {
  g719::FrameFields fields = {};
  const int frame_bits = frame_bytes * 8;
  const int bits = g719::read_frame_fields(frame, frame_bits, &fields);
  const auto leftover_bands =
      std::count(fields.leftover_bits, fields.leftover_bits + fields.coded_bands, 1);

  print_row({std::to_string(progress->frames), time_of_frame(progress->frames),
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
                  progress);
  }
  progress->frames++;
}

void dump_payload(const std::uint8_t* bytes, std::size_t size, std::size_t offset,
                  const Options& options, Progress* progress) {
  const g719::Payload payload = g719::read_payload(bytes, size);
  for (int i = 0; i < payload.frames_complete; ++i) {
    const std::size_t start = g719::frame_offset(payload, i);
    dump_frame(bytes + start, payload.frame_bytes, offset + start, options, progress);
  }
  if (payload.frames_complete < payload.header.blocks) {
    report_damage(offset,
                  "the payload is cut: " + std::to_string(size) + " bytes hold " +
                      std::to_string(payload.frames_complete) + " of " +
                      std::to_string(payload.header.blocks) + " frames",
                  progress);
  }
}

void dump_stream(const std::vector<std::uint8_t>& bytes, const Options& options,
                 Progress* progress) {
  g719::FinderState state;
  std::size_t position = 0;
  while (position < bytes.size()) {
    const g719::FoundPayload found =
        g719::find_payload(&bytes[position], bytes.size() - position, true, &state);
    if (found.skipped_bytes > 0) {
      report_damage(
          position,
          "no header that fits; " + std::to_string(found.skipped_bytes) + " bytes are passed over",
          progress);
    }
    position += found.skipped_bytes;
    if (found.payload_bytes > 0) {
      dump_payload(&bytes[position], found.payload_bytes, position, options, progress);
    }
    position += found.payload_bytes;
  }
}

// False, with errno, if the file cannot be read.
bool read_file(const char* path, std::vector<std::uint8_t>* bytes) {
  const bool is_stdin = std::strcmp(path, "-") == 0;
  std::FILE* file = is_stdin ? stdin : std::fopen(path, "rb");
  if (file == nullptr) return false;
  std::array<std::uint8_t, 65536> block;
  while (const std::size_t held = std::fread(block.data(), 1, block.size(), file)) {
    bytes->insert(bytes->end(), block.begin(), block.begin() + held);
  }
  const int error = std::ferror(file) != 0 ? errno : 0;
  if (!is_stdin) std::fclose(file);
  errno = error;
  return error == 0;
}

// False if the arguments are not what USAGE says.
bool parse_arguments(int argc, char** argv, Options* options) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--full") {
      options->full = true;
    } else if (argument == "--csv") {
      options->csv = true;
    } else if (options->path != nullptr || (argument.size() > 1 && argument[0] == '-')) {
      return false;
    } else {
      options->path = argv[i];
    }
  }
  return options->path != nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
    std::printf("%s\n%s", USAGE, HELP);
    return 0;
  }
  Options options;
  if (!parse_arguments(argc, argv, &options)) {
    std::fputs(USAGE, stderr);
    return 2;
  }
  std::vector<std::uint8_t> bytes;
  if (!read_file(options.path, &bytes)) {
    std::fprintf(stderr, "g719-dump: %s: %s\n", options.path, std::strerror(errno));
    return 1;
  }
  Progress progress;
  print_header(options);
  dump_stream(bytes, options, &progress);
  const bool is_written = std::fflush(stdout) == 0;
  if (!is_written) std::perror("g719-dump: standard output");
  return progress.damaged || !is_written ? 1 : 0;
}
