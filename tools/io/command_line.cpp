#include "io/command_line.h"

#include "io/exit_status.h"
#include "io/number.h"
#include "io/terminal.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace {

/// CLI11 takes an argument "[a,b]" for two. One that could be meant bears this in front while it is there.
constexpr char literalMark = '\x01';

/// The arguments, last one first.
std::vector<std::string> markArguments(int argc, char** argv) {
    std::vector<std::string> arguments;
    for (int i = argc - 1; i > 0; --i) {
        std::string_view const argument = argv[i];
        bool const marked = argument.starts_with('[') || argument.starts_with(literalMark);
        arguments.push_back((marked ? std::string(1, literalMark) : "") + argv[i]);
    }
    return arguments;
}

/// Takes the mark off, and refuses an empty text.
CLI::Validator takeText() {
    auto const check = [](std::string& value) {
        if (value.starts_with(literalMark))
            value.erase(0, 1);
        return value.empty() ? "must not be empty" : "";
    };
    return {check, ""};
}

/// CLI11's own numbers take an empty text for 0, and 010 for 8.
template <typename Integer>
Parameter declareNumber(CLI::App& app, std::string const& name, std::optional<Integer>& target,
                        std::string const& help) {
    auto const read = [&target, name](std::string const& text) {
        target = parseNumber<Integer>(text);
        if (!target)
            throw CLI::ValidationError(name, "\"" + text + "\" is no number of " +
                                                 std::to_string(8 * sizeof(Integer)) + " bits");
    };
    return Parameter(*app.add_option_function<std::string>(name, read, help)->type_name("NUMBER"));
}

/// The verb that the command line reached, and the words before its name.
std::pair<CLI::App const*, std::string> findAsked(CLI::App const& app) {
    CLI::App const* asked = &app;
    std::string before;
    while (!asked->get_subcommands().empty()) {
        before += (before.empty() ? "" : " ") + asked->get_name();
        asked = asked->get_subcommands().front();
    }
    return {asked, before};
}

bool hasVerbs(CLI::App const& app) {
    return !app.get_subcommands([](CLI::App const*) { return true; }).empty();
}

/// The first word that stands in the place of a verb and is not one.
std::optional<std::string> findUnknownVerb(CLI::App const& app) {
    for (CLI::App const* asked = &app; hasVerbs(*asked); asked = asked->get_subcommands().front()) {
        if (!asked->remaining().empty())
            return asked->remaining().front();
        if (asked->get_subcommands().empty())
            break;
    }
    return std::nullopt;
}

int complainAboutUsage(std::string const& complaint) {
    wrongUsage(complaint);
    terminal::err() << "Run with --help for more information." << std::endl;
    return exitWrongUsage;
}

} // namespace

Parameter& Parameter::required() {
    option.required();
    return *this;
}

Parameter& Parameter::valueName(std::string const& name) {
    option.type_name(name);
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

Parameter CommandLine::flag(std::string const& name, bool& target, std::string const& help) {
    return Parameter(*app.add_flag(name, target, help));
}

Parameter CommandLine::flagWithValue(std::string const& name, std::string& target,
                                     std::string const& whenAlone, std::string const& help) {
    return Parameter(*app.add_flag(name + "{" + whenAlone + "}", target, help));
}

Parameter CommandLine::text(std::string const& name, std::string& target, std::string const& help) {
    return Parameter(*app.add_option(name, target, help)->transform(takeText()));
}

Parameter CommandLine::texts(std::string const& name, std::vector<std::string>& target,
                             std::string const& help) {
    // Not CLI11's own conversion, which takes "{}" for nothing.
    CLI::callback_t const take = [&target](CLI::results_t const& values) {
        target = values;
        return true;
    };
    CLI::Option* const option = app.add_option(name, take, help);
    option->type_name("TEXT")->expected(CLI::detail::expected_max_vector_size)->transform(takeText());
    // One value each time: what follows it is an argument.
    if (name.starts_with('-'))
        option->allow_extra_args(false);
    return Parameter(*option);
}

Parameter CommandLine::number(std::string const& name, std::optional<std::uint32_t>& target,
                              std::string const& help) {
    return declareNumber(app, name, target, help);
}

Parameter CommandLine::number(std::string const& name, std::optional<std::int32_t>& target,
                              std::string const& help) {
    return declareNumber(app, name, target, help);
}

Parameter CommandLine::number(std::string const& name, std::optional<std::uint64_t>& target,
                              std::string const& help) {
    return declareNumber(app, name, target, help);
}

void CommandLine::footer(std::string const& text) { app.footer(text); }

Work CommandLine::verbs(std::span<Verb const> table) {
    app.require_subcommand(1);
    auto const work = std::make_shared<Work>();
    for (Verb const& verb : table) {
        CLI::App* const sub = app.add_subcommand(verb.name, verb.summary);
        // The one that is reached alone: setting all of them up takes longer than many a job.
        sub->preparse_callback([&verb, sub, work](size_t) { *work = verb.setUp(CommandLine(*sub)); });
    }
    return [work] { return (*work)(); };
}

int runCommandLine(int argc, char** argv, std::string const& description, std::span<Verb const> verbs) {
    CLI::App app(description, "sealkit");
    app.get_formatter()->column_width(36);
    Work const work = CommandLine(app).verbs(verbs);
    try {
        app.parse(markArguments(argc, argv));
    } catch (CLI::CallForHelp const&) {
        auto const [asked, before] = findAsked(app);
        if (std::optional<std::string> const unknown = findUnknownVerb(app))
            return complainAboutUsage("\"" + *unknown + "\" is no verb");
        terminal::out() << asked->help(before);
        return exitDone;
    } catch (CLI::ParseError const& error) {
        CLI::App const* const asked = findAsked(app).first;
        if (std::optional<std::string> const unknown = findUnknownVerb(app))
            return complainAboutUsage("\"" + *unknown + "\" is no verb");
        if (asked->get_subcommands().empty() && hasVerbs(*asked))
            return complainAboutUsage("a verb is missing");
        return complainAboutUsage(error.what());
    }
    return work();
}
