#include "args.h"

#include <algorithm>

#include "errors.h"

namespace cli {

namespace {

const Option *find_option(const std::vector<Option> &options, const std::string &name) {
    auto it = std::find_if(options.begin(), options.end(),
                           [&](const Option &o) { return o.name == name; });
    return it == options.end() ? nullptr : &*it;
}

bool looks_like_option(const std::string &word) { return word.size() > 1 && word[0] == '-'; }

} // namespace

Args::Args(const std::vector<std::string> &words, const std::vector<Option> &options) {
    for (size_t i = 0; i < words.size(); ++i) {
        std::string word = words[i];
        if (word == "--") {
            positional_.insert(positional_.end(), words.begin() + long(i) + 1, words.end());
            break;
        }
        if (!looks_like_option(word)) {
            positional_.push_back(word);
            continue;
        }
        if (word == "--help" || word == "-h") {
            help_ = true;
            continue;
        }
        std::string inline_value;
        bool has_inline = false;
        if (size_t eq = word.find('='); word.rfind("--", 0) == 0 && eq != std::string::npos) {
            inline_value = word.substr(eq + 1);
            word.resize(eq);
            has_inline = true;
        }
        const Option *option = find_option(options, word);
        if (!option) throw UsageError("unknown option '" + word + "'");
        if (!option->takes_value) {
            if (has_inline) throw UsageError("option '" + word + "' takes no value");
            given_.push_back({word, ""});
        } else if (has_inline) {
            given_.push_back({word, inline_value});
        } else {
            if (i + 1 >= words.size()) throw UsageError("option '" + word + "' needs a value");
            given_.push_back({word, words[++i]});
        }
    }
}

bool Args::has(const std::string &name) const {
    return std::any_of(given_.begin(), given_.end(), [&](const Given &g) { return g.name == name; });
}

const std::string &Args::value(const std::string &name) const {
    for (auto it = given_.rbegin(); it != given_.rend(); ++it)
        if (it->name == name) return it->value;
    throw UsageError("option '" + name + "' is required");
}

std::vector<std::string> Args::values(const std::string &name) const {
    std::vector<std::string> out;
    for (const Given &g : given_)
        if (g.name == name) out.push_back(g.value);
    return out;
}

} // namespace cli
