#include "verbs/cert.h"

#include "verbs/verb.h"

Work setUpCert(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"self-sign", "make the certificate of a new CA, or another self-signed one", setUpCertSelfSign},
        {"issue", "make a certificate from a request or a public key", setUpCertIssue},
        {"renew", "renew a certificate with new dates", setUpCertRenew},
    };
    return commandLine.verbs(verbs);
}
