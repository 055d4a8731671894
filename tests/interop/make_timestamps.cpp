// The library first: libcrypto has functions of the names of its hashes.
#include "interop/messages.h"
#include "interop/names.h"
#include "sealkit/timestamp.h"

#include "interop/identities.h"
#include "interop/makers.h"

#include "support/captured_output.h"
#include "support/der.h"

#include <openssl/err.h>
#include <openssl/ts.h>

using namespace libcrypto;
using interop::Cases;
using interop::Identity;

namespace {

namespace der = test::der;

using OwnedRequest = Owned<TS_REQ, TS_REQ_free>;
using OwnedResponse = Owned<TS_RESP, TS_RESP_free>;
using OwnedOid = Owned<ASN1_OBJECT, ASN1_OBJECT_free>;

constexpr char const* hashes[] = {"MD5", "SHA1", "SHA256", "SHA384", "SHA512"};
constexpr char const* policies[] = {"1.2.3.4.1", "2.23.140.1.9", "1.3.6.1.4.1.4146.2.3"};
constexpr char foreignPolicy[] = "1.2.3.4.999";

EVP_MD const* digestNamed(std::string const& name) {
    return made(EVP_get_digestbyname(name.c_str()), "digest");
}

OwnedOid oid(std::string const& text) {
    return OwnedOid(made(OBJ_txt2obj(text.c_str(), 1), "object identifier"));
}

/// What is asked for.
struct Question {
    std::string hash;
    Bytes digest;
    std::string policy; ///< Empty for none.
    Bytes nonce;        ///< Content octets; empty for none.
    bool wantsCertificates = false;

    Question(test::Random& random, std::string hashName, Bytes imprint)
        : hash(std::move(hashName)), digest(std::move(imprint)), wantsCertificates(random.oneIn(2)) {
        if (random.oneIn(2))
            policy = random.oneOf(policies);
        if (!random.oneIn(3)) {
            nonce = random.bytes(random.between(1, 20));
            nonce[0] &= 0x7F;
            nonce[0] |= 1; // Neither negative nor longer than it has to be.
            if (random.oneIn(3)) {
                nonce[0] |= 0x80;
                nonce.insert(nonce.begin(), 0);
            }
        }
    }
    explicit Question(test::Random& random) : Question(random, random.oneOf(hashes), {}) {
        digest = random.bytes(static_cast<size_t>(EVP_MD_get_size(digestNamed(hash))));
    }
};

OwnedRequest ask(Question const& question, bool hasNull = true) {
    OwnedRequest request(made(TS_REQ_new(), "request"));
    require(TS_REQ_set_version(request.get(), 1), "version");
    Owned<X509_ALGOR, X509_ALGOR_free> const algorithm(made(X509_ALGOR_new(), "algorithm"));
    require(X509_ALGOR_set0(algorithm.get(), OBJ_nid2obj(OBJ_txt2nid(question.hash.c_str())),
                            hasNull ? V_ASN1_NULL : V_ASN1_UNDEF, nullptr),
            "algorithm");
    Owned<TS_MSG_IMPRINT, TS_MSG_IMPRINT_free> const imprint(made(TS_MSG_IMPRINT_new(), "imprint"));
    Bytes digest = question.digest;
    require(TS_MSG_IMPRINT_set_algo(imprint.get(), algorithm.get()), "imprint");
    require(TS_MSG_IMPRINT_set_msg(imprint.get(), digest.data(), static_cast<int>(digest.size())), "imprint");
    require(TS_REQ_set_msg_imprint(request.get(), imprint.get()), "imprint");
    if (!question.policy.empty())
        require(TS_REQ_set_policy_id(request.get(), oid(question.policy).get()), "policy");
    if (!question.nonce.empty()) {
        auto const nonce = decoded<d2i_ASN1_INTEGER, ASN1_INTEGER_free>(der::integer(question.nonce));
        require(TS_REQ_set_nonce(request.get(), nonce.get()), "nonce");
    }
    require(TS_REQ_set_cert_req(request.get(), question.wantsCertificates ? 1 : 0), "certReq");
    return request;
}

/// The request as the library writes it. Throws unless it says to libcrypto what libcrypto's own says.
Bytes askedByTheLibrary(Question const& question) {
    TimeStampRequest request;
    request.hashAlgorithm = interop::hashNamed(question.hash);
    request.hashedMessage = question.digest;
    if (!question.policy.empty()) {
        Bytes const element = der::oid(question.policy);
        request.policy = Bytes(element.begin() + 2, element.end());
    }
    request.nonce = question.nonce;
    request.certReq = question.wantsCertificates;
    DerEncoder to;
    request.save(to);
    Bytes const encoding = to.take();
    auto const read = decoded<d2i_TS_REQ, TS_REQ_free>(encoding);
    require(encoded<i2d_TS_REQ>(read.get()) == encoded<i2d_TS_REQ>(ask(question).get()),
            "libcrypto reads another request");
    return encoding;
}

/// How the responder answers.
struct Answer {
    bool withModifications = false;
    bool isRefused = false;
    std::string signerHash = "SHA256";
};

/// An authority that stamps times, and libcrypto's responder for it.
class Authority {
public:
    explicit Authority(test::Random& source)
        : random(source),
          root(interop::selfSigned(random, "other-rsa2048")),
          clock(interop::issuedBy(root, random, interop::randomRsaKey(random),
                                  {interop::Names::any, false, true})),
          time(static_cast<long>(random.between(0, 2000000000))) {}

