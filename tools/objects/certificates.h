/// Reading certificates for the program: one bad certificate of a trusted file never loses the rest, and
/// every one that is left out is named.
#pragma once

#include "io/complaint.h"

#include "sealkit/path.h"
#include "sealkit/store.h"

#include <memory>
#include <string>
#include <vector>

/// Appends the certificates of `path` to the store: of a file, or of every file of a folder. Notes which are
/// left out. False, and why in `*complaint`, if nothing was read.
bool loadTrusted(std::string const& path, FormRules forms, CertificateMemoryStore* store,
                 Complaint* complaint);

/// What can be done about a refusal, as a sentence behind a blank; empty where nothing is known.
char const* adviceOn(Refusal const& refusal);

/// Notes which certificates were left out: each of a few; of many how many for which reason, file by file.
void noteLeftOut(std::vector<LoadRefusal> const& refused);

/// The certificates of the contents of a file, or of the messages in it. Notes trust settings, which are
/// ignored.
CertificateChain readCertificateText(std::string const& path, std::string_view text, FormRules forms,
                                     std::vector<Refusal>* refusals);

/// What is wrong with a file of which `certificates` could be read, and others not.
Complaint complaintOf(std::vector<std::shared_ptr<X509Certificate>> const& certificates,
                      std::vector<Refusal> const& refusals);

/// A certificate's own name for messages: its printable display name.
std::string nameFor(X509Certificate const& certificate);
