/// Converts objects of any files to another form.
#pragma once

#include "io/password.h"
#include "io/secret.h"
#include "objects/key_file.h"

#include "sealkit/objects.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class PKCS12PFX;

/// The target forms. The last three are PEM and differ in their private keys.
enum class Target { pem, der, p7b, p12, pkcs8, traditional, openssh };

struct ConversionOptions {
    bool comments = false;
    PasswordSource password;    ///< Of the inputs.
    PasswordSource outPassword; ///< Of the output.
    bool encrypt = false;
    bool unencrypted = false;
    std::optional<std::uint32_t> iterations;
};

/// The objects read so far, and the output made from them. Every omission is named and sets the status to
/// that of unusable input.
class Conversion {
public:
    explicit Conversion(ConversionOptions const& how) : options(how) {}

    /// Adds the objects of a file. Complains on failure. Returns the exit status. Omissions only affect
    /// `status`.
    int add(std::string const& file, SecretBytes const& bytes);

    /// The default target form; nothing if several would do.
    std::optional<Target> otherForm() const;

    /// Makes the output. Complains on failure. Returns the exit status.
    int make(Target target, SecretBytes& output);

    /// The kind and the source of each object that was written, for JSON.
    nlohmann::ordered_json describeWritten() const;
    bool holdsPrivateKey() const { return hasPrivateKey; } ///< Whether the output holds one.
    int status() const { return state; }

private:
    /// An object or a part of one.
    struct Piece {
        std::string source; ///< For messages: "FILE: block 2".
        InputObject object;
        std::shared_ptr<PrivateKey> key{}; ///< The decrypted key of a private-key object.
        bool wasEncrypted = false;
        std::string name{}; ///< From a PKCS#12 file, or the comment of OpenSSH.
        /// Further attributes from a PKCS#12 file, such as Java's trust.
        std::vector<unsigned char> attributes{};
        bool isWritten = false;
    };

    void leaveOut(std::string const& source, std::string const& why);
    void leaveNamesOut(char const* form);
    bool readOwnPassword(std::string const& whose, int* status);
    bool readOutPassword(int* status);
    int open(Piece& piece);
    int readOpenssh(Piece& piece);
    int expand(Target target);
    int expandPkcs12(Piece const& piece, std::vector<Piece>& to);
    int addPrivateKey(Piece& piece, Target target, SecretBytes& output);
    int addOpensshPublicKey(Piece const& piece, SecretBytes& output);
    int addText(Piece& piece, Target target, SecretBytes& output);
    int makeText(Target target, SecretBytes& output);
    int makeDer(SecretBytes& output);
    int makePkcs7(SecretBytes& output);
    int makePkcs12(SecretBytes& output);

    ConversionOptions const& options;
    std::vector<Piece> pieces;
    bool isPlain = true;                   ///< Whether all inputs were PEM as this program writes it.
    std::unique_ptr<Password> ownPassword; ///< Of the inputs, once needed.
    std::unique_ptr<Password> newPassword; ///< Of the output, once needed.
    bool hasPrivateKey = false;
    int state = 0;
};
