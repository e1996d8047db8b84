#include "json_writer.h"

#include <stdexcept>

#include "utf8.h"

namespace rfs_json {

namespace {

void escape_ascii(unsigned char c, std::string &out) {
    static const char kHex[] = "0123456789abcdef";
    switch (c) {
    case '"': out += "\\\""; return;
    case '\\': out += "\\\\"; return;
    case '\n': out += "\\n"; return;
    case '\r': out += "\\r"; return;
    case '\t': out += "\\t"; return;
    case '\b': out += "\\b"; return;
    case '\f': out += "\\f"; return;
    default: break;
    }
    if (c < 0x20) {
        out += "\\u00";
        out += kHex[c >> 4];
        out += kHex[c & 15];
    } else {
        out += char(c);
    }
}

} // namespace

std::string quoted(std::string_view bytes) {
    static const char kHex[] = "0123456789abcdef";
    std::string out = "\"";
    for (size_t i = 0; i < bytes.size();) {
        auto c = static_cast<unsigned char>(bytes[i]);
        if (c < 0x80) {
            escape_ascii(c, out);
            ++i;
            continue;
        }
        size_t n = utf8_sequence_length(bytes.substr(i));
        if (n > 0) {
            out.append(bytes.substr(i, n));
            i += n;
            continue;
        }
        out += "\\udc";
        out += kHex[c >> 4];
        out += kHex[c & 15];
        ++i;
    }
    return out + "\"";
}

Writer &Writer::key(std::string_view name) {
    if (levels_.empty() || levels_.back().close != '}' || after_key_)
        throw std::logic_error("json: a key outside an object");
    before_value(true);
    sink_(quoted(name) + ": ");
    after_key_ = true;
    return *this;
}

Writer &Writer::value(std::string_view text) { return scalar(quoted(text)); }

void Writer::finish() {
    if (!levels_.empty()) throw std::logic_error("json: a container is still open");
    sink_("\n");
}

Writer &Writer::open(char bracket) {
    before_value(false);
    sink_(std::string_view(&bracket, 1));
    levels_.push_back({bracket == '{' ? '}' : ']'});
    return *this;
}

Writer &Writer::close(char bracket) {
    if (levels_.empty() || levels_.back().close != bracket || after_key_)
        throw std::logic_error("json: closing a container that is not open");
    bool empty = levels_.back().members == 0;
    levels_.pop_back();
    if (!empty) newline_at(levels_.size());
    sink_(std::string_view(&bracket, 1));
    return *this;
}

Writer &Writer::scalar(std::string_view text) {
    before_value(false);
    sink_(text);
    return *this;
}

// Separators: a member after the first gets a comma, every member of a
// container starts its own line; a value after a key follows it directly.
void Writer::before_value(bool is_key) {
    if (after_key_) {
        after_key_ = false;
        return;
    }
    if (levels_.empty()) return;
    if (levels_.back().close == '}' && !is_key) throw std::logic_error("json: an object member without a key");
    if (levels_.back().members++ > 0) sink_(",");
    newline_at(levels_.size());
}

void Writer::newline_at(size_t depth) { sink_("\n" + std::string(2 * depth, ' ')); }

} // namespace rfs_json
