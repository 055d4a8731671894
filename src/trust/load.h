// Loads anchors and CRLs, with diagnostics or with refusals.
#pragma once

#include "base/reading.h"
#include "sealkit/store.h"

#include <string_view>
#include <vector>

namespace detail {

/// Implements `CertificateMemoryStore::loadFromDir`. `files` and `refusals` may be null. `refusals` gets the
/// files without a certificate or a wanted CRL. It is only filled in, and `forms` only applies, if the
/// diagnostics are silent.
bool loadFolder(CertificateMemoryStore& to, std::string_view dir, bool withCrls,
                std::vector<LoadedFile>* files, Diagnostics diagnostics, std::vector<LoadRefusal>* refusals,
                FormRules forms = FormRules::platform);

} // namespace detail
