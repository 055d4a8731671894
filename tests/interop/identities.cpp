#include "interop/identities.h"

#include <openssl/objects.h>
#include <openssl/x509v3.h>

#include <algorithm>

using namespace libcrypto;
using interop::Certified;
using interop::Identity;
using interop::Names;

namespace {

/// In the order in which the library writes them, and two that it does not know.
constexpr int attributes[] = {NID_countryName,      NID_stateOrProvinceName,    NID_localityName,
                              NID_organizationName, NID_organizationalUnitName, NID_commonName,
                              NID_serialNumber,     NID_pkcs9_emailAddress,     NID_domainComponent};

constexpr int stringTypes[] = {V_ASN1_UTF8STRING, V_ASN1_PRINTABLESTRING, V_ASN1_T61STRING,
                               V_ASN1_IA5STRING,  V_ASN1_BMPSTRING,       V_ASN1_UNIVERSALSTRING};
constexpr int plainTypes[] = {V_ASN1_UTF8STRING, V_ASN1_PRINTABLESTRING};

size_t unitOf(int stringType) {
    return stringType == V_ASN1_BMPSTRING ? 2 : stringType == V_ASN1_UNIVERSALSTRING ? 4 : 1;
}

Bytes randomText(test::Random& random, int stringType, size_t length) {
    static constexpr char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    Bytes text;
    for (size_t i = 0; i < length; i++) {
        text.resize(text.size() + unitOf(stringType) - 1);
        text.push_back(static_cast<unsigned char>(letters[random.below(sizeof letters - 1)]));
    }
    return text;
}

void setTime(ASN1_TIME* time, char const* text) { require(ASN1_TIME_set_string(time, text), "time"); }

void setRandomSerial(ASN1_INTEGER* serial, test::Random& random) {
    Bytes octets = random.bytes(random.between(1, 20));
    octets[0] |= 1; // Not zero, and with a first bit of either value.
    Owned<BIGNUM, BN_free> const number(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr));
    require(BN_to_ASN1_INTEGER(number.get(), serial) != nullptr, "serial number");
}

void extend(X509* certificate, X509* issuer, int type, char const* value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    Owned<X509_EXTENSION, X509_EXTENSION_free> const extension(
        made(X509V3_EXT_conf_nid(nullptr, &context, type, value), value));
    require(X509_add_ext(certificate, extension.get(), -1), value);
}

Identity issue(Identity const* issuer, test::Random& random, std::string const& keyName, Certified as) {
    Identity identity{keyName, OwnedCertificate(made(X509_new(), "certificate"))};
    X509* const certificate = identity.get();
    OwnedName const subject = interop::randomName(random, as.names);
    X509* const issuing = issuer == nullptr ? certificate : issuer->get();
    require(X509_set_version(certificate, 2), "version");
    setRandomSerial(X509_get_serialNumber(certificate), random);
    require(X509_set_subject_name(certificate, subject.get()), "subject");
    require(X509_set_issuer_name(certificate, X509_get_subject_name(issuing)), "issuer");
    setTime(X509_getm_notBefore(certificate), "200101000000Z");
    setTime(X509_getm_notAfter(certificate), "491231235959Z");
    require(X509_set_pubkey(certificate, identity.key()), "public key");
    extend(certificate, issuing, NID_subject_key_identifier, "hash");
    extend(certificate, issuing, NID_authority_key_identifier, "keyid:always");
    if (as.isAuthority)
        extend(certificate, issuing, NID_basic_constraints, "critical,CA:TRUE");
    if (as.stampsTime)
        extend(certificate, issuing, NID_ext_key_usage, "critical,timeStamping");
    require(X509_sign(certificate, (issuer == nullptr ? identity : *issuer).key(), EVP_sha256()) > 0,
            "signing");
    return identity;
}

} // namespace

