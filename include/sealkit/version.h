/// The version of the library.
///
/// | name                | what it is                                                                |
/// | ------------------- | ------------------------------------------------------------------------- |
/// | `getSealkitVersion` | the version of the library that the program runs with, which may be later |
///
/// The version that a program is built with is that of the package: `sealkit_VERSION` in CMake, `pkg-config
/// --modversion sealkit`.
#pragma once

#include "sealkit/detail/export.h"

/// "1.0.0": major, minor and patch. A program that was built with one version runs with all later versions of
/// the same major version.
SEALKIT_API char const* getSealkitVersion();
