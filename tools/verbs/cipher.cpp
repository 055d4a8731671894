#include "io/input.h"
#include "io/input_stream.h"
#include "io/output_file.h"
#include "io/progress.h"
#include "io/secret.h"
#include "io/terminal.h"
#include "objects/cipher_names.h"
#include "verbs/verb.h"

#include "sealkit/siv.h"

#include <kp/text.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

namespace {

enum class Direction { encrypt, decrypt };

struct CipherOptions {
    std::string algorithm;
    KeySource key;
    std::string iv;
    std::vector<std::string> aadFiles;
    bool noPadding = false;
    std::string output;
    bool force = false;
    std::string file = "-";
};

using Bytes = std::vector<unsigned char>;

size_t const tagLength = 16;

/// The library's GCM counts the lengths in bits, in 32 bits.
uint64_t const maxGcmText = (uint64_t(1) << 29) - 1;
/// The library's SIV takes less than 4 GiB at a time, including V.
uint64_t const maxSivText = (uint64_t(1) << 32) - 1 - tagLength;
/// S2V takes 127 strings, and the text is the last of them (RFC 5297, section 7).
size_t const maxSivStrings = 126;
/// CTR increments the last 32 bits of the block. After this many blocks the keystream would repeat.
uint64_t const counterPeriod = uint64_t(1) << 32;

/// A job with consistent options.
struct Job {
    Direction direction;
    CipherName cipher;
    SecretBytes key;
    Bytes iv;
    std::vector<SecretBytes> aad;
    bool padding;
    std::string file;

    int complain(std::string const& complaint) const { return badInput(file + ": " + complaint); }
};

// Ciphers that process a message in pieces.

/// Warns if the 32-bit counter of CTR mode wraps, and limits a message to one period of it.
class CounterWatch {
public:
    explicit CounterWatch(Bytes const& iv) {
        uint32_t word = 0;
        for (size_t i = iv.size() - 4; i < iv.size(); ++i)
            word = word << 8 | iv[i];
        untilWrap = counterPeriod - word;
    }

    /// Whether `bytes`, the length of the message so far or in total, stays within one period.
    bool allow(uint64_t bytes, Progress* progress) {
        uint64_t const blocks = bytes / 16 + (bytes % 16 != 0);
        if (blocks > untilWrap && !warned && blocks <= counterPeriod) {
            if (progress)
                progress->hide();
            warn("the last 32 bits of the counter wrap without a carry: programs that carry give a "
                 "different result after block " +
                 std::to_string(untilWrap));
            warned = true;
        }
        return blocks <= counterPeriod;
    }

private:
    uint64_t untilWrap; ///< In blocks.
    bool warned = false;
};

/// The length of the text in a decrypted last piece, without its PKCS#7 padding (RFC 5652, section 6.3).
/// Returns nothing if the padding is malformed.
std::optional<size_t> lengthWithoutPadding(std::span<unsigned char const> text, size_t blockLength) {
    unsigned char const count = text.back();
    if (count == 0 || count > blockLength)
        return std::nullopt;
    auto const padding = text.last(count);
    if (!std::ranges::all_of(padding, [&](unsigned char byte) { return byte == count; }))
        return std::nullopt;
    return text.size() - count;
}

class StreamJob {
public:
    StreamJob(Job const& whatIsAsked, InputStream& from, OutputFile& to)
        : job(whatIsAsked),
          input(from),
          output(to),
          cipher(createCipher(job.cipher.id, job.key, 0)),
          blockLength(cipher->blockLength()),
          needsBlocks(job.cipher.mode == CipherMode::cbc) {
        if (job.cipher.mode == CipherMode::ctr)
            counter.emplace(job.iv);
        cipher->setIV(job.iv.data(), static_cast<unsigned>(job.iv.size()));
    }

