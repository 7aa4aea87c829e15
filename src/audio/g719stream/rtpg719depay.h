#pragma once

#include <gst/rtp/gstrtpbasedepayload.h>

G_DECLARE_FINAL_TYPE(RtpG719Depay, rtp_g719_depay, RTP, G719_DEPAY, GstRTPBaseDepayload)
