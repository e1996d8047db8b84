// Collects the library's log lines through the log-sink extension for the
// lifetime of the object.
#pragma once

#include <string>
#include <vector>

class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    const std::vector<std::string> &lines() const { return lines_; }
    // Messages with the "[YYYY-MM-DD HH:MM:SS] " prefix removed.
    std::vector<std::string> messages() const;
    // True when some message contains `text`.
    bool contains(const std::string &text) const;
    int count(const std::string &text) const;
    void clear() { lines_.clear(); }

  private:
    std::vector<std::string> lines_;
};
