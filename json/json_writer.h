// A streaming JSON writer: text goes to the sink as each value is written,
// so a listing of any length never exists as a whole document in memory.
//
//   rfs_json::Writer w(sink);
//   w.begin_object().field("disk", 0).key("events").begin_array();
//   for (...) w.begin_object().field("start", text).end_object();
//   w.end_array().end_object().finish();
//
// Output is indented two spaces per level, one member or element a line.
//
// Strings are byte strings (file names on a POSIX system need not be text).
// Valid UTF-8 is written as it is, with the escapes JSON requires; every byte
// that is not part of a valid UTF-8 sequence is written as \udcXX, XX being
// the byte's value (80 to FF). Those lone low surrogates can never come from
// valid text, so the mapping is reversible: Reader turns them back into the
// bytes, as do decoders that know the "surrogateescape" convention (Python's
// os.fsencode, for one).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace rfs_json {

// Receives the text piece by piece. A sink that cannot write throws; the
// exception leaves the writer through the call that wrote.
using Sink = std::function<void(std::string_view)>;

// The quoted JSON form of a byte string, escaped as described above.
std::string quoted(std::string_view bytes);

class Writer {
  public:
    explicit Writer(Sink sink) : sink_(std::move(sink)) {}

    Writer &begin_object() { return open('{'); }
    Writer &end_object() { return close('}'); }
    Writer &begin_array() { return open('['); }
    Writer &end_array() { return close(']'); }
    // The next value is this member of the open object.
    Writer &key(std::string_view name);

    Writer &value(std::string_view text);
    Writer &value(const char *text) { return value(std::string_view(text)); }
    Writer &value(const std::string &text) { return value(std::string_view(text)); }
    Writer &value(bool b) { return scalar(b ? "true" : "false"); }
    template <typename T>
        requires(std::is_integral_v<T> && !std::is_same_v<T, bool>)
    Writer &value(T n) {
        return scalar(std::to_string(n));
    }
    template <typename T> Writer &value(const std::vector<T> &items) {
        begin_array();
        for (const T &item : items) value(item);
        return end_array();
    }
    Writer &null() { return scalar("null"); }

    template <typename T> Writer &field(std::string_view name, const T &v) {
        key(name);
        return value(v);
    }

    // Ends the document with a newline. Throws std::logic_error when a
    // container is still open.
    void finish();

  private:
    struct Level {
        char close;
        int members = 0;
    };
    Writer &open(char bracket);
    Writer &close(char bracket);
    Writer &scalar(std::string_view text);
    void before_value(bool is_key);
    void newline_at(size_t depth);

    Sink sink_;
    std::vector<Level> levels_;
    bool after_key_ = false;
};

} // namespace rfs_json
