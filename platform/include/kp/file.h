/// Reading whole files.
#pragma once

#include "kp/export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kp {

/// The size in bytes of the largest file that is read if the caller sets no limit: a huge or sparse file in a
/// folder of certificates must not exhaust memory.
inline constexpr size_t maxFileSize = size_t(256) << 20;

/// The whole content of the regular file `path`; symbolic links are followed. Pass a path
/// below the platform root through `kp::rootPath` first.
///
/// `limit` is the largest accepted size in bytes; -1 means `maxFileSize`. `flags` has no meaning in the host
/// edition; pass 0.
///
/// The result is the only copy of the content that remains in memory. The caller wipes it if it is secret.
///
/// Returns an empty result if the file is missing, cannot be read, is larger than allowed or is not a regular
/// file. Truncated content is never returned. A FIFO or a device is opened without waiting and never read, so
/// it cannot hang the program.
KP_API std::string readFile(std::string_view path, int64_t limit = -1, int flags = 0);

} // namespace kp
