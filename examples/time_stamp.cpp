/// Checks that a time-stamp reply (RFC 3161) is the answer to a request, and prints its contents.
#include <sealkit/sealkit.h>

#include <fstream>
#include <iostream>
#include <iterator>

namespace {

/// Prints why a file cannot be used. Returns the exit status.
int cannotUse(char const* path, Refusal const& refusal) {
    std::cout << path << ": " << printable(refusal.str()) << std::endl;
    return 2;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 4) {
        std::cout << "usage: time_stamp REQUEST REPLY FOLDER-OF-CAS" << std::endl;
        return 3;
    }
    std::ifstream requestFile(arguments[1], std::ios::binary);
    std::ifstream replyFile(arguments[2], std::ios::binary);
    std::string const requestBytes{std::istreambuf_iterator<char>(requestFile), {}};
    std::string const replyBytes{std::istreambuf_iterator<char>(replyFile), {}};
    if (!requestFile || !replyFile) {
        std::cout << arguments[requestFile ? 2 : 1] << ": cannot be read" << std::endl;
        return 2;
    }

    Refusal refusal;
    TimeStampRequest request;
    TimeStampResponse reply;
    TimeStampInfo info;
    if (!request.parse(requestBytes, &refusal))
        return cannotUse(arguments[1], refusal);
    if (!reply.parse(replyBytes, &refusal))
        return cannotUse(arguments[2], refusal);
    if (!reply.token || !info.parse(reply.token->contentOctets(), &refusal)) {
        std::cout << "no time-stamp: status " << reply.status << std::endl;
        return 1;
    }
    CertificateMemoryStore store;
    store.loadCertificatesFrom(arguments[3], nullptr);

    MessageCheckOptions options;
    options.path.now = TimePoint::nowUtc();
    MessageVerdict const verdict =
        checkTimeStamp(*reply.token, TimeStampExpectation::of(request), store, options);
    std::cout << (verdict.isValid() ? "stamped at " + info.time.toString() : printable(verdict.reason()))
              << std::endl;
    return verdict.isValid() ? 0 : 1;
}
