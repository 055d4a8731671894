#include "io/command_line.h"

#include "io/exit_status.h"
#include "io/manual_page.h"
#include "io/number.h"
#include "io/report.h"
#include "io/terminal.h"

#include "sealkit/version.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

namespace {

/// CLI11 splits an argument "[a,b]" into two. This mark in front of it, removed later, prevents that.
constexpr char literalMark = '\x01';

std::string mark(std::string_view argument) {
    bool const marked = argument.starts_with('[') || argument.starts_with(literalMark);
    return (marked ? std::string(1, literalMark) : "") + std::string(argument);
}

std::string unmark(std::string_view argument) {
    return std::string(argument.substr(argument.starts_with(literalMark) ? 1 : 0));
}

/// The arguments in reverse order, as CLI11 takes them. "help VERB" means "VERB --help", and "help --man
/// VERB" asks for the manual page of the verb.
std::vector<std::string> readArguments(int argc, char** argv, bool* asManualPage) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back(mark(argv[i]));
    if (!arguments.empty() && arguments.front() == "help") {
        while (!arguments.empty() && arguments.front() == "help")
            arguments.erase(arguments.begin());
        *asManualPage = !arguments.empty() && arguments.front() == "--man";
        if (*asManualPage)
            arguments.erase(arguments.begin());
        arguments.emplace_back("--help");
    }
    std::ranges::reverse(arguments);
    return arguments;
}

/// Removes the mark and rejects an empty text.
CLI::Validator takeText() {
    auto const check = [](std::string& value) {
        value = unmark(value);
        return value.empty() ? "must not be empty" : "";
    };
    return {check, ""};
}

/// The verb that the command line reached, and the command up to its name.
struct Asked {
    CLI::App const* app;
    VerbOutline const* outline;
    std::string path;
};

Asked findAsked(CLI::App const& app, VerbOutline const& outline) {
    Asked asked{&app, &outline, app.get_name()};
    while (!asked.app->get_subcommands().empty()) {
        asked.app = asked.app->get_subcommands().front();
        asked.outline = &*std::ranges::find(asked.outline->verbs, asked.app->get_name(), &VerbOutline::name);
        asked.path += " " + asked.app->get_name();
    }
    return asked;
}

/// The suggestion that ends a complaint about an unknown word.
std::string suggest(std::string_view word, std::vector<std::string_view> const& known) {
    std::string_view const nearest = findNearest(word, known);
    return nearest.empty() ? "" : "; did you mean " + std::string(nearest) + "?";
}

std::vector<std::string_view> verbNames(VerbOutline const& outline) {
    std::vector<std::string_view> names;
    for (VerbOutline const& verb : outline.verbs)
        names.push_back(verb.name);
    return names;
}

/// The names that begin with two hyphens.
std::vector<std::string_view> optionNames(VerbOutline const& outline) {
    std::vector<std::string_view> names;
    for (ParameterOutline const& parameter : outline.parameters)
        for (std::string const& name : parameter.names)
            if (parameter.isOption() && name.starts_with("--"))
                names.push_back(name);
    return names;
}

/// The complaint about a word that no verb or option takes.
std::string complainOfWord(std::string const& word, Asked const& asked) {
    if (word.starts_with('-') && word.size() > 1) {
        std::string const name = word.substr(0, word.find('='));
        // "-certificate" may be a misspelled "--certificate". A single letter suggests nothing.
        std::string const suggestion =
            name.size() > 2 ? suggest(name, optionNames(*asked.outline)) : std::string();
        return "\"" + name + "\" is not an option of \"" + asked.path + "\"" +
               (suggestion.empty() && !asked.outline->verbs.empty() ? ": write options after the verb"
                                                                    : suggestion);
    }
    if (!asked.outline->verbs.empty())
        return "\"" + word + "\" is not a verb" + suggest(word, verbNames(*asked.outline));
    return "\"" + word + "\" is one argument too many";
}

