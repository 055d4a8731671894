#include "sealkit/oid_names.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include "asn1/ber.h"
#include "asn1/element.h"
#include "asn1/input_kind.h"
#include "asn1/oids.h"
#include "base/file.h"
#include "base/secret_bytes.h"
#include "keys/password_scheme.h"
#include "keys/read.h"
#include "pem/openssh.h"
#include "pem/read.h"
#include "x509/read.h"

#include <limits>
#include <optional>

namespace {

using detail::FileText;
using detail::Reading;

/// Refuses input that is larger than the parsers accept.
bool isReadable(Reading& reading, asn1::blob der) {
    return der.size() <= std::numeric_limits<unsigned>::max() ||
           reading.refuse(RefusalId::inputTooLarge, nullptr);
}

/// Null if the bytes are not a `T`.
template <typename T>
std::unique_ptr<T> readDer(Reading& reading, asn1::blob der) {
    auto object = std::make_unique<T>();
    if (!detail::read(reading, der, *object))
        return nullptr;
    return object;
}

/// Calls `read` with DER or, under the standard rules, with converted BER; null after a refusal.
template <typename Read>
auto readWhole(Reading& reading, asn1::blob bytes, Read read) {
    decltype(read(reading, bytes)) object{};
    auto const readInto = [&](asn1::blob der) {
        object = read(reading, der);
        return object != nullptr;
    };
    if (isReadable(reading, bytes))
        detail::readDerOrBer(reading, bytes, readInto);
    return object;
}

/// Reads a key of one class in its own DER.
template <typename K>
std::unique_ptr<K> readBareKey(Reading& reading, asn1::blob der) {
    auto key = std::make_unique<K>();
    if (!detail::read(reading, {}, der, *key))
        return nullptr;
    return key;
}

/// Calls `read` with the DER of a block, which is wiped; null after a refusal.
template <typename Read>
auto readBody(Reading& reading, PemBlock const& block, InputKind wanted, Read read) {
    detail::SecretBytes der;
    decltype(read(reading, asn1::blob())) object{};
    if (!detail::decode(reading, block, &der.value))
        return object;
    Reading::Block const within(reading, block.number, der);
    object = readWhole(reading, der, read);
    if (object == nullptr)
        detail::refuseOtherKind(reading, wanted, findInputKind(der));
    return object;
}

/// Refuses the text after the last block. As DER it has already been refused as a `wanted`.
void refuseRest(Reading& reading, std::string_view text, PemReader const& reader, InputKind wanted,
                std::string_view wantedLabel) {
    InputKind const kind = findInputKind(reader.rest());
    if (kind == InputKind::pem) {
        reading.retract();
        detail::finish(reading, reader);
    } else if (reader.count() == 0) {
        detail::refuseOtherKind(reading, wanted, kind);
    } else if (kind != wanted) {
        reading.retract();
        InputKind const first = findInputKind(text);
        if (first == InputKind::opensshPrivateKey)
            detail::refuseOtherKind(reading, wanted, first);
        else
            reading.refuse(RefusalId::pemWithoutBlock, nullptr,
                           {{"expected", std::string(wantedLabel)}, {"found", listPemLabels(text)}});
    }
}

/// Refuses a block because of its label.
void refuseLabel(Reading& reading, PemBlock const& block, std::string_view wanted) {
    if (block.label.find('\n') != std::string_view::npos) {
        reading.refuseLine(RefusalId::pemMalformedBegin, block.number, block.line);
        return;
    }
    Reading::Block const within(reading, block.number, {});
    if (block.label == "OPENSSH PRIVATE KEY")
        reading.refuse(
            RefusalId::otherKind, nullptr,
            {{"expected", std::string(wanted)}, {"found", getInputKindName(InputKind::opensshPrivateKey)}});
    else
        reading.refuse(RefusalId::pemOtherLabel, nullptr,
                       {{"expected", std::string(wanted)}, {"found", std::string(block.label)}});
}

/// Reads the object of the first block, which must have the label, or of the whole text as DER.
template <typename T>
std::unique_ptr<T> readFirst(Reading& reading, std::string_view text, std::string_view wantedLabel,
                             InputKind wanted) {
    PemReader reader(text);
    PemBlock block;
    if (!reader.next(&block)) {
        std::unique_ptr<T> object = readWhole(reading, text, readDer<T>);
        if (object == nullptr)
            refuseRest(reading, text, reader, wanted, wantedLabel);
        return object;
    }
    if (block.label != wantedLabel) {
        refuseLabel(reading, block, wantedLabel);
        return nullptr;
    }
    return readBody(reading, block, wanted, readDer<T>);
}

std::unique_ptr<X509Certificate> readCert(Reading& reading, std::string_view text) {
    return readFirst<X509Certificate>(reading, text, "CERTIFICATE", InputKind::certificate);
}

std::unique_ptr<X509Crl> readCrl(Reading& reading, std::string_view text) {
    return readFirst<X509Crl>(reading, text, "X509 CRL", InputKind::crl);
}

std::unique_ptr<X509Req> readReq(Reading& reading, std::string_view text, ReqFileOptions options = {}) {
    PemReader reader(text);
    PemBlock block;
    while (options.amongOthers && reader.next(&block))
        if (isRequestLabel(block.label))
            return readBody(reading, block, InputKind::request, readDer<X509Req>);
    return readFirst<X509Req>(reading, text, "CERTIFICATE REQUEST", InputKind::request);
}

std::vector<std::shared_ptr<X509Certificate>> readChain(Reading& reading, std::string_view text) {
    std::vector<std::shared_ptr<X509Certificate>> chain;
    PemReader reader(text);
    PemBlock block;
    while (reader.next(&block)) {
        reading.note("LABEL: " + std::string(block.label));
        if (block.label != "CERTIFICATE")
            continue;
        chain.push_back(readBody(reading, block, InputKind::certificate, readDer<X509Certificate>));
        if (chain.back() == nullptr)
            return {};
    }
    if (reader.count() == 0)
        if (std::shared_ptr<X509Certificate> certificate = readWhole(reading, text, readDer<X509Certificate>))
            chain.push_back(std::move(certificate));
    if (chain.empty())
        refuseRest(reading, text, reader, InputKind::certificate, "CERTIFICATE");
    return chain;
}

/// Reads the public key of a certificate or certificate request.
template <typename T>
std::unique_ptr<PublicKey> readKeyOf(Reading& reading, asn1::blob der) {
    T object;
    asn1::blob info;
    if (!detail::readWithKeyInfo(reading, der, object, &info))
        return nullptr;
    Reading::Step const step(reading, "subjectPublicKeyInfo");
    return detail::readPublicKeyInfo(reading, info);
}

std::unique_ptr<PublicKey> readPublicDer(Reading& reading, asn1::blob der, KeyFileOptions options) {
    InputKind const kind = findInputKind(der);
    if (options.fromCertificates && kind == InputKind::certificate)
        return readKeyOf<X509Certificate>(reading, der);
    if (options.fromCertificates && kind == InputKind::request)
        return readKeyOf<X509Req>(reading, der);
    if (options.traditionalDer && kind == InputKind::rsaPublicKey)
        return readBareKey<RsaPublicKey>(reading, der);
    return detail::readPublicKeyInfo(reading, der);
}

std::unique_ptr<PublicKey> readPublic(Reading& reading, std::string_view text, KeyFileOptions options) {
    PemReader reader(text);
    PemBlock block;
    if (!reader.next(&block)) {
        if (options.openssh && findInputKind(text) == InputKind::opensshPublicKey)
            return detail::readOpensshLine(reading, text);
        std::unique_ptr<PublicKey> key = readWhole(reading, text, [&](Reading& inner, asn1::blob der) {
            return readPublicDer(inner, der, options);
        });
        InputKind const kind = findInputKind(text);
        bool const isWider =
            (options.fromCertificates && (kind == InputKind::certificate || kind == InputKind::request)) ||
            (options.traditionalDer && kind == InputKind::rsaPublicKey);
        if (key == nullptr && !isWider)
            refuseRest(reading, text, reader, InputKind::publicKey, "PUBLIC KEY");
        return key;
    }
    // The label is checked first, because decoded bytes are not wiped and must not be a private key.
    if (block.label == "PUBLIC KEY")
        return readBody(reading, block, InputKind::publicKey, detail::readPublicKeyInfo);
    if (block.label == "RSA PUBLIC KEY")
        return readBody(reading, block, InputKind::rsaPublicKey, readBareKey<RsaPublicKey>);
    if (block.label == "EC PUBLIC KEY")
        return readBody(reading, block, InputKind::unknown, readBareKey<EcPublicKey>);
    if (options.fromCertificates && block.label == "CERTIFICATE")
        return readBody(reading, block, InputKind::certificate, readKeyOf<X509Certificate>);
    if (options.fromCertificates && isRequestLabel(block.label))
        return readBody(reading, block, InputKind::request, readKeyOf<X509Req>);
    if (options.openssh && block.label == detail::opensshLabel)
        return detail::readOpensshPublicBlock(reading, block);
    refuseLabel(reading, block, "PUBLIC KEY");
    return nullptr;
}

std::unique_ptr<PrivateKey> readPlain(Reading& reading, std::string_view text) {
    PemReader reader(text);
    PemBlock block;
    while (reader.next(&block))
        if (block.label == "PRIVATE KEY")
            return readBody(reading, block, InputKind::privateKey, detail::readOneAsymmetricKey);
    if (findInputKind(reader.rest()) == InputKind::pem)
        detail::finish(reading, reader);
    else if (text.empty())
        reading.refuse(RefusalId::emptyInput, nullptr);
    else
        reading.refuse(RefusalId::pemWithoutBlock, nullptr,
                       {{"expected", "PRIVATE KEY"}, {"found", listPemLabels(text)}});
    return nullptr;
}

constexpr std::string_view procType = "Proc-Type:";

/// Reads the key of a block with a class's own DER, encrypted if its headers say so; null after a failure.
template <typename K>
std::unique_ptr<PrivateKey> readTraditional(Reading& reading, PemBlock const& block,
                                            std::optional<std::string_view> password, InputKind wanted) {
    if (!block.body.starts_with(procType))
        return readBody(reading, block, wanted, readBareKey<K>);
    detail::SecretBytes der;
    if (!detail::decrypt(reading, block, password, &der.value))
        return nullptr;
    Reading::Block const within(reading, block.number, der);
    std::unique_ptr<PrivateKey> key = readBareKey<K>(reading, der);
    // One in 256 wrong passwords yields valid padding.
    if (key == nullptr && asn1::parser(asn1::blob(der)).tag != detail::tag::sequence) {
        reading.retract();
        reading.refuse(RefusalId::wrongPassword, nullptr);
    }
    return key;
}

/// Reads a private key in DER: the stated forms, and the wider ones that `options` allow.
std::unique_ptr<PrivateKey> readPrivateDer(Reading& reading, asn1::blob der,
                                           std::optional<std::string_view> password, KeyFileOptions options) {
    if (std::unique_ptr<PrivateKey> key = detail::readOneAsymmetricKey(reading, der))
        return key;
    InputKind const kind = findInputKind(der);
    if (kind == InputKind::encryptedPrivateKey)
        reading.retract();
    if (std::unique_ptr<PrivateKey> key =
            detail::readEncryptedPrivateKey(reading, der, password, options.schemes))
        return key;
    if (!options.traditionalDer || (kind != InputKind::rsaPrivateKey && kind != InputKind::ecPrivateKey))
        return nullptr;
    reading.retract();
    if (kind == InputKind::rsaPrivateKey)
        return readBareKey<RsaPrivateKey>(reading, der);
    return readBareKey<EcPrivateKey>(reading, der);
}

bool isPrivateKind(InputKind kind, KeyFileOptions options) {
    return kind == InputKind::privateKey || kind == InputKind::encryptedPrivateKey ||
           (options.traditionalDer && (kind == InputKind::rsaPrivateKey || kind == InputKind::ecPrivateKey));
}

std::unique_ptr<PrivateKey> readPrivate(Reading& reading, std::string_view text,
                                        std::optional<std::string_view> password, KeyFileOptions options) {
    PemReader reader(text);
    PemBlock block;
    while (reader.next(&block)) {
        if (block.label == "PRIVATE KEY")
            return readBody(reading, block, InputKind::privateKey, detail::readOneAsymmetricKey);
        if (block.label == "ENCRYPTED PRIVATE KEY")
            return readBody(reading, block, InputKind::encryptedPrivateKey,
                            [&](Reading& inner, asn1::blob der) {
                                return detail::readEncryptedPrivateKey(inner, der, password, options.schemes);
                            });
        if (block.label == "RSA PRIVATE KEY")
            return readTraditional<RsaPrivateKey>(reading, block, password, InputKind::rsaPrivateKey);
        if (block.label == "EC PRIVATE KEY")
            return readTraditional<EcPrivateKey>(reading, block, password, InputKind::ecPrivateKey);
        if (options.openssh && block.label == detail::opensshLabel)
            return detail::readOpensshBlock(reading, block);
    }
    std::unique_ptr<PrivateKey> key;
    if (!reader.rest().empty())
        key = readWhole(reading, reader.rest(), [&](Reading& inner, asn1::blob der) {
            return readPrivateDer(inner, der, password, options);
        });
    if (key == nullptr && !isPrivateKind(findInputKind(reader.rest()), options))
        refuseRest(reading, text, reader, InputKind::privateKey, "PRIVATE KEY");
    return key;
}

/// Reads a text as the stated loaders or as the overloads with a refusal do.
template <typename Read, typename... Arguments>
auto readText(Read read, std::string_view text, Arguments const&... arguments) {
    Reading reading((asn1::blob(text)));
    return read(reading, text, arguments...);
}

template <typename Read, typename... Arguments>
auto readTextFor(Refusal* refusal, FormRules forms, Read read, std::string_view text,
                 Arguments const&... arguments) {
    std::string_view const plain = detail::withoutByteOrderMark(text);
    Reading reading(plain, refusal, forms);
    return read(reading, plain, arguments...);
}

template <typename Read, typename... Arguments>
auto readFile(Read read, std::string const& path, Arguments const&... arguments) {
    return readText(read, FileText(path), arguments...);
}

template <typename Read, typename... Arguments>
auto readFileFor(Refusal* refusal, FormRules forms, Read read, std::string const& path,
                 Arguments const&... arguments) {
    FileText const text(path);
    std::string_view const view = detail::withoutByteOrderMark(text);
    Reading reading(view, refusal, forms);
    if (!view.empty())
        return read(reading, view, arguments...);
    text.explain(reading);
    return decltype(read(reading, view, arguments...)){};
}

} // namespace

