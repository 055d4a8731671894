#include "io/input.h"
#include "io/number.h"
#include "io/output_file.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/key_file.h"
#include "verbs/verb.h"

#include "sealkit/asn1_tree.h"
#include "sealkit/pem.h"

#include <nlohmann/json.hpp>

#include <iomanip>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace {

using terminal::printable;
using Json = nlohmann::ordered_json;

struct TreeOptions {
    std::optional<std::uint64_t> at;
    std::optional<std::uint32_t> block;
    bool cutOut = false;
    bool force = false;
    std::string output;
    std::string file;
};

/// The bytes of a PEM block or of the whole file.
struct Encoding {
    std::string label; ///< Empty if the input is not PEM.
    SecretBytes bytes;
};

SecretBytes secretCopy(std::vector<unsigned char>& from) {
    SecretBytes copy(from.begin(), from.end());
    secureMemset(from.data(), 0, from.size());
    return copy;
}

bool complain(TreeOptions const& options, Complaint const& what) {
    badInput(options.file + ": " + what);
    return false;
}

/// Calls `use` for each encoding of the input until it returns false. Complains on failure.
template <typename Use>
bool forEachEncoding(TreeOptions const& options, std::string_view text, Use use) {
    std::string_view rest = text;
    std::vector<unsigned char> decoded;
    Refusal refusal;
    unsigned number = 0;
    bool isGood = true;
    while (auto const block = takeBlock(rest)) {
        ++number;
        if (options.block && *options.block != number)
            continue;
        if (!pemDecode(block->body, &decoded, &refusal)) {
            refusal.line += block->line;
            isGood = complain(options, "block " + std::to_string(number) + ": " + refusal);
            continue;
        }
        if (!use(Encoding{std::string(block->label), secretCopy(decoded)}))
            return isGood;
    }
    if (options.block && *options.block > number)
        return complain(options, "the file has " + std::to_string(number) + " PEM blocks");
    if (number > 0)
        return isGood;
    use(Encoding{"", SecretBytes(text.begin(), text.end())});
    return true;
}

/// "12" in `width` characters.
std::string column(std::string const& text, size_t width) {
    return std::string(text.size() < width ? width - text.size() : 0, ' ') + text;
}

void printElement(asn1::TreeElement const& element) {
    std::string line = column(std::to_string(element.offset), 8) +
                       column(std::to_string(element.headerLength), 4) +
                       column(element.length ? std::to_string(*element.length) : "inf", 9) + "  " +
                       std::string(2 * size_t{element.depth}, ' ') + tagName(element);
    if (std::string const value = valueText(element); !value.empty())
        line += " " + printable(value);
    if (element.holdsElement)
        line += ", which holds";
    if (element.isTruncated)
        line += " (truncated)";
    terminal::out() << line << '\n';
}

Json describe(asn1::TreeElement const& element) {
    static constexpr char const* classes[] = {"universal", "application", "context", "private"};
    Json row{{"offset", element.offset},
             {"depth", element.depth},
             {"headerLength", element.headerLength},
             {"length", element.length ? Json(*element.length) : Json(nullptr)},
             {"class", classes[static_cast<size_t>(element.tagClass)]},
             {"number", element.number},
             {"constructed", element.isConstructed},
             {"tag", tagName(element)}};
    if (element.holdsElement)
        row["holdsElement"] = true;
    else if (!element.isConstructed && !element.isEndOfContents)
        row["value"] = printable(valueText(element));
    if (element.isTruncated)
        row["truncated"] = true;
    return row;
}

