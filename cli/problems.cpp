#include "problems.h"

#include <cstdio>

namespace cli {

void Problems::start(const std::string &command) {
    command_ = command;
    strict_ = false;
    list_.clear();
}

void Problems::add(const std::string &kind, const std::string &text) {
    for (const Problem &p : list_)
        if (p.kind == kind && p.text == text) return;
    list_.push_back({kind, text});
    fprintf(stderr, "rfs %s: warning: %s\n", command_.c_str(), text.c_str());
}

void Problems::write_json(rfs_json::Writer &w) const {
    w.key("problems").begin_array();
    for (const Problem &p : list_) w.begin_object().field("kind", p.kind).field("text", p.text).end_object();
    w.end_array();
}

Problems &problems() {
    static Problems p;
    return p;
}

} // namespace cli
