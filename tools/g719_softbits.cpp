// Turns payloads into soft bits (ITU-T G.192) and back, for programs that insert errors.
#include <getopt.h>

#include <cstdint>
#include <cstdio>

#include "payload/payload.h"

constexpr char HELP[] = R"(usage: g719-softbits [--back] <INPUT >OUTPUT

Turns G.719 payloads of one channel into soft bits. Each frame becomes words of 16 bits, low byte
first: 6B21 in hexadecimal, the number of its bits, and its bits, 127 for 0 and 129 for 1, the most
significant of each byte first. A frame without data becomes 6B20 and no bits.
With --back it turns soft bits into payloads of one frame each. Every word but 129 reads as 0. A
frame that begins with 6B20 is erased: its payload says that there is no data.
)";

constexpr int RECEIVED = 0x6B21;
constexpr int ERASED = 0x6B20;

static void write_word(int word) {
  std::putchar(word & 0xFF);
  std::putchar(word >> 8);
}

// The next word of the input; false at its end.
static bool read_word(int* word) {
  const int low = std::getchar();
  const int high = std::getchar();
  *word = high << 8 | low;
  return high != EOF;
}

static int fail(const char* what) {
  std::fprintf(stderr, "g719-softbits: %s\n", what);
  return 1;
}

// Turns the next frame of the input into soft bits; false where it is cut short.
static bool soften_frame(int frame_bytes) {
  write_word(frame_bytes > 0 ? RECEIVED : ERASED);
  write_word(8 * frame_bytes);
  for (int i = 0; i < frame_bytes; ++i) {
    const int byte = std::getchar();
    if (byte == EOF) return false;
    for (int bit = 7; bit >= 0; --bit) write_word((byte >> bit & 1) != 0 ? 129 : 127);
  }
  return true;
}

static int soften() {
  std::uint8_t header[g719::PAYLOAD_HEADER_BYTES];
  while (std::fread(header, 1, sizeof header, stdin) == sizeof header) {
    const g719::TocEntry entry = g719::read_toc_entry(header);
    if (entry.has_follower || g719::is_reserved_length_code(entry.length_code)) {
      return fail("the input is no file of payloads, or damaged");
    }
    for (int i = 0; i < entry.blocks; ++i) {
      if (!soften_frame(g719::frame_bytes_of_length_code(entry.length_code))) {
        return fail("the last payload is cut short");
      }
    }
  }
  return 0;
}

// Turns the soft bits of the next frame, `bits` of them, into bytes; false where they are cut
// short.
static bool harden_frame(int bits, std::uint8_t* frame) {
  for (int i = 0, word = 0; i < bits; ++i) {
    if (!read_word(&word)) return false;
    frame[i / 8] = static_cast<std::uint8_t>(frame[i / 8] << 1 | (word == 129 ? 1 : 0));
  }
  return true;
}

static int harden() {
  for (int sync = 0, bits = 0; read_word(&sync);) {
    std::uint8_t frame[0x10000 / 8] = {};
    if ((sync != RECEIVED && sync != ERASED) || !read_word(&bits)) return fail("no frame begins");
    if (!harden_frame(bits, frame)) return fail("the last frame is cut short");
    const int code = g719::length_code_of_bitrate(bits / 8 * G719_BITRATE_STEP);
    if (sync == RECEIVED && (bits % 8 != 0 || code == 0)) return fail("no frame has so many bits");
    std::uint8_t header[g719::PAYLOAD_HEADER_BYTES];
    g719::write_toc_entry({false, sync == ERASED ? g719::NO_DATA_LENGTH_CODE : code, 1}, header);
    std::fwrite(header, 1, sizeof header, stdout);
    if (sync == RECEIVED) std::fwrite(frame, 1, bits / 8, stdout);
  }
  return 0;
}

int main(int argc, char** argv) {
  const option options[] = {{"back", 0, nullptr, 'b'}, {"help", 0, nullptr, 'h'}, {}};
  const int choice = getopt_long(argc, argv, "", options, nullptr);
  if (choice == 'h') return std::fputs(HELP, stdout) < 0 ? 1 : 0;
  if (choice == '?' || optind < argc) return fail("--help says how to call it");
  const int status = choice == 'b' ? harden() : soften();
  return std::fflush(stdout) == 0 ? status : fail("the output cannot be written");
}
