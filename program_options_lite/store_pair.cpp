#include "program_options_lite/store_pair.h"

#include <iostream>

namespace vex::program_options_lite {
namespace {

/// The entries called `name`, or null.
const std::list<Options::Names*>* find(const Options::NameMap& map, const std::string& name) {
    const auto found = map.find(name);
    return found == map.end() ? nullptr : &found->second;
}

} // namespace

bool storePair(Options& opts, bool allow_long, bool allow_short, const std::string& name,
               const std::string& value) {
    const std::list<Options::Names*>* matches = nullptr;
    if (allow_long) {
        matches = find(opts.long_name_map, name);
    }
    if (allow_short && matches == nullptr) {
        matches = find(opts.short_name_map, name);
    }
    if (matches == nullptr) {
        std::cerr << "Unknown option: `" << name << "' (value:`" << value << "')" << std::endl;
        return false;
    }
    for (Options::Names* entry : *matches) {
        entry->option->parse(value);
    }
    return true;
}

bool storePair(Options& opts, const std::string& name, const std::string& value) {
    return storePair(opts, true, true, name, value);
}

} // namespace vex::program_options_lite
