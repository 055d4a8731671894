#include "interop/subjects.h"

#include <cstdlib>

std::string interop::pathOf(Subject const& subject) {
    char const* const folder = std::getenv("SEALKIT_REPLAY");
    return std::string(folder != nullptr ? folder : SEALKIT_REPLAY) + '/' + subject.name + ".txt";
}
