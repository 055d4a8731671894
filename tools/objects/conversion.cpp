#include "objects/conversion.h"

#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/key_encryption.h"
#include "objects/message.h"
#include "objects/pem_comments.h"
#include "objects/pkcs12_file.h"
#include "objects/weak_encryption.h"

#include "sealkit/message.h"
#include "sealkit/name_text.h"
#include "sealkit/openssh.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs12.h"
#include "sealkit/pkcs8.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <set>

namespace {

asn1::blob blobOf(SecretBytes const& bytes) { return {bytes.data(), bytes.size()}; }

bool isPrivateKey(InputKind kind) {
    return kind == InputKind::privateKey || kind == InputKind::encryptedPrivateKey ||
           kind == InputKind::rsaPrivateKey || kind == InputKind::ecPrivateKey ||
           kind == InputKind::opensshPrivateKey;
}

/// Whether it is a message that holds only certificates and CRLs.
bool isBundle(InputObject const& object) {
    return object.message && object.message->signerInfos.empty() && object.message->content.empty();
}

/// The label that the program writes an object under; null for an object without one.
char const* labelOf(InputObject const& object) {
    switch (object.kind) {
    case InputKind::certificate:
        return "CERTIFICATE";
    case InputKind::crl:
        return "X509 CRL";
    case InputKind::request:
        return "CERTIFICATE REQUEST";
    case InputKind::publicKey:
        return "PUBLIC KEY";
    case InputKind::rsaPublicKey:
        return "RSA PUBLIC KEY";
    case InputKind::privateKey:
        return "PRIVATE KEY";
    case InputKind::encryptedPrivateKey:
        return "ENCRYPTED PRIVATE KEY";
    case InputKind::rsaPrivateKey:
        return "RSA PRIVATE KEY";
    case InputKind::ecPrivateKey:
        return "EC PRIVATE KEY";
    case InputKind::message:
        return messageLabel;
    case InputKind::pkcs12:
        return pkcs12Label;
    default:
        return nullptr;
    }
}

/// Whether an object that the library refuses can still be written in another frame, because its outline is
/// that of its kind.
bool isWholeShape(InputObject const& object) {
    return !object.bytes.empty() && findInputKind(blobOf(object.bytes)) == object.kind;
}

/// Appends bytes that may be secret, and wipes them.
void append(SecretBytes& to, std::vector<unsigned char> bytes) {
    to.insert(to.end(), bytes.begin(), bytes.end());
    secureMemset(bytes.data(), 0, bytes.size());
}

void append(SecretBytes& to, std::string_view text) { to.insert(to.end(), text.begin(), text.end()); }

void appendPem(SecretBytes& to, std::string const& label, std::vector<unsigned char> der) {
    append(to, encodePemType(label, der));
    secureMemset(der.data(), 0, der.size());
}

void appendPem(SecretBytes& to, std::string const& label, SecretBytes const& der) {
    appendPem(to, label, std::vector<unsigned char>(der.begin(), der.end()));
}

/// The comments that OpenSSL and others write before a block; every reader ignores them.
void appendComments(SecretBytes& to, InputObject const& object) {
    auto const write = [&to](char const* field, asn1::blob name) {
        append(to, pemComment(field, nameText(name)));
    };
    if (object.certificate) {
        write("subject=", object.certificate->subjectBytes());
        write("issuer=", object.certificate->issuerBytes());
    } else if (object.crl) {
        write("issuer=", object.crl->issuerBytes());
    } else if (object.request) {
        write("subject=", object.request->subjectBytes());
    }
}

InputObject objectOf(std::shared_ptr<X509Certificate> const& certificate) {
    InputObject object;
    object.kind = InputKind::certificate;
    auto const der = certificate->serialize();
    object.bytes.assign(der.begin(), der.end());
    object.certificate = certificate;
    return object;
}

InputObject objectOf(std::shared_ptr<X509Crl> const& crl) {
    InputObject object;
    object.kind = InputKind::crl;
    auto const der = crl->serialize();
    object.bytes.assign(der.begin(), der.end());
    object.crl = crl;
    return object;
}

} // namespace