    /// Returns the exit status. If it is 0, the output is complete, but not committed.
    int run() {
        std::optional<uint64_t> const total = input.remaining();
        if (total) // Fails before anything is written.
            if (int const status = judgeLength(*total, nullptr))
                return status;
        Progress progress(total);
        SecretBytes piece(pieceSize + padded), next(pieceSize + padded), result(pieceSize + padded);
        size_t size = readPiece(piece);
        for (bool isLast = false; !isLast;) {
            size_t const nextSize = size == pieceSize ? readPiece(next) : 0;
            if (input.error())
                return job.complain(std::strerror(input.error()));
            isLast = nextSize == 0;
            if (int const status =
                    isLast ? judgeLength(done + size, &progress) : judgeCounter(done + size, &progress))
                return status;
            size_t length = size;
            if (isLast && job.padding && job.direction == Direction::encrypt)
                length = pad(piece, size);
            apply(piece, length, result);
            if (isLast && job.padding && job.direction == Direction::decrypt) {
                auto const unpadded = lengthWithoutPadding(std::span(result).first(length), blockLength);
                if (!unpadded)
                    return answerNo(job.file +
                                    ": the padding is malformed: wrong key or IV, or a changed text");
                length = *unpadded;
            }
            if (!output.write(std::span(result).first(length)))
                return exitBadInput;
            done += size;
            progress.advance(size);
            std::swap(piece, next);
            size = nextSize;
        }
        return exitDone;
    }

private:
    static constexpr size_t padded = 16; ///< Room for the padding of a whole piece.

    size_t readPiece(SecretBytes& piece) { return input.read(std::span(piece).first(pieceSize)); }

    int judgeCounter(uint64_t bytes, Progress* progress) {
        if (counter && !counter->allow(bytes, progress))
            return job.complain("more than 64 GiB: the 32-bit counter would wrap and repeat the keystream");
        return exitDone;
    }

    /// Complains if the whole message is too long. Returns the exit status.
    int judgeLength(uint64_t bytes, Progress* progress) {
        bool const mayEndAnywhere = !needsBlocks || (job.padding && job.direction == Direction::encrypt);
        if (!mayEndAnywhere && bytes % blockLength != 0)
            return job.complain("its " + std::to_string(bytes) + " bytes are not whole blocks of " +
                                std::to_string(blockLength));
        if (!mayEndAnywhere && job.padding && bytes == 0)
            return job.complain("empty: the padding is missing");
        return judgeCounter(bytes, progress);
    }

    size_t pad(SecretBytes& piece, size_t size) const {
        size_t const count = blockLength - size % blockLength;
        std::fill_n(piece.begin() + static_cast<ptrdiff_t>(size), count, static_cast<unsigned char>(count));
        return size + count;
    }

    void apply(SecretBytes const& piece, size_t length, SecretBytes& result) {
        auto const size = static_cast<unsigned>(length);
        if (job.direction == Direction::encrypt)
            cipher->encrypt(piece.data(), size, nullptr, 0, result.data());
        else
            cipher->decrypt(piece.data(), size, nullptr, 0, result.data());
    }

