/// Entries of the system's certificate manager: the records of the platform's store "cerm".
///
/// | member                            | what it is                                            |
/// | --------------------------------- | ----------------------------------------------------- |
/// | `CermEntry`                       | the fields of a record, with the certificate in force |
/// | `readCermEntry`, `makeCermRecord` | reads an entry from a record; makes a new record      |
/// | `cermStoreName`                   | the name of the store                                 |
///
/// `CertificateMemoryStore::loadFromCerm` (store.h) loads what the entries trust.
#pragma once

#include "sealkit/detail/export.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kp {
class message;
}

inline constexpr char cermStoreName[] = "cerm"; ///< The name of the certificate manager's store.

/// One entry of the certificate manager.
struct CermEntry {
    static constexpr uint32_t everyUse = 0xffffffff; ///< The mask of all uses.

    bool isTrusted = false;                 ///< Whether the system trusts it.
    uint32_t uses = everyUse;               ///< The uses that it is trusted for, a mask.
    std::vector<unsigned char> certificate; ///< The DER that applies; empty if the entry has none to use.
    std::string name;                       ///< The name that people gave it; may be empty.
    std::string dnsName;                    ///< The host that it is for; may be empty.
    bool fetchesCrl = false;                ///< Its CRL is fetched and kept; not written by `makeCermRecord`.
};

/// The entry of a record. An entry may have an issued certificate, which replaces the one beside it: if the
/// issued one is marked as unusable, the entry has no certificate to use. Record 0 of the store holds
/// settings and is never trusted.
SEALKIT_API CermEntry readCermEntry(int32_t id, kp::message const& record);

/// A new record for an entry. Empty names are left out.
SEALKIT_API kp::message makeCermRecord(CermEntry const& entry);
