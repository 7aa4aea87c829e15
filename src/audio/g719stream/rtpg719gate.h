#pragma once

#include <gst/base/gstbasetransform.h>

G_DECLARE_FINAL_TYPE(RtpG719Gate, rtp_g719_gate, RTP, G719_GATE, GstBaseTransform)
