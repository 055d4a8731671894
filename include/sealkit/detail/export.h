/// Marks what the shared library exports; everything else is hidden.
#pragma once

#define SEALKIT_API __attribute__((visibility("default")))
