/// Keys of ML-KEM-768 for display. A program built without ML-KEM finds none.
#pragma once

#include "io/complaint.h"

#include "io/secret.h"
#include "objects/description.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A key as its container holds it.
struct KemKey {
    std::vector<unsigned char> encapsulationKey;
    // The next two are members of private keys only.
    std::string form; ///< "seed", "expanded key", "seed and expanded key"; empty for a public key.
    SecretBytes seed; ///< Empty if the container does not hold it.
    SecretBytes decapsulationKey;
};

/// A key, or the reason why it is refused. For a key of another algorithm both are empty.
struct OpenedKemKey {
    std::optional<KemKey> key;
    ExitStatus status = exitDone; ///< As in `OpenedKey`.
    Complaint complaint;
};

/// Reads the private key of a PEM block or DER. `password` is null if none was given.
OpenedKemKey openKemPrivateKey(std::string_view text, std::string const* password);

/// Reads the public key of a PEM block or DER.
OpenedKemKey openKemPublicKey(std::string_view text);
/// Reads the public key of a SubjectPublicKeyInfo.
OpenedKemKey openKemPublicKeyInfo(asn1::blob info);

/// The public half, and the secrets on request.
Description describe(KemKey const& key, bool withSecrets);
