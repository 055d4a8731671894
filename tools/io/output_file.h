/// Output files of the program.
#pragma once

#include <sys/types.h>

#include <span>
#include <string>
#include <string_view>

/// Standard output, or a file that appears completely or not at all.
///
/// The data goes to a temporary file with an unpredictable name and mode 0600 beside the target, which it
/// replaces in `commit`. After a failure, a full disk, SIGINT, SIGTERM, SIGHUP or SIGQUIT no temporary file
/// remains, and an existing target is unchanged.
class OutputFile {
public:
    /// The maximum number of open output files of a process.
    static constexpr size_t maxOpen = 2;
    /// The default prefix of the names of temporary files.
    static constexpr std::string_view temporaryPrefix = ".sealkit-";

    /// What to do if the file exists.
    enum class Existing { keep, replace };

    OutputFile() = default;
    ~OutputFile();
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    /// Opens the file that the user named; "" and "-" are standard output. `mode`, less the umask, is the
    /// mode of a new file: 0600 for secrets. A replaced file keeps its mode and owner, except that a file
    /// with secrets always gets that mode and the user as owner, because others may have prepared the old
    /// file. Complains on failure.
    bool open(std::string const& path, mode_t mode, Existing existing,
              std::string_view prefix = temporaryPrefix);

    /// Complains on failure.
    bool write(std::span<unsigned char const> bytes);

    /// Syncs the file to the disk and gives it its name. Complains on failure.
    bool commit();

private:
    bool complain(int error) const;
    bool isFile() const { return !target.empty(); }

    std::string name;   ///< The name for messages.
    std::string target; ///< Empty for standard output.
    std::string temporary;
    int descriptor = -1;
    mode_t fileMode = 0;
    Existing existing = Existing::keep;
};

/// The help of the two options that an `OutputFile` needs.
inline constexpr char outputHelp[] = "write to this file, whole or not at all; - is standard output";
inline constexpr char forceHelp[] = "replace the output file where it exists";

/// Whether raw bytes would reach a terminal: `path` is empty and standard output is a terminal. "-" asks for
/// that explicitly.
bool wouldFloodTerminal(std::string const& path);
