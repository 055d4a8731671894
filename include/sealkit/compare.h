/// Comparison of secrets.
///
/// | name                  | what it is                                                             |
/// | --------------------- | ---------------------------------------------------------------------- |
/// | `equalInConstantTime` | equality of bytes, in a time that does not depend on where they differ |
///
/// For authentication tags, MACs and password digests, which an attacker may try to guess repeatedly. The
/// `==` of `asn1::blob` stops at the first difference and is for public values.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

/// Whether `a` and `b` have equal sizes and equal bytes. The time depends only on the sizes: if they differ,
/// the function returns at once; otherwise it reads every byte. Two empty blobs are equal.
SEALKIT_API bool equalInConstantTime(asn1::blob a, asn1::blob b);