std::unique_ptr<X509Certificate> readCertFromStr(std::string_view text) { return readText(readCert, text); }

std::unique_ptr<X509Certificate> readCertFromStr(std::string_view text, Refusal* refusal, FormRules forms) {
    return readTextFor(refusal, forms, readCert, text);
}

std::unique_ptr<X509Certificate> readCertFromFile(std::string const& path) {
    return readFile(readCert, path);
}

std::unique_ptr<X509Certificate> readCertFromFile(std::string const& path, Refusal* refusal) {
    return readFileFor(refusal, FormRules::platform, readCert, path);
}

std::vector<std::shared_ptr<X509Certificate>> readCertChain(std::string_view text) {
    return readText(readChain, text);
}

std::vector<std::shared_ptr<X509Certificate>> readCertChain(std::string_view text, Refusal* refusal) {
    return readTextFor(refusal, FormRules::platform, readChain, text);
}

std::vector<std::shared_ptr<X509Certificate>> readCertChainFromFile(std::string const& path) {
    return readFile(readChain, path);
}

std::vector<std::shared_ptr<X509Certificate>> readCertChainFromFile(std::string const& path,
                                                                    Refusal* refusal) {
    return readFileFor(refusal, FormRules::platform, readChain, path);
}

std::unique_ptr<X509Crl> readCrl(std::string_view text) {
    return readText([](Reading& reading, std::string_view bytes) { return readCrl(reading, bytes); }, text);
}

