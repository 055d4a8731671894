/// Prints descriptions as text.
#pragma once

#include "objects/description.h"

/// Prints the first member as a title and the others below it, each as a line or an indented block. Lines are
/// broken at 80 columns, between words and between the octets of long values. A continued text begins with "|
/// ". Output to a terminal has colours.
void print(Description const& description);
