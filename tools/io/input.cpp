#include "io/input.h"

#include "io/exit_status.h"
#include "io/input_stream.h"

#include "sealkit/plain_form.h"

#include <cstring>

namespace {

template <typename Contents>
std::optional<Contents> readWhole(std::string const& path, Complaint* complaint) {
    auto complain = [&](char const* why) {
        *complaint = path + ": " + why;
        return std::nullopt;
    };
    InputStream input;
    if (!input.open(path))
        return complain(std::strerror(input.error()));

    Contents contents;
    size_t size = 0;
    do {
        size_t const before = contents.size();
        contents.resize(before + pieceSize);
        size = input.read({reinterpret_cast<unsigned char*>(contents.data()) + before, pieceSize});
        contents.resize(before + size);
        if (contents.size() > inputLimit)
            return complain("larger than 256 MiB");
    } while (size == pieceSize);
    if (input.error())
        return complain(std::strerror(input.error()));
    return contents;
}

template <typename Contents>
std::optional<Contents> readWhole(std::string const& path) {
    Complaint complaint;
    auto contents = readWhole<Contents>(path, &complaint);
    if (!contents)
        badInput(complaint);
    return contents;
}

template <typename Contents>
std::optional<Contents> inPlainForm(std::optional<Contents> contents) {
    static constexpr unsigned char mark[] = {0xEF, 0xBB, 0xBF};
    if (!contents)
        return contents;
    auto const bytes = reinterpret_cast<unsigned char const*>(contents->data());
    if (WipedBytes plain; makePlain({bytes, contents->size()}, &plain, nullptr))
        contents->assign(plain.begin(), plain.end());
    else if (contents->size() >= sizeof mark && std::memcmp(bytes, mark, sizeof mark) == 0)
        contents->erase(contents->begin(), contents->begin() + sizeof mark);
    return contents;
}

} // namespace

std::optional<std::string> readInput(std::string const& path) {
    return inPlainForm(readWhole<std::string>(path));
}

std::optional<std::string> readInput(std::string const& path, Complaint* complaint) {
    return inPlainForm(readWhole<std::string>(path, complaint));
}

std::optional<SecretBytes> readSecretInput(std::string const& path) {
    return inPlainForm(readWhole<SecretBytes>(path));
}

std::optional<SecretBytes> readMessage(std::string const& path) { return readWhole<SecretBytes>(path); }
