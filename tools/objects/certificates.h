/// Reads certificates. One malformed certificate of a trusted file does not lose the others, and every one
/// that is left out is named.
#pragma once

#include "io/complaint.h"

#include "sealkit/path.h"
#include "sealkit/store.h"

#include <memory>
#include <string>
#include <vector>

/// Appends the certificates of a file, or of every file of a folder, to the store, and notes which are left
/// out. Returns false, with the reason in `*complaint`, if nothing was read.
bool loadTrusted(std::string const& path, FormRules forms, CertificateMemoryStore* store,
                 Complaint* complaint);

/// Advice on a refusal, as a sentence after a blank; empty if none is known.
char const* adviceOn(Refusal const& refusal);

/// Notes the certificates that were left out: each one if they are few, otherwise their number for each
/// reason and file.
void noteLeftOut(std::vector<LoadRefusal> const& refused);

/// The certificates of a text, or of the messages in it. Notes trust settings, which are ignored.
CertificateChain readCertificateText(std::string const& path, std::string_view text, FormRules forms,
                                     std::vector<Refusal>* refusals);

/// The complaint about a file that holds both readable and unreadable certificates.
Complaint complaintOf(std::vector<std::shared_ptr<X509Certificate>> const& certificates,
                      std::vector<Refusal> const& refusals);

/// The certificate's printable display name, for messages.
std::string nameFor(X509Certificate const& certificate);
