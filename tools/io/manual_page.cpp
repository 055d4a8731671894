#include "io/manual_page.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace {

/// Escapes what roff would interpret, and writes hyphens that survive being pasted into a shell.
std::string toRoff(std::string_view text) {
    std::string roff;
    for (char const c : text)
        if (c == '\\')
            roff += "\\e";
        else if (c == '-')
            roff += "\\-";
        else
            roff += c;
    // roff takes a line with such a beginning for a request.
    return roff.starts_with('.') || roff.starts_with('\'') ? "\\&" + roff : roff;
}

std::string bold(std::string_view text) { return "\\fB" + toRoff(text) + "\\fR"; }
std::string italic(std::string_view text) { return "\\fI" + toRoff(text) + "\\fR"; }

/// The name of a page, such as "sealkit-cms-check".
std::string pageName(std::string path) {
    std::ranges::replace(path, ' ', '-');
    return path;
}

std::string upperCase(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return text;
}

std::string formatNames(ParameterOutline const& parameter) {
    std::string text;
    for (std::string const& name : parameter.names)
        text += (text.empty() ? "" : ", ") + (parameter.isOption() ? bold(name) : italic(name));
    if (parameter.isOption() && !parameter.valueName.empty())
        text += (parameter.takesValue() ? " " : "") + italic(parameter.valueName);
    return text + (parameter.isRepeated ? "..." : "");
}

std::string formatSynopsis(VerbOutline const& verb, std::string const& path) {
    std::string text = ".SH SYNOPSIS\n" + bold(path);
    if (!verb.verbs.empty())
        return text + " " + italic("VERB") + " ...\n";
    for (ParameterOutline const& parameter : verb.parameters)
        if (parameter.isOption() && parameter.isRequired)
            text += " " + bold(parameter.names.front()) + " " + italic(parameter.valueName);
    text += " [" + italic("OPTIONS") + "]";
    for (ParameterOutline const& parameter : verb.parameters)
        if (!parameter.isOption()) {
            std::string const names = formatNames(parameter);
            text += parameter.isRequired ? " " + names : " [" + names + "]";
        }
    return text + "\n";
}

std::string formatItem(std::string const& label, std::string const& help) {
    return ".TP\n" + label + "\n" + toRoff(joinLines(help)) + "\n";
}

std::string formatParameters(VerbOutline const& verb) {
    std::string text;
    std::vector<std::string_view> groups;
    for (ParameterOutline const& parameter : verb.parameters)
        if (!parameter.isOption())
            text += formatItem(formatNames(parameter), parameter.help);
        else if (std::ranges::find(groups, parameter.group) == groups.end())
            groups.push_back(parameter.group);
    if (!text.empty())
        text = ".SH ARGUMENTS\n" + text;
    std::ranges::stable_sort(groups, {}, [](std::string_view group) { return group == "Options"; });
    for (std::string_view const group : groups) {
        text += ".SH " + upperCase(std::string(group)) + "\n";
        for (ParameterOutline const& parameter : verb.parameters)
            if (parameter.isOption() && parameter.group == group)
                text += formatItem(formatNames(parameter), parameter.help);
    }
    return text;
}

/// Paragraphs are filled, and lines that begin with a blank are unchanged. A line "Examples:" begins a
/// section.
std::string formatParagraphs(std::string_view text) {
    std::string result;
    bool isVerbatim = false;
    while (!text.empty()) {
        size_t const end = std::min(text.find('\n'), text.size());
        std::string_view const line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        bool const startsVerbatim = line.starts_with(' ');
        if (startsVerbatim != isVerbatim && !(line.empty() && isVerbatim))
            result += startsVerbatim ? ".PP\n.nf\n.RS\n" : ".RE\n.fi\n.PP\n";
        isVerbatim = startsVerbatim || (line.empty() && isVerbatim);
        if (line == "Examples:" || line == "Example:")
            result += ".SH EXAMPLES\n";
        else if (line.empty())
            result += isVerbatim ? "\n" : ".PP\n";
        else
            result += toRoff(line.substr(std::min(line.find_first_not_of(' '), line.size()))) + "\n";
    }
    return result + (isVerbatim ? ".RE\n.fi\n" : "");
}

std::string formatVerbs(VerbOutline const& verb) {
    std::string text;
    for (VerbOutline const& one : verb.verbs)
        text += formatItem(bold(one.name), one.summary);
    return text.empty() ? "" : ".SH VERBS\n" + text;
}

/// References to the pages of the verb's parents and sub-verbs.
std::string formatSeeAlso(VerbOutline const& verb, std::string const& path) {
    std::vector<std::string> pages;
    for (size_t end = path.rfind(' '); end != std::string::npos;
         end = end == 0 ? std::string::npos : path.rfind(' ', end - 1))
        pages.push_back(pageName(path.substr(0, end)));
    for (VerbOutline const& one : verb.verbs)
        if (one.name != "help")
            pages.push_back(pageName(path + " " + one.name));
    std::string text;
    for (std::string const& page : pages)
        text += bold(page) + "(1), ";
    return ".SH SEE ALSO\n" + text + bold("libsealkit") + "(3)\n";
}

} // namespace

std::string formatManualPage(VerbOutline const& verb, std::string const& path, std::string const& version) {
    std::string page =
        ".TH " + toRoff(upperCase(pageName(path))) + " 1 \"\" \"sealkit " + version + "\" sealkit\n";
    page += ".SH NAME\n" + toRoff(pageName(path)) + " \\- " + toRoff(joinLines(verb.summary)) + "\n";
    page += formatSynopsis(verb, path) + formatVerbs(verb) + formatParameters(verb);
    if (!verb.text.empty())
        page += (verb.text.starts_with("Example") ? "" : ".SH DESCRIPTION\n") + formatParagraphs(verb.text);
    return page +
           ".SH EXIT STATUS\n0 success, 1 the answer is no, 2 the input cannot be used, 3 wrong usage.\n" +
           formatSeeAlso(verb, path);
}
