#include "sealkit/certificate_outline.h"
#include "sealkit/extensions.h"
#include "sealkit/key_outline.h"
#include "sealkit/name_text.h"

#include "targets.h"

namespace {

/// Reads the input as the value of every extension.
void readAsEverything(asn1::blob value) {
    std::vector<QualifiedPolicy> policies;
    parseCertificatePolicies(value, &policies);
    std::vector<EquivalentPolicies> mappings;
    parsePolicyMappings(value, &mappings);
    PolicyConstraintNumbers constraints;
    parsePolicyConstraints(value, &constraints);
    std::vector<CrlDistributionPoint> points;
    parseDistributionPoints(value, &points);
    IssuingDistributionPoint scope;
    parseIssuingDistributionPoint(value, &scope);
    AuthorityKeyIdentifier authority;
    parseAuthorityKeyId(value, &authority);
    PrivateKeyUsagePeriod period;
    parsePrivateKeyUsagePeriod(value, &period);
    std::vector<TypedValue> statements;
    parseStatements(value, &statements);
    std::vector<unsigned> features;
    parseTlsFeatures(value, &features);
    std::vector<SignedCertificateTimestamp> timestamps;
    parseSignedCertificateTimestamps(value, &timestamps);
    std::string text;
    parseStringValue(value, &text);
}

void read(SignedOutline const& outline) {
    SEALKIT_ASSERT(!algorithmText(outline.signatureAlgorithm).empty());
    for (X509Extension const& extension : outline.extensions)
        readAsEverything(extension.value);
}

void readKey(asn1::blob info) {
    KeyOutline key;
    parseKeyOutline(info, &key);
}

} // namespace

/// An outline has everything that the class reads.
void fuzz::outline(asn1::blob input) {
    CertificateOutline outline;
    bool const isOutline = parseCertificateOutline(input, &outline);
    X509Certificate certificate;
    if (certificate.parse(input, nullptr, FormRules::standard)) {
        SEALKIT_ASSERT(isOutline && !outline.isExtensionListBroken);
        SEALKIT_ASSERT(outline.subject == certificate.subjectBytes() &&
                       outline.issuer == certificate.issuerBytes());
        SEALKIT_ASSERT(outline.serialNumber == asn1::blob(certificate.serialNumber));
        SEALKIT_ASSERT(outline.subjectPublicKeyInfo == asn1::blob(certificate.subjectPublicKeyInfo));
        SEALKIT_ASSERT(outline.extensions.size() == certificate.extensions().size());
    }
    if (isOutline) {
        read(outline);
        readKey(outline.subjectPublicKeyInfo);
        nameText(outline.subject);
    }
    CrlOutline crl;
    if (parseCrlOutline(input, &crl)) {
        read(crl);
        size_t left = crl.revoked.size();
        for (CrlEntryOutline entry; nextCrlEntry(&crl.revoked, &entry);) {
            SEALKIT_ASSERT(crl.revoked.size() < left);
            left = crl.revoked.size();
        }
    }
    RequestOutline request;
    if (parseRequestOutline(input, &request)) {
        read(request);
        readKey(request.subjectPublicKeyInfo);
    }
    readAsEverything(input);
}