/// The complaint about the first word that no verb or option takes.
std::optional<std::string> findUnknown(CLI::App const& app, VerbOutline const& outline) {
    Asked asked{&app, &outline, app.get_name()};
    while (true) {
        if (auto const rest = asked.app->remaining(); !rest.empty())
            return complainOfWord(unmark(rest.front()), asked);
        if (asked.app->get_subcommands().empty())
            return std::nullopt;
        asked.app = asked.app->get_subcommands().front();
        asked.outline = &*std::ranges::find(asked.outline->verbs, asked.app->get_name(), &VerbOutline::name);
        asked.path += " " + asked.app->get_name();
    }
}

int complainAboutUsage(std::string const& complaint, Asked const& asked) {
    wrongUsage(complaint);
    terminal::err() << "run \"" << asked.path << " --help\" to see what it takes" << std::endl;
    return exitWrongUsage;
}

void addHelpOption(VerbOutline& outline) {
    outline.parameters.push_back(
        {{"-h", "--help"}, {}, "Options", {}, "print this help and exit", false, false});
}

void addProgramOptions(VerbOutline& outline) {
    outline.verbs.push_back(
        {"help", "print the help of a verb: help VERB; as a manual page: help --man VERB", {}, {}, {}});
    addHelpOption(outline);
    outline.parameters.push_back(
        {{"--version"}, {}, "Options", {}, "print the version and exit", false, false});
}

} // namespace

Parameter& Parameter::required() {
    option.required();
    outline.isRequired = true;
    return *this;
}

Parameter& Parameter::valueName(std::string const& name) {
    outline.valueName = name;
    return *this;
}

Parameter& Parameter::excludes(Parameter const& other) {
    option.excludes(&other.option);
    return *this;
}

Parameter& Parameter::needs(Parameter const& other) {
    option.needs(&other.option);
    return *this;
}

ParameterOutline& CommandLine::describe(std::string const& name, std::string const& help,
                                        std::string const& valueName, std::string* names) {
    size_t const bar = std::min(name.find('|'), name.size());
    auto const split = [](std::string const& list) { return CLI::detail::split_names(list); };
    ParameterOutline described{split(name.substr(0, bar)), {}, heading, valueName, help, false, false};
    *names = name;
    if (bar < name.size()) {
        described.oldNames = split(name.substr(bar + 1));
        (*names)[bar] = ',';
    }
    return outline.parameters.emplace_back(std::move(described));
}

Parameter CommandLine::flag(std::string const& name, bool& target, std::string const& help) {
    std::string names;
    ParameterOutline& described = describe(name, help, "", &names);
    return {*app.add_flag(names, target), described};
}

Parameter CommandLine::flagWithValue(std::string const& name, std::string& target,
                                     std::string const& whenAlone, std::string const& help) {
    std::string names;
    ParameterOutline& described = describe(name, help, "[=VALUE]", &names);
    return {*app.add_flag(names + "{" + whenAlone + "}", target), described};
}

Parameter CommandLine::text(std::string const& name, std::string& target, std::string const& help) {
    std::string names;
    ParameterOutline& described = describe(name, help, "TEXT", &names);
    return {*app.add_option(names, target)->transform(takeText()), described};
}

Parameter CommandLine::texts(std::string const& name, std::vector<std::string>& target,
                             std::string const& help) {
    std::string names;
    ParameterOutline& described = describe(name, help, "TEXT", &names);
    described.isRepeated = true;
    // CLI11's own conversion takes "{}" for an empty list.
    CLI::callback_t const take = [&target](CLI::results_t const& values) {
        target = values;
        return true;
    };
    CLI::Option* const option = app.add_option(names, take);
    option->type_name("TEXT")->expected(CLI::detail::expected_max_vector_size)->transform(takeText());
    // An option takes one value each time; the next word is an argument.
    if (described.isOption())
        option->allow_extra_args(false);
    return {*option, described};
}

