#include "objects/object_output.h"

#include "io/exit_status.h"

#include "sealkit/pem.h"

void ObjectOutput::declare(CommandLine& commandLine) {
    commandLine.text("-o,--output", path, outputHelp).valueName("FILE");
    commandLine.flag("--der", der, "write DER instead of PEM");
    commandLine.flag("--force", force, forceHelp);
}

int ObjectOutput::open(OutputFile& output) const {
    if (der && wouldFloodTerminal(path))
        return wrongUsage("DER would garble the terminal: give -o FILE or -o -");
    bool const isOpen =
        output.open(path, 0666, force ? OutputFile::Existing::replace : OutputFile::Existing::keep);
    return isOpen ? exitDone : exitBadInput;
}

int ObjectOutput::write(OutputFile& output, std::string const& label, X509Base const& object) const {
    return write(output, label, object.serialize());
}

int ObjectOutput::write(OutputFile& output, std::string const& label,
                        std::vector<unsigned char> encoded) const {
    if (!der)
        encoded = encodePemType(label, encoded);
    return output.write(encoded) && output.commit() ? exitDone : exitBadInput;
}
