/// Reading whole files.
#pragma once

#include "kp/export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kp {

/// The largest file that is read where the caller sets no limit, in bytes: a huge or sparse file in
/// a folder of certificates must not exhaust memory.
inline constexpr size_t maxFileSize = size_t(256) << 20;

/// The whole content of the regular file `path`; symbolic links are followed. The path is used as it
/// is: one that belongs under the platform root goes through `kp::rootPath` first.
///
/// `limit` is the largest size in bytes that is accepted, -1 for none but `maxFileSize`. `flags` has
/// no meaning in the host edition; pass 0.
///
/// No copy of the content stays behind in memory but the result, which the caller wipes if it is secret.
///
/// The result is empty when the file is missing, cannot be read, is larger than allowed or is not a
/// regular file. A content cut short is never returned. A FIFO or a device is opened without waiting
/// and never read, so that it cannot hang the program.
KP_API std::string readFile(std::string_view path, int64_t limit = -1, int flags = 0);

} // namespace kp
