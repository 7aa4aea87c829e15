/* The codec alone, without GStreamer: one second of a buzz at 64 kbit/s, encoded and decoded.
 * Prints how close it comes back.
 *
 *   cc roundtrip.c -o roundtrip $(pkg-config --cflags --libs g719codec)
 */
#include <g719.h>
#include <stdio.h>
#include <stdlib.h>

int main(void) {
  g719_encoder* encoder = g719_encoder_create(64000);
  g719_decoder* decoder = g719_decoder_create(64000);
  if (encoder == NULL || decoder == NULL) return 1;

  int16_t sent[51][G719_FRAME_SAMPLES] = {{0}};
  double signal = 1;
  double noise = 0;
  for (int frame = 0; frame < 51; ++frame) {
    uint8_t bytes[G719_MAX_FRAME_BYTES];
    int16_t received[G719_FRAME_SAMPLES];
    for (int n = 0; n < G719_FRAME_SAMPLES; ++n)
      sent[frame][n] = (int16_t)(abs(n % 160 - 80) * 200 - 8000);
    g719_encoder_encode(encoder, sent[frame], bytes);
    g719_decoder_decode(decoder, bytes, received, 0);
    for (int n = 0; frame > 0 && n < G719_FRAME_SAMPLES; ++n) { /* it comes one frame later */
      const double error = received[n] - sent[frame - 1][n];
      signal += (double)sent[frame - 1][n] * sent[frame - 1][n];
      noise += error * error;
    }
  }
  printf("noise is %.1f in 1000 of the signal\n", 1000 * noise / signal);

  g719_encoder_destroy(encoder);
  g719_decoder_destroy(decoder);
  return noise < signal / 100 ? 0 : 1;
}