/// Prints the tree of one encoding, a line at a time, because the encoding may be large.
bool printTree(TreeOptions const& options, Encoding const& encoding, bool isFirst) {
    std::ostream& out = terminal::out();
    asn1::blob const bytes(encoding.bytes.data(), encoding.bytes.size());
    std::optional<size_t> offset;
    if (options.at)
        offset = static_cast<size_t>(*options.at);
    asn1::TreeWalker walker(bytes, offset);
    size_t count = 0;
    if (report::isJson()) {
        out << (isFirst ? "\n" : ",\n") << "  {";
        if (!encoding.label.empty())
            out << "\"label\": " << Json(printable(encoding.label)).dump(-1, ' ', true) << ", ";
        out << "\"elements\": [";
    } else {
        out << (isFirst ? "" : "\n");
        if (!encoding.label.empty())
            out << printable(encoding.label) << '\n';
        out << "  offset  hd   length  element\n";
    }
    for (; walker.next(); ++count) {
        if (report::isJson())
            out << (count == 0 ? "\n    " : ",\n    ") << describe(walker.element()).dump(-1, ' ', true);
        else
            printElement(walker.element());
    }
    Complaint problem = walker.isComplete() ? Complaint() : Complaint(walker.refusal());
    if (walker.isComplete() && count == 0)
        problem = bytes.empty() ? "the file is empty" : "no element begins there: the encoding ends before";
    if (report::isJson()) {
        out << (count == 0 ? "]" : "\n  ]");
        if (!walker.isComplete())
            out << ", \"broken\": "
                << Json{{"offset", walker.refusal().offset},
                        {"reason", walker.refusal().name()},
                        {"text", printable(problem.text)}}
                       .dump(-1, ' ', true);
        out << '}';
    }
    if (walker.isComplete() && count > 0)
        return true;
    if (!report::isJson())
        out.flush();
    return complain(options, problem);
}

int cutOut(TreeOptions const& options, std::string_view text) {
    if (wouldFloodTerminal(options.output))
        return wrongUsage("raw bytes would garble the terminal: give -o FILE or -o -");
    int status = exitBadInput;
    bool const isGood = forEachEncoding(options, text, [&](Encoding const& encoding) {
        asn1::blob const bytes(encoding.bytes.data(), encoding.bytes.size());
        Refusal refusal;
        asn1::blob const piece =
            asn1::findElement(bytes, static_cast<size_t>(options.at.value_or(0)), &refusal);
        OutputFile output;
        if (piece.empty())
            complain(options, refusal);
        else if (output.open(options.output, 0666,
                             options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep) &&
                 output.write({piece.start, piece.size()}) && output.commit())
            status = exitDone;
        return false;
    });
    return isGood ? status : exitBadInput;
}

int showTree(TreeOptions const& options) {
    auto const text = readSecretInput(options.file);
    if (!text)
        return exitBadInput;
    if (options.cutOut)
        return cutOut(options, textOf(*text));
    if (report::isJson())
        report::startList("trees");
    bool isGood = true, isFirst = true;
    isGood &= forEachEncoding(options, textOf(*text), [&](Encoding const& encoding) {
        isGood &= printTree(options, encoding, std::exchange(isFirst, false));
        return true;
    });
    return isGood ? exitDone : exitBadInput;
}

} // namespace

Work setUpAsn1(CommandLine commandLine) {
    auto options = std::make_shared<TreeOptions>();
    commandLine.number("--at", options->at, "show only the element at this offset").valueName("OFFSET");
    Parameter const json = commandLine.json();
    commandLine
        .flag("--der", options->cutOut, "write the element itself: the first one, or the one at the offset")
        .excludes(json);
    commandLine.number("--block", options->block, "only this PEM block, counted from 1").valueName("N");
    commandLine.text("-o,--output", options->output, std::string("with --der: ") + outputHelp)
        .valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.text("FILE", options->file, "DER, BER, PEM or base64; - is standard input").required();
    commandLine.footer(
        "Each line has the offset of an element, the lengths of its header and of its content,\n"
        "its type and its value; \"inf\" is an indefinite length. OCTET STRINGs and BIT STRINGs\n"
        "that hold DER are expanded. The values of private keys are shown as well. If the\n"
        "encoding is malformed, everything before the error is shown, and the exit status is 2.\n\n"
        "Examples:\n"
        "  sealkit asn1 certificate.pem\n"
        "  sealkit asn1 certificate.der --at 30 --der -o issuer.der");
    return [options] { return showTree(*options); };
}
