/// The register of the certificates that a CA issued: a folder of text files.
///
/// | file                 | what it holds                                                                   |
/// | -------------------- | ------------------------------------------------------------------------------- |
/// | `SERIAL.pem`         | one certificate: lines about it for people, and the certificate in PEM          |
/// | `crl-number`         | the number of the last CRL that was made from the register                      |
/// | `lock`               | empty; a program that uses the register holds a lock on it                      |
///
/// SERIAL is the serial number in lowercase hexadecimal. Only the certificate and the line "revoked: TIME
/// [REASON]" have an effect; the other lines are for people. Files are written under temporary names, synced
/// and renamed, so a program that is killed leaves the register in its old or its new state. A register is
/// for one CA. Symbolic links, pipes and devices in it are rejected.
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

/// A folder that is locked while the object lives. On failure all functions complain and return false,
/// nothing or the exit status.
class Register {
public:
    /// What to do with a folder that does not exist.
    enum class Missing { refuse, create };

    /// Opens the register and waits for its lock. Complains and returns nothing on failure.
    static std::optional<Register> open(std::string const& path, Missing missing);

    Register(Register&& other) noexcept;
    Register& operator=(Register&&) = delete;
    ~Register();

    /// Adds a certificate and syncs it to the disk. Fails if the register has a certificate with its serial
    /// number, or one of another issuer.
    int add(X509Certificate const& certificate);

    /// All certificates, sorted by the end of their validity. Fails if any file is unreadable.
    std::optional<std::vector<RegisteredCertificate>> readAll() const;

    /// The certificate with this serial number (content octets).
    std::optional<RegisteredCertificate> read(asn1::blob serialNumber) const;
    /// Whether a certificate has this serial number.
    bool has(asn1::blob serialNumber) const;

    /// Rewrites the state of an existing certificate.
    int update(RegisteredCertificate const& changed);

    /// Takes the next CRL number (content octets of an INTEGER) and syncs it to the disk, so that no other
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
    std::vector<unsigned char> issuer; ///< Of all certificates (whole encoding); empty without any.
    int lockDescriptor;
};
