/// Comparison of secrets.
///
/// | name                  | what it is                                                       |
/// | --------------------- | ---------------------------------------------------------------- |
/// | `equalInConstantTime` | equality of bytes, in a time that does not tell where they differ |
///
/// For authentication tags, MACs and digests of passwords, which an attacker may guess at repeatedly. The
/// `==` of `asn1::blob` stops at the first difference and is for public values.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

/// Whether `a` and `b` have equal sizes and equal bytes. The time depends on the sizes alone: false at once
/// if they differ, and otherwise every byte is read. Two empty blobs are equal.
SEALKIT_API bool equalInConstantTime(asn1::blob a, asn1::blob b);
