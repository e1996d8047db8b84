// Command-line options of one command: "--name value", "--name=value", bare
// flags and positional words, in any order; "--" ends the options.
#pragma once

#include <string>
#include <vector>

namespace cli {

struct Option {
    std::string name; // "--channel", "-o"
    bool takes_value = false;
};

class Args {
  public:
    // Throws UsageError on an unknown option or a missing value. "--help" and
    // "-h" are always understood.
    Args(const std::vector<std::string> &words, const std::vector<Option> &options);

    bool help() const { return help_; }
    bool has(const std::string &name) const;
    // The last value given for an option; throws UsageError when absent.
    const std::string &value(const std::string &name) const;
    // Every value given for an option, in order (repeated or not).
    std::vector<std::string> values(const std::string &name) const;
    const std::vector<std::string> &positional() const { return positional_; }

  private:
    struct Given {
        std::string name;
        std::string value;
    };
    std::vector<Given> given_;
    std::vector<std::string> positional_;
    bool help_ = false;
};

} // namespace cli
