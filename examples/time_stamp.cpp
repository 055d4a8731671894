/// Checks that a time-stamp reply (RFC 3161) is the answer to a request, and prints its contents.
#include <sealkit/sealkit.h>

#include <fstream>
#include <iostream>
#include <iterator>

int main(int, char** arguments) { // request, reply, folder of CAs
    std::ifstream requestFile(arguments[1], std::ios::binary);
    std::ifstream replyFile(arguments[2], std::ios::binary);
    std::string const requestBytes{std::istreambuf_iterator<char>(requestFile), {}};
    std::string const replyBytes{std::istreambuf_iterator<char>(replyFile), {}};

    Refusal refusal;
    TimeStampRequest request;
    TimeStampResponse reply;
    TimeStampInfo info;
    if (!request.parse(requestBytes, &refusal) || !reply.parse(replyBytes, &refusal)) {
        std::cout << printable(refusal.str()) << std::endl;
        return 2;
    }
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