std::unique_ptr<X509Crl> readCrl(std::string_view text, Refusal* refusal, FormRules forms) {
    std::string_view const plain = detail::withoutByteOrderMark(text);
    Reading reading(plain, refusal, forms);
    return readCrl(reading, plain);
}

std::unique_ptr<X509Crl> readCrlFromFile(std::string const& path) { return readCrl(FileText(path)); }

std::unique_ptr<X509Crl> readCrlFromFile(std::string const& path, Refusal* refusal) {
    return readFileFor(
        refusal, FormRules::platform,
        [](Reading& reading, std::string_view bytes) { return readCrl(reading, bytes); }, path);
}

std::unique_ptr<X509Req> readReq(std::string_view text) {
    Reading reading((asn1::blob(text)));
    return readReq(reading, text);
}

std::unique_ptr<X509Req> readReq(std::string_view text, Refusal* refusal, ReqFileOptions options) {
    std::string_view const plain = detail::withoutByteOrderMark(text);
    Reading reading(plain, refusal, options.forms);
    return readReq(reading, plain, options);
}

std::unique_ptr<X509Req> readReqFromFile(std::string const& path) { return readReq(FileText(path)); }

std::unique_ptr<X509Req> readReqFromFile(std::string const& path, Refusal* refusal) {
    return readFileFor(
        refusal, FormRules::platform,
        [](Reading& reading, std::string_view bytes) { return readReq(reading, bytes); }, path);
}

