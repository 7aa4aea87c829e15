#include "zelg719bitrate.h"

GType zel_g719_bitrate_get_type() {
  static const GEnumValue VALUES[] = {
      {32000, "32 kbit/s", "32000"},
      {48000, "48 kbit/s", "48000"},
      {64000, "64 kbit/s", "64000"},
      {0, nullptr, nullptr},
  };
  static gsize type = 0;
  if (g_once_init_enter(&type)) {
    g_once_init_leave(&type, g_enum_register_static("ZelG719Bitrate", VALUES));
  }
  return type;
}
