#include "verbs/verify_each.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/line_reader.h"
#include "io/ordered_work.h"
#include "io/progress.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/path_report.h"

#include <kp/base64.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <optional>

namespace {

using Json = nlohmann::ordered_json;
/// Its objects find members in a tree; those of `Json` search a list.
using Parsed = nlohmann::json;

/// Longer than a chain of a hundred certificates.
constexpr size_t maxText = size_t(1) << 20;
constexpr char tooLong[] = "the line is longer than 1 MiB";
constexpr size_t maxChain = 100;

/// A chain to verify, with its parameters.
struct Question {
    Json id;
    CertificateChain chain;
    std::string host;
    PathOptions options;
};

struct ChainJob {
    std::optional<std::string> file; ///< Its name; nothing for a line of standard input.
    std::string text;                ///< The file's contents, or the line.
    Complaint complaint;             ///< Why the text is missing.
};

struct Answer {
    std::string line;
    int status = exitDone;
};

/// Accepts results in order, from one thread at a time.
struct Output {
    int status = exitDone;
    Progress progress{"chains"};
    std::atomic<bool> isBroken = false; ///< The reader has closed the pipe.

    void write(Answer const& answer) {
        terminal::out() << answer.line << std::endl;
        progress.advance(1);
        status = std::max(status, answer.status);
        if (!terminal::out())
            isBroken = true;
    }
};

std::string lineOf(Json const& members) { return report::line("verify --each", members); }

Answer unreadable(Json const& id, Complaint const& why) {
    Json line{{"id", id}, {"verdict", "UNREADABLE"}, {"reason", terminal::printable(why.text)}};
    if (why.refusal)
        line["problems"].push_back(report::describe(why));
    return {lineOf(line), exitBadInput};
}

bool decodeBase64(std::string const& text, std::vector<unsigned char>* to) {
    to->resize(text.size() / 4 * 3 + 3);
    size_t const size = kp::base64Decode(text, *to);
    if (size == kp::base64Failure)
        return false;
    to->resize(size);
    return true;
}

bool readChain(Parsed const& list, FormRules forms, CertificateChain* chain, Complaint* complaint) {
    if (!list.is_array() || list.empty() || list.size() > maxChain) {
        *complaint = "\"chain\" must be a list of 1 to 100 certificates in base64";
        return false;
    }
    for (Parsed const& element : list) {
        std::string const place = "certificate " + std::to_string(chain->size()) + ": ";
        std::vector<unsigned char> der;
        if (!element.is_string() || !decodeBase64(element.get_ref<std::string const&>(), &der)) {
            *complaint = place + "the text is not base64";
            return false;
        }
        auto certificate = std::make_shared<X509Certificate>();
        if (Refusal refusal; !certificate->parse(der, &refusal, forms)) {
            *complaint = place + refusal;
            return false;
        }
        chain->push_back(std::move(certificate));
    }
    return true;
}

/// Rejects values nested deeper than the elements of "chain", which no question needs.
Parsed parseFlat(std::string const& line) {
    bool isFlat = true;
    auto const keep = [&](int depth, Parsed::parse_event_t event, Parsed const&) {
        using Event = Parsed::parse_event_t;
        isFlat = isFlat && (depth < 2 || (event != Event::object_start && event != Event::array_start));
        return isFlat;
    };
    Parsed parsed = Parsed::parse(line, keep, false);
    return isFlat ? parsed : Parsed();
}

/// Reads a question of standard input: "id", "chain", and optionally "host" and "at".
bool readLine(std::string const& line, FormRules forms, Question* question, Complaint* complaint) {
    Parsed const object = parseFlat(line);
    if (!object.is_object()) {
        *complaint = "the line is not a JSON object";
        return false;
    }
    // Read first, so that complaints include it.
    if (auto const id = object.find("id"); id != object.end() && (id->is_string() || id->is_number_integer()))
        question->id = *id;
    for (auto const& [name, value] : object.items()) {
        bool const isText = value.is_string();
        if (name == "id" && (isText || value.is_number_integer())) {
            continue;
        } else if (name == "host" && isText && !value.get_ref<std::string const&>().empty()) {
            question->host = value.get<std::string>();
        } else if (name == "at" && (isText || value.is_number_integer())) {
            auto const time = parseTime(isText ? value.get<std::string>() : value.dump());
            if (!time) {
                *complaint = "\"at\" is not a time; write 2026-11-21 or 2026-11-21T08:30:00Z";
                return false;
            }
            PathOptions& options = question->options;
            if (options.validUntil != TimePoint())
                options.validUntil = TimePoint::fromSeconds(
                    time->seconds + (options.validUntil.seconds - options.now.seconds));
            options.now = *time;
        } else if (name != "chain") {
            *complaint = "\"" + name + "\" is unknown or of another type; there are id, chain, host and at";
            return false;
        }
    }
    auto const chain = object.find("chain");
    return readChain(chain == object.end() ? Parsed() : *chain, forms, &question->chain, complaint);
}

/// Reads a question from the contents of a file.
bool readText(std::string const& text, FormRules forms, Question* question, Complaint* complaint) {
    std::vector<Refusal> refusals;
    question->chain = readCertificateBundle(text, &refusals, forms);
    if (!refusals.empty())
        *complaint = complaintOf(question->chain, refusals);
    else if (question->chain.size() > maxChain)
        *complaint = "too many certificates for a chain";
    return complaint->empty();
}

/// A job for the chain of one file.
ChainJob readFile(std::string const& path) {
    ChainJob job{path, {}, {}};
    InputStream input;
    if (input.open(path)) {
        job.text.resize(maxText + 1);
        job.text.resize(input.read({reinterpret_cast<unsigned char*>(job.text.data()), job.text.size()}));
    }
    if (input.error())
        job.complaint = std::strerror(input.error());
    else if (job.text.size() > maxText)
        job.complaint = tooLong;
    return job;
}

template <typename Work>
bool addLines(Work& work, Output const& output) {
    InputStream input;
    input.open("-");
    LineReader lines(input, maxText);
    std::string line;
    for (auto found = lines.next(&line); found != LineReader::Result::end && !output.isBroken;
         found = lines.next(&line)) {
        if (found == LineReader::Result::tooLong)
            work.add({std::nullopt, {}, tooLong});
        else if (line.find_first_not_of(" \t\r") != line.npos)
            work.add({std::nullopt, line, {}});
    }
    if (input.error())
        badInput("standard input: " + std::string(std::strerror(input.error())));
    return !input.error();
}

template <typename Work>
bool addFolder(std::string const& path, Work& work, Output const& output) {
    std::error_code error;
    std::vector<std::string> names;
    for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error))
        if (std::error_code unknown; entry->is_regular_file(unknown))
            names.push_back(entry->path().string());
    if (error)
        badInput(path + ": " + error.message());
    std::ranges::sort(names);
    for (std::string const& name : names)
        if (!output.isBroken)
            work.add(readFile(name));
    return !error;
}

