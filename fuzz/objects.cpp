#include "sealkit/objects.h"
#include "sealkit/pem.h"
#include "sealkit/store.h"

#include "targets.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

asn1::blob blobOf(WipedBytes const& bytes) { return {bytes.data(), bytes.size()}; }

bool isSame(InputObject const& a, InputObject const& b) {
    return a.kind == b.kind && a.bytes == b.bytes && a.refusal.id == b.refusal.id;
}

/// The plain form is small enough, and has the same objects as the file.
void checkPlain(asn1::blob input, InputObjects const& found) {
    std::vector<InputNote> notes;
    WipedBytes plain;
    if (!makePlain(input, &plain, &notes)) {
        SEALKIT_ASSERT(plain.empty() && notes.empty());
        return;
    }
    constexpr size_t growth = 3;
    SEALKIT_ASSERT(plain.size() <= growth * input.size());
    for (InputNote const& note : notes)
        SEALKIT_ASSERT(!note.str().empty() && note.block == 0);
    InputObjects const again = readObjects(blobOf(plain));
    SEALKIT_ASSERT(std::ranges::equal(again.objects, found.objects, isSame));
}

void checkObject(InputObject const& object, asn1::blob input) {
    SEALKIT_ASSERT(!object.refusal || (!object.refusal.str().empty() && !object.certificate && !object.crl &&
                                       !object.request && !object.message));
    SEALKIT_ASSERT(object.block == 0 || object.line > 0 || object.refusal);
    SEALKIT_ASSERT(object.bytes.size() <= 3 * input.size());
    if (object.certificate)
        SEALKIT_ASSERT(asn1::blob(object.certificate->serialize()) == blobOf(object.bytes));
    if (object.crl)
        SEALKIT_ASSERT(asn1::blob(object.crl->serialize()) == blobOf(object.bytes));
    if (object.request)
        SEALKIT_ASSERT(asn1::blob(object.request->serialize()) == blobOf(object.bytes));
    SEALKIT_ASSERT(!object.trust || object.trust->isLimited() == !object.trust->str().empty() ||
                   object.trust->rejected.empty());
}

/// The readers of one kind find the same objects as the reader of all kinds.
void compareReaders(asn1::blob input, InputObjects const& found) {
    std::vector<X509Certificate const*> certificates;
    for (InputObject const& object : found.objects)
        if (object.certificate)
            certificates.push_back(object.certificate.get());
    std::string_view const text(reinterpret_cast<char const*>(input.data()), input.size());
    std::vector<Refusal> refusals;
    auto const read = readCertificates(text, &refusals, FormRules::standard);
    SEALKIT_ASSERT(std::ranges::equal(read, certificates, [](auto const& a, auto const* b) {
        return a->tbs == b->tbs && a->signature == b->signature;
    }));
    SEALKIT_ASSERT(!read.empty() || !refusals.empty());
    CertificateMemoryStore anchors;
    SEALKIT_ASSERT(anchors.loadCertificates(text, nullptr, FormRules::standard) <=
                   readCertificateBundle(text, nullptr, FormRules::standard).size());
}

/// One object stays the same in a frame, after blanks, with the line ends of another system and in UTF-16.
void reframe(InputObject const& object) {
    std::vector<unsigned char> const der(object.bytes.begin(), object.bytes.end());
    std::vector<unsigned char> const pem = encodePemType("CERTIFICATE", der);
    std::string strange = "\xFE\xFF";
    for (unsigned char const c : pem) {
        strange += {'\0', c == '\n' ? '\r' : static_cast<char>(c)};
        if (c == '\n')
            strange += {'\0', '\t'};
    }
    InputObjects const again = readObjects(strange);
    SEALKIT_ASSERT(again.objects.size() == 1 && isSame(again.objects.front(), object));
}

} // namespace

void fuzz::objects(asn1::blob input) {
    InputObjects const found = readObjects(input);
    SEALKIT_ASSERT(!found.objects.empty());
    for (InputObject const& object : found.objects)
        checkObject(object, input);
    checkPlain(input, found);
    compareReaders(input, found);
    if (InputObject const& first = found.objects.front(); found.objects.size() == 1 && first.certificate)
        reframe(first);
}
