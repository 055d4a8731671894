/// What the verbs of a small certificate authority share: its certificate and key, the algorithm it signs
/// with, serial numbers, requests, and where the object that was made goes.
#pragma once

#include "io/output_file.h"
#include "objects/key_file.h"

#include "sealkit/req.h"
#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Which key signs, with which hash.
struct SignerOptions {
    std::string key;
    std::string algorithm;
    PasswordSource password;
};

/// Declares -k, -a and the password of the key. `keyOption` is the name of the first, "-k,--key".
void addSignerOptions(CommandLine& commandLine, SignerOptions& options, std::string const& keyOption,
                      std::string const& keyHelp);

/// The private key of the options and the hash it signs with.
struct Signer {
    std::unique_ptr<PrivateKey> key;
    HashID hash = HashID::none;
};

/// Complains and gives nothing when there is no such key or it cannot sign.
std::optional<Signer> readSigner(SignerOptions const& options, int* status);

/// Where an object goes and in which form.
struct ObjectOutput {
    std::string path;
    bool force = false;
    bool der = false;

    void declare(CommandLine& commandLine);
    /// Opens the output, which comes before any long work. Complains; returns the exit status.
    int open(OutputFile& output) const;
    /// Writes the object as PEM with this label, or as DER; returns the exit status.
    int write(OutputFile& output, std::string const& label, X509Base const& object) const;
    /// The same of an object that is encoded already.
    int write(OutputFile& output, std::string const& label, std::vector<unsigned char> encoded) const;
};

/// The certificate of an authority, which the signer's key must belong to. Where it names key usages,
/// `usage`, a bit of `KeyUsage`, must be among them. Complains.
std::optional<X509Certificate> readAuthority(std::string const& path, Signer const& signer, unsigned usage);

/// Whether the key is that of the certificate. Complains, with `path`.
bool isOwnKey(std::string const& path, X509Certificate const& certificate, PrivateKey const& key);

/// Whether the certificate is valid now, and its key usage, where it names one, has one of the bits `usages`.
/// Complains, with `path`; `use` says what for: "signing messages".
bool isFitNow(std::string const& path, X509Certificate const& certificate, unsigned usages, char const* use);

/// The one certificate of a file, the first. Complains.
std::optional<X509Certificate> readCertificate(std::string const& path);

/// The request of a file, under either label that is in use for it. Complains.
std::optional<X509Req> readRequest(std::string const& path);

/// The public key of a file or of the certificate in it. Not that of a request, which says more. Complains.
std::unique_ptr<PublicKey> readSubjectKey(std::string const& path, int* status);

/// A new serial number of 128 random bits (RFC 5280, section 4.1.2.2).
std::vector<unsigned char> makeSerialNumber();

/// Reads a serial number in hexadecimal, with or without colons; nothing when it is none or 0 or longer than
/// the 20 octets of RFC 5280.
std::optional<std::vector<unsigned char>> parseSerialNumber(std::string const& text);

/// Whether a UTCTime can tell it: all that the library writes are those. Complains.
bool isWritableTime(TimePoint time);

/// Says what is worth a look and done all the same.
void note(std::string const& text);
