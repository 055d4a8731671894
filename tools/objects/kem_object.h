/// Keys of ML-KEM-768 as objects to be shown. A program without ML-KEM finds none.
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
    // Of a private key.
    std::string form; ///< "seed", "expanded key", "seed and expanded key"; empty for a public key.
    SecretBytes seed; ///< Empty where the container does not hold it.
    SecretBytes decapsulationKey;
};

/// A key, or why it is refused. Of a key of another algorithm there is neither.
struct OpenedKemKey {
    std::optional<KemKey> key;
    ExitStatus status = exitDone; ///< As that of `OpenedKey`.
    Complaint complaint;
};

/// Reads the private key of a PEM block or DER. The password is null where none was given.
OpenedKemKey openKemPrivateKey(std::string_view text, std::string const* password);

/// Reads the public key of a PEM block or DER.
OpenedKemKey openKemPublicKey(std::string_view text);
/// That of a SubjectPublicKeyInfo.
OpenedKemKey openKemPublicKeyInfo(asn1::blob info);

/// The public half, and the secrets where that is wished for.
Description describe(KemKey const& key, bool withSecrets);
