// rfs_frame_time (extension): the time in the header of a stored frame, as
// the host received it, so a host can name the first frame it wrote without
// decoding the recorder's frame header itself.
#include "disk/layout.h"
#include "frame/time.h"

using namespace rfs;

extern "C" RFS_API int rfs_frame_time(const void *frame, int len, RfsDateTime *out) noexcept {
    if (!frame || !out) return RFS_ERR_NULL;
    const auto *h = static_cast<const uint8_t *>(frame);
    if (len < int(frame_header::kSize) || frame_header::tag(h) != kMagicQKFm) return RFS_ERR_FAILED;
    return usec_to_datetime(out, frame_header::timestamp_us(h));
}