    /// The answer, which libcrypto itself has verified when it is a grant.
    OwnedResponse respond(Bytes const& request, Answer const& how) {
        answer = how;
        Owned<TS_RESP_CTX, TS_RESP_CTX_free> const context(made(TS_RESP_CTX_new(), "responder"));
        TS_RESP_CTX* const responder = context.get();
        require(TS_RESP_CTX_set_signer_cert(responder, clock.get()), "responder");
        require(TS_RESP_CTX_set_signer_key(responder, clock.key()), "responder");
        require(TS_RESP_CTX_set_signer_digest(responder, digestNamed(how.signerHash)), "responder");
        require(
            TS_RESP_CTX_set_ess_cert_id_digest(responder, digestNamed(random.oneIn(2) ? "SHA1" : "SHA256")),
            "responder");
        require(TS_RESP_CTX_set_certs(responder, interop::stackOf({root.get()}).get()), "responder");
        require(TS_RESP_CTX_set_def_policy(responder, oid(policies[0]).get()), "responder");
        for (char const* policy : policies)
            require(TS_RESP_CTX_add_policy(responder, oid(policy).get()), "responder");
        for (char const* hash : hashes)
            require(TS_RESP_CTX_add_md(responder, digestNamed(hash)), "responder");
        if (random.oneIn(2))
            require(TS_RESP_CTX_set_accuracy(responder, 1, 500, 0), "responder");
        TS_RESP_CTX_set_serial_cb(responder, nextSerial, this);
        TS_RESP_CTX_set_time_cb(responder, timeNow, this);
        OwnedBio const in = reading(request);
        OwnedResponse response(made(TS_RESP_create_response(responder, in.get()), "response"));
        if (!how.isRefused)
            verify(request, response.get());
        return response;
    }

    Identity const& rootOf() const { return root; }
    X509* certificate() const { return clock.get(); }

private:
    static ASN1_INTEGER* nextSerial(TS_RESP_CTX* responder, void* self) {
        if (static_cast<Authority*>(self)->answer.withModifications)
            TS_RESP_CTX_set_status_info(responder, TS_STATUS_GRANTED_WITH_MODS, "with changes");
        ASN1_INTEGER* const serial = ASN1_INTEGER_new();
        ASN1_INTEGER_set(serial,
                         static_cast<long>(static_cast<Authority*>(self)->random.between(1, 1000000)));
        return serial;
    }
    static int timeNow(TS_RESP_CTX*, void* self, long* seconds, long* microseconds) {
        *seconds = static_cast<Authority*>(self)->time;
        *microseconds = 0;
        return 1;
    }