/// CLI11 would read an empty text as 0, and 010 as 8.
template <typename Integer>
Parameter CommandLine::declareNumber(std::string const& name, std::optional<Integer>& target,
                                     std::string const& help) {
    std::string names;
    ParameterOutline& described = describe(name, help, "NUMBER", &names);
    auto const read = [&target, shown = described.names.back()](std::string const& text) {
        target = parseNumber<Integer>(text);
        if (!target)
            throw CLI::ValidationError(shown, "\"" + text + "\" is not a number of " +
                                                  std::to_string(8 * sizeof(Integer)) + " bits");
    };
    return {*app.add_option_function<std::string>(names, read), described};
}

Parameter CommandLine::number(std::string const& name, std::optional<std::uint32_t>& target,
                              std::string const& help) {
    return declareNumber(name, target, help);
}

Parameter CommandLine::number(std::string const& name, std::optional<std::int32_t>& target,
                              std::string const& help) {
    return declareNumber(name, target, help);
}

Parameter CommandLine::number(std::string const& name, std::optional<std::uint64_t>& target,
                              std::string const& help) {
    return declareNumber(name, target, help);
}

Parameter CommandLine::json() {
    std::string names;
    ParameterOutline& described =
        describe("--json", "print JSON according to share/sealkit.schema.json", "", &names);
    std::string command = app.get_name();
    for (CLI::App const* above = app.get_parent(); above->get_parent() != nullptr;
         above = above->get_parent())
        command = above->get_name() + " " + command;
    return {*app.add_flag_callback(names, [command] { report::expectJson(command); }), described};
}

void CommandLine::group(std::string const& name) { heading = name; }

void CommandLine::footer(std::string const& text) { outline.text = text; }

Work CommandLine::verbs(std::span<Verb const> table) {
    app.require_subcommand(1);
    if (program.empty())
        program = table;
    auto const work = std::make_shared<Work>();
    for (Verb const& verb : table) {
        CLI::App* const sub = app.add_subcommand(verb.name, verb.summary);
        VerbOutline& part = outline.verbs.emplace_back();
        part.name = verb.name;
        part.summary = verb.summary;
        auto const setUp = [&verb, sub, &part, work, whole = program, when = setUpVerbs](size_t) {
            *work = verb.setUp(CommandLine(*sub, part, whole, when));
            addHelpOption(part);
        };
        if (setUpVerbs == SetUpVerbs::all)
            setUp(0);
        else
            sub->preparse_callback(setUp);
    }
    return [work] { return (*work)(); };
}

VerbOutline CommandLine::describeProgram() const {
    CLI::App app("", "sealkit");
    VerbOutline outline{"sealkit", {}, {}, {}, {}};
    CommandLine(app, outline, program, SetUpVerbs::all).verbs(program);
    addProgramOptions(outline);
    return outline;
}

int runCommandLine(int argc, char** argv, ProgramText const& text, std::span<Verb const> verbs) {
    CLI::App app("", "sealkit");
    VerbOutline outline{"sealkit", text.summary, text.text, {}, {}};
    Work const work = CommandLine(app, outline).verbs(verbs);
    addProgramOptions(outline);
    app.set_version_flag("--version", text.version);
    bool asManualPage = false;
    try {
        app.parse(readArguments(argc, argv, &asManualPage));
    } catch (CLI::CallForVersion const& asked) {
        terminal::out() << asked.what() << std::endl;
        return exitDone;
    } catch (CLI::ParseError const& error) {
        Asked const asked = findAsked(app, outline);
        if (std::optional<std::string> const unknown = findUnknown(app, outline))
            return complainAboutUsage(*unknown, asked);
        if (dynamic_cast<CLI::CallForHelp const*>(&error) != nullptr) {
            terminal::out() << (asManualPage ? formatManualPage(*asked.outline, asked.path, SEALKIT_VERSION)
                                             : formatHelp(*asked.outline, asked.path));
            return exitDone;
        }
        if (!asked.outline->verbs.empty())
            return complainAboutUsage("a verb is missing", asked);
        return complainAboutUsage(error.what(), asked);
    }
    return work();
}