void Conversion::leaveOut(std::string const& source, std::string const& why) {
    state = badInput(source + ": " + why + " It is left out.");
}

int Conversion::add(std::string const& file, SecretBytes const& bytes) {
    InputObjects found = readObjects(blobOf(bytes));
    for (InputNote const& one : found.notes) {
        isPlain = false;
        if (one.id != InputNoteId::trustSettings)
            note(file + ": " + one.str());
    }
    for (InputObject& object : found.objects) {
        std::string const source =
            file + (object.block != 0 ? ": block " + std::to_string(object.block) : std::string());
        if (object.label == "EC PARAMETERS") // The key after the parameters names the curve again.
            continue;
        if (object.trust && (object.trust->isLimited() || !object.trust->alias.empty()))
            state =
                badInput(source + ": OpenSSL's trust settings are left out: " +
                         (object.trust->isLimited() ? object.trust->str() : "alias " + object.trust->alias));
        bool const isConvertible =
            labelOf(object) != nullptr || object.kind == InputKind::opensshPrivateKey ||
            object.kind == InputKind::opensshPublicKey || object.kind == InputKind::timeStampRequest ||
            object.kind == InputKind::timeStampResponse;
        if (object.refusal && !(isConvertible && isWholeShape(object))) {
            // The refusal names the block.
            leaveOut(file, object.refusal.str() + adviceOn(object.refusal));
        } else if (!isConvertible) {
            leaveOut(source, object.label.empty()
                                 ? std::string(getInputKindName(object.kind)) + " is not converted."
                                 : "\"" + object.label + "\" is of a kind that cannot be converted.");
        } else {
            if (object.refusal)
                note(file + ": is converted unchanged, but is not supported here: " + object.refusal.str());
            char const* const label = labelOf(object);
            isPlain = isPlain && label != nullptr && object.label == label &&
                      object.kind != InputKind::pkcs12 && !isBundle(object);
            pieces.push_back({source, std::move(object)});
        }
    }
    return exitDone;
}

std::optional<Target> Conversion::otherForm() const {
    auto const isTraditional = [](Piece const& piece) {
        return piece.object.label == "RSA PRIVATE KEY" || piece.object.label == "EC PRIVATE KEY";
    };
    if (std::ranges::any_of(pieces, isTraditional))
        return Target::pkcs8;
    if (!isPlain || pieces.empty())
        return Target::pem;
    if (pieces.size() == 1)
        return Target::der;
    auto const fitsPkcs7 = [](Piece const& piece) {
        return piece.object.kind == InputKind::certificate || piece.object.kind == InputKind::crl;
    };
    return std::ranges::all_of(pieces, fitsPkcs7) ? std::optional(Target::p7b) : std::nullopt;
}

/// Reads the password of the inputs once. Complains on failure.
bool Conversion::readOwnPassword(std::string const& whose, int* status) {
    if (!ownPassword)
        ownPassword = readPassword(options.password, AskFor::existing, whose, status);
    return ownPassword != nullptr;
}

/// Reads the password of the output, by default that of the inputs. Complains on failure.
bool Conversion::readOutPassword(int* status) {
    if (newPassword)
        return true;
    bool const asksForAnother = options.encrypt || options.outPassword.isGiven();
    if (!asksForAnother && ownPassword && !ownPassword->text.empty()) {
        newPassword = std::make_unique<Password>();
        newPassword->text = ownPassword->text;
    } else {
        newPassword = readPassword(options.outPassword, AskFor::fresh, "what is written", status);
    }
    return newPassword != nullptr;
}

