/// Where the program puts what it makes.
#pragma once

#include <sys/types.h>

#include <span>
#include <string>
#include <string_view>

/// A file that appears whole or not at all, or standard output.
///
/// What is written goes to a new file without a telling name beside the one that is wanted, for the owner's
/// eyes only, and takes its place in `commit`. If anything happens before, a failure, a full disk, SIGINT,
/// SIGTERM, SIGHUP or SIGQUIT, nothing is left behind, and a file that was there stays as it was.
class OutputFile {
public:
    /// How many a process may have at a time.
    static constexpr size_t maxOpen = 2;
    /// What the names of files begin with that are not in their place yet, unless told otherwise.
    static constexpr std::string_view temporaryPrefix = ".sealkit-";

    /// What may be done where the file exists.
    enum class Existing { keep, replace };

    OutputFile() = default;
    ~OutputFile();
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    /// Opens what the user named; "" and "-" are standard output. `mode` is the mode of a new file, less
    /// what the umask takes away: 0600 for secrets. A file that is replaced keeps its mode and its owner,
    /// but for secrets, which come to a file of that mode and of the user's own: what was there may have
    /// been laid out for them. Complains and returns false.
    bool open(std::string const& path, mode_t mode, Existing existing,
              std::string_view prefix = temporaryPrefix);

    /// Complains and returns false.
    bool write(std::span<unsigned char const> bytes);

    /// Brings a file to the disk and to its name. Complains and returns false.
    bool commit();

private:
    bool complain(int error) const;
    bool isFile() const { return !target.empty(); }

    std::string name;   ///< What the user calls it.
    std::string target; ///< Empty for standard output.
    std::string temporary;
    int descriptor = -1;
    mode_t fileMode = 0;
    Existing existing = Existing::keep;
};

/// What the help says of the two options that an `OutputFile` needs.
inline constexpr char outputHelp[] = "write to this file, whole or not at all; - is standard output";
inline constexpr char forceHelp[] = "replace the output file where it exists";

/// Whether raw bytes would end on the terminal's screen: `path` is not given and standard output is one.
/// "-" is taken for the wish.
bool wouldFloodTerminal(std::string const& path);
