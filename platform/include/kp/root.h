/// The place of the operating system's files on this machine.
///
/// On the operating system itself, this is "/". Elsewhere its files are in a separate folder, the platform
/// root, so that programs and tests do not touch the machine's own files.
#pragma once

#include "kp/export.h"

#include <string>
#include <string_view>

namespace kp {

/// The path on this machine for the `absolutePath` of the operating system ("/kelp/etc/ca/", "/rw/store").
/// Each call looks up the root:
///
/// 1. the folder that the environment variable KP_ROOT names;
/// 2. "/" if "/kelp" exists;
/// 3. $XDG_DATA_HOME/sealkit, or ~/.local/share/sealkit if XDG_DATA_HOME is not an absolute path.
///
/// A program that gained privileges ignores the environment. Empty if there is no root.
KP_API std::string rootPath(std::string_view absolutePath);

} // namespace kp