/// Decrypts a private key if needed. Complains on failure. Returns the exit status.
int Conversion::open(Piece& piece) {
    if (piece.key)
        return exitDone;
    PemBlock block;
    block.whole = textOf(piece.object.bytes);
    std::string const none;
    OpenedKey opened = openPrivateKey(block, ownPassword ? &ownPassword->text : &none);
    if (opened.status == exitNo) {
        int status = exitDone;
        if (!ownPassword && !readOwnPassword(piece.source, &status))
            return status;
        opened = openPrivateKey(block, &ownPassword->text);
    }
    if (!opened.key) {
        std::string const complaint = piece.source + ": " + opened.complaint;
        return opened.status == exitNo ? answerNo(complaint) : badInput(complaint);
    }
    if (auto const encryption = findEncryption(block.whole)) {
        piece.wasEncrypted = true;
        if (std::string const weakness = weaknessOf(*encryption); !weakness.empty())
            note(piece.source + ": " + weakness);
    }
    piece.key = std::move(opened.key);
    return exitDone;
}

/// Takes the contents out of a PKCS#12 file. Complains on failure. Returns the exit status.
int Conversion::expandPkcs12(Piece const& piece, std::vector<Piece>& to) {
    Pkcs12File const file = readPkcs12(blobOf(piece.object.bytes));
    if (!file.pfx)
        return badInput(piece.source + ": " + file.complaint);
    PKCS12PFX& pfx = *file.pfx;
    PKCS12Options const reading = pkcs12Options();
    if (Refusal refusal; !pfx.canDecrypt(reading, &refusal))
        return badInput(piece.source + ": " + complaintOfPkcs12(refusal));
    noteForm(piece.source, pfx);
    warnOfOrigin(piece.source, pfx, "\"sealkit p12 import --ca FILE\"");
    bool const isEncrypted = pfx.needsPassword();
    if (isEncrypted) {
        Decrypting result{exitNo, {}};
        // If the empty password works, the user is not asked.
        if (!options.password.isGiven() && !ownPassword)
            result = decryptPkcs12(pfx, "", reading);
        if (result.status == exitNo) {
            int status = exitDone;
            if (!readOwnPassword(piece.source, &status))
                return status;
            result = decryptPkcs12(pfx, ownPassword->text, reading);
        }
        if (result.status != exitDone)
            return result.status == exitNo ? answerNo(piece.source + ": " + result.complaint)
                                           : badInput(piece.source + ": " + result.complaint);
    }
    if (std::string const weakness = findWeakness(pfx); !weakness.empty())
        note(piece.source + ": " + weakness);
    if (pfx.needsRecipient())
        leaveOut(piece.source, "What is encrypted to a certificate is for \"sealkit p12 import\".");
    if (std::string const ignored = listIgnored(pfx); !ignored.empty())
        leaveOut(piece.source, "It holds more: " + ignored + ".");
    for (std::string const& problem : listUnreadable(pfx))
        leaveOut(piece.source, problem);
    auto const keep = [](Piece& part, std::vector<PKCS12Attributes> const& attributes, size_t at) {
        if (at >= attributes.size())
            return;
        part.name = attributes[at].friendlyName;
        part.attributes = attributes[at].others;
    };
    for (size_t i = 0; i < pfx.keys.size(); i++) {
        Piece& part = to.emplace_back(Piece{piece.source + ": key " + std::to_string(i + 1), {}});
        part.object.kind = InputKind::privateKey;
        part.key = pfx.keys[i];
        part.wasEncrypted = isEncrypted;
        keep(part, pfx.keyAttributes, i);
    }
    for (size_t i = 0; i < pfx.certificates.size(); i++) {
        Piece& part = to.emplace_back(
            Piece{piece.source + ": certificate " + std::to_string(i + 1), objectOf(pfx.certificates[i])});
        keep(part, pfx.certificateAttributes, i);
    }
    return exitDone;
}

