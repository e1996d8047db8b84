// A small JSON reader: parses a whole text into a tree of values. Good for
// scenario files and for tests that read the tool's output; not for large
// documents.
//
//   rfs_json::Value doc = rfs_json::Value::parse(text);
//   int chn = doc.at("chn").get<int>();
//   for (const Value &e : doc.at("events").items()) ...
//
// Strings come back as bytes: \udc80 .. \udcff stand for the single bytes
// 80 .. FF (see json_writer.h), every other escape is decoded to UTF-8.
// Every misuse (a missing key, a value of another type, a number that does
// not fit the asked type, a text that is not JSON) throws rfs_json::Error.
#pragma once

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace rfs_json {

struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Value {
  public:
    enum class Type { Null, Bool, Number, String, Array, Object };

    // Nesting deeper than this is refused, so no text can exhaust the stack.
    static constexpr int kMaxDepth = 200;

    static Value parse(std::string_view text);

    Value() = default;

    Type type() const { return type_; }
    bool is_null() const { return type_ == Type::Null; }
    bool is_bool() const { return type_ == Type::Bool; }
    bool is_number() const { return type_ == Type::Number; }
    bool is_string() const { return type_ == Type::String; }
    bool is_array() const { return type_ == Type::Array; }
    bool is_object() const { return type_ == Type::Object; }
    // A number written without fraction or exponent and not negative.
    bool is_unsigned() const { return type_ == Type::Number && integral_ && !negative_; }

    // Accessors that hand out references into the value exist for named
    // values only: on a temporary (Value::parse(t).items()) they would
    // dangle. str() of a temporary gives a copy.
    const std::string &str() const &;
    std::string str() const && { return static_cast<const Value &>(*this).str(); }
    bool boolean() const;
    double number() const;
    // An integral number converted to T; throws when it does not fit.
    template <typename T>
        requires std::is_integral_v<T>
    T get() const {
        if constexpr (std::is_same_v<T, bool>) {
            return boolean();
        } else {
            bool fits = negative_ ? std::is_signed_v<T> && int64_ >= int64_t(std::numeric_limits<T>::min())
                                  : uint64_ <= uint64_t(std::numeric_limits<T>::max());
            if (!integral() || !fits) throw Error("json: " + describe() + " does not fit the asked integer");
            return negative_ ? T(int64_) : T(uint64_);
        }
    }

    const std::vector<Value> &items() const &;                          // array
    const std::vector<std::pair<std::string, Value>> &members() const &; // object, in order
    const std::vector<Value> &items() const && = delete;
    const std::vector<std::pair<std::string, Value>> &members() const && = delete;
    size_t size() const;
    const Value &operator[](size_t i) const &;
    const Value &operator[](size_t i) const && = delete;
    // Object members; find gives null for a missing key, at throws.
    const Value *find(std::string_view key) const &;
    const Value &at(std::string_view key) const &;
    const Value *find(std::string_view key) const && = delete;
    const Value &at(std::string_view key) const && = delete;
    bool contains(std::string_view key) const { return find(key) != nullptr; }

    // "a string", "a number"... for messages.
    std::string describe() const;

  private:
    friend class Parser;
    bool integral() const;

    Type type_ = Type::Null;
    bool bool_ = false;
    bool integral_ = false; // no fraction, no exponent
    bool negative_ = false;
    uint64_t uint64_ = 0; // magnitude of a non-negative integral number
    int64_t int64_ = 0;   // value of a negative integral number
    double double_ = 0;
    bool in_range_ = true; // the integral number fits 64 bits
    std::string string_;
    std::vector<Value> items_;
    std::vector<std::pair<std::string, Value>> members_;
};

} // namespace rfs_json
