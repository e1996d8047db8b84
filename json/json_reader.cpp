#include "json_reader.h"

#include <cerrno>
#include <cstdlib>

#include "utf8.h"

namespace rfs_json {

class Parser {
  public:
    explicit Parser(std::string_view text) : text_(text) {}

    Value document() {
        Value v = value(0);
        skip_space();
        if (pos_ != text_.size()) fail("text after the document");
        return v;
    }

  private:
    [[noreturn]] void fail(const std::string &what) const {
        throw Error("json: " + what + " at offset " + std::to_string(pos_));
    }

    void skip_space() {
        while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t' || text_[pos_] == '\n' ||
                                       text_[pos_] == '\r'))
            ++pos_;
    }

    char peek() {
        skip_space();
        if (pos_ >= text_.size()) fail("unexpected end");
        return text_[pos_];
    }

    void expect(char c) {
        if (peek() != c) fail(std::string("expected '") + c + "'");
        ++pos_;
    }

    bool take_word(std::string_view word) {
        if (text_.substr(pos_, word.size()) != word) return false;
        pos_ += word.size();
        return true;
    }

    Value value(int depth) {
        if (depth > Value::kMaxDepth) fail("nesting too deep");
        Value v;
        char c = peek();
        if (c == '{') return object(depth);
        if (c == '[') return array(depth);
        if (c == '"') {
            v.type_ = Value::Type::String;
            v.string_ = string();
        } else if (take_word("true")) {
            v.type_ = Value::Type::Bool;
            v.bool_ = true;
        } else if (take_word("false")) {
            v.type_ = Value::Type::Bool;
        } else if (take_word("null")) {
            v.type_ = Value::Type::Null;
        } else {
            number(v);
        }
        return v;
    }

    Value object(int depth) {
        Value v;
        v.type_ = Value::Type::Object;
        expect('{');
        if (peek() == '}') return ++pos_, v;
        for (;;) {
            if (peek() != '"') fail("expected a key");
            std::string key = string();
            expect(':');
            v.members_.emplace_back(std::move(key), value(depth + 1));
            if (peek() == '}') return ++pos_, v;
            expect(',');
        }
    }

    Value array(int depth) {
        Value v;
        v.type_ = Value::Type::Array;
        expect('[');
        if (peek() == ']') return ++pos_, v;
        for (;;) {
            v.items_.push_back(value(depth + 1));
            if (peek() == ']') return ++pos_, v;
            expect(',');
        }
    }

    void number(Value &v) {
        size_t start = pos_;
        auto digits = [&] {
            size_t from = pos_;
            while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9') ++pos_;
            return pos_ > from;
        };
        v.negative_ = pos_ < text_.size() && text_[pos_] == '-';
        if (v.negative_) ++pos_;
        size_t int_start = pos_;
        if (!digits()) fail("expected a value");
        if (text_[int_start] == '0' && pos_ - int_start > 1) fail("a number with a leading zero");
        v.integral_ = true;
        if (pos_ < text_.size() && text_[pos_] == '.') {
            ++pos_;
            if (!digits()) fail("expected digits after '.'");
            v.integral_ = false;
        }
        if (pos_ < text_.size() && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
            ++pos_;
            if (pos_ < text_.size() && (text_[pos_] == '+' || text_[pos_] == '-')) ++pos_;
            if (!digits()) fail("expected an exponent");
            v.integral_ = false;
        }
        std::string literal(text_.substr(start, pos_ - start));
        v.type_ = Value::Type::Number;
        v.double_ = std::strtod(literal.c_str(), nullptr);
        if (!v.integral_) return;
        errno = 0;
        if (v.negative_)
            v.int64_ = std::strtoll(literal.c_str(), nullptr, 10);
        else
            v.uint64_ = std::strtoull(literal.c_str(), nullptr, 10);
        v.in_range_ = errno != ERANGE;
        if (v.negative_ && v.int64_ == 0) v.negative_ = false; // "-0"
    }

    uint32_t hex4() {
        if (text_.size() - pos_ < 4) fail("a short \\u escape");
        uint32_t cp = 0;
        for (int i = 0; i < 4; ++i) {
            char c = text_[pos_++];
            int d = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
            if (d < 0) fail("a bad \\u escape");
            cp = cp << 4 | uint32_t(d);
        }
        return cp;
    }

    // After "\u": a code point, a surrogate pair, or an escaped raw byte.
    void unicode_escape(std::string &out) {
        uint32_t cp = hex4();
        if (cp >= 0xDC80 && cp <= 0xDCFF) {
            out += char(cp & 0xFF);
            return;
        }
        if (cp >= 0xD800 && cp <= 0xDBFF && text_.substr(pos_, 2) == "\\u") {
            pos_ += 2;
            uint32_t low = hex4();
            if (low < 0xDC00 || low > 0xDFFF) fail("a broken surrogate pair");
            cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            fail("a lone surrogate");
        }
        append_utf8(cp, out);
    }

    std::string string() {
        expect('"');
        std::string out;
        for (;;) {
            if (pos_ >= text_.size()) fail("an unterminated string");
            char c = text_[pos_++];
            if (c == '"') return out;
            if (static_cast<unsigned char>(c) < 0x20) fail("a control character in a string");
            if (c != '\\') {
                out += c;
                continue;
            }
            if (pos_ >= text_.size()) fail("an unterminated string");
            char e = text_[pos_++];
            switch (e) {
            case '"': case '\\': case '/': out += e; break;
            case 'n': out += '\n'; break;
            case 't': out += '\t'; break;
            case 'r': out += '\r'; break;
            case 'b': out += '\b'; break;
            case 'f': out += '\f'; break;
            case 'u': unicode_escape(out); break;
            default: fail("a bad escape");
            }
        }
    }

    std::string_view text_;
    size_t pos_ = 0;
};

Value Value::parse(std::string_view text) { return Parser(text).document(); }

std::string Value::describe() const {
    static const char *const kNames[] = {"null", "a boolean", "a number", "a string", "an array", "an object"};
    return kNames[int(type_)];
}

bool Value::integral() const { return type_ == Type::Number && integral_ && in_range_; }

const std::string &Value::str() const & {
    if (!is_string()) throw Error("json: expected a string, found " + describe());
    return string_;
}

bool Value::boolean() const {
    if (!is_bool()) throw Error("json: expected a boolean, found " + describe());
    return bool_;
}

double Value::number() const {
    if (!is_number()) throw Error("json: expected a number, found " + describe());
    return double_;
}

const std::vector<Value> &Value::items() const & {
    if (!is_array()) throw Error("json: expected an array, found " + describe());
    return items_;
}

const std::vector<std::pair<std::string, Value>> &Value::members() const & {
    if (!is_object()) throw Error("json: expected an object, found " + describe());
    return members_;
}

size_t Value::size() const { return is_object() ? members_.size() : items().size(); }

const Value &Value::operator[](size_t i) const & {
    if (i >= items().size()) throw Error("json: element " + std::to_string(i) + " is past the end");
    return items_[i];
}

const Value *Value::find(std::string_view key) const & {
    const Value *found = nullptr;
    for (const auto &m : members())
        if (m.first == key) found = &m.second; // the last of repeated keys wins
    return found;
}

const Value &Value::at(std::string_view key) const & {
    const Value *v = find(key);
    if (!v) throw Error("json: no member \"" + std::string(key) + "\"");
    return *v;
}

} // namespace rfs_json
