/// The register of what a CA issued: a folder of text files.
///
/// | file                 | what it holds                                                                   |
/// | -------------------- | ------------------------------------------------------------------------------- |
/// | `SERIAL.pem`         | one certificate: lines about it for people, and the certificate in PEM          |
/// | `crl-number`         | the number of the last CRL that was made from the register                      |
/// | `lock`               | empty; whoever changes the register holds a lock on it                          |
///
/// SERIAL is the serial number in lowercase hexadecimal. Of the lines one counts, beside the certificate
/// itself: "revoked: TIME [REASON]". Files are written elsewhere, brought to the disk, and given their names
/// as a whole, so that a program that is killed leaves a register as it was before or after. A register
/// belongs to one CA. Symbolic links, pipes and devices in it are rejected.
#pragma once

#include "sealkit/crl.h"
#include "sealkit/path.h"
#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A certificate of the register.
struct RegisteredCertificate {
    std::shared_ptr<X509Certificate> certificate;
    std::optional<RevokedCertificate> revocation;
};

/// A folder whose lock is held for as long as the object lives. All functions complain, and then return
/// false, nothing or the exit status.
class Register {
public:
    /// What is done with a folder that does not exist.
    enum class Missing { refuse, create };

    /// Opens the register and waits for its lock. Complains and gives nothing if it cannot.
    static std::optional<Register> open(std::string const& path, Missing missing);

    Register(Register&& other) noexcept;
    Register& operator=(Register&&) = delete;
    ~Register();

    /// Adds a certificate, which is on the disk then. Fails if one with its serial number is there, or one of
    /// another issuer.
    int add(X509Certificate const& certificate);

    /// All certificates, by the end of their validity. Fails if a file cannot be read: nothing is left out.
    std::optional<std::vector<RegisteredCertificate>> readAll() const;

    /// The one with this serial number (content octets).
    std::optional<RegisteredCertificate> read(asn1::blob serialNumber) const;
    /// Whether there is one.
    bool has(asn1::blob serialNumber) const;

    /// Writes the state of a certificate that is there anew.
    int update(RegisteredCertificate const& changed);

    /// Takes the next number for a CRL (content octets of an INTEGER), which is on the disk then: no other
    /// CRL gets it.
    std::optional<std::vector<unsigned char>> takeCrlNumber();

private:
    Register(std::string folder, int lock) : path(std::move(folder)), lockDescriptor(lock) {}

    std::string fileOf(asn1::blob serialNumber) const;
    std::optional<RegisteredCertificate> readFile(std::string const& name) const;
    std::optional<std::vector<std::string>> listFiles() const;
    bool removeLeftovers() const;
    bool readIssuer();

    std::string path;
    std::vector<unsigned char> issuer; ///< Of the certificates, a whole encoding; empty until one is added.
    int lockDescriptor;
};
