/// The command line of the program as data. Help, manual pages and completion are made from these tables.
#pragma once

#include <list>
#include <string>
#include <string_view>
#include <vector>

/// An option or argument.
struct ParameterOutline {
    std::vector<std::string> names;    ///< "-k" and "--key"; an argument has a single name.
    std::vector<std::string> oldNames; ///< Accepted, but not shown.
    std::string group;                 ///< The heading under which help shows an option.
    std::string valueName;             ///< Empty for a flag.
    std::string help;
    bool isRequired = false;
    bool isRepeated = false;

    bool isOption() const { return names.front().starts_with('-'); }
    /// Whether a value follows after a blank, instead of only after an equals sign.
    bool takesValue() const { return !valueName.empty() && !valueName.starts_with('['); }
};

/// A verb, or the program itself under the name "sealkit".
struct VerbOutline {
    std::string name;
    std::string summary;
    /// What help says after the options. Paragraphs are filled; lines that begin with a blank are unchanged.
    std::string text;
    std::list<ParameterOutline> parameters;
    std::list<VerbOutline> verbs;
};

/// Replaces the line ends of a text by blanks.
std::string joinLines(std::string text);

/// The help of a verb for a screen of 80 columns. `path` is the full command: "sealkit cms check".
std::string formatHelp(VerbOutline const& verb, std::string const& path);

/// The name among `known` that was probably meant, or empty if every one is too different.
std::string_view findNearest(std::string_view word, std::vector<std::string_view> const& known);
