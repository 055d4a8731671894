/// The options that describe a new certificate, beside its usages and its names.
#pragma once

#include "io/command_line.h"

#include "sealkit/x509.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The start and the end of the validity.
struct Validity {
    TimePoint notBefore, notAfter;
    bool isEndAsked = false;   ///< Whether the options say when it ends.
    bool isStartAsked = false; ///< Whether they say when it begins.

    /// Sets both dates of the certificate. Dates that the options leave open are limited to those of the CA,
    /// which may be null; an earlier end is noted.
    void apply(X509Certificate& certificate, X509Certificate const* authority) const;
};

struct ValidityOptions {
    std::string from, to;
    std::optional<std::uint32_t> days;
    std::optional<std::uint32_t> backdate; ///< Minutes.

    /// `daysHelp` describes the default of --days.
    void declare(CommandLine& commandLine, std::string const& daysHelp);
    /// Complains and returns nothing if the options are inconsistent. `seconds` is the default duration.
    std::optional<Validity> read(std::int64_t seconds) const;
};

inline constexpr std::int64_t secondsOfDay = 86400;

struct ContentOptions {
    std::vector<std::string> alternativeNames;
    std::vector<std::string> extendedUsages;
    std::vector<std::string> policies;
    std::vector<std::string> crlAddresses, ocspAddresses, issuerAddresses;
    std::vector<std::string> permitted, excluded;
    std::vector<std::string> permittedDomains, excludedDomains;
    std::optional<std::uint32_t> pathLength;

    void declare(CommandLine& commandLine);
    /// Adds names and extensions. Complains and returns false if one is malformed or reserved for CAs.
    bool apply(X509Certificate& certificate, bool isCa) const;
    /// The further extended key usages, as content octets. Complains and returns nothing if one is malformed.
    std::optional<std::vector<std::vector<unsigned char>>> readExtendedUsages() const;

private:
    bool applyConstraints(X509Certificate& certificate, bool isCa) const;
    bool applyPolicies(X509Certificate& certificate) const;
    bool applyAddresses(X509Certificate& certificate) const;
};

/// The serial number of an option, or a new one if that is empty. Complains on failure.
std::optional<std::vector<unsigned char>> readNewSerialNumber(std::string const& text);

inline constexpr char serialNumberHelp[] = "the serial number; by default 128 random bits";