    void verify(Bytes const& request, TS_RESP* response) const {
        auto const asked = decoded<d2i_TS_REQ, TS_REQ_free>(request);
        Owned<TS_VERIFY_CTX, TS_VERIFY_CTX_free> const context(
            made(TS_REQ_to_TS_VERIFY_CTX(asked.get(), nullptr), "verifying"));
        TS_VERIFY_CTX_add_flags(context.get(), TS_VFY_SIGNATURE);
        TS_VERIFY_CTX_set_store(context.get(), interop::storeOf(root).release());
        STACK_OF(X509)* const certificates = sk_X509_new_null();
        X509_up_ref(clock.get());
        sk_X509_push(certificates, clock.get());
        TS_VERIFY_CTX_set_certs(context.get(), certificates);
        require(TS_RESP_verify_response(context.get(), response), "libcrypto does not verify its response");
    }

    test::Random& random;
    Identity root;
    Identity clock;
    long time;
    Answer answer;
};

void addResponse(Cases& out, TS_RESP* response, Authority const& authority, std::string const& signerHash) {
    out.add("response", encoded<i2d_TS_RESP>(response));
    TS_STATUS_INFO* const status = TS_RESP_get_status_info(response);
    out.add("status", static_cast<size_t>(ASN1_INTEGER_get(TS_STATUS_INFO_get0_status(status))));
    PKCS7* const token = TS_RESP_get_token(response);
    if (token == nullptr) {
        out.add("output", "");
        return;
    }
    Owned<TS_TST_INFO, TS_TST_INFO_free> const info(made(PKCS7_to_TS_TST_INFO(token), "token"));
    out.add("info", encoded<i2d_TS_TST_INFO>(info.get())).add("signer-hash", signerHash);
    out.add("certificates", static_cast<size_t>(std::max(0, sk_X509_num(token->d.sign->cert))));
    out.add("root", authority.rootOf().der()).add("now", static_cast<size_t>(interop::whenValid));
    std::string notices;
    STACK_OF(X509_ATTRIBUTE)* const attributes =
        sk_PKCS7_SIGNER_INFO_value(PKCS7_get_signer_info(token), 0)->auth_attr;
    for (int i = 0; i < sk_X509_ATTRIBUTE_num(attributes); i++) {
        ASN1_OBJECT* const type = X509_ATTRIBUTE_get0_object(sk_X509_ATTRIBUTE_value(attributes, i));
        int const known = OBJ_obj2nid(type);
        if (known == NID_id_smime_aa_signingCertificate || known == NID_id_smime_aa_signingCertificateV2)
            notices += "unknown auth attr " + dotted(type) + '|';
    }
    out.add("output", notices);
}

/// The attribute that holds time-stamps.
int stampAttribute() {
    static int const id = OBJ_create("1.3.6.1.4.1.311.3.3.1", "timeStampToken", "time-stamp token");
    return id;
}

/// A signed message, the token for its signature, and both in one: made by libcrypto and by the library in
/// turn.
void makeStamped(test::Random& random, Cases& out) {
    Authority authority(random);
    Identity const root = interop::selfSigned(random, "other-rsa2048", interop::Names::plain);
    Identity const signer = interop::issuedBy(root, random, "rsa1024", {interop::Names::plain});
    Bytes const content = random.bytes(random.below(100));
    std::string const hash = random.oneOf(hashes);
    bool const byTheLibrary = out.number() % 2 == 0;
    constexpr int flags = PKCS7_BINARY | PKCS7_NOSMIMECAP;

    OwnedPkcs7 message;
    if (byTheLibrary) {
        interop::SignedRecipe recipe;
        recipe.signers.push_back({interop::certificateOf(signer.der()), signer.keyName, HashID::SHA256});
        recipe.content = content;
        message = decoded<d2i_PKCS7, PKCS7_free>(recipe.makeDer());
    } else {
        OwnedBio const in = reading(content);
        message.reset(made(PKCS7_sign(signer.get(), signer.key(), nullptr, in.get(), flags), "signing"));
    }
    PKCS7_SIGNER_INFO* const info = sk_PKCS7_SIGNER_INFO_value(PKCS7_get_signer_info(message.get()), 0);
    Question question(random, hash, libcrypto::digest(hash, bytesOf(info->enc_digest)));
    OwnedResponse const response = authority.respond(askedByTheLibrary(question), {});
    Bytes const token = encoded<i2d_PKCS7>(TS_RESP_get_token(response.get()));

    Bytes stamped;
    if (byTheLibrary) {
        test::CapturedOutput const quiet;
        PKCS7SignedData parsed;
        require(parsed.parse(encoded<i2d_PKCS7>(message.get())), "the library does not read its message");
        parsed.raw.clear();
        parsed.signerInfos[0]->msCounterSignature = std::make_unique<PKCS7SignedData>();
        require(parsed.signerInfos[0]->msCounterSignature->parse(token),
                "the library does not read the token");
        DerEncoder to;
        parsed.save(to);
        stamped = to.take();
    } else {
        ASN1_STRING* const value = made(ASN1_STRING_new(), "string");
        require(ASN1_STRING_set(value, token.data(), static_cast<int>(token.size())), "string");
        require(PKCS7_add_attribute(info, stampAttribute(), V_ASN1_SEQUENCE, value), "attribute");
        stamped = encoded<i2d_PKCS7>(message.get());
    }
    auto const read = decoded<d2i_PKCS7, PKCS7_free>(stamped);
    require(PKCS7_verify(read.get(), nullptr, interop::storeOf(root).get(), nullptr, nullptr, PKCS7_BINARY),
            "libcrypto does not verify the message");
    ASN1_TYPE const* const held = PKCS7_get_attribute(
        sk_PKCS7_SIGNER_INFO_value(PKCS7_get_signer_info(read.get()), 0), stampAttribute());
    require(held != nullptr && ASN1_TYPE_get(held) == V_ASN1_SEQUENCE &&
                bytesOf(held->value.sequence) == token,
            "libcrypto reads another token");
    addResponse(out, response.get(), authority, "SHA256");
    out.add("stamped", stamped).add("imprint-hash", hash);
}

void makeAnswered(test::Random& random, Cases& out) {
    Authority authority(random);
    Question question(random);
    Answer how;
    how.signerHash = random.oneOf(hashes);
    how.withModifications = random.oneIn(4);
    Bytes const request =
        random.oneIn(2) ? askedByTheLibrary(question) : encoded<i2d_TS_REQ>(ask(question).get());
    addResponse(out, authority.respond(request, how).get(), authority, how.signerHash);
}

/// By the responder, which does not know the policy, or by hand: all statuses that are no grant.
void makeRefused(test::Random& random, Cases& out) {
    Authority authority(random);
    Question question(random);
    question.policy = foreignPolicy;
    OwnedResponse const response = authority.respond(askedByTheLibrary(question), {false, true});
    if (random.oneIn(2)) {
        TS_STATUS_INFO* const status = TS_RESP_get_status_info(response.get());
        require(TS_STATUS_INFO_set_status(status, static_cast<int>(random.between(
                                                      TS_STATUS_WAITING, TS_STATUS_REVOCATION_NOTIFICATION))),
                "status");
    }
    addResponse(out, response.get(), authority, "");
}

} // namespace

