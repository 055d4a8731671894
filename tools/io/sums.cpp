#include "io/sums.h"

#include "io/command_line.h"
#include "io/exit_status.h"
#include "io/file_digest.h"
#include "io/hex.h"
#include "io/input_stream.h"
#include "io/report.h"
#include "io/terminal.h"
#include "sealkit/compare.h"

#include <kp/text.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>

namespace {

using Digest = std::vector<unsigned char>;

// A backslash begins the line of a file whose name would break the line. The name is then escaped.

bool needsEscape(std::string_view name) { return name.find_first_of("\\\n\r") != std::string_view::npos; }

std::string escape(std::string_view name) {
    std::string result;
    for (char c : name) {
        if (c == '\\')
            result += "\\\\";
        else if (c == '\n')
            result += "\\n";
        else if (c == '\r')
            result += "\\r";
        else
            result += c;
    }
    return result;
}

std::optional<std::string> unescape(std::string_view text) {
    std::string result;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            result += text[i];
            continue;
        }
        if (++i == text.size())
            return std::nullopt;
        switch (text[i]) {
        case '\\':
            result += '\\';
            break;
        case 'n':
            result += '\n';
            break;
        case 'r':
            result += '\r';
            break;
        default:
            return std::nullopt;
        }
    }
    return result;
}

std::string_view escapeMark(std::string_view name) { return needsEscape(name) ? "\\" : ""; }

// Writing.

int complainOf(std::string const& name, int error) { return badInput(name + ": " + std::strerror(error)); }

int writeSums(std::span<std::string const> files, bool tagged, SumAlgorithm const& algorithm) {
    int status = exitDone;
    auto described = nlohmann::ordered_json::array();
    for (std::string const& file : files) {
        FileDigest const result = digestFile(file, *algorithm.hash);
        if (result.error) {
            status = complainOf(file, result.error);
            continue;
        }
        if (report::isJson()) {
            described.push_back({{"file", terminal::printable(file)},
                                 {"algorithm", algorithm.name},
                                 {"digest", toHex(result.digest)}});
            continue;
        }
        std::ostream& out = terminal::exactOut();
        out << escapeMark(file);
        if (tagged)
            out << algorithm.name << " (" << escape(file) << ") = " << toHex(result.digest);
        else
            out << toHex(result.digest) << "  " << escape(file);
        out << '\n' << std::flush;
    }
    if (report::isJson())
        report::set({{"files", std::move(described)}});
    return status;
}

// Checking.

/// Reads the lines of a file, each without its end. A line longer than any name is cut.
class LineReader {
public:
    explicit LineReader(InputStream& input) : input(input) {}

    bool next(std::string* line) {
        line->clear();
        bool any = false;
        for (int c = get(); c >= 0; c = get()) {
            any = true;
            if (c == '\n')
                break;
            if (line->size() <= maxLine)
                *line += static_cast<char>(c);
        }
        if (line->ends_with('\r'))
            line->pop_back();
        return any;
    }

    static constexpr size_t maxLine = 65536;

private:
    int get() {
        if (position == size) {
            size = input.read(piece);
            position = 0;
        }
        return position < size ? piece[position++] : -1;
    }

    InputStream& input;
    unsigned char piece[4096];
    size_t position = 0;
    size_t size = 0;
};

struct SumLine {
    SumAlgorithm const* algorithm;
    Digest digest;
    std::string file;
};

std::string_view skipBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return text;
}

class LineParser {
public:
    explicit LineParser(std::span<SumAlgorithm const> known) : algorithms(known) {}

    std::optional<SumLine> parse(std::string_view line) {
        if (line.size() > LineReader::maxLine || line.find('\0') != std::string_view::npos)
            return std::nullopt;
        line = skipBlanks(line);
        bool const escaped = line.starts_with('\\');
        if (escaped)
            line.remove_prefix(1);
        for (SumAlgorithm const& algorithm : algorithms)
            if (auto const rest = afterTag(line, algorithm.name))
                return parseTagged(*rest, algorithm, escaped);
        return parsePlain(line, escaped);
    }

private:
    static std::optional<std::string_view> afterTag(std::string_view line, std::string_view name) {
        if (!line.starts_with(name))
            return std::nullopt;
        line.remove_prefix(name.size());
        if (line.starts_with(' '))
            line.remove_prefix(1);
        if (!line.starts_with('('))
            return std::nullopt;
        return line.substr(1);
    }