std::unique_ptr<PublicKey> readPublicKey(std::string_view text) {
    return readText(readPublic, text, KeyFileOptions());
}

std::unique_ptr<PublicKey> readPublicKey(std::string_view text, Refusal* refusal, KeyFileOptions options) {
    return readTextFor(refusal, options.forms, readPublic, text, options);
}

std::unique_ptr<PublicKey> readPublicKeyFromFile(std::string const& path) {
    return readFile(readPublic, path, KeyFileOptions());
}

std::unique_ptr<PublicKey> readPublicKeyFromFile(std::string const& path, Refusal* refusal,
                                                 KeyFileOptions options) {
    return readFileFor(refusal, options.forms, readPublic, path, options);
}

std::unique_ptr<PrivateKey> readOneAssimetricKey(std::string_view text) { return readText(readPlain, text); }

std::unique_ptr<PrivateKey> readOneAssimetricKey(std::string_view text, Refusal* refusal) {
    return readTextFor(refusal, FormRules::platform, readPlain, text);
}

std::unique_ptr<PrivateKey> readPrivateKey(std::string_view text, std::string const& password) {
    return readText(readPrivate, text, password, KeyFileOptions());
}

std::unique_ptr<PrivateKey> readPrivateKey(std::string_view text, std::string const& password,
                                           Refusal* refusal, KeyFileOptions options) {
    return readTextFor(refusal, options.forms, readPrivate, text, password, options);
}

