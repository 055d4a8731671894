/// The subjects that are compared with other implementations: name and check.
#pragma once

#include "interop/checks.h"

#include <string>

namespace interop {

/// A subject and the file of its cases, `<name>.txt`.
struct Subject {
    char const* name;
    void (*check)(test::Case const&);
};

inline constexpr Subject subjects[] = {
    {"hash", checkHash},
    {"hmac", checkHmac},
    {"hkdf", checkHkdf},
    {"cmac", checkCmac},
    {"cbc", checkPlainMode},
    {"ctr", checkPlainMode},
    {"cfb", checkPlainMode},
    {"gcm", checkGcm},
    {"siv", checkSiv},
    {"record", checkRecord},
    {"rc4", checkRc4},
    {"signed", checkSigned},
    {"signing", checkSigning},
    {"timestamp_request", checkTimeStampRequest},
    {"timestamp_response", checkTimeStampResponse},
    {"enveloped", checkEnveloped},
    {"enveloping", checkEnveloping},
    {"encrypted_data", checkEncryptedData},
    {"pkcs12_kdf", checkPkcs12Kdf},
    {"pkcs12", checkPkcs12},
};

/// For parametrised tests: a test's name ends with that of its subject.
inline std::string nameOf(testing::TestParamInfo<Subject> const& info) { return info.param.name; }
inline void PrintTo(Subject const& subject, std::ostream* out) { *out << subject.name; }

/// Where the cases of a subject are written and read: in the folder that the environment variable
/// SEALKIT_REPLAY names, or in that which the build was configured with.
std::string pathOf(Subject const& subject);

} // namespace interop
