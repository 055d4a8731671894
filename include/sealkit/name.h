/// Names: the subjects and issuers of certificates.
///
/// | class               | names                                               | standard                 |
/// | ------------------- | --------------------------------------------------- | ------------------------ |
/// | `DistinguishedName` | an entity by its attributes ("C=UY, O=Acme, CN=ca") | RFC 5280 section 4.1.2.4 |
/// | `GeneralName`       | a host, a mailbox, an address, a URI ...            | RFC 5280 section 4.2.1.6 |
///
/// Seven attributes are known. Strings are the octets of the encoding: character sets are not converted, and
/// texts are neither normalised nor escaped.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/refusal.h"

#include <kp/ipaddr6.h>

#include <string>
#include <vector>

/// A distinguished name as a set of attributes. Each known attribute has one value: the last, if it is
/// repeated.
class SEALKIT_API DistinguishedName {
public:
    /// The contents of the SETs whose attribute is unknown, each an encoded attribute, kept for writing.
    std::vector<std::vector<unsigned char>> other;
    std::string country;            ///< C, countryName.
    std::string state;              ///< ST, stateOrProvinceName.
    std::string locality;           ///< L, localityName.
    std::string organization;       ///< O, organizationName.
    std::string organizationalUnit; ///< OU, organizationalUnitName.
    std::string commonName;         ///< CN, commonName.
    std::string serialNumber;       ///< The device's number (X.520), not that of the certificate.

    /// Reads a Name, a whole SEQUENCE of SETs of attributes. Returns false if it is malformed; attributes
    /// before the error are kept. Attributes are stored in the members above, which keep their values if the
    /// name lacks them; `other` is cleared first. Of a SET with several attributes only the first is stored.
    /// Values that are not of a string type (UTF8, Printable, T61, IA5, Universal, BMP; tag 16 is accepted,
    /// too) are ignored. Each unknown attribute is reported on standard output.
    bool parse(asn1::blob name);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob name, Refusal* refusal);

    /// Writes the Name: the known attributes that are not empty, in the order of the members, then `other`.
    std::vector<unsigned char> serialize() const;

    /// Whether reading and writing a Name with this class gives the same bytes. Signers of messages name
    /// their certificate by a re-encoded issuer: if that differs from the certificate's own, programs that
    /// compare bytes do not find the certificate.
    static bool roundTrips(asn1::blob name);

    /// The known attributes that are not empty, as "CN=value", in the order of the members, joined with
    /// ", ".
    std::string str() const;

    /// Whether no known attribute has a value; `other` is ignored.
    bool empty() const;

    /// Sets the attribute with that object identifier. Returns false if the attribute is unknown.
    bool setAttr(asn1::blob oid, std::string const& value);

    /// Compares the known attributes, octet by octet; `other` is ignored.
    friend SEALKIT_API bool operator==(DistinguishedName const& a, DistinguishedName const& b);
};

/// One choice of GeneralName.
///
/// | `type` | content of `data`            | `typeStr`      |
/// | ------ | ---------------------------- | -------------- |
/// | 0      | otherName, encoded           | "other"        |
/// | 1      | rfc822Name                   | "rfc822"       |
/// | 2      | dNSName                      | "DNS"          |
/// | 3      | x400Address, encoded         | "X400 address" |
/// | 4      | directoryName, encoded       | "Name"         |
/// | 5      | ediPartyName, encoded        | "EDI party"    |
/// | 6      | uniformResourceIdentifier    | "URI"          |
/// | 7      | iPAddress, 4 or 16 octets    | "IP"           |
/// | 8      | registeredID, content octets | "REG ID"       |
/// | 255    | empty: no name               | "[empty]"      |
///
/// The type of a constructed choice that was read keeps its constructed bit: a directoryName has type 0x24.
class SEALKIT_API GeneralName {
public:
    static constexpr unsigned char otherName = 0;     ///< Of a type that its object identifier names.
    static constexpr unsigned char rfc822Name = 1;    ///< A mailbox.
    static constexpr unsigned char dnsName = 2;       ///< A host name, in ASCII.
    static constexpr unsigned char x400Address = 3;   ///< An X.400 address.
    static constexpr unsigned char directoryName = 4; ///< A distinguished name.
    static constexpr unsigned char ediPartyName = 5;  ///< An EDI party.
    static constexpr unsigned char uri = 6;           ///< A URI.
    static constexpr unsigned char ipAddress = 7;     ///< An address of IPv4 or IPv6.
    static constexpr unsigned char registeredId = 8;  ///< An object identifier.
    static constexpr unsigned char none = 255;        ///< The type of an empty name.

    std::string data;          ///< The content octets.
    unsigned char type = none; ///< The identifier octet without bit 7.

    /// Reads the first element of `name`. Returns false only for an iPAddress that is neither 4 nor 16 octets
    /// long, and sets both members even then. An empty blob gives type 0 and a malformed one type 1, without
    /// data.
    bool parse(asn1::blob name);
    /// The same, with a reason (refusal.h).
    bool parse(asn1::blob name, Refusal* refusal);

    /// Writes the element.
    std::vector<unsigned char> serialize() const;

    /// The text of the table above; empty for any other type.
    std::string typeStr() const;

    /// The address in text for an iPAddress, the unchanged data for any other type.
    std::string dataStr() const;

    /// The address of an iPAddress of 4 or 16 octets; the all-zero address otherwise.
    IPAddr6 getIp() const;

    /// Stores the address, in 4 octets when it is an IPv4 address and in 16 otherwise. Does not set `type`.
    void setIp(IPAddr6 const& address);
};
