#include "io/terminal.h"
#include "verbs/verb.h"

#include <functional>
#include <memory>

namespace {

struct CompletionOptions {
    std::string shell;
};

/// A sub-verb or option of a verb.
struct Word {
    std::string name;
    std::string help;
};

std::vector<Word> wordsOf(VerbOutline const& verb) {
    std::vector<Word> words;
    for (VerbOutline const& one : verb.verbs)
        words.push_back({one.name, one.summary});
    for (ParameterOutline const& parameter : verb.parameters)
        for (std::string const& name : parameter.names)
            if (parameter.isOption())
                words.push_back({name, parameter.help});
    return words;
}

/// Calls `work` for the verb and all its descendants, each with its full command: "sealkit cms check".
void walk(VerbOutline const& verb, std::string const& path,
          std::function<void(VerbOutline const& verb, std::string const& path)> const& work) {
    work(verb, path);
    for (VerbOutline const& one : verb.verbs)
        walk(one, path + " " + one.name, work);
}

/// The first line or clause of the help, without characters that a shell interprets.
std::string shellSummary(std::string const& help) {
    std::string text = help.substr(0, help.find_first_of("\n;:"));
    std::erase_if(text, [](char c) { return c == '\'' || c == '"' || c == '`' || c == '$' || c == '\\'; });
    return text;
}

/// The branches of a "case" that follows the verbs on the command line.
std::string followVerbs(VerbOutline const& program) {
    std::string patterns;
    walk(program, "sealkit", [&](VerbOutline const&, std::string const& path) {
        if (path != "sealkit")
            patterns += (patterns.empty() ? "" : "|") + ("'" + path + "'");
    });
    return patterns;
}

void writeBash(VerbOutline const& program, std::ostream& out) {
    out << "_sealkit() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} verb=sealkit words i\n"
           "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
           "        case \"$verb ${COMP_WORDS[i]}\" in\n        "
        << followVerbs(program)
        << ") verb+=\" ${COMP_WORDS[i]}\" ;;\n"
           "        esac\n"
           "    done\n"
           "    case $verb in\n";
    walk(program, "sealkit", [&](VerbOutline const& verb, std::string const& path) {
        out << "    '" << path << "') words='";
        char const* before = "";
        for (Word const& word : wordsOf(verb)) {
            out << before << word.name;
            before = " ";
        }
        out << "' ;;\n";
    });
    // Without sub-verbs, a word without a hyphen is a file or a value, which the shell completes.
    out << "    esac\n"
           "    [[ $word != -* && $words == -* ]] || COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
           "}\n"
           "complete -o default -F _sealkit sealkit\n";
}

void writeZsh(VerbOutline const& program, std::ostream& out) {
    out << "#compdef sealkit\n"
           "_sealkit() {\n"
           "    local verb=sealkit i\n"
           "    local -a items\n"
           "    for ((i = 2; i < CURRENT; i++)); do\n"
           "        case \"$verb ${words[i]}\" in\n        "
        << followVerbs(program)
        << ") verb+=\" ${words[i]}\" ;;\n"
           "        esac\n"
           "    done\n"
           "    case $verb in\n";
    walk(program, "sealkit", [&](VerbOutline const& verb, std::string const& path) {
        out << "    '" << path << "') items=(";
        for (Word const& word : wordsOf(verb))
            out << "\n        '" << word.name << ":" << shellSummary(word.help) << "'";
        out << ") ;;\n";
    });
    out << "    esac\n"
           "    if [[ ${words[CURRENT]} != -* && ${items[1]} == -* ]]; then\n"
           "        _files\n"
           "    else\n"
           "        _describe 'sealkit' items\n"
           "    fi\n"
           "}\n"
           "if [[ $funcstack[1] == _sealkit ]]; then _sealkit \"$@\"; else compdef _sealkit sealkit; fi\n";
}

void writeFish(VerbOutline const& program, std::ostream& out) {
    out << "function __sealkit_verb\n"
           "    set -l verb sealkit\n"
           "    for word in (commandline -opc)[2..-1]\n"
           "        switch \"$verb $word\"\n"
           "            case ";
    std::string patterns = followVerbs(program);
    for (char& c : patterns)
        c = c == '|' ? ' ' : c;
    out << patterns
        << "\n"
           "                set verb \"$verb $word\"\n"
           "        end\n"
           "    end\n"
           "    test \"$verb\" = \"$argv\"\n"
           "end\n";
    walk(program, "sealkit", [&](VerbOutline const& verb, std::string const& path) {
        std::string const start = "complete -c sealkit -n '__sealkit_verb " + path + "'";
        for (VerbOutline const& one : verb.verbs)
            out << start << " -f -a " << one.name << " -d '" << shellSummary(one.summary) << "'\n";
        for (ParameterOutline const& parameter : verb.parameters) {
            if (!parameter.isOption())
                continue;
            out << start;
            for (std::string const& name : parameter.names)
                out << (name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1));
            out << (parameter.takesValue() ? " -r" : "") << " -d '" << shellSummary(parameter.help) << "'\n";
        }
    });
}

int complete(CompletionOptions const& options, VerbOutline const& program) {
    static constexpr struct {
        std::string_view name;
        void (*write)(VerbOutline const& program, std::ostream& out);
    } shells[] = {{"bash", writeBash}, {"zsh", writeZsh}, {"fish", writeFish}};
    for (auto const& shell : shells)
        if (shell.name == options.shell) {
            shell.write(program, terminal::out());
            return exitDone;
        }
    return wrongUsage("\"" + options.shell + "\" is not a known shell; the choices are bash, zsh and fish");
}

} // namespace

Work setUpCompletion(CommandLine commandLine) {
    auto options = std::make_shared<CompletionOptions>();
    commandLine.text("SHELL", options->shell, "bash, zsh or fish").required();
    commandLine.footer("Prints what makes the shell complete verbs and options of sealkit.\n\n"
                       "Examples:\n"
                       "  source <(sealkit completion bash)\n"
                       "  sealkit completion fish > sealkit.fish");
    return [options, commandLine] { return complete(*options, commandLine.describeProgram()); };
}
