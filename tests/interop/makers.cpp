#include "interop/makers.h"

#include "support/vectors.h"

namespace {

constexpr interop::Maker makers[] = {
    {"hash", interop::makeHash},
    {"hmac", interop::makeHmac},
    {"hkdf", interop::makeHkdf},
    {"cmac", interop::makeCmac},
    {"cbc", interop::makeCbc},
    {"ctr", interop::makeCtr},
    {"cfb", interop::makeCfb},
    {"gcm", interop::makeGcm},
    {"siv", interop::makeSiv},
    {"rc4", interop::makeRc4},
    {"record", interop::makeRecord},
    {"signed", interop::makeSigned, 18},
    {"signing", interop::makeSigning, 25},
    {"timestamp_request", interop::makeTimeStampRequest, 20},
    {"timestamp_response", interop::makeTimeStampResponse, 40},
    {"enveloped", interop::makeEnveloped, 14},
    {"enveloping", interop::makeEnveloping, 25},
    {"encrypted_data", interop::makeEncryptedData, 40},
    {"pkcs12_kdf", interop::makePkcs12Kdf, 8},
    {"pkcs12", interop::makePkcs12, 25},
};

} // namespace

namespace interop {

Maker const* makerOf(std::string_view subject) {
    for (Maker const& maker : makers)
        if (maker.subject == subject)
            return &maker;
    return nullptr;
}

Cases& Cases::begin(std::string_view subject) {
    lastId = std::string(subject) + '-' + std::to_string(++count);
    lines += "\ncase = " + lastId + '\n';
    return *this;
}

Cases& Cases::add(std::string_view field, std::string_view value) {
    lines.append(field).append(" = ").append(value) += '\n';
    return *this;
}

Cases& Cases::add(std::string_view field, size_t value) { return add(field, std::to_string(value)); }

Cases& Cases::add(std::string_view field, std::vector<unsigned char> const& value) {
    return add(field, test::toHex(value));
}

} // namespace interop
