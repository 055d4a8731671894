#include "sealkit/message_check.h"

#include <algorithm>
#include <array>

namespace {

using Id = MessageFindingId;
using Row = ReasonText<Id>;

constexpr std::array rows = {
    Row{Id::malformedContent, "malformed-content", "The message's content is malformed."},
    Row{Id::otherContentGiven, "other-content-given", "The message holds another content."},
    Row{Id::noSigners, "no-signers", "The message has no signers."},
    Row{Id::tooManyCertificates, "too-many-certificates",
        "The message has more certificates than the limit."},
    Row{Id::tooManySigners, "too-many-signers", "The message has more signers than the limit."},

    Row{Id::noContentType, "no-content-type", "It does not name one type of content."},
    Row{Id::otherContentType, "other-content-type", "It signed a content of another type."},
    Row{Id::noDigest, "no-digest", "It does not hold one digest of the content."},
    Row{Id::otherDigest, "other-digest", "It signed another content."},
    Row{Id::contentIsAttributes, "content-is-attributes",
        "It has no signed attributes, and the content has the form of attributes: the signature may be that "
        "of another message."},
    Row{Id::noCertificate, "no-certificate", "Its certificate is not available."},
    Row{Id::unsupportedDigest, "unsupported-digest", "Its digest algorithm is not supported."},
    Row{Id::unsupportedAlgorithm, "unsupported-algorithm", "Its signature algorithm is not supported."},
    Row{Id::noRsaKey, "no-rsa-key", "Its certificate has no RSA key."},
    Row{Id::otherKey, "other-key",
        "Its certificate has a key of another kind than its signature, or an unsupported one."},
    Row{Id::badSignature, "bad-signature", "Its signature does not verify."},
    Row{Id::notTried, "not-tried",
        "Its signature was not verified, because too many others that read the whole content were."},
    Row{Id::untrusted, "untrusted", "Its certificate is not trusted."},

    Row{Id::noTimeStamp, "no-time-stamp", "The signed content is not a time-stamp (RFC 3161)."},
    Row{Id::otherImprint, "other-imprint", "It stamps something else."},
    Row{Id::missingNonce, "missing-nonce", "It has no nonce, and the request has one."},
    Row{Id::otherNonce, "other-nonce", "Its nonce is not that of the request: it answers another one."},
    Row{Id::otherPolicy, "other-policy", "It has another policy than the one asked for."},
    Row{Id::futureTime, "future-time", "Its time is in the future."},
    Row{Id::severalAuthorities, "several-authorities", "It is not signed by exactly one TSA."},
    Row{Id::notForTimeStamps, "not-for-time-stamps",
        "The signer's certificate is not for time-stamping: that must be its only extended key usage, and "
        "critical."},
    Row{Id::invalidAtItsTime, "invalid-at-its-time",
        "The TSA's certificate was not valid at the time that it states."},
    Row{Id::otherSigningCertificate, "other-signing-certificate",
        "It states that it was signed with another certificate."},
    Row{Id::certificateNotIncluded, "certificate-not-included",
        "It does not hold its signer's certificate, which the request asks for."},
    Row{Id::unknownCriticalExtension, "unknown-critical-extension",
        "An extension of the time-stamp is critical and not supported."},
    Row{Id::malformedExtensions, "malformed-extensions",
        "The extensions of the time-stamp are malformed: one of them may be critical."},

    Row{Id::weakDigest, "weak-digest",
        "Its digest algorithm is weak: forgers can make another content with the same digest."},
    Row{Id::uncheckedCounterSignature, "unchecked-counter-signature",
        "Its counter-signature is not checked."},
    Row{Id::falseCounterSignature, "false-counter-signature",
        "Its counter-signature does not verify: nobody is known to have signed its signature."},
    Row{Id::untrustedCounterSignature, "untrusted-counter-signature",
        "The certificate of its counter-signature is not trusted."},
    Row{Id::uncheckedTimeStamp, "unchecked-time-stamp", "Its time-stamp is not checked."},
    Row{Id::falseTimeStamp, "false-time-stamp",
        "Its time-stamp does not verify: nothing is known of when it signed."},
    Row{Id::uncheckedCrls, "unchecked-crls", "The CRLs in the message are not used."},
    Row{Id::ignoredObjects, "ignored-objects",
        "Certificates or CRLs in the message are ignored: they are malformed or of an unsupported kind."},
    Row{Id::futureSigningTime, "future-signing-time", "It states a signing time in the future."},
    Row{Id::signingTimeOutsideValidity, "signing-time",
        "It states a signing time at which its certificate was not valid."},
    Row{Id::rewrittenIssuer, "issuer-written-anew",
        "It names the issuer of its certificate in other bytes: other programs may not find the "
        "certificate."},
    Row{Id::keyUsage, "key-usage", "The key usage of its certificate does not allow signing messages."},
    Row{Id::weakImprint, "weak-imprint",
        "The stamped digest is weak: forgers can make another file with the same digest."},
    Row{Id::noSigningCertificate, "no-signing-certificate",
        "It does not state which certificate signed it, as time-stamps should."},
    Row{Id::otherAuthorityName, "authority-name", "It names another TSA than its certificate does."},

    Row{Id::counterSigned, "counter-signed", "Its signature is counter-signed."},
    Row{Id::timeStamped, "time-stamped", "Its signature existed at the time that its time-stamp states."},
    Row{Id::issuerDoesNotRoundTrip, "issuer-does-not-round-trip",
        "The library would write the name of its issuer in other bytes."},
    Row{Id::chainNotSearched, "chain-not-searched",
        "Its chain was not searched, because those of several other signers failed."},
};

constexpr bool areInOrder() {
    for (size_t i = 0; i < rows.size(); i++)
        if (static_cast<size_t>(rows[i].id) != i)
            return false;
    return true;
}
static_assert(areInOrder(), "each id has its row, in the order of the enumeration");

/// A sentence in the form that it has within another one.
std::string inlineText(char const* sentence) {
    std::string text = sentence;
    text.front() = static_cast<char>(text.front() - 'A' + 'a');
    text.pop_back();
    return text;
}

} // namespace

std::span<Row const> messageFindings() { return rows; }

Row const& getReasonText(MessageFindingId id) { return rows[static_cast<size_t>(id)]; }

FindingWeight getWeight(MessageFindingId id) {
    return id < Id::weakDigest      ? FindingWeight::failure
           : id < Id::counterSigned ? FindingWeight::warning
                                    : FindingWeight::note;
}

std::string MessageFinding::str() const {
    std::string text = signer == 0 ? "" : "signer " + std::to_string(signer) + ": ";
    text += inlineText(getReasonText(id).sentence);
    char const* before = " (";
    for (Fact const& fact : facts) {
        text += before + fact.label + ": " + fact.value;
        before = ", ";
    }
    return facts.empty() ? text : text + ")";
}

MessageFinding const* MessageVerdict::failure() const {
    auto const found = std::ranges::find_if(findings, [](MessageFinding const& finding) {
        return getWeight(finding.id) == FindingWeight::failure;
    });
    return found == findings.end() ? nullptr : &*found;
}

std::string MessageVerdict::reason() const {
    MessageFinding const* const first = failure();
    if (first == nullptr)
        return "";
    std::string text = first->str();
    if (first->id == Id::untrusted)
        if (auto const& path = signers[first->signer - 1].path)
            text += ": " + path->reason();
    return text;
}