    static std::optional<SumLine> finish(SumAlgorithm const& algorithm, std::string_view hex,
                                         std::string_view file, bool escaped) {
        SumLine line{&algorithm, {}, std::string(file)};
        if (!hex2bin(hex, &line.digest) || line.digest.size() != algorithm.hash->digestLength())
            return std::nullopt;
        if (escaped) {
            auto const plain = unescape(file);
            if (!plain)
                return std::nullopt;
            line.file = *plain;
        }
        return line;
    }

    /// "file) = digest", with optional blanks around the sign.
    static std::optional<SumLine> parseTagged(std::string_view line, SumAlgorithm const& algorithm,
                                              bool escaped) {
        size_t const end = line.rfind(')');
        if (end == std::string_view::npos)
            return std::nullopt;
        std::string_view const rest = skipBlanks(line.substr(end + 1));
        if (!rest.starts_with('='))
            return std::nullopt;
        return finish(algorithm, skipBlanks(rest.substr(1)), line.substr(0, end), escaped);
    }

    /// "digest  file", "digest *file", or the older "digest file". All lines are of the kind of the first,
    /// because a blank or "*" that begins a name would be ambiguous otherwise.
    std::optional<SumLine> parsePlain(std::string_view line, bool escaped) {
        size_t const end = line.find_first_of(" \t");
        if (end == std::string_view::npos || end + 1 == line.size())
            return std::nullopt;
        SumAlgorithm const& algorithm = algorithms.front();
        std::string_view const hex = line.substr(0, end);
        std::string_view const name = line.substr(end + 1);
        if (!finish(algorithm, hex, "", false))
            return std::nullopt;
        if (bool const hasMark = name.size() > 1 && (name[0] == ' ' || name[0] == '*'); !hasMark) {
            if (marked == true)
                return std::nullopt;
            marked = false;
        } else if (!marked) {
            marked = true;
        }
        return finish(algorithm, hex, name.substr(*marked ? 1 : 0), escaped);
    }

    std::span<SumAlgorithm const> algorithms;
    std::optional<bool> marked; ///< Whether lines have a mark between digest and name, once that is known.
};

/// The results of the lines of one file.
struct Tally {
    uint64_t good = 0;
    uint64_t mismatched = 0;
    uint64_t unreadable = 0;
    uint64_t missing = 0;
    uint64_t malformed = 0;
};

void warnOf(uint64_t count, char const* one, char const* many) {
    if (count > 0)
        badInput("WARNING: " + std::to_string(count) + " " + (count == 1 ? one : many));
}

class Checker {
public:
    Checker(SumOptions const& asked, std::span<SumAlgorithm const> known)
        : options(asked), parser(known), algorithms(known) {}

    int check(std::string const& path) {
        InputStream input;
        if (!input.open(path))
            return complainOf(path, input.error());
        std::string const name = path == "-" ? "standard input" : path;
        LineReader reader(input);
        Tally tally;
        std::string line;
        for (uint64_t number = 1; reader.next(&line); ++number) {
            if (line.empty() || line.starts_with('#'))
                continue;
            auto const sum = parser.parse(line);
            // Standard input cannot hold both the lines and a file that one of them names.
            if (sum && !(path == "-" && sum->file == "-")) {
                checkLine(*sum, tally);
                continue;
            }
            ++tally.malformed;
            if (options.warn)
                badInput(name + ": " + std::to_string(number) + ": improperly formatted " +
                         algorithms.front().name + " checksum line");
        }
        if (input.error())
            return complainOf(name, input.error());
        return conclude(tally, name);
    }

