#include "ours/ours.h"

#include "libraries.h"

namespace bench {

void addSealkit(std::vector<Row>& rows) {
    Rows ours(rows, "sealkit");
    addHashes(ours);
    addCiphers(ours);
    addRsa(ours);
    addCurves(ours);
#ifndef SEALKIT_WITHOUT_MLKEM
    addMlkem(ours);
#endif
    addObjects(ours);
    addGrowth(ours);
}

} // namespace bench
