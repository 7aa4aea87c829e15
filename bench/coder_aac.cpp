extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
}

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "coder.h"

struct Coder {
  AVCodecContext* encoder;
  AVCodecContext* decoder;
  AVFrame* input;
  AVPacket* coded;
  AVPacket* received;
  AVFrame* decoded;
};

const int CODER_FRAME_SAMPLES = 1024;

namespace {

void expect(bool accepted, const char* step) {
  if (accepted) return;
  std::fprintf(stderr, "FFmpeg's AAC refuses: %s\n", step);
  std::exit(1);
}

AVCodecContext* new_context(const AVCodec* codec) {
  expect(codec != nullptr, "no such coder");
  AVCodecContext* const context = avcodec_alloc_context3(codec);
  expect(context != nullptr, "no memory");
  context->sample_rate = 48000;
  context->thread_count = 1;
  av_channel_layout_default(&context->ch_layout, 1);
  return context;
}

AVCodecContext* open_encoder(int bitrate) {
  const AVCodec* const codec = avcodec_find_encoder_by_name("aac");
  AVCodecContext* const context = new_context(codec);
  context->sample_fmt = AV_SAMPLE_FMT_FLTP;
  context->bit_rate = bitrate;
  context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  expect(avcodec_open2(context, codec, nullptr) == 0, "open encoder");
  return context;
}

// The encoder's header tells the decoder what raw packets do not.
AVCodecContext* open_decoder(const AVCodecContext* encoder) {
  const AVCodec* const codec = avcodec_find_decoder_by_name("aac");
  AVCodecContext* const context = new_context(codec);
  const auto size = static_cast<std::size_t>(encoder->extradata_size);
  context->extradata = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
  context->extradata_size = encoder->extradata_size;
  std::memcpy(context->extradata, encoder->extradata, size);
  expect(avcodec_open2(context, codec, nullptr) == 0, "open decoder");
  return context;
}

AVFrame* new_input(const AVCodecContext* encoder) {
  AVFrame* const frame = av_frame_alloc();
  frame->nb_samples = encoder->frame_size;
  frame->format = encoder->sample_fmt;
  frame->sample_rate = encoder->sample_rate;
  av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout);
  expect(av_frame_get_buffer(frame, 0) == 0 && frame->nb_samples == CODER_FRAME_SAMPLES,
         "frame of 1024 samples");
  return frame;
}

}  // namespace

Coder* coder_open(int bitrate, int) {
  auto* const coder = new Coder{};
  coder->encoder = open_encoder(bitrate);
  coder->decoder = open_decoder(coder->encoder);
  coder->input = new_input(coder->encoder);
  coder->coded = av_packet_alloc();
  coder->received = av_packet_alloc();
  coder->decoded = av_frame_alloc();
  return coder;
}

void coder_encode(Coder* coder, const std::int16_t*, const float* float_samples, Packet* packet) {
  expect(av_frame_make_writable(coder->input) == 0, "write a frame");
  std::memcpy(coder->input->data[0], float_samples, sizeof(float) * CODER_FRAME_SAMPLES);
  expect(avcodec_send_frame(coder->encoder, coder->input) == 0, "encode");
  packet->size = 0;
  if (avcodec_receive_packet(coder->encoder, coder->coded) != 0) return;
  expect(coder->coded->size <= PACKET_CAPACITY - AV_INPUT_BUFFER_PADDING_SIZE, "packet size");
  packet->size = coder->coded->size;
  std::memcpy(packet->bytes, coder->coded->data, static_cast<std::size_t>(packet->size));
  av_packet_unref(coder->coded);
}

int coder_decode(Coder* coder, const Packet* packet) {
  coder->received->data = const_cast<std::uint8_t*>(packet->bytes);
  coder->received->size = packet->size;
  expect(avcodec_send_packet(coder->decoder, coder->received) == 0, "decode");
  return avcodec_receive_frame(coder->decoder, coder->decoded) == 0 ? coder->decoded->nb_samples
                                                                    : 0;
}
