#include "program_options_lite/options.h"

#include <sstream>
#include <type_traits>
#include <utility>

namespace vex::program_options_lite {

template <typename T>
Option<T>::Option(const std::string& name_spec, T& target, T default_value,
                  const std::string& help_text)
    : OptionBase(name_spec, help_text), target(target), default_value(std::move(default_value)) {}

template <typename T>
void Option<T>::parse(const std::string& text) {
    if constexpr (std::is_same_v<T, std::string>) {
        target = text;
    } else {
        // A failed extraction still writes its variable, so the target is kept out of it.
        std::istringstream in(text);
        if (T value{}; in >> value) {
            target = value;
        }
    }
}

template <typename T>
void Option<T>::setDefault() {
    target = default_value;
}

template class Option<int>;
template class Option<bool>;
template class Option<std::string>;

Options::~Options() {
    for (Names* entry : entries) {
        delete entry;
    }
}

void Options::addOption(OptionBase* option) {
    Names* entry = entries.emplace_back(new Names);
    entry->option = option;
    const std::string& names = option->name_spec;

    std::size_t start = 0;
    std::size_t comma = 0;
    do {
        comma = names.find(',', start);
        const bool dashed = names.compare(start, 1, "-") == 0;
        start += dashed ? 1 : 0;
        const std::string name = names.substr(start, comma - start);
        const bool is_short = dashed || name.size() == 1;
        (is_short ? entry->short_names : entry->long_names).push_back(name);
        (is_short ? short_name_map : long_name_map)[name].push_back(entry);
        start = comma + 1;
    } while (comma != std::string::npos);
}

OptionAdder Options::addOptions() { return OptionAdder(*this); }

OptionAdder& OptionAdder::operator()(const std::string& name_spec, int& target, int default_value,
                                     const std::string& help_text) {
    registry.addOption(new Option<int>(name_spec, target, default_value, help_text));
    return *this;
}

OptionAdder& OptionAdder::operator()(const std::string& name_spec, bool& target, bool default_value,
                                     const std::string& help_text) {
    registry.addOption(new Option<bool>(name_spec, target, default_value, help_text));
    return *this;
}

OptionAdder& OptionAdder::operator()(const std::string& name_spec, std::string& target,
                                     std::string default_value, const std::string& help_text) {
    registry.addOption(
        new Option<std::string>(name_spec, target, std::move(default_value), help_text));
    return *this;
}

void setDefaults(Options& opts) {
    for (Options::Names* entry : opts.entries) {
        entry->option->setDefault();
    }
}

} // namespace vex::program_options_lite
