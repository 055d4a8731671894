/// The command line of the program as data: the tables of verbs, options and arguments, from which help and
/// completion are written.
#pragma once

#include <list>
#include <string>
#include <string_view>
#include <vector>

/// An option or argument.
struct ParameterOutline {
    std::vector<std::string> names;    ///< "-k" and "--key"; of an argument its only name.
    std::vector<std::string> oldNames; ///< Taken and not shown.
    std::string group;                 ///< Under which heading help shows an option.
    std::string valueName;             ///< Empty for a flag.
    std::string help;
    bool isRequired = false;
    bool isRepeated = false;

    bool isOption() const { return names.front().starts_with('-'); }
    /// After a blank, that is, and not after an equals sign alone.
    bool takesValue() const { return !valueName.empty() && !valueName.starts_with('['); }
};

/// A verb, or the program itself, whose name is then "sealkit".
struct VerbOutline {
    std::string name;
    std::string summary;
    /// What help says after the options: paragraphs, which are filled, and lines that begin with a blank,
    /// which stay.
    std::string text;
    std::list<ParameterOutline> parameters;
    std::list<VerbOutline> verbs;
};

/// A text with blanks in place of the ends of its lines.
std::string joinLines(std::string text);

/// The help of a verb, for a screen of 80 columns. `path` is the command up to and with its name: "sealkit
/// cms check".
std::string formatHelp(VerbOutline const& verb, std::string const& path);

/// The name among `known` that was probably meant; empty if none is near.
std::string_view findNearest(std::string_view word, std::vector<std::string_view> const& known);