std::unique_ptr<PrivateKey> readPrivateKeyFromFile(std::string const& path, std::string const& password) {
    return readFile(readPrivate, path, password, KeyFileOptions());
}

std::unique_ptr<PrivateKey> readPrivateKeyFromFile(std::string const& path, std::string const& password,
                                                   Refusal* refusal, KeyFileOptions options) {
    return readFileFor(refusal, options.forms, readPrivate, path, password, options);
}

std::unique_ptr<PrivateKey> readPrivateKey(std::string_view text, Refusal* refusal, KeyFileOptions options) {
    return readTextFor(refusal, options.forms, readPrivate, text, std::nullopt, options);
}

std::unique_ptr<PrivateKey> readPrivateKeyFromFile(std::string const& path, Refusal* refusal,
                                                   KeyFileOptions options) {
    return readFileFor(refusal, options.forms, readPrivate, path, std::nullopt, options);
}

bool isRequestLabel(std::string_view label) {
    return label == "CERTIFICATE REQUEST" || label == "NEW CERTIFICATE REQUEST";
}

bool isMessageLabel(std::string_view label) {
    return label == "PKCS7" || label == "CMS" || label == "PKCS #7 SIGNED DATA";
}

bool isPrivateKeyLabel(std::string_view label) {
    return label == "PRIVATE KEY" || label == "ENCRYPTED PRIVATE KEY" || label == "RSA PRIVATE KEY" ||
           label == "EC PRIVATE KEY" || label == detail::opensshLabel;
}

bool findKeyEncryption(std::string_view text, KeyEncryption* to, PasswordSchemes const& schemes) {
    text = detail::withoutByteOrderMark(text);
    KeyEncryption found;
    Reading reading(text, &found.problem);
    PemReader reader(text);
    PemBlock block;
    detail::SecretBytes decoded; // Wiped, because the label may be wrong.
    asn1::blob der = text;
    bool const isPem = reader.next(&block);
    if (isPem && block.body.starts_with(procType)) {
        found.scheme = "traditional PEM";
        found.keyDerivation = "MD5";
        found.iterations = 1;
        detail::DekInfo info;
        detail::readDekInfo(reading, block, &info);
        found.cipher = info.cipher;
        *to = std::move(found);
        return true;
    }
    if (isPem && block.label != "ENCRYPTED PRIVATE KEY")
        return false;
    if (isPem) {
        detail::decode(reading, block, &decoded.value);
        der = decoded;
    } else if (findInputKind(text) != InputKind::encryptedPrivateKey) {
        return false;
    }
    Reading::Block const within(reading, block.number, der);
    detail::readAsDer(reading, schemes.all, der, [&](asn1::blob bytes) {
        detail::EncryptedKeyFields fields;
        if (!detail::takeEncryptedKey(reading, bytes, &fields))
            return false;
        if (schemes.all || fields.scheme == detail::oid::pbes2) {
            detail::describeScheme(reading, {fields.scheme, fields.params}, &fields.data, schemes, &found);
            return true;
        }
        found.scheme = oidName(fields.scheme);
        return detail::refuseScheme(reading, fields.scheme);
    });
    *to = std::move(found);
    return true;
}
