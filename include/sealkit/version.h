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

/// "1.0.0": major, minor and patch. Programs that are built with a version run with all later ones of the
/// same major.
SEALKIT_API char const* getSealkitVersion();
