#include "errors.h"

#include <cstring>

#include "rfs.h"

namespace cli {

namespace {

const char *meaning(int code) {
    switch (code) {
    case RFS_ERR_FAILED: return "failed, or not found";
    case RFS_ERR_NO_READ_SESSION: return "no free read session";
    case RFS_ERR_HANDLE: return "bad handle";
    case RFS_ERR_NO_DISK: return "disk slot empty, or no data files mounted";
    case RFS_ERR_INDEX_WRITE: return "index write failed";
    case RFS_ERR_TIME: return "time outside the event, or invalid";
    case RFS_ERR_NULL: return "null argument";
    case RFS_ERR_NO_MEMORY: return "out of memory";
    case RFS_ERR_OPEN: return "open failed, or the disk was dropped";
    case RFS_ERR_INDEX_READ: return "index read failed";
    case RFS_ERR_DATA_READ: return "media data read failed";
    case RFS_ERR_KFRAME_INDEX: return "key-frame index unreadable";
    case RFS_ERR_NO_SEARCH_SESSION: return "no free search session";
    case RFS_ERR_SEARCH_HANDLE: return "search handle not in use";
    case RFS_ERR_SEARCH_TYPE: return "bad search type";
    case RFS_ERR_NO_EVENTS: return "no events on the channel";
    case RFS_ERR_SEEK_NOT_FOUND: return "no event at that time";
    case RFS_ERR_CHANNEL: return "channel out of range";
    case RFS_ERR_POSITION: return "position outside the list";
    case RFS_ERR_COVERED: return "the event was overwritten since the search";
    case RFS_ERR_BUFFER: return "frame longer than the buffer";
    case RFS_ERR_MISSING: return "disk or partition missing";
    case RFS_ERR_UNSTABLE: return "the disk was lost or is unstable";
    default: return "error";
    }
}

} // namespace

std::string error_text(int code) { return std::to_string(code) + " (" + meaning(code) + ")"; }

} // namespace cli

namespace cli {

std::string system_reason(int err) { return strerror(err); }

} // namespace cli
