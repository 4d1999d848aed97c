// Which boxes each container may hold, and who reads them.
#pragma once

#include "iso/read/walk.h"

extern isobox file_box[], moov_box[], udta_box[], hnti_box[], trak_box[], tref_box[], meta_box[], edts_box[],
    mdia_box[], minf_box[], stbl_box[], stsd_box[], rtp_box[], sinf_box[], dec_spec_box[], dinf_box[];
