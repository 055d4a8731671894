/// The command line of the program and of each verb: which options and arguments it takes, and their targets.
///
/// Only command_line.cpp includes the argument parser, whose headers take longer to compile than any verb.
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

/// The work of a verb. It runs after the command line has been read, and returns the exit status.
using Work = std::function<int()>;

struct Verb;

/// An option or argument that was declared.
class Parameter {
public:
    Parameter(CLI::Option& declared, ParameterOutline& described) : option(declared), outline(described) {}

    /// The verb rejects a command line without it.
    Parameter& required();
    /// The name of its value in the help.
    Parameter& valueName(std::string const& name);
    /// Rejects a command line with both.
    Parameter& excludes(Parameter const& other);
    /// Rejects a command line that has this without the other.
    Parameter& needs(Parameter const& other);

private:
    CLI::Option& option;
    ParameterOutline& outline;
};

/// What a verb's command line takes. A name that begins with a hyphen ("-a,--algorithm") is that of an
/// option, any other that of a positional argument. Names after a bar ("--certificates|--cert") are old
/// spellings, accepted and not shown. The targets must outlive the verb's work.
class CommandLine {
public:
    /// Setting up all verbs takes longer than many a job, so normally only the chosen one is set up.
    enum class SetUpVerbs { reached, all };
    CommandLine(CLI::App& declared, VerbOutline& described, std::span<Verb const> whole = {},
                SetUpVerbs when = SetUpVerbs::reached)
        : app(declared), outline(described), program(whole), setUpVerbs(when) {}

    Parameter flag(std::string const& name, bool& target, std::string const& help);
    /// An option with an optional value after an equals sign; without one it stands for `whenAlone`.
    Parameter flagWithValue(std::string const& name, std::string& target, std::string const& whenAlone,
                            std::string const& help);
    /// A text. An empty one is rejected: it comes from a shell variable that is not set.
    Parameter text(std::string const& name, std::string& target, std::string const& help);
    /// Texts: an option that may be repeated, or all remaining arguments.
    Parameter texts(std::string const& name, std::vector<std::string>& target, std::string const& help);
    /// A number of 32 or 64 bits as `parseNumber` reads it.
    Parameter number(std::string const& name, std::optional<std::uint32_t>& target, std::string const& help);
    Parameter number(std::string const& name, std::optional<std::int32_t>& target, std::string const& help);
    Parameter number(std::string const& name, std::optional<std::uint64_t>& target, std::string const& help);
    /// --json: the verb reports one JSON document (report.h).
    Parameter json();
    /// The heading of the options that are declared next, "Options" by default.
    void group(std::string const& heading);
    /// The end of the help. Paragraphs are filled; lines that begin with a blank are unchanged.
    void footer(std::string const& text);

    /// Makes the verbs sub-verbs of this command, which requires one of them, and returns the work of the
    /// chosen one.
    Work verbs(std::span<Verb const> table);

    /// Everything that the program's command line takes.
    VerbOutline describeProgram() const;

private:
    /// Adds the outline of a parameter and sets `*names` to its names in the parser's form.
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

/// The program's own texts.
struct ProgramText {
    std::string summary;
    std::string version; ///< What --version writes.
    std::string text;    ///< What its help ends with.
};

/// Reads the program's command line, does its work, and returns the exit status.
int runCommandLine(int argc, char** argv, ProgramText const& text, std::span<Verb const> verbs);