/// Converts OpenSSH's public key to SubjectPublicKeyInfo. Complains on failure. Returns the exit
/// status.
int Conversion::readOpenssh(Piece& piece) {
    std::string_view const text = textOf(piece.object.bytes);
    Refusal refusal;
    auto const key = readOpensshPublicKey(text, &refusal, &piece.name);
    if (!key)
        return badInput(piece.source + ": " + refusal.str());
    if (std::ranges::count(text.substr(0, text.find_last_not_of(" \t\r\n") + 1), '\n') > 0)
        leaveOut(piece.source, "More lines follow the key.");
    auto const der = encodePkcs8PublicKey(*key);
    piece.object.kind = InputKind::publicKey;
    piece.object.bytes.assign(der.begin(), der.end());
    return exitDone;
}

/// Appends a public key in OpenSSH's form. Complains on failure. Returns the exit status.
int Conversion::addOpensshPublicKey(Piece const& piece, SecretBytes& output) {
    PemBlock block;
    block.whole = textOf(piece.object.bytes);
    OpenedPublicKey const opened = openPublicKey(block);
    if (!opened.key)
        return badInput(piece.source + ": " + opened.complaint);
    std::vector<unsigned char> line = encodeOpensshPublicKey(*opened.key, piece.name);
    if (line.empty())
        leaveOut(piece.source, "OpenSSH has no form for this key.");
    append(output, std::move(line));
    return exitDone;
}

/// Replaces containers by what they hold. Complains on failure. Returns the exit status.
int Conversion::expand(Target target) {
    std::vector<Piece> expanded;
    for (Piece& piece : pieces) {
        if (piece.object.kind == InputKind::opensshPublicKey) {
            if (int const result = readOpenssh(piece); result != exitDone)
                return result;
            expanded.push_back(std::move(piece));
        } else if (target != Target::der && isBundle(piece.object)) {
            for (Refusal const& one : piece.object.message->ignored())
                leaveOut(piece.source, one.str());
            for (auto const& certificate : piece.object.message->certificates)
                expanded.push_back({piece.source, objectOf(certificate)});
            for (auto const& crl : piece.object.message->crls)
                expanded.push_back({piece.source, objectOf(crl)});
        } else if (target != Target::der && piece.object.kind == InputKind::pkcs12) {
            if (int const result = expandPkcs12(piece, expanded); result != exitDone)
                return result;
        } else {
            expanded.push_back(std::move(piece));
        }
    }
    pieces = std::move(expanded);
    return exitDone;
}

/// Reports each name from a PKCS#12 file, because the form has no place for it.
void Conversion::leaveNamesOut(char const* form) {
    for (Piece const& piece : pieces)
        if (!piece.name.empty() && !isPrivateKey(piece.object.kind))
            state = badInput(piece.source + ": " + form + " has no names: \"" +
                             terminal::printable(piece.name) + "\" is left out");
}

/// Appends a private key to PEM. Complains on failure. Returns the exit status.
int Conversion::addPrivateKey(Piece& piece, Target target, SecretBytes& output) {
    InputObject const& object = piece.object;
    bool const isEncrypted = object.kind == InputKind::encryptedPrivateKey;
    bool const asksForPassword = options.encrypt || options.outPassword.isGiven();
    bool const isTraditional =
        object.kind == InputKind::rsaPrivateKey || object.kind == InputKind::ecPrivateKey;
    // Encrypted, or in OpenSSH's own format.
    bool const isBlock = !object.bytes.empty() && object.bytes.front() == '-';
    bool const staysAsItIs =
        piece.key == nullptr && !asksForPassword && !(isEncrypted && options.unencrypted) &&
        object.kind != InputKind::opensshPrivateKey &&
        (target == Target::pem || (target == Target::pkcs8 && !isTraditional && !isBlock));
    hasPrivateKey = true;
    if (staysAsItIs) {
        if (isBlock)
            append(output, textOf(object.bytes));
        else
            appendPem(output, labelOf(object), object.bytes);
        return exitDone;
    }
    if (int const result = open(piece); result != exitDone)
        return result;
    bool const encrypts = asksForPassword || (piece.wasEncrypted && !options.unencrypted);
    if (target == Target::traditional || target == Target::openssh) {
        if (encrypts)
            return badInput(piece.source +
                            ": this form is written without encryption: give --unencrypted, or --to "
                            "pkcs8 to keep the key encrypted");
        bool const isOpenssh = target == Target::openssh;
        std::vector<unsigned char> pem = isOpenssh ? encodeOpensshPrivateKey(*piece.key, piece.name)
                                                   : encodePemTraditionalPrivateKey(*piece.key);
        if (pem.empty())
            leaveOut(piece.source, isOpenssh ? "OpenSSH has no form for this key; --to pkcs8 writes it."
                                             : "The key has no traditional form; --to pkcs8 writes it.");
        append(output, std::move(pem));
        return exitDone;
    }
    if (!encrypts) {
        appendPem(output, "PRIVATE KEY", encodePkcs8PrivateKey(*piece.key));
        return exitDone;
    }
    int status = exitDone;
    if (!readOutPassword(&status))
        return status;
    appendPem(output, "ENCRYPTED PRIVATE KEY",
              encodePkcs8EncryptedPrivateKey(*piece.key, newPassword->text,
                                             options.iterations.value_or(defaultKeyIterations)));
    return exitDone;
}

