#include "zelg719streambitrate.h"

GType zel_g719_stream_bitrate_get_type() {
  static const GEnumValue VALUES[] = {
      {32000, "32 kbit/s", "32000"},
      {36000, "36 kbit/s", "36000"},
      {40000, "40 kbit/s", "40000"},
      {44000, "44 kbit/s", "44000"},
      {48000, "48 kbit/s", "48000"},
      {52000, "52 kbit/s", "52000"},
      {56000, "56 kbit/s", "56000"},
      {60000, "60 kbit/s", "60000"},
      {64000, "64 kbit/s", "64000"},
      {68000, "68 kbit/s", "68000"},
      {72000, "72 kbit/s", "72000"},
      {76000, "76 kbit/s", "76000"},
      {80000, "80 kbit/s", "80000"},
      {84000, "84 kbit/s", "84000"},
      {88000, "88 kbit/s", "88000"},
      {96000, "96 kbit/s", "96000"},
      {104000, "104 kbit/s", "104000"},
      {112000, "112 kbit/s", "112000"},
      {120000, "120 kbit/s", "120000"},
      {128000, "128 kbit/s", "128000"},
      {0, nullptr, nullptr},
  };
  static gsize type = 0;
  if (g_once_init_enter(&type)) {
    g_once_init_leave(&type, g_enum_register_static("ZelG719StreamBitrate", VALUES));
  }
  return type;
}
