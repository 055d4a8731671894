/// Marks what the platform library exports; everything else is hidden.
#pragma once

#define KP_API __attribute__((visibility("default")))