    Job const& job;
    InputStream& input;
    OutputFile& output;
    std::unique_ptr<Cipher> cipher;
    size_t blockLength;
    bool needsBlocks;
    std::optional<CounterWatch> counter;
    uint64_t done = 0;
};

// Ciphers that authenticate the message as a whole. Nothing is written until that has succeeded.

/// Appends the whole input to `text` and leaves room for `reserved` more bytes. Complains on failure.
bool readWhole(Job const& job, InputStream& input, uint64_t maxSize, size_t reserved, SecretBytes& text) {
    std::string const tooLong =
        "larger than the " + std::to_string(maxSize) + " bytes that " + job.cipher.name + " takes here";
    std::optional<uint64_t> const total = input.remaining();
    if (total && *total > maxSize)
        return job.complain(tooLong), false;
    char const* complaint = nullptr;
    size_t const before = text.size();
    try {
        text.reserve(before + static_cast<size_t>(total.value_or(0)) + reserved);
        Progress progress(total);
        SecretBytes piece(pieceSize);
        size_t size = pieceSize;
        while (size == pieceSize && text.size() - before <= maxSize) {
            size = input.read(piece);
            text.insert(text.end(), piece.begin(), piece.begin() + static_cast<ptrdiff_t>(size));
            progress.advance(size);
        }
        text.reserve(text.size() + reserved);
    } catch (std::bad_alloc const&) {
        complaint = "there is not enough memory for the whole input";
    } catch (std::length_error const&) {
        complaint = "there is not enough memory for the whole input";
    }
    if (input.error())
        complaint = std::strerror(input.error());
    if (text.size() - before > maxSize)
        complaint = tooLong.c_str();
    if (complaint)
        job.complain(complaint);
    return !complaint;
}

int authenticationFailed(Job const& job) {
    return answerNo(job.file +
                    ": authentication failed: wrong key, IV or associated data, or a changed text");
}

int runGcm(Job const& job, InputStream& input, OutputFile& output) {
    bool const encrypts = job.direction == Direction::encrypt;
    SecretBytes text;
    if (!readWhole(job, input, maxGcmText + (encrypts ? 0 : tagLength), encrypts ? tagLength : 0, text))
        return exitBadInput;
    if (!encrypts && text.size() < tagLength)
        return job.complain("too short to hold a tag of 16 bytes");
    auto const cipher = createCipher(job.cipher.id, job.key, 0);
    cipher->setIV(job.iv.data(), static_cast<unsigned>(job.iv.size()));
    auto const aad = job.aad.empty() ? std::span<unsigned char const>() : std::span(job.aad.front());
    auto const size = static_cast<unsigned>(text.size()), aadSize = static_cast<unsigned>(aad.size());
    if (encrypts) {
        text.resize(cipher->ciphertextLength(size));
        cipher->encrypt(text.data(), size, aad.data(), aadSize, text.data());
    } else {
        unsigned const length = cipher->decrypt(text.data(), size, aad.data(), aadSize, text.data());
        if (length == ~0U)
            return authenticationFailed(job);
        text.resize(length);
    }
    return output.write(text) ? exitDone : exitBadInput;
}

int runSiv(Job const& job, InputStream& input, OutputFile& output) {
    bool const encrypts = job.direction == Direction::encrypt;
    // V precedes the text.
    SecretBytes whole(encrypts ? tagLength : 0);
    if (!readWhole(job, input, maxSivText + (encrypts ? 0 : tagLength), 0, whole))
        return exitBadInput;
    if (whole.size() < tagLength)
        return job.complain("too short to hold the 16 bytes of a synthetic IV");
    std::vector<std::span<unsigned char const>> strings(job.aad.begin(), job.aad.end());
    if (!job.iv.empty())
        strings.push_back(job.iv);
    AESSIV const siv(job.key);
    std::span const text = std::span(whole).subspan(tagLength);
    if (encrypts) {
        siv.encrypt(text, strings, whole.data());
        return output.write(whole) ? exitDone : exitBadInput;
    }
    if (!siv.decrypt(whole, strings, text.data()))
        return authenticationFailed(job);
    return output.write(text) ? exitDone : exitBadInput;
}

// The options.

/// The complaint about inconsistent options; nothing if they are consistent.
std::optional<std::string> judge(CipherOptions const& options, CipherName const& cipher, Bytes const& iv) {
    bool const isGcm = cipher.mode == CipherMode::gcm, isSiv = cipher.mode == CipherMode::siv;
    if (options.iv.empty() && !isSiv)
        return "an IV is missing: give --iv HEX";
    if (cipher.ivLength != 0 && iv.size() != cipher.ivLength)
        return cipher.name + " takes an IV of " + std::to_string(cipher.ivLength) + " bytes, not of " +
               std::to_string(iv.size());
    if (options.noPadding && cipher.mode != CipherMode::cbc)
        return cipher.name + " is never padded: --no-pad is for CBC";
    if (!options.aadFiles.empty() && !isGcm && !isSiv)
        return cipher.name + " authenticates nothing: --aad-file is for aes-gcm and aes-siv";
    if (isGcm && options.aadFiles.size() > 1)
        return cipher.name + " takes one --aad-file";
    if (isSiv && options.aadFiles.size() + (iv.empty() ? 0 : 1) > maxSivStrings)
        return "aes-siv takes " + std::to_string(maxSivStrings) +
               " strings of associated data, the IV among them";
    auto const readers =
        (options.key.file == "-") + (options.file == "-") + std::ranges::count(options.aadFiles, "-");
    if (readers > 1)
        return "standard input can only be one of text, key and associated data";
    if (wouldFloodTerminal(options.output))
        return "the result could garble the terminal: give -o FILE or -o -";
    return std::nullopt;
}

int crypt(CipherOptions const& options, Direction direction) {
    auto const cipher = findCipher(options.algorithm);
    if (!cipher)
        return wrongUsage("\"" + options.algorithm + "\" is not a cipher; the choices are " + listCiphers() +
                          ", and names with the size of the key, such as aes-256-gcm");
    Job job{direction,   *cipher, {}, {}, {}, cipher->mode == CipherMode::cbc && !options.noPadding,
            options.file};
    if (!options.iv.empty() && !hex2bin(options.iv, &job.iv))
        return wrongUsage("the value of --iv is not hexadecimal");
    if (auto const complaint = judge(options, *cipher, job.iv))
        return wrongUsage(*complaint);
    if (cipher->mode == CipherMode::gcm && job.iv.size() < 12)
        warn("an IV of less than 12 bytes is processed in a way that no other program supports");

    if (cipher->mode != CipherMode::null) {
        int status = exitDone;
        auto key = readKey(options.key, &status);
        if (!key)
            return status;
        job.key = std::move(*key);
        if (std::ranges::count(cipher->keyLengths, job.key.size()) == 0)
            return badInput(wrongKeyLength(job.key, cipher->name, cipher->keyLengths));
    }
    for (std::string const& file : options.aadFiles) {
        auto aad = readMessage(file);
        if (!aad)
            return exitBadInput;
        job.aad.push_back(std::move(*aad));
    }
    InputStream input;
    if (!input.open(options.file))
        return job.complain(std::strerror(input.error()));
    OutputFile output;
    if (!output.open(options.output, 0666,
                     options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep))
        return exitBadInput;
    int const status = cipher->mode == CipherMode::gcm   ? runGcm(job, input, output)
                       : cipher->mode == CipherMode::siv ? runSiv(job, input, output)
                                                         : StreamJob(job, input, output).run();
    if (status != exitDone)
        return status;
    return output.commit() ? exitDone : exitBadInput;
}

constexpr char examples[] = "Examples:\n"
                            "  sealkit random 32 -o my.key\n"
                            "  sealkit random 12 --hex > letter.iv\n"
                            "  echo hello | sealkit cipher encrypt -a aes-256-gcm --key-file my.key --iv "
                            "$(cat letter.iv) -o letter.enc\n"
                            "  sealkit cipher decrypt -a aes-256-gcm --key-file my.key --iv $(cat letter.iv) "
                            "letter.enc -o letter.txt";

constexpr char ciphers[] =
    "Cipher                  Key         IV          Text\n"
    "  aes-gcm               16, 32      12          authenticated, up to 512 MiB, in memory as a whole\n"
    "  aes-siv               32, 48, 64  any, none   authenticated, up to 4 GiB, in memory as a whole\n"
    "  aes-cbc               16, 24, 32  16          padded to whole blocks\n"
    "  aes-ctr               16, 24, 32  16          up to 64 GiB\n"
    "  aes-cfb               16          16          any\n"
    "  des-ede3-cbc          24          8           padded to whole blocks; 3des-cbc is another name\n"
    "  des-cbc               8           8           padded to whole blocks; only for old files\n"
    "  null                  none        1           no protection at all\n"
    "Names with the size of the key in bits, such as aes-256-cbc, also check the size of the\n"
    "key. (aes-256-siv takes two such keys.) Only aes-gcm and aes-siv detect changes; with\n"
    "the others a changed text decrypts to something else. Use an IV only once with a key: a\n"
    "repeated IV reveals the texts with aes-gcm and aes-ctr.\n\n";

Work setUpDirection(CommandLine commandLine, Direction direction) {
    bool const encrypts = direction == Direction::encrypt;
    auto options = std::make_shared<CipherOptions>();
    commandLine.text("-a,--algorithm", options->algorithm, "the cipher").valueName("ALG").required();
    addKeyOptions(commandLine, options->key);
    commandLine
        .text("--iv", options->iv,
              "the IV in hexadecimal; for aes-siv a nonce, which becomes the\nlast string of associated data")
        .valueName("HEX");
    commandLine
        .texts("--aad-file", options->aadFiles,
               "associated data: authenticated, not encrypted. aes-siv takes several, in a fixed order")
        .valueName("FILE");
    commandLine.flag("--no-pad", options->noPadding,
                     encrypts ? "CBC: do not pad; the text must be whole blocks"
                              : "CBC: leave the padding in the text");
    commandLine.text("-o,--output", options->output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.text("FILE", options->file, "the text; - or nothing is standard input");
    commandLine.footer(
        std::string(ciphers) +
        (encrypts ? ""
                  : "The exit status is 1 if authentication fails or the padding is malformed. No file is\n"
                    "written then, but standard output may have received text before the padding.\n\n") +
        examples);
    return [options, direction] { return crypt(*options, direction); };
}

Work setUpEncrypt(CommandLine commandLine) { return setUpDirection(commandLine, Direction::encrypt); }
Work setUpDecrypt(CommandLine commandLine) { return setUpDirection(commandLine, Direction::decrypt); }

} // namespace

Work setUpCipher(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"encrypt", "encrypt a file", setUpEncrypt},
        {"decrypt", "decrypt a file", setUpDecrypt},
    };
    commandLine.footer(std::string(ciphers) + examples);
    return commandLine.verbs(verbs);
}
