#pragma once

#include <list>
#include <map>
#include <string>

namespace vex::program_options_lite {

/// One option of any type: its names, its help text, and how it takes a value.
class OptionBase {
public:
    /// Copies both texts; see Options::addOption for the syntax of `name_spec`.
    OptionBase(const std::string& name_spec, const std::string& help_text)
        : name_spec(name_spec), help_text(help_text) {}
    OptionBase(const OptionBase&) = delete;
    OptionBase& operator=(const OptionBase&) = delete;
    virtual ~OptionBase() = default;

    /// Stores the value that `text` stands for; text that is no value of the type changes nothing.
    virtual void parse(const std::string& text) = 0;

    /// Stores the default.
    virtual void setDefault() = 0;

    std::string name_spec; ///< the names as registered, separated by commas
    std::string help_text; ///< may be empty, may hold newlines
};

/// An option bound to a variable of the caller; T is int, bool or std::string.
///
/// The variable is written by parse() and setDefault() only, and must outlive their calls.
template <typename T>
class Option : public OptionBase {
public:
    Option(const std::string& name_spec, T& target, T default_value, const std::string& help_text);
    ~Option() override = default;

    /// Numbers are decimal, with blanks before and anything after them ignored; a bool is 0 or 1.
    /// A string takes the whole text unchanged.
    void parse(const std::string& text) override;
    void setDefault() override;

    T& target;
    T default_value;
};

extern template class Option<int>;
extern template class Option<bool>;
extern template class Option<std::string>;

class OptionAdder;

/// The registry: owns its options and finds them by name. Names are case-sensitive and whole.
class Options {
public:
    /// One registered option with its names in the order of its name spec.
    struct Names {
        Names() = default;
        Names(const Names&) = delete;
        Names& operator=(const Names&) = delete;
        ~Names() { delete option; }

        std::list<std::string> long_names;
        std::list<std::string> short_names;
        OptionBase* option = nullptr; ///< owned; may be null
    };
    using NameMap = std::map<std::string, std::list<Names*>>;

    Options() = default;
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;
    ~Options();

    /// Registers `option` and takes ownership of it.
    ///
    /// Its name spec holds names separated by commas. A name of one character is short, and so is
    /// any name with a dash in front, which is removed; all others are long. A name may be
    /// registered more than once: a value given under it goes to every option that has it.
    void addOption(OptionBase* option);

    /// Starts a chain of registrations: addOptions()("help,h", flag, false, "text")(...).
    OptionAdder addOptions();

    std::list<Names*> entries; ///< owned, in order of registration
    NameMap long_name_map;     ///< owns nothing
    NameMap short_name_map;    ///< owns nothing
};

/// Registers one option a call and returns itself, so that calls can be chained.
class OptionAdder {
public:
    explicit OptionAdder(Options& registry) : registry(registry) {}

    /// Binds `target`, a variable of the caller that must outlive the registry's use.
    OptionAdder& operator()(const std::string& name_spec, int& target, int default_value,
                            const std::string& help_text);
    OptionAdder& operator()(const std::string& name_spec, bool& target, bool default_value,
                            const std::string& help_text);
    OptionAdder& operator()(const std::string& name_spec, std::string& target,
                            std::string default_value, const std::string& help_text);

    Options& registry;
};

/// Gives every bound variable its default, in order of registration.
void setDefaults(Options& opts);

} // namespace vex::program_options_lite
