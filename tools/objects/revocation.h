/// Revocation lists that the user names.
#pragma once

#include "sealkit/path.h"

#include <string>
#include <vector>

/// Reads the lists in `files`, and adds those to `crls` that are whose they say they are: a list is
/// checked against the certificates among `issuers` that bear its issuer's name. One that nobody's
/// certificate is at hand for is named and left out. `crls` is sorted by age, the newest first. False,
/// after a complaint, when a file cannot be read, holds no list, or when a signature does not verify.
bool readCrls(std::vector<std::string> const& files, CertificateChain const& issuers,
              std::vector<std::shared_ptr<X509Crl>>* crls);

/// Takes the lists out of `crls` that readCrls would not have let in, and names them.
void dropUnverifiedCrls(CertificateChain const& issuers, std::vector<std::shared_ptr<X509Crl>>* crls);

/// Whether the list is signed by one of the certificates that bear its issuer's name.
bool isSignedByOneOf(X509Crl const& crl, CertificateChain const& issuers);
