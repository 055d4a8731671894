#include "objects/hash_names.h"

#include <kp/text.h>

HashName const* findHash(std::string_view name) {
    std::string const lower = str2lower(name);
    for (HashName const& entry : hashNames)
        if (lower == entry.name)
            return &entry;
    return nullptr;
}

std::string listHashes() {
    std::string list;
    for (HashName const& entry : hashNames)
        list += (list.empty() ? "" : ", ") + std::string(entry.name);
    return list;
}
