#include "objects/pem_comments.h"

#include "io/terminal.h"

std::string pemComment(std::string_view field, std::string_view text) {
    constexpr std::string_view mark = "-----", escapedHyphen = "\\x2d";
    std::string line = terminal::printable(text);
    for (size_t at = line.find(mark); at != std::string::npos; at = line.find(mark, at))
        line.replace(at, 1, escapedHyphen);
    return std::string(field) + line + "\n";
}

std::string friendlyNameComment(std::string_view name) {
    return name.empty() ? "" : pemComment("friendlyName: ", name);
}