void interop::makeTimeStampRequest(test::Random& random, Cases& out) {
    Question question(random);
    if (random.oneIn(4)) {
        bool const hasExtension = random.oneIn(2);
        OwnedRequest const request = ask(question, hasExtension);
        if (hasExtension) {
            Owned<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free> const value(
                made(ASN1_OCTET_STRING_new(), "string"));
            Owned<X509_EXTENSION, X509_EXTENSION_free> const extension(made(
                X509_EXTENSION_create_by_OBJ(nullptr, oid(policies[0]).get(), 0, value.get()), "extension"));
            require(TS_REQ_add_ext(request.get(), extension.get(), -1), "extension");
        }
        out.add("request", encoded<i2d_TS_REQ>(request.get())).add("parsed", "no");
        out.add("why", hasExtension ? "extensions" : "a hash without NULL");
        return;
    }
    out.add("request", encoded<i2d_TS_REQ>(ask(question).get())).add("version", 1).add("hash", question.hash);
    out.add("digest", question.digest).add("policy", question.policy).add("nonce", question.nonce);
    out.add("cert-req", question.wantsCertificates ? 1 : 0).add("written", askedByTheLibrary(question));
}

void interop::makeTimeStampResponse(test::Random& random, Cases& out) {
    switch (out.number() % 4) {
    case 0:
    case 1:
        return makeStamped(random, out);
    case 2:
        return makeRefused(random, out);
    default:
        return makeAnswered(random, out);
    }
}
