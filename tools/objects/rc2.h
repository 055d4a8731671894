/// RC2, which the library does not implement, for old files.
#pragma once

#include "sealkit/password_schemes.h"

/// Null in a program that is built without Nettle.
Rc2Decryptor rc2Decryptor();
