#include "kp/text.h"

namespace {

/// The value of a hexadecimal digit; -1 for every other character.
int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace

bool hex2bin(std::string_view text, std::vector<unsigned char>* out) {
    out->clear();
    if (text.size() % 2 != 0)
        return false;
    out->reserve(text.size() / 2);
    for (size_t i = 0; i < text.size(); i += 2) {
        int const high = hexDigit(text[i]);
        int const low = hexDigit(text[i + 1]);
        if (high < 0 || low < 0) {
            out->clear();
            return false;
        }
        out->push_back(static_cast<unsigned char>(high << 4 | low));
    }
    return true;
}

std::string str2lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return lower;
}
