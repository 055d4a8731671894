#include "io/report.h"
#include "io/terminal.h"
#include "verbs/verb.h"

#include "sealkit/version.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>

namespace {

Verb const verbs[] = {
    {"verify", "build and validate a certificate chain", setUpVerify},
    {"show", "identify a file and show its contents", setUpShow},
    {"asn1", "show the tree of DER or BER with offsets", setUpAsn1},
    {"hash", "write the digests of files, or check them", setUpHash},
    {"mac", "write the MACs of files under a key, or check them", setUpMac},
    {"cipher", "encrypt or decrypt a file under a key", setUpCipher},
    {"key", "make and convert keys", setUpKey},
    {"kem", "agree on secrets with ML-KEM-768", setUpKem},
    {"sign", "sign a file", setUpSign},
    {"check", "check the signature of a file", setUpCheck},
    {"req", "make certificate requests", setUpReq},
    {"cert", "make certificates: of a CA, or issued by one", setUpCert},
    {"ca", "keep a register of what a CA issued", setUpCa},
    {"crl", "make certificate revocation lists (CRLs)", setUpCrl},
    {"cms", "sign, check, encrypt and decrypt messages (PKCS#7, CMS)", setUpCms},
    {"ts", "request, make and check time-stamps", setUpTs},
    {"convert", "convert objects to another form: PEM, DER, PKCS#7, PKCS#12 ...", setUpConvert},
    {"p12", "write and read PKCS#12 files of keys and certificates", setUpP12},
    {"completion", "print the completion script of a shell", setUpCompletion},
    {"random", "write random bytes", setUpRandom},
    {"store", "show and change the configuration store", setUpStore},
    {"trust", "choose which certificates the certificate manager trusts", setUpTrust},
};

constexpr char summary[] = "cryptography and public-key infrastructure for people";

constexpr char description[] =
    "A file named - is standard input or output. Every input may be PEM or DER.\n\n"
    "Examples:\n"
    "  sealkit help verify\n"
    "  sealkit show /etc/ssl/certs/ca-certificates.crt\n"
    "  sealkit hash /etc/passwd";

/// The versions of the program and of the library that it runs with, and the optional parts of the build.
std::string versionText() {
    std::string text = std::string("sealkit ") + SEALKIT_VERSION + "\nlibrary " + getSealkitVersion();
#ifdef SEALKIT_WITHOUT_MLKEM
    return text + "\nML-KEM-768 no";
#else
    return text + "\nML-KEM-768 yes";
#endif
}

/// If standard input, output or error is closed, the next file opened would take its descriptor and receive
/// its data. Placeholders that can be neither read nor written prevent that.
void occupyStandardDescriptors() {
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(descriptor, F_GETFD) < 0)
            static_cast<void>(open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
}

} // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // A closed pipe becomes a failed write, which flush() reports.
    terminal::Session session;
    int status = exitBadInput;
    try {
        status = runCommandLine(argc, argv, {summary, versionText(), description}, verbs);
        report::finish(status);
    } catch (std::bad_alloc const&) {
        status = exitBadInput; // Also for a report that could not be written.
        terminal::err() << "there is not enough memory" << std::endl;
    } catch (std::exception const& error) {
        status = exitBadInput;
        terminal::err() << terminal::printable(error.what()) << std::endl;
    }
    if (!session.flush()) {
        terminal::err() << "the output could not be written" << std::endl;
        return exitBadInput;
    }
    return status;
}
