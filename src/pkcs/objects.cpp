#include "pkcs/objects.h"

#include "sealkit/message.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs12.h"

#include "asn1/ber.h"
#include "asn1/input_kind.h"
#include "base/secret_bytes.h"
#include "base/view.h"
#include "pem/read.h"
#include "pkcs/read.h"
#include "pkcs/trust_settings.h"
#include "x509/read.h"

#include <algorithm>
#include <limits>

namespace {

namespace tag = detail::tag;
using detail::Reading;

constexpr std::string_view opensshLabel = "OPENSSH PRIVATE KEY", trustedLabel = "TRUSTED CERTIFICATE";

struct LabelKind {
    std::string_view label;
    InputKind kind;
};

constexpr LabelKind labels[] = {
    {"CERTIFICATE", InputKind::certificate},
    {"X509 CERTIFICATE", InputKind::certificate},
    {trustedLabel, InputKind::certificate},
    {"X509 CRL", InputKind::crl},
    {"CERTIFICATE REQUEST", InputKind::request},
    {"NEW CERTIFICATE REQUEST", InputKind::request},
    {"PUBLIC KEY", InputKind::publicKey},
    {"RSA PUBLIC KEY", InputKind::rsaPublicKey},
    {"PRIVATE KEY", InputKind::privateKey},
    {"ENCRYPTED PRIVATE KEY", InputKind::encryptedPrivateKey},
    {"RSA PRIVATE KEY", InputKind::rsaPrivateKey},
    {"EC PRIVATE KEY", InputKind::ecPrivateKey},
    {opensshLabel, InputKind::opensshPrivateKey},
    {"PKCS7", InputKind::message},
    {"CMS", InputKind::message},
    {"PKCS #7 SIGNED DATA", InputKind::message},
    {"PKCS12", InputKind::pkcs12},
};

/// The kind of the bytes, including PKCS#12 in BER and a SignedData without its ContentInfo.
InputKind kindOf(asn1::blob der) {
    InputKind const kind = detail::findDerKind(der);
    if (kind != InputKind::otherDer)
        return kind;
    if (looksLikePkcs12(der))
        return InputKind::pkcs12;
    return getMessageKind(der) == MessageKind::signedData ? InputKind::message : kind;
}

bool isPrivate(InputKind kind) {
    return kind >= InputKind::privateKey && kind <= InputKind::ecPrivateKey &&
           kind != InputKind::rsaPublicKey;
}

/// Whether a block labelled as one kind may contain another without a note: keys have several forms.
bool agree(InputKind promised, InputKind found) {
    constexpr auto isPublic = [](InputKind kind) {
        return kind == InputKind::publicKey || kind == InputKind::rsaPublicKey;
    };
    return promised == InputKind::unknown || promised == found || (isPrivate(promised) && isPrivate(found)) ||
           (isPublic(promised) && isPublic(found));
}

class Walk {
public:
    Walk(detail::WalkOptions const& how, std::vector<InputNote>& found,
         std::function<bool(InputObject&&)> const& sink)
        : options(how), notes(found), take(sink) {}

    void run(asn1::blob file) {
        InputKind const kind = kindOf(file);
        // PEM is only searched for if the file is not DER, because text within an object may look like PEM.
        if (kind == InputKind::otherDer && !detail::beginsAsObject(file)) {
            PemReader reader(detail::viewOf(file));
            PemBlock block;
            while (reader.next(&block))
                if (!take(readBlock(block)))
                    return;
            if (reader.count() != 0 || findInputKind(file) == InputKind::pem) {
                takeRest(reader);
                return;
            }
        }
        if (!takeSeveral(file))
            take(readWhole(file));
    }

private:
    /// Delivers the beginning of a block without an end.
    void takeRest(PemReader const& reader) {
        InputObject object;
        if (reader.finish(&object.refusal))
            return;
        object.kind = InputKind::pem;
        object.block = object.refusal.block;
        object.line = object.refusal.line;
        take(std::move(object));
    }

    /// Delivers several objects of known kinds in DER, one after the other. Otherwise returns false.
    bool takeSeveral(asn1::blob file) {
        size_t count = 0;
        asn1::parser elements(file);
        for (; elements.tag == tag::sequence; elements.next(), count++)
            if (kindOf({elements.tlvStart, elements.valueEnd}) == InputKind::otherDer)
                return false;
        if (elements.tag != asn1::parser::endTag || count < 2)
            return false;
        for (asn1::parser each(file); each.tag == tag::sequence; each.next())
            if (!take(readWhole({each.tlvStart, each.valueEnd})))
                break;
        return true;
    }

