/// The command line of the program and of each verb: what it may hold, and where that goes.
///
/// Only this header's source sees the argument parser, whose headers take longer to compile than any verb.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

/// The work of a verb: runs after the command line was read, and returns the exit status.
using Work = std::function<int()>;

struct Verb;

/// An option or argument that was declared.
class Parameter {
public:
    explicit Parameter(CLI::Option& declared) : option(declared) {}

    /// The verb does not run without it.
    Parameter& required();
    /// What the help calls its value.
    Parameter& valueName(std::string const& name);
    /// It cannot stand beside the other.
    Parameter& excludes(Parameter const& other);
    /// It makes no sense without the other.
    Parameter& needs(Parameter const& other);

private:
    CLI::Option& option;
};

/// What a verb's command line may hold. A name that begins with a hyphen ("-a,--algorithm") is that of an
/// option, any other that of an argument by position. The targets must live as long as the verb's work.
class CommandLine {
public:
    explicit CommandLine(CLI::App& declared) : app(declared) {}

    Parameter flag(std::string const& name, bool& target, std::string const& help);
    /// An option that may have a value behind an equals sign; alone it stands for `whenAlone`.
    Parameter flagWithValue(std::string const& name, std::string& target, std::string const& whenAlone,
                            std::string const& help);
    /// A text. It must not be empty: that is a variable that was not set, never a wish.
    Parameter text(std::string const& name, std::string& target, std::string const& help);
    /// Texts: an option that is given once for each, or all that is left of the arguments.
    Parameter texts(std::string const& name, std::vector<std::string>& target, std::string const& help);
    /// A number of 32 or 64 bits as `parseNumber` reads it.
    Parameter number(std::string const& name, std::optional<std::uint32_t>& target, std::string const& help);
    Parameter number(std::string const& name, std::optional<std::int32_t>& target, std::string const& help);
    Parameter number(std::string const& name, std::optional<std::uint64_t>& target, std::string const& help);
    /// What the help ends with.
    void footer(std::string const& text);

    /// Makes each verb one of this command, which needs one of them, and returns the work of the one that
    /// is chosen.
    Work verbs(std::span<Verb const> table);

private:
    CLI::App& app;
};

/// Declares a verb's options and arguments and returns its work.
using VerbSetup = Work (*)(CommandLine commandLine);

/// One entry of a table of verbs.
struct Verb {
    char const* name;
    char const* summary;
    VerbSetup setUp;
};

/// Reads the program's command line and does what it asks for; returns the exit status.
int runCommandLine(int argc, char** argv, std::string const& description, std::span<Verb const> verbs);
