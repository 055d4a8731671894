/// Checking signed messages: who signed, whether that holds, and what is strange about it.
#pragma once

#include "objects/message.h"
#include "objects/trust.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

/// A signer of a message.
struct SignerFound {
    PKCS7SignerInfo const* info;
    std::shared_ptr<X509Certificate> certificate; ///< Null when it is not at hand.
};

/// What is left unchecked, or strange.
struct MessageWarning {
    size_t signer = 0; ///< From 1; 0 for the message as a whole.
    std::string rule;  ///< A short name in kebab case, stable.
    std::string sentence;
    std::string facts; ///< What it rests on; often empty.
};

/// What a check came to. Every text is printable.
struct MessageVerdict {
    std::string failure; ///< Why it fails; empty when it does not.
    std::vector<SignerFound> signers;
    std::vector<MessageWarning> warnings;
    std::vector<std::string> notes;
    std::vector<CrlVerdict> crls; ///< The best of what the signers' chains make of each.
};

/// Whether there are more certificates or signers in it than any message has. Complains, with `path`.
bool isTooLarge(PKCS7SignedData const& message, std::string const& path);

/// Adds the certificates of a file, from which signers and their issuers may be taken, to the message. Complains.
bool addCertificates(PKCS7SignedData& message, std::string const& path);

/// Decides on every signer: that it signed the content, which is the message's or `detachedContent`, and that its
/// certificate is trusted and meant for it. The message must live as long as the verdict.
MessageVerdict judgeMessage(PKCS7SignedData const& message, asn1::blob detachedContent,
                            CertificateMemoryStore const& trusted, PathOptions const& question);

/// Puts a failure of the caller's own into the verdict, unless there is one.
void fail(MessageVerdict& verdict, std::string const& why);

/// With `isStrict` a warning is a failure.
void applyStrictness(MessageVerdict& verdict, bool isStrict);

/// Writes a line for each signer to `out`, `further` lines, then "OK" or "FAILED: reason". Warnings and notes go to
/// standard error.
void printVerdict(MessageVerdict const& verdict, std::vector<std::string> const& further, std::ostream& out);

/// The same as members of `to`.
void addVerdict(MessageVerdict const& verdict, nlohmann::ordered_json& to);
