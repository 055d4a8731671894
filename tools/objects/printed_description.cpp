#include "objects/printed_description.h"

#include "io/clock.h"
#include "io/terminal.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>

namespace {

using terminal::Style;

constexpr size_t maxColumns = 80;

/// Sentences for members whose name alone would be unclear.
constexpr struct {
    std::string_view key;
    char const* words;
} sentences[] = {
    {"refused", "this library refuses it"},
    {"refusedByPlatform", "the rules of the platform refuse it"},
};

/// "notBefore" as "not before", "removeFromCRL" as "remove from crl".
std::string inWords(std::string const& key) {
    for (auto const& sentence : sentences)
        if (key == sentence.key)
            return sentence.words;
    if (key.find('.') != std::string::npos)
        return key;
    std::string words;
    bool wasUpper = false;
    for (char c : key) {
        bool const isUpper = std::isupper(static_cast<unsigned char>(c)) != 0;
        if (isUpper && !wasUpper)
            words += ' ';
        words += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        wasUpper = isUpper;
    }
    return words;
}

std::string scalarText(Description const& value) {
    if (value.is_boolean())
        return value.get<bool>() ? "yes" : "no";
    if (value.is_null())
        return "(none)";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

/// The width in characters. Wide characters do not occur.
size_t columnsOf(std::string_view text) {
    return static_cast<size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

/// Whether the text is octets ("00:ff:...") or a hexadecimal number longer than a digest or an identifier.
/// Shorter ones stay on one line, so that people can search for them.
bool isLongHex(std::string_view text) {
    constexpr size_t longestDigest = 3 * 32;
    constexpr std::string_view digits = "0123456789abcdef";
    return text.size() > longestDigest &&
           ((text[2] == ':' && text[5] == ':') || text.find_first_not_of(digits) == text.npos);
}

/// Writes octets from `column` on, as many to a line as fit, and returns the column where they end. The last
/// line has room for `following` more columns.
size_t printHex(std::string_view hex, std::string const& indent, size_t column, size_t following) {
    size_t const piece = hex[2] == ':' ? 3 : 2, carriedOver = 4 * piece;
    while (!hex.empty()) {
        size_t const room = column + piece < maxColumns ? (maxColumns - column) / piece * piece : piece;
        size_t count = hex.size();
        if (column + count + following > maxColumns)
            count = std::min(room, count > carriedOver ? count - carriedOver : 0);
        if (count == 0 && column == indent.size())
            count = std::min(hex.size(), piece);
        terminal::out() << hex.substr(0, count);
        hex.remove_prefix(count);
        column += count;
        if (!hex.empty()) {
            terminal::out() << '\n' << indent;
            column = indent.size();
        }
    }
    return column;
}

/// Writes text after a title that ends in `column`.
void printText(std::string_view text, std::string const& indent, size_t column, Style style) {
    std::ostream& out = terminal::out();
    out << ' ' << style;
    ++column;
    size_t const firstWord = std::min(text.find(' '), text.size());
    bool isAfterHex = false;
    if (isLongHex(text.substr(0, firstWord))) {
        constexpr size_t longestNote = 24; // " (1000000 bytes)"
        size_t const following = text.size() - firstWord;
        column = printHex(text.substr(0, firstWord), indent + "    ", column,
                          following > longestNote ? 0 : following);
        text.remove_prefix(firstWord);
        isAfterHex = true;
    }
    while (!text.empty()) {
        size_t end = 0, columns = column;
        // As many words as fit, and at least one unless octets precede it.
        while (end < text.size()) {
            size_t const blank = std::min(text.find(' ', end + 1), text.size());
            size_t const word = columnsOf(text.substr(end, blank - end));
            if ((end != 0 || isAfterHex) && columns + word > maxColumns)
                break;
            columns += word;
            end = blank;
        }
        out << text.substr(0, end);
        text.remove_prefix(end);
        if (!text.empty())
            out << '\n' << indent << "  |";
        column = indent.size() + 3;
        isAfterHex = false;
    }
    out << Style::plain << '\n';
}

/// "in 41 days", "3 hours ago".
std::string distanceText(std::int64_t seconds) {
    static constexpr struct {
        std::int64_t seconds;
        char const* name;
        std::int64_t least; ///< Smaller values are shown in the next unit.
    } units[] = {{365 * 86'400, "year", 3}, {86'400, "day", 1}, {3600, "hour", 1}};
    std::int64_t const distance = seconds < 0 ? -seconds : seconds;
    std::string text;
    for (auto const& unit : units) {
        std::int64_t const count = distance / unit.seconds;
        if (count >= unit.least) {
            text = std::to_string(count) + " " + unit.name + (count == 1 ? "" : "s");
            break;
        }
    }
    if (text.empty())
        return "within an hour";
    return seconds < 0 ? text + " ago" : "in " + text;
}

/// Whether the member is a time in the form of `isoTime`.
bool isTime(std::string_view key) {
    static constexpr std::string_view times[] = {"notBefore",      "notAfter",      "thisUpdate",
                                                 "nextUpdate",     "time",          "signingTime",
                                                 "revocationDate", "invalidityDate"};
    return std::ranges::find(times, key) != std::end(times);
}

/// The text of a value other than a list or object.
std::string memberText(std::string const& key, Description const& value) {
    return isTime(key) && value.is_string() ? showTime(value) : scalarText(value);
}

constexpr char endless[] = "without end";

/// How far away a time is, and whether it is an end that has passed.
struct Nearness {
    std::string text;
    bool isBad = false;
};

Nearness nearnessOf(std::string const& key, std::string const& value) {
    bool const isStart = key == "notBefore" || key == "thisUpdate";
    bool const isEnd = key == "notAfter" || key == "nextUpdate";
    auto const time = parseTime(value);
    if ((!isStart && !isEnd) || !time || isoTime(*time) != value || showTime(value) == endless)
        return {};
    std::int64_t const left = time->seconds - currentTime().seconds;
    return {" (" + distanceText(left) + ")", isStart ? left > 0 : left < 0};
}

/// An entry of a CRL on one line, because there may be hundreds of thousands.
std::string revocationText(Description const& entry) {
    std::string line =
        scalarText(entry["serialNumber"]) + " since " + memberText("revocationDate", entry["revocationDate"]);
    if (entry.contains("reason"))
        line += ", reason " + scalarText(entry["reasonCode"]) + " " + inWords(scalarText(entry["reason"]));
    if (entry.contains("extensions"))
        for (auto const& [name, extension] : entry["extensions"].items()) {
            Description const& value = extension["value"];
            line += ", " + inWords(name) + (extension["critical"].get<bool>() ? " (critical) " : " ");
            for (size_t i = 0; i < (value.is_array() ? value.size() : 1); ++i)
                line +=
                    (i > 0 ? ", " : "") + (value.is_array() ? scalarText(value[i]) : memberText(name, value));
        }
    return line;
}

void printMembers(Description const& object, std::string const& indent);

/// Lists of more columns are written with one item to a line.
constexpr size_t maxListColumns = 100;

void printList(Description const& list, std::string const& indent, size_t column) {
    std::ostream& out = terminal::out();
    size_t columns = 0, longest = 0;
    for (auto const& item : list) {
        size_t const width = columnsOf(scalarText(item));
        columns += width;
        longest = std::max(longest, width);
    }
    if (list.size() == 1)
        return printText(scalarText(list.front()), indent, column, Style::plain);
    if (columns > maxListColumns || longest > maxColumns / 2) {
        out << '\n';
        for (auto const& item : list) {
            out << indent << " ";
            printText(scalarText(item), indent + "  ", indent.size() + 1, Style::plain);
        }
        return;
    }
    out << ' ';
    ++column;
    for (size_t i = 0; i < list.size(); ++i) {
        std::string const item = scalarText(list[i]) + (i + 1 < list.size() ? "," : "");
        bool const isFull = i > 0 && column + 1 + columnsOf(item) > maxColumns;
        if (isFull) {
            out << '\n' << indent << "    ";
            column = indent.size() + 4;
        } else if (i > 0) {
            out << ' ';
            ++column;
        }
        out << item;
        column += columnsOf(item);
    }
    out << '\n';
}

/// `column` is the end of the title.
void printValue(std::string const& key, Description const& value, std::string const& indent, size_t column) {
    std::ostream& out = terminal::out();
    if (value.is_object()) {
        out << '\n';
        printMembers(value, indent + "  ");
    } else if (value.is_array() && value.empty()) {
        out << " (none)\n";
    } else if (value.is_array() && value.front().contains("revocationDate")) {
        out << '\n';
        for (Description const& entry : value)
            out << indent << "  " << revocationText(entry) << '\n';
    } else if (value.is_array() && value.front().is_object()) {
        out << '\n';
        for (size_t i = 0; i < value.size(); ++i) {
            out << indent << "  " << i + 1 << ":\n";
            printMembers(value[i], indent + "    ");
        }
    } else if (value.is_array()) {
        printList(value, indent, column);
    } else {
        std::string const text = memberText(key, value);
        Nearness const nearness = nearnessOf(key, scalarText(value));
        bool const isBad = nearness.isBad || key.starts_with("refused") || key == "problem";
        printText(text + nearness.text, indent, column, isBad ? Style::bad : Style::plain);
    }
}

void printMember(std::string const& key, Description const& value, std::string const& indent) {
    // The criticality of an extension is shown beside its name.
    bool const isExtension =
        value.is_object() && value.size() == 2 && value.contains("critical") && value.contains("value");
    bool const isCritical = isExtension && value["critical"].get<bool>();
    std::string const title = inWords(key) + (isCritical ? " (critical)" : "");
    terminal::out() << indent << Style::title << title << Style::plain << ':';
    printValue(key, isExtension ? value["value"] : value, indent, indent.size() + columnsOf(title) + 1);
}

void printMembers(Description const& object, std::string const& indent) {
    for (auto const& [key, value] : object.items())
        if (key != "daysLeft") // Already part of the time.
            printMember(key, value, indent);
}

} // namespace

void print(Description const& description) {
    bool isFirst = true;
    for (auto const& [key, value] : description.items()) {
        if (isFirst)
            terminal::out() << Style::heading << scalarText(value) << Style::plain << '\n';
        else
            printMembers({{key, value}}, "  ");
        isFirst = false;
    }
}
