// Loading what is trusted, with diagnostics or with reasons.
#pragma once

#include "base/reading.h"
#include "sealkit/store.h"

#include <string_view>
#include <vector>

namespace detail {

/// `CertificateMemoryStore::loadFromDir`. `files` and `refusals` may be null; the refusals are those of files
/// that hold neither a certificate nor a CRL that is wanted, and are filled in where diagnostics are silent;
/// `forms` counts there.
bool loadFolder(CertificateMemoryStore& to, std::string_view dir, bool withCrls,
                std::vector<LoadedFile>* files, Diagnostics diagnostics, std::vector<LoadRefusal>* refusals,
                FormRules forms = FormRules::platform);

} // namespace detail
