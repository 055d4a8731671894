/// Names: whom a certificate is about.
///
/// | class               | names                                              | standard                  |
/// | ------------------- | -------------------------------------------------- | ------------------------- |
/// | `DistinguishedName` | an entry by its attributes ("C=UY, O=Acme, CN=ca") | RFC 5280 section 4.1.2.4  |
/// | `GeneralName`       | a host, a mailbox, an address, a URI ...           | RFC 5280 section 4.2.1.6  |
///
/// Seven attributes are known. Strings are the octets of the encoding: nothing converts character sets,
/// normalises, or escapes what it prints.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/refusal.h"

#include <kp/ipaddr6.h>

#include <string>
#include <vector>

/// A distinguished name as a set of attributes: each known one once, the last one read if it was repeated.
class SEALKIT_API DistinguishedName {
public:
    /// The contents of the SETs whose attribute is unknown, each an encoded attribute, for writing them
    /// again.
    std::vector<std::vector<unsigned char>> other;
    std::string country;
    std::string state;
    std::string locality;
    std::string organization;
    std::string organizationalUnit;
    std::string commonName;
    std::string serialNumber;

    /// Reads a Name, a whole SEQUENCE of SETs of attributes. False when it is malformed; what was read until
    /// then stays. Attributes go to the members above, which keep what they held when the name does not
    /// have them; `other` is emptied first. Of a SET with several attributes the first counts. Values that
    /// are not of a string type (UTF8, Printable, T61, IA5, Universal, BMP; tag 16 is taken too) are skipped.
    /// Each unknown attribute is reported on standard output.
    bool parse(asn1::blob name);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob name, Refusal* refusal);

    /// Writes the Name: the known attributes that are not empty, in the order of the members, then `other`.
    std::vector<unsigned char> serialize() const;

    /// Whether a Name comes back byte for byte when this class reads and writes it. Signers of messages name
    /// their certificate by an issuer that was written anew: where that is not the certificate's own, programs
    /// that compare bytes do not find the certificate.
    static bool roundTrips(asn1::blob name);

    /// The known attributes that are not empty, as "CN=value", in the order of the members, joined with
    /// ", ".
    std::string str() const;

    /// True when no known attribute has a value, whatever `other` holds.
    bool empty() const;

    /// Sets the attribute with that object identifier. False when it is not a known one.
    bool setAttr(asn1::blob oid, std::string const& value);

    /// Compares the known attributes, octet by octet. `other` does not count.
    friend SEALKIT_API bool operator==(DistinguishedName const& a, DistinguishedName const& b);
};

/// One choice of GeneralName.
///
/// | `type` | content of `data`                    | `typeStr`      |
/// | ------ | ------------------------------------ | -------------- |
/// | 0      | otherName, encoded                   | "other"        |
/// | 1      | rfc822Name                           | "rfc822"       |
/// | 2      | dNSName                              | "DNS"          |
/// | 3      | x400Address, encoded                 | "X400 address" |
/// | 4      | directoryName, encoded               | "Name"         |
/// | 5      | ediPartyName, encoded                | "EDI party"    |
/// | 6      | uniformResourceIdentifier            | "URI"          |
/// | 7      | iPAddress, 4 or 16 octets            | "IP"           |
/// | 8      | registeredID, content octets         | "REG ID"       |
/// | 255    | nothing: there is no name            | "[empty]"      |
///
/// What was read from a constructed choice keeps its constructed bit: a directoryName has type 0x24.
class SEALKIT_API GeneralName {
public:
    static constexpr unsigned char otherName = 0;
    static constexpr unsigned char rfc822Name = 1;
    static constexpr unsigned char dnsName = 2;
    static constexpr unsigned char x400Address = 3;
    static constexpr unsigned char directoryName = 4;
    static constexpr unsigned char ediPartyName = 5;
    static constexpr unsigned char uri = 6;
    static constexpr unsigned char ipAddress = 7;
    static constexpr unsigned char registeredId = 8;
    static constexpr unsigned char none = 255; ///< The type of an empty name.

    std::string data;          ///< The content octets.
    unsigned char type = none; ///< The identifier octet without bit 7.

    /// Reads the first element of `name`. False only for an iPAddress that is neither 4 nor 16 octets
    /// long, and even then both members are set. An empty blob gives type 0 and a malformed one type 1,
    /// without data.
    bool parse(asn1::blob name);
    /// The same, with a reason (refusal.h).
    bool parse(asn1::blob name, Refusal* refusal);

    /// Writes the element.
    std::vector<unsigned char> serialize() const;

    /// The text of the table above; empty for any other type.
    std::string typeStr() const;

    /// The address in text for an iPAddress, the data as they are for any other type.
    std::string dataStr() const;

    /// The address of an iPAddress of 4 or 16 octets; the all-zero address otherwise.
    IPAddr6 getIp() const;

    /// Stores the address, in 4 octets when it is an IPv4 address and in 16 otherwise. Does not set `type`.
    void setIp(IPAddr6 const& address);
};
