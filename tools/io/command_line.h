/// The command line of the program and of each verb: what it may hold, and where that goes.
///
/// Only this header's source sees the argument parser, whose headers take longer to compile than any verb.
#pragma once

#include "io/outline.h"

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
    Parameter(CLI::Option& declared, ParameterOutline& described) : option(declared), outline(described) {}

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
    ParameterOutline& outline;
};

/// What a verb's command line may hold. A name that begins with a hyphen ("-a,--algorithm") is that of an
/// option, any other that of an argument by position. Names after a bar ("--certificates|--cert") are old
/// spellings, which are taken and not shown. The targets must live as long as the verb's work.
class CommandLine {
public:
    /// Setting up each verb takes longer than many a job: it is done for the one that is reached, or for all.
    enum class SetUpVerbs { reached, all };
    CommandLine(CLI::App& declared, VerbOutline& described, std::span<Verb const> whole = {},
                SetUpVerbs when = SetUpVerbs::reached)
        : app(declared), outline(described), program(whole), setUpVerbs(when) {}

    Parameter flag(std::string const& name, bool& target, std::string const& help);
    /// An option that may have a value after an equals sign; alone it stands for `whenAlone`.
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
    /// --json: what the verb reports is one JSON document (report.h).
    Parameter json();
    /// The heading of the options that are declared next; "Options" at first.
    void group(std::string const& heading);
    /// What the help ends with: paragraphs, which are filled, and lines that begin with a blank, which stay
    /// as they are.
    void footer(std::string const& text);

    /// Makes each verb one of this command, which needs one of them, and returns the work of the one that
    /// is chosen.
    Work verbs(std::span<Verb const> table);

    /// All that the program's command line may hold.
    VerbOutline describeProgram() const;

private:
    /// Adds the outline of a parameter; `*names` are its names as the parser takes them.
    ParameterOutline& describe(std::string const& name, std::string const& help, std::string const& valueName,
                               std::string* names);
    template <typename Integer>
    Parameter declareNumber(std::string const& name, std::optional<Integer>& target, std::string const& help);

    CLI::App& app;
    VerbOutline& outline;
    std::span<Verb const> program;
    SetUpVerbs setUpVerbs;
    std::string heading = "Options";
};

/// Declares a verb's options and arguments and returns its work.
using VerbSetup = Work (*)(CommandLine commandLine);

/// One entry of a table of verbs.
struct Verb {
    char const* name;
    char const* summary;
    VerbSetup setUp;
};

/// What the program is, beside its verbs.
struct ProgramText {
    std::string summary;
    std::string version; ///< What --version writes.
    std::string text;    ///< What its help ends with.
};

/// Reads the program's command line and does what it asks for; returns the exit status.
int runCommandLine(int argc, char** argv, ProgramText const& text, std::span<Verb const> verbs);
