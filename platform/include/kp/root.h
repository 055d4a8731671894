/// Where the operating system's files are on this machine.
///
/// On the operating system itself that is "/". Elsewhere its files have a folder of their own, the
/// platform root, so that programs and tests run without touching the machine.
#pragma once

#include "kp/export.h"

#include <string>
#include <string_view>

namespace kp {

/// The `absolutePath` of the operating system ("/kelp/etc/ca/", "/rw/store") as the path to use on
/// this machine. The root is looked up at each call:
///
/// 1. the folder that the environment variable KP_ROOT names;
/// 2. "/" where "/kelp" exists;
/// 3. $XDG_DATA_HOME/sealkit, or ~/.local/share/sealkit where XDG_DATA_HOME is no absolute path.
///
/// A program that gained privileges ignores the environment. Empty when none of them gives a root.
KP_API std::string rootPath(std::string_view absolutePath);

} // namespace kp
