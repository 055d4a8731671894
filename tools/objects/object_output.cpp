#include "objects/object_output.h"

#include "io/exit_status.h"
#include "io/report.h"
#include "objects/description.h"

#include "sealkit/crl.h"
#include "sealkit/pem.h"
#include "sealkit/req.h"

#include <nlohmann/json.hpp>

namespace {

Description describeObject(X509Base const& object) {
    if (auto const* const certificate = dynamic_cast<X509Certificate const*>(&object))
        return ::describe(*certificate);
    if (auto const* const crl = dynamic_cast<X509Crl const*>(&object))
        return ::describe(*crl);
    return ::describe(dynamic_cast<X509Req const&>(object));
}

} // namespace

void ObjectOutput::declare(CommandLine& commandLine) {
    commandLine.text("-o,--output", path, outputHelp).valueName("FILE");
    commandLine.flag("--der", der, "write DER instead of PEM");
    commandLine.flag("--force", force, forceHelp);
    commandLine.json();
}

void keepReportOff(std::string const& path) {
    if (path.empty() || path == "-")
        report::goBesideOutput();
}

int ObjectOutput::open(OutputFile& output) const {
    if (der && wouldFloodTerminal(path))
        return wrongUsage("DER would garble the terminal: give -o FILE or -o -");
    keepReportOff(path);
    bool const isOpen =
        output.open(path, 0666, force ? OutputFile::Existing::replace : OutputFile::Existing::keep);
    return isOpen ? exitDone : exitBadInput;
}

int ObjectOutput::write(OutputFile& output, std::string const& label, X509Base const& object) const {
    int const status = write(output, label, object.serialize());
    if (status == exitDone && report::isJson())
        report::set({{"output", report::nameOfOutput(path)}, {"object", describeObject(object)}});
    return status;
}

int ObjectOutput::write(OutputFile& output, std::string const& label,
                        std::vector<unsigned char> encoded) const {
    describe(encoded.size());
    if (!der)
        encoded = encodePemType(label, encoded);
    return output.write(encoded) && output.commit() ? exitDone : exitBadInput;
}

void ObjectOutput::describe(size_t bytes) const {
    if (report::isJson())
        report::set({{"output", report::nameOfOutput(path)}, {"bytes", bytes}});
}