namespace interop {

std::string randomRsaKey(test::Random& random) {
    if (random.oneIn(16))
        return random.oneIn(2) ? "rsa3072" : "rsa4096";
    return random.oneIn(6)   ? "rsa2048"
           : random.oneIn(3) ? "rsa1031"
           : random.oneIn(2) ? "other-rsa1024"
                             : "rsa1024";
}

OwnedName randomName(test::Random& random, Names names) {
    std::vector<int> chosen;
    for (int attribute : attributes)
        if (attribute == NID_commonName || random.oneIn(3))
            chosen.push_back(attribute);
    if (names == Names::any)
        for (size_t i = chosen.size(); i > 1; i--)
            std::swap(chosen[i - 1], chosen[random.below(i)]);
    OwnedName name(made(X509_NAME_new(), "name"));
    for (int attribute : chosen) {
        int const type = attribute == NID_pkcs9_emailAddress || attribute == NID_domainComponent
                             ? V_ASN1_IA5STRING
                         : names == Names::any ? random.oneOf(stringTypes)
                                               : random.oneOf(plainTypes);
        // A common name that is long enough to be one of its kind.
        size_t const length = attribute == NID_countryName  ? 2
                              : attribute == NID_commonName ? 12
                                                            : random.between(1, 20);
        Bytes text = randomText(random, type, length);
        // A country is written anew as a PrintableString.
        if (type == V_ASN1_UTF8STRING && attribute != NID_countryName && random.oneIn(4))
            text.insert(text.end(), {0xC3, 0xB1}); // U+00F1
        // -1: in the SET of the attribute before it.
        int const grouping = names == Names::any && random.oneIn(8) ? -1 : 0;
        require(X509_NAME_add_entry_by_NID(name.get(), attribute, type, text.data(),
                                           static_cast<int>(text.size()), -1, grouping),
                "name");
    }
    return name;
}

Identity selfSigned(test::Random& random, std::string const& keyName, Names names) {
    return issue(nullptr, random, keyName, {names, true, false});
}

Identity issuedBy(Identity const& issuer, test::Random& random, std::string const& keyName, Certified as) {
    return issue(&issuer, random, keyName, as);
}

OwnedCrl crlBy(Identity const& issuer, test::Random& random) {
    OwnedCrl crl(made(X509_CRL_new(), "CRL"));
    Owned<ASN1_TIME, ASN1_TIME_free> const time(made(ASN1_TIME_new(), "time"));
    require(X509_CRL_set_version(crl.get(), 1), "version");
    require(X509_CRL_set_issuer_name(crl.get(), X509_get_subject_name(issuer.get())), "issuer");
    setTime(time.get(), "210101000000Z");
    require(X509_CRL_set1_lastUpdate(crl.get(), time.get()), "time");
    setTime(time.get(), "481231235959Z");
    require(X509_CRL_set1_nextUpdate(crl.get(), time.get()), "time");
    for (size_t count = random.below(4); count > 0; count--) {
        X509_REVOKED* const revoked = made(X509_REVOKED_new(), "revoked certificate");
        require(X509_CRL_add0_revoked(crl.get(), revoked), "revoked certificate");
        Owned<ASN1_INTEGER, ASN1_INTEGER_free> const serial(made(ASN1_INTEGER_new(), "serial number"));
        setRandomSerial(serial.get(), random);
        require(X509_REVOKED_set_serialNumber(revoked, serial.get()), "serial number");
        require(X509_REVOKED_set_revocationDate(revoked, time.get()), "time");
    }
    require(X509_CRL_sign(crl.get(), issuer.key(), EVP_sha256()) > 0, "signing");
    return crl;
}

OwnedStore storeOf(Identity const& root, std::int64_t now) {
    OwnedStore store(made(X509_STORE_new(), "store"));
    require(X509_STORE_add_cert(store.get(), root.get()), "store");
    require(X509_STORE_set_purpose(store.get(), X509_PURPOSE_ANY), "purpose");
    X509_VERIFY_PARAM_set_time(X509_STORE_get0_param(store.get()), static_cast<time_t>(now));
    return store;
}

OwnedCertificates stackOf(std::vector<X509*> const& certificates) {
    OwnedCertificates stack(made(sk_X509_new_null(), "stack"));
    for (X509* certificate : certificates)
        require(sk_X509_push(stack.get(), certificate) > 0, "stack");
    return stack;
}

} // namespace interop