    InputObject readBlock(PemBlock const& block) {
        InputObject object;
        object.block = block.number;
        object.line = block.line;
        object.label = block.label.substr(0, block.label.find('\n'));
        object.kind = detail::kindOfLabel(block.label);
        Reading reading(block.whole, &object.refusal, options.forms);
        if (object.label.size() != block.label.size()) {
            reading.refuseLine(RefusalId::pemMalformedBegin, block.number, block.line);
        } else if (object.kind == InputKind::opensshPrivateKey) {
            keep(object, block.whole);
        } else if (block.body.starts_with("Proc-Type:")) {
            object.kind = InputKind::encryptedPrivateKey;
            keep(object, block.whole);
        } else if (detail::SecretBytes der; detail::decode(reading, block, &der.value)) {
            Reading::Block const within(reading, block.number, der);
            if (block.label == trustedLabel)
                readTrusted(reading, der, object);
            else
                readBytes(reading, der, object);
        }
        return object;
    }

    /// Reads a file, or a part of one, that is not PEM.
    InputObject readWhole(asn1::blob bytes) {
        InputObject object;
        Reading reading(bytes, &object.refusal, options.forms);
        object.kind = findInputKind(bytes);
        if (object.kind == InputKind::opensshPublicKey)
            keep(object, bytes);
        else if (object.kind == InputKind::empty)
            reading.refuse(RefusalId::emptyInput, nullptr);
        else if (object.kind >= InputKind::utf16 && object.kind != InputKind::ber &&
                 object.kind != InputKind::otherDer)
            reading.refuse(RefusalId::unknownForm, nullptr, {{"found", getInputKindName(object.kind)}});
        else
            readBytes(reading, bytes, object);
        return object;
    }

    void readTrusted(Reading& reading, asn1::blob block, InputObject& object) {
        asn1::blob certificate;
        if (!detail::splitTrusted(reading, block, &certificate, &object.trust))
            return;
        if (object.trust)
            notes.push_back({InputNoteId::trustSettings, object.block});
        readBytes(reading, certificate, object);
    }

    /// Reads DER or BER into the object.
    void readBytes(Reading& reading, asn1::blob bytes, InputObject& object) {
        if (bytes.size() > std::numeric_limits<unsigned>::max()) {
            reading.refuse(RefusalId::inputTooLarge, nullptr);
            return;
        }
        InputKind const promised = object.kind;
        object.kind = kindOf(bytes);
        if (object.kind == InputKind::otherDer && detail::hasIndefiniteLength(bytes)) {
            detail::readAsDer(reading, true, bytes, [&](asn1::blob der) {
                notes.push_back({InputNoteId::ber, object.block});
                object.kind = kindOf(der);
                return readDer(reading, der, promised, object);
            });
            return;
        }
        readDer(reading, bytes, promised, object);
    }

    bool readDer(Reading& reading, asn1::blob der, InputKind promised, InputObject& object) {
        bool const isKnown = object.kind != InputKind::otherDer;
        if (!isKnown && promised != InputKind::unknown && promised < InputKind::utf16)
            object.kind = promised;
        else if (isKnown && object.block != 0 && !agree(promised, object.kind))
            notes.push_back({InputNoteId::otherLabel, object.block});
        keep(object, der);
        switch (object.kind) {
        case InputKind::certificate:
            return parse(reading, der, object.certificate);
        case InputKind::crl:
            return parse(reading, der, object.crl);
        case InputKind::request:
            return parse(reading, der, object.request);
        case InputKind::message:
            return getMessageKind(der) != MessageKind::signedData || parse(reading, der, object.message);
        default:
            return true;
        }
    }

    template <typename T>
    static bool parse(Reading& reading, asn1::blob der, std::shared_ptr<T>& to) {
        auto object = std::make_shared<T>();
        if (!detail::read(reading, der, *object))
            return false;
        to = std::move(object);
        return true;
    }

    void keep(InputObject& object, asn1::blob bytes) const {
        if (options.withBytes)
            object.bytes.assign(bytes.begin(), bytes.end());
    }

    detail::WalkOptions const& options;
    std::vector<InputNote>& notes;
    std::function<bool(InputObject&&)> const& take;
};

} // namespace

InputKind detail::kindOfLabel(std::string_view label) {
    auto const row = std::ranges::find(labels, label, &LabelKind::label);
    return row == std::end(labels) ? InputKind::unknown : row->kind;
}

void detail::walkObjects(PlainFile const& file, WalkOptions const& options, std::vector<InputNote>& notes,
                         std::function<bool(InputObject&&)> const& take) {
    Walk(options, notes, take).run(file);
}

InputObjects readObjects(asn1::blob file, ObjectOptions const& options) {
    InputObjects found;
    detail::PlainFile const plain(file, &found.notes);
    detail::walkObjects(
        plain, {.forms = options.forms, .withBytes = true}, found.notes, [&](InputObject&& object) {
            if (found.objects.size() >= options.maxObjects) {
                object = InputObject();
                object.refusal.id = RefusalId::inputTooLarge;
                object.refusal.facts = {{"maximum", std::to_string(options.maxObjects) + " objects"}};
            }
            found.objects.push_back(std::move(object));
            return !found.objects.back().refusal || found.objects.size() <= options.maxObjects;
        });
    return found;
}
