#include "trust/purpose.h"

#include "asn1/oids.h"

#include <algorithm>
#include <iterator>

namespace detail {

Purpose const* findPurpose(PathPurpose id) {
    constexpr unsigned signing = KeyUsage::digitalSignature | KeyUsage::contentCommitment;
    static Purpose const purposes[] = {
        {PathPurpose::tlsServer, oid::serverAuth, "tls-server",
         KeyUsage::digitalSignature | KeyUsage::keyEncipherment | KeyUsage::keyAgreement},
        {PathPurpose::tlsClient, oid::clientAuth, "tls-client",
         KeyUsage::digitalSignature | KeyUsage::keyAgreement},
        {PathPurpose::codeSigning, oid::codeSigning, "code-signing", KeyUsage::digitalSignature},
        {PathPurpose::emailProtection, oid::emailProtection, "email-protection",
         signing | KeyUsage::keyEncipherment | KeyUsage::keyAgreement},
        {PathPurpose::timeStamping, oid::timeStamping, "time-stamping", signing},
        {PathPurpose::ocspSigning, oid::ocspSigning, "ocsp-signing", signing},
    };
    auto const found = std::ranges::find(purposes, id, &Purpose::id);
    return found == std::end(purposes) ? nullptr : found;
}

PathPurpose askedPurpose(PathOptions const& options) {
    if (options.purpose != PathPurpose::byIdentity)
        return options.purpose;
    bool const asksForHost = !options.hostName.empty() || !options.address.empty();
    return asksForHost ? PathPurpose::tlsServer : PathPurpose::any;
}

} // namespace detail
