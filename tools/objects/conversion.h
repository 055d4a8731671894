/// Objects of any files, brought into another form.
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

/// The forms that objects are brought into. The last three are PEM that differs in its private keys.
enum class Target { pem, der, p7b, p12, pkcs8, traditional, openssh };

struct ConversionOptions {
    bool comments = false;
    PasswordSource password;    ///< Of the inputs.
    PasswordSource outPassword; ///< Of the output.
    bool encrypt = false;
    bool unencrypted = false;
    std::optional<std::uint32_t> iterations;
};

/// What was read so far, and what becomes of it. Everything that is left out is named, and makes the status
/// that of an input that cannot be used.
class Conversion {
public:
    explicit Conversion(ConversionOptions const& how) : options(how) {}

    /// Adds the objects of a file. Complains; the exit status. What is left out counts in `status` alone.
    int add(std::string const& file, SecretBytes const& bytes);

    /// The form that is wanted when nobody says which; nothing if several would do.
    std::optional<Target> otherForm() const;

    /// Makes the output. Complains; the exit status.
    int make(Target target, SecretBytes& output);

    /// What was written, for JSON: the kind of each object and where it came from.
    nlohmann::ordered_json describeWritten() const;
    bool holdsPrivateKey() const { return hasPrivateKey; } ///< Of what was made.
    int status() const { return state; }

private:
    /// An object, or a part of one.
    struct Piece {
        std::string source; ///< For messages: "FILE: block 2".
        InputObject object;
        std::shared_ptr<PrivateKey> key{}; ///< Of a private key that was opened.
        bool wasEncrypted = false;
        std::string name{};                      ///< That a PKCS#12 file gives it, or the comment of OpenSSH.
        std::vector<unsigned char> attributes{}; ///< Others of a PKCS#12 file: Java's trust is one.
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
    bool isPlain = true;                   ///< Whether all was PEM as this program writes it.
    std::unique_ptr<Password> ownPassword; ///< Of the inputs, once it was needed.
    std::unique_ptr<Password> newPassword; ///< Of the output, once it was needed.
    bool hasPrivateKey = false;
    int state = 0;
};
