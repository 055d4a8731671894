/// Reading certificates for the program: one bad certificate of a trusted file never loses the rest, and every one that
/// is left out is named.
#pragma once

#include "sealkit/store.h"

#include <memory>
#include <string>
#include <vector>

/// Appends the certificates of `path` to the store: of a file, or of every file of a folder. Complains about each
/// certificate that is left out. False, and why in `*complaint`, if nothing was read.
bool loadTrusted(std::string const& path, FormRules forms, CertificateMemoryStore* store,
                 std::string* complaint);

/// What is wrong with a file of which `certificates` could be read, and others not.
std::string complaintOf(std::vector<std::shared_ptr<X509Certificate>> const& certificates,
                        std::vector<Refusal> const& refusals);

/// A certificate's own name for messages: its printable display name.
std::string nameFor(X509Certificate const& certificate);
