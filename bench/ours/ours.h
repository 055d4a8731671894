/// The rows of sealkit, by subject.
#pragma once

#include "row.h"

namespace bench {

void addHashes(Rows& rows);
void addCiphers(Rows& rows);
void addRsa(Rows& rows);
void addCurves(Rows& rows);
void addMlkem(Rows& rows);
void addObjects(Rows& rows);
void addGrowth(Rows& rows);

} // namespace bench
