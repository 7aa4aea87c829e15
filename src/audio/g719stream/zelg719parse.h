#pragma once

#include <gst/base/gstbaseparse.h>

G_DECLARE_FINAL_TYPE(ZelG719Parse, zel_g719_parse, ZEL, G719_PARSE, GstBaseParse)
