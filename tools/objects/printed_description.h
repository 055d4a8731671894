/// Descriptions as text for people.
#pragma once

#include "objects/description.h"

/// Prints the first member as a title, and the others below it: a line each, or an indented block. Lines are
/// no longer than 80 columns where blanks or the octets of long values let them be broken; a line that goes
/// on with a text begins with "| ". Colours come on a terminal.
void print(Description const& description);
