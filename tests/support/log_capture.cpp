#include "support/log_capture.h"

#include "rfs.h"

namespace {
void collect(const char *line, void *user) {
    static_cast<std::vector<std::string> *>(user)->emplace_back(line);
}
} // namespace

LogCapture::LogCapture() { rfs_set_log_sink(collect, &lines_); }

LogCapture::~LogCapture() { rfs_set_log_sink(nullptr, nullptr); }

std::vector<std::string> LogCapture::messages() const {
    std::vector<std::string> out;
    for (const std::string &l : lines_) {
        size_t end = l.find("] ");
        out.push_back(l[0] == '[' && end != std::string::npos ? l.substr(end + 2) : l);
    }
    return out;
}

bool LogCapture::contains(const std::string &text) const { return count(text) > 0; }

int LogCapture::count(const std::string &text) const {
    int n = 0;
    for (const std::string &m : messages())
        if (m.find(text) != std::string::npos) ++n;
    return n;
}