/// Appends an object in PEM, or a public key as OpenSSH's line. Complains on failure. Returns the exit
/// status.
int Conversion::addText(Piece& piece, Target target, SecretBytes& output) {
    InputObject const& object = piece.object;
    if (isPrivateKey(object.kind))
        return addPrivateKey(piece, target, output);
    if (target == Target::openssh &&
        (object.kind == InputKind::publicKey || object.kind == InputKind::rsaPublicKey))
        return addOpensshPublicKey(piece, output);
    if (target == Target::openssh || labelOf(object) == nullptr) {
        leaveOut(piece.source, std::string(getInputKindName(object.kind)) + " has no such form.");
        return exitDone;
    }
    if (options.comments)
        appendComments(output, object);
    appendPem(output, labelOf(object), object.bytes);
    return exitDone;
}

int Conversion::makeText(Target target, SecretBytes& output) {
    for (Piece& piece : pieces) {
        if (piece.object.kind == InputKind::opensshPrivateKey)
            readOpensshPrivateKey(textOf(piece.object.bytes), nullptr, &piece.name);
        size_t const start = output.size();
        if (target != Target::openssh)
            append(output, friendlyNameComment(piece.name));
        size_t const block = output.size();
        if (int const result = addText(piece, target, output); result != exitDone)
            return result;
        piece.isWritten = output.size() > block;
        if (!piece.isWritten) // The object of this name was not written.
            output.resize(start);
    }
    return exitDone;
}

int Conversion::makeDer(SecretBytes& output) {
    if (pieces.size() > 1)
        return badInput(
            "DER holds one object, and there are " + std::to_string(pieces.size()) +
            ": --to p7b holds certificates and CRLs, --to p12 keys and certificates, --to pem everything");
    Piece& piece = pieces.front();
    piece.isWritten = true;
    if (!isPrivateKey(piece.object.kind)) {
        output = piece.object.bytes;
        return exitDone;
    }
    // The DER of a key is the content of its PEM block.
    SecretBytes pem;
    bool const isBlock = piece.object.bytes.front() == '-';
    if (int const result = addPrivateKey(piece, isBlock ? Target::pkcs8 : Target::pem, pem);
        result != exitDone)
        return result;
    PemReader reader(textOf(pem));
    PemBlock block;
    std::vector<unsigned char> der;
    if (!reader.next(&block) || !pemDecode(block.body, &der))
        return badInput(piece.source + ": the key cannot be written");
    append(output, std::move(der));
    return exitDone;
}