    /// The result of each line, for a JSON report.
    nlohmann::ordered_json takeVerdicts() { return std::move(verdicts); }

private:
    void checkLine(SumLine const& sum, Tally& tally) {
        FileDigest const result = digestFile(sum.file, *sum.algorithm->hash);
        if (result.error == ENOENT && options.ignoreMissing) {
            ++tally.missing;
        } else if (result.error) {
            ++tally.unreadable;
            complainOf(sum.file, result.error);
            tell(sum.file, "FAILED open or read");
        } else if (equalInConstantTime(result.digest, sum.digest)) {
            ++tally.good;
            if (!options.quiet)
                tell(sum.file, "OK");
        } else {
            ++tally.mismatched;
            tell(sum.file, "FAILED");
        }
    }

    void tell(std::string const& file, char const* verdict) {
        if (report::isJson())
            verdicts.push_back({{"file", terminal::printable(file)}, {"verdict", verdict}});
        if (options.status || report::isJson())
            return;
        // Unlike in the lines, a backslash alone is not escaped here, as in coreutils.
        bool const escaped = file.find('\n') != std::string::npos;
        terminal::exactOut() << (escaped ? "\\" + escape(file) : file) << ": " << verdict << '\n'
                             << std::flush;
    }

    int conclude(Tally const& tally, std::string const& name) const {
        uint64_t const formatted = tally.good + tally.mismatched + tally.unreadable + tally.missing;
        if (formatted == 0)
            return badInput(name + ": no properly formatted checksum lines found");
        bool const noneVerified = options.ignoreMissing && tally.good == 0;
        if (!options.status) {
            warnOf(tally.malformed, "line is improperly formatted", "lines are improperly formatted");
            warnOf(tally.unreadable, "listed file could not be read", "listed files could not be read");
            warnOf(tally.mismatched, "computed checksum did NOT match", "computed checksums did NOT match");
            if (noneVerified)
                badInput(name + ": no file was verified");
        }
        if (tally.mismatched > 0)
            return exitNo;
        bool const unusable = tally.unreadable > 0 || noneVerified || (options.strict && tally.malformed > 0);
        return unusable ? exitBadInput : exitDone;
    }

    SumOptions const& options;
    LineParser parser;
    std::span<SumAlgorithm const> algorithms;
    nlohmann::ordered_json verdicts = nlohmann::ordered_json::array();
};

/// A file that differs decides the status, even if others are unreadable.
int worse(int a, int b) {
    if (a == exitNo || b == exitNo)
        return exitNo;
    return std::max(a, b);
}

} // namespace

char const sumHelp[] =
    "The lines have the format of coreutils programs such as sha256sum. If a file cannot be\n"
    "read, it is reported, the others are processed, and the exit status is 2. With --check,\n"
    "it is 1 if a file differs, otherwise 2 if a listed file cannot be read or there is no\n"
    "properly formatted line.";

void addSumOptions(CommandLine& commandLine, SumOptions& options) {
    Parameter const check =
        commandLine.flag("-c,--check", options.check, "read digests from the files and check them");
    commandLine.flag("--tag", options.tag, "write lines that name the algorithm (BSD style)").excludes(check);
    commandLine.flag("--ignore-missing", options.ignoreMissing, "with --check: ignore missing files")
        .needs(check);
    commandLine.flag("--quiet", options.quiet, "with --check: do not print OK").needs(check);
    commandLine.flag("--status", options.status, "with --check: print no verdicts; use the exit status")
        .needs(check);
    commandLine.flag("--strict", options.strict, "with --check: fail if a line is improperly formatted")
        .needs(check);
    commandLine.flag("-w,--warn", options.warn, "with --check: report each improperly formatted line")
        .needs(check);
    commandLine.json();
    commandLine.texts("FILE", options.files, "the files; - or nothing is standard input");
}

int runSums(SumOptions const& options, std::span<SumAlgorithm const> algorithms) {
    std::vector<std::string> files = options.files;
    if (files.empty())
        files.push_back("-");
    if (!options.check)
        return writeSums(files, options.tag, algorithms.front());
    Checker checker(options, algorithms);
    int status = exitDone;
    for (std::string const& file : files)
        status = worse(status, checker.check(file));
    if (report::isJson())
        report::set({{"files", checker.takeVerdicts()}, {"verdict", status == exitDone ? "OK" : "FAILED"}});
    return status;
}
