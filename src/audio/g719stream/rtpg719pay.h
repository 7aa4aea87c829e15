#pragma once

#include <gst/rtp/gstrtpbasepayload.h>

G_DECLARE_FINAL_TYPE(RtpG719Pay, rtp_g719_pay, RTP, G719_PAY, GstRTPBasePayload)