int Conversion::makePkcs7(SecretBytes& output) {
    PKCS7SignedData bundle;
    std::set<SecretBytes> known;
    leaveNamesOut("PKCS#7");
    for (Piece& piece : pieces) {
        InputObject const& object = piece.object;
        piece.isWritten = (object.certificate || object.crl) && known.insert(object.bytes).second;
        if (!object.certificate && !object.crl)
            leaveOut(piece.source,
                     "this " + std::string(getInputKindName(object.kind)) +
                         " cannot be in a PKCS#7 bundle, which only holds certificates and CRLs.");
        else if (!piece.isWritten)
            note(piece.source + ": is a duplicate and is not written again");
        else if (object.certificate)
            bundle.certificates.push_back(object.certificate);
        else
            bundle.crls.push_back(object.crl);
    }
    if (bundle.certificates.empty() && bundle.crls.empty())
        return badInput("there is neither a certificate nor a CRL to write");
    bundle.setContent(getDataOid(), {});
    bundle.content.clear();
    appendPem(output, messageLabel, bundle.encode());
    return exitDone;
}

int Conversion::makePkcs12(SecretBytes& output) {
    struct Entry {
        std::shared_ptr<X509Certificate> certificate;
        PKCS12Attributes attributes;
    };
    PKCS12PFX pfx;
    std::vector<Entry> entries;
    std::set<SecretBytes> known;
    for (Piece& piece : pieces) {
        if (isPrivateKey(piece.object.kind)) {
            if (int const result = open(piece); result != exitDone)
                return result;
            piece.isWritten = true;
            pfx.keys.push_back(piece.key);
            pfx.keyAttributes.push_back({piece.name, {}, piece.attributes});
        } else if (!piece.object.certificate) {
            leaveOut(piece.source,
                     std::string(getInputKindName(piece.object.kind)) +
                         " cannot be in a PKCS#12 file, which only holds keys and certificates.");
        } else if (known.insert(piece.object.bytes).second) {
            piece.isWritten = true;
            entries.push_back({piece.object.certificate, {piece.name, {}, piece.attributes}});
        }
    }
    if (pfx.keys.empty() && entries.empty())
        return badInput("there is neither a key nor a certificate to write");
    // Each key's certificate has the same identifier and comes first.
    for (size_t i = pfx.keys.size(); i-- > 0;) {
        auto const own = std::ranges::find_if(entries, [&](Entry const& entry) {
            auto const key = entry.certificate->parsePublicKey(nullptr);
            return key && key->equals(*pfx.keys[i]);
        });
        if (own == entries.end())
            continue;
        auto const id = calcDigest(HashID::SHA1, own->certificate->serialize());
        own->attributes.localKeyId = pfx.keyAttributes[i].localKeyId = id;
        std::rotate(entries.begin(), own, own + 1);
    }
    for (Entry& entry : entries) {
        pfx.certificates.push_back(std::move(entry.certificate));
        pfx.certificateAttributes.push_back(std::move(entry.attributes));
    }
    hasPrivateKey = true; // Even for certificates alone, because a password can be guessed from the file.
    pfx.iterations = options.iterations.value_or(defaultKeyIterations);
    int status = exitDone;
    if (!readOutPassword(&status))
        return status;
    if (!pfx.setPbes2Params(newPassword->text, {}, CipherID::AesCbc))
        return badInput("the numbers of a key are inconsistent");
    append(output, pfx.save());
    return exitDone;
}

int Conversion::make(Target target, SecretBytes& output) {
    if (int const result = expand(target); result != exitDone)
        return result;
    if (pieces.empty())
        return badInput("there is nothing to convert");
    int const result = target == Target::der   ? makeDer(output)
                       : target == Target::p7b ? makePkcs7(output)
                       : target == Target::p12 ? makePkcs12(output)
                                               : makeText(target, output);
    if (result == exitDone && output.empty())
        return badInput("nothing can be written in that form");
    return result;
}

nlohmann::ordered_json Conversion::describeWritten() const {
    auto objects = nlohmann::ordered_json::array();
    for (Piece const& piece : pieces) {
        if (!piece.isWritten)
            continue;
        auto& one = objects.emplace_back(nlohmann::ordered_json{
            {"object", getInputKindName(piece.object.kind)}, {"source", terminal::printable(piece.source)}});
        if (!piece.name.empty())
            one["friendlyName"] = terminal::printable(piece.name);
    }
    return objects;
}
