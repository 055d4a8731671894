// Name constraints of every type (RFC 5280, sections 4.2.1.10 and 6.1), collected from the anchor downward.
#pragma once

#include "sealkit/path.h"
#include "trust/standard/fields.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace detail {

/// A name that the constraints of a chain reject.
struct SubtreeViolation {
    std::string name; ///< In the form of `generalNameText`.
    /// The excluded subtree that contains it, or at most 8 of the permitted subtrees of one certificate.
    std::vector<std::string> subtrees;
    size_t depth = 0; ///< Of the certificate with the constraint.
    bool isExcluded = false;
    /// The constraint or the name is malformed, or of a kind that cannot be compared: otherName, x400Address,
    /// ediPartyName or registeredID.
    bool isUnsupported = false;

    PathCode code() const {
        return isUnsupported ? PathCode::unsupportedNameConstraint : PathCode::nameConstraintViolated;
    }
    /// The name, the subtrees, and the certificate with the constraint.
    std::vector<Fact> facts(X509Certificate const& constraining) const;
};

/// The constraints collected so far. Both a search and the sum of all `add` calls take time that grows with
/// the names and the logarithm of the number of constraints.
///
/// | name            | a subtree of it                                                                   |
/// | --------------- | --------------------------------------------------------------------------------- |
/// | dNSName         | a host and those below it, ".host" those below it alone                           |
/// | rfc822Name      | a mailbox, the mailboxes of a host, ".host" those of the hosts below it; SmtpUTF8Mailbox too |
/// | URI             | a host, ".host" the hosts below it; the URI must have a host that is not an address |
/// | directoryName   | names that begin with the subtree's relative names                                |
/// | iPAddress       | an address of the same version under a mask that is a prefix                      |
///
/// An empty subtree contains every name of its kind. An excluded host excludes wildcards that match it.
class Subtrees {
public:
    Subtrees();
    ~Subtrees();
    Subtrees(Subtrees const&) = delete;
    Subtrees& operator=(Subtrees const&) = delete;

    /// The first name of the certificate that the constraints reject: its subject (unless empty), its subject
    /// alternative names and, without an rfc822Name among them, the subject's emailAddress attributes. The
    /// caller must skip self-issued certificates above the leaf, which are exempt.
    std::optional<SubtreeViolation> findViolation(CertificateFields const& fields) const;

    /// The first of these names that the constraints reject.
    std::optional<SubtreeViolation> findViolation(std::span<GeneralName const> names) const;

    /// Adds the certificate's constraints. A name must lie in a permitted subtree of every certificate that
    /// has one of its type. `fields` must outlive this object.
    void add(CertificateFields const& fields, size_t depth);

private:
    struct State;
    std::unique_ptr<State> state; ///< Null without constraints.
};

} // namespace detail
