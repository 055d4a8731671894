#include "sealkit/req.h"

#include "signed_object.h"
#include "targets.h"

/// In addition to the laws of every signed object: raw and parsed subject are equal.
void fuzz::req(asn1::blob input) {
    X509Req req;
    if (!parseAndSerialize(input, &req))
        return;
    DistinguishedName subject;
    SEALKIT_ASSERT(subject.parse(req.subjectBytes()) && subject == req.subject);
    SEALKIT_ASSERT(req.keyUsage < 1u << 9 && req.extKeyUsage < 1u << 7);
    req.parsePublicKey();
}
