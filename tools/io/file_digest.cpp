#include "io/file_digest.h"

#include "io/input_stream.h"
#include "io/progress.h"

FileDigest digestFile(std::string const& path, Hash& hash) {
    InputStream input;
    if (!input.open(path))
        return {{}, input.error()};
    std::vector<unsigned char> piece(pieceSize);
    {
        Progress progress(input.remaining());
        hash.update(nullptr, 0); // Starts the message of a MAC.
        while (size_t const size = input.read(piece)) {
            hash.update(piece.data(), static_cast<unsigned>(size));
            progress.advance(size);
        }
    }
    std::vector<unsigned char> digest(hash.digestLength());
    hash.digest(digest.data()); // Also after a failure, so that the object is ready for the next file.
    return {digest, input.error()};
}