/// Adds the contents of each input to the jobs. Complains and returns false if an input cannot be read to its
/// end.
template <typename Work>
bool addJobs(std::vector<std::string> const& inputs, Work& work, Output const& output) {
    bool areRead = true;
    for (std::string const& path : inputs) {
        std::error_code error;
        if (path == "-")
            areRead = addLines(work, output) && areRead;
        else if (std::filesystem::is_directory(path, error))
            areRead = addFolder(path, work, output) && areRead;
        else
            work.add(readFile(path));
    }
    return areRead;
}

} // namespace

int verifyEach(std::vector<std::string> const& inputs, CertificateChain const& candidates, Trust const& trust,
               PathOptions const& options) {
    FormRules const forms = formsFor(options);
    auto const judge = [&](ChainJob const& job) -> Answer {
        Question question{{}, {}, {}, options};
        Complaint complaint = job.complaint;
        if (job.file)
            question.id = terminal::printable(*job.file);
        auto const read = job.file ? readText : readLine;
        if (!complaint.empty() || !read(job.text, forms, &question, &complaint))
            return unreadable(question.id, complaint);
        if (!question.host.empty())
            question.options.hostName = question.host;
        PathSearch search(trust.store);
        search.addCertificates(question.chain);
        search.addCertificates(candidates);
        // A server only proves that it has the key of the first certificate.
        auto const leaf =
            job.file ? x509ChooseLeaf(question.chain, question.options) : question.chain.front();
        PathVerdict const verdict = search.find(leaf, question.options);
        CrlNotes crls = notesOn(trust, verdict.crls);
        if (!crls.forged.empty())
            return unreadable(question.id, crls.forged);
        Json line = {{"id", question.id}};
        line.update(describeResult(verdict));
        if (!crls.ignored.empty())
            line["notes"] = std::move(crls.ignored);
        return {lineOf(line), verdict.isValid() ? exitDone : exitNo};
    };
    Output output;
    bool areRead = true;
    {
        OrderedWork<ChainJob, Answer> work(judge, [&](Answer const& answer) { output.write(answer); });
        areRead = addJobs(inputs, work, output);
    }
    return areRead ? output.status : exitBadInput;
}
