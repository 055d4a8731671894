#include "interop/makers.h"

#include "support/vectors.h"

namespace {

constexpr interop::Maker makers[] = {
    {"hash", interop::makeHash}, {"hmac", interop::makeHmac},     {"hkdf", interop::makeHkdf},
    {"cmac", interop::makeCmac}, {"cbc", interop::makeCbc},       {"ctr", interop::makeCtr},
    {"cfb", interop::makeCfb},   {"gcm", interop::makeGcm},       {"siv", interop::makeSiv},
    {"rc4", interop::makeRc4},   {"record", interop::makeRecord},
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
    lines += "\ncase = " + std::string(subject) + '-' + std::to_string(++count) + '\n';
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
