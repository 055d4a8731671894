/// The libraries that have rows. Each function appends the rows of one library; those of peers exist if the
/// peers were built.
#pragma once

#include "row.h"

namespace bench {

void addSealkit(std::vector<Row>& rows);
void addWolfssl(std::vector<Row>& rows);
void addMbedtls(std::vector<Row>& rows);
void addOpenssl(std::vector<Row>& rows);
void addNettle(std::vector<Row>& rows);
void addLibgcrypt(std::vector<Row>& rows);
void addLibsodium(std::vector<Row>& rows);
void addBearssl(std::vector<Row>& rows);

/// Every row: sealkit's first, then those of each peer.
std::vector<Row> allRows();

} // namespace bench
