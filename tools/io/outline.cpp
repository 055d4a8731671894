#include "io/outline.h"

#include <algorithm>
#include <numeric>

namespace {

constexpr size_t lineWidth = 80;
constexpr size_t textColumn = 26;

/// Takes the first line off a text: as many words as fit, and at least one.
std::string_view takeLine(std::string_view& text, size_t width) {
    size_t end = text.size();
    if (end > width) {
        end = text.rfind(' ', width);
        if (end == text.npos)
            end = std::min(text.find(' '), text.size());
    }
    std::string_view const line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// Wraps the text into lines that begin at a column. The first continues a line that is at `column`.
std::string wrap(std::string_view text, size_t column) {
    std::string result;
    while (!text.empty()) {
        if (!result.empty())
            result += std::string(column, ' ');
        result.append(takeLine(text, lineWidth - column)) += '\n';
    }
    return result;
}

std::string formatRow(std::string const& name, std::string const& text) {
    std::string row = "  " + name;
    if (row.size() + 2 > textColumn)
        row += '\n' + std::string(textColumn, ' ');
    else
        row.resize(textColumn, ' ');
    return row + wrap(joinLines(text), textColumn);
}

std::string nameOf(ParameterOutline const& parameter) {
    std::string text;
    for (std::string const& name : parameter.names)
        text += (text.empty() ? "" : ", ") + name;
    if (parameter.isOption() && !parameter.valueName.empty())
        text += (parameter.valueName.starts_with('[') ? "" : " ") + parameter.valueName;
    // For an option, its help says that it may be repeated: "FILE..." would suggest that several values may
    // follow it.
    return text + (parameter.isRepeated && !parameter.isOption() ? "..." : "");
}

std::string formatUsage(VerbOutline const& verb, std::string const& path) {
    std::string usage = "Usage: " + path;
    if (!verb.verbs.empty())
        return usage + " VERB ...\n";
    bool hasFreeOptions = false;
    for (ParameterOutline const& parameter : verb.parameters)
        if (parameter.isOption() && parameter.isRequired)
            usage += " " + parameter.names.front() + " " + parameter.valueName;
        else
            hasFreeOptions = hasFreeOptions || parameter.isOption();
    if (hasFreeOptions)
        usage += " [OPTIONS]";
    for (ParameterOutline const& parameter : verb.parameters)
        if (!parameter.isOption())
            usage += parameter.isRequired ? " " + nameOf(parameter) : " [" + nameOf(parameter) + "]";
    std::string_view rest = usage;
    return wrap(rest, 4);
}

/// The options under their headings, in the order of the first option of each heading.
std::string formatOptions(VerbOutline const& verb) {
    std::vector<std::string_view> groups;
    for (ParameterOutline const& parameter : verb.parameters)
        if (parameter.isOption() && std::ranges::find(groups, parameter.group) == groups.end())
            groups.push_back(parameter.group);
    // The options that every verb has come last.
    std::ranges::stable_sort(groups, {}, [](std::string_view group) { return group == "Options"; });
    std::string text;
    for (std::string_view const group : groups) {
        text.append("\n").append(group).append(":\n");
        for (ParameterOutline const& parameter : verb.parameters)
            if (parameter.isOption() && parameter.group == group)
                text += formatRow(nameOf(parameter), parameter.help);
    }
    return text;
}

/// Paragraphs are filled; lines that begin with a blank are unchanged.
std::string formatText(std::string_view text) {
    std::string result;
    std::string paragraph;
    auto const flush = [&] {
        result += wrap(paragraph, 0);
        paragraph.clear();
    };
    while (!text.empty()) {
        size_t const end = std::min(text.find('\n'), text.size());
        std::string_view const line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line.starts_with(' ')) {
            flush();
            result.append(line) += '\n';
        } else {
            paragraph.append(paragraph.empty() ? "" : " ").append(line);
        }
    }
    flush();
    return result;
}

/// The edit distance: insertions, deletions, substitutions and swaps of neighbouring letters.
size_t countChanges(std::string_view a, std::string_view b) {
    std::vector<size_t> beforeLast(b.size() + 1);
    std::vector<size_t> last(b.size() + 1);
    std::iota(last.begin(), last.end(), size_t(0));
    for (size_t i = 1; i <= a.size(); ++i) {
        std::vector<size_t> row(b.size() + 1, i);
        for (size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        beforeLast = std::move(last);
        last = std::move(row);
    }
    return last[b.size()];
}

} // namespace

std::string joinLines(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return text;
}

std::string formatHelp(VerbOutline const& verb, std::string const& path) {
    std::string help = wrap(path + ": " + verb.summary, 0) + '\n' + formatUsage(verb, path);
    std::string arguments;
    for (ParameterOutline const& parameter : verb.parameters)
        if (!parameter.isOption())
            arguments += formatRow(nameOf(parameter), parameter.help);
    if (!arguments.empty())
        help += '\n' + arguments;
    if (!verb.verbs.empty())
        help += "\nVerbs:\n";
    for (VerbOutline const& one : verb.verbs)
        help += formatRow(one.name, one.summary);
    help += formatOptions(verb);
    if (!verb.text.empty())
        help += '\n' + formatText(verb.text);
    return help + "\n"
                  "Exit status: 0 success, 1 the answer is no, 2 the input cannot be used,\n3 wrong usage.\n";
}

std::string_view findNearest(std::string_view word, std::vector<std::string_view> const& known) {
    constexpr size_t maxWord = 64;
    if (word.size() > maxWord)
        return {};
    std::string_view nearest;
    size_t fewest = std::max<size_t>(1, word.size() / 3) + 1;
    for (std::string_view const name : known)
        if (size_t const changes = countChanges(word, name); changes < fewest) {
            nearest = name;
            fewest = changes;
        }
    if (!nearest.empty())
        return nearest;
    for (std::string_view const name : known)
        if (word.size() > 2 && name.starts_with(word))
            return name;
    return {};
}
