#include "verbs/cms.h"

#include "io/input.h"
#include "objects/input_objects.h"
#include "objects/message.h"

#include "sealkit/message.h"

int writeMessage(ObjectOutput const& options, OutputFile& output, std::vector<unsigned char> encoded) {
    // Lines of 64 characters.
    size_t const size = options.der ? encoded.size() : encoded.size() / 48 * 65 + 100;
    if (size > inputLimit)
        return badInput("the message would exceed 256 MiB, the largest size that is read");
    return options.write(output, messageLabel, std::move(encoded));
}

bool isData(asn1::blob contentType) { return contentType == getDataOid(); }

Work setUpCms(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"sign", "sign a file", setUpCmsSign},
        {"check", "check who signed a message", setUpCmsCheck},
        {"certificates", "extract certificates from messages, or make a bundle of some",
         setUpCmsCertificates},
        {"encrypt", "encrypt a file to certificates or under a password", setUpCmsEncrypt},
        {"decrypt", "decrypt a message", setUpCmsDecrypt},
    };
    return commandLine.verbs(verbs);
}
