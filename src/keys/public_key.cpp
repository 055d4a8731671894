#include "sealkit/keys.h"

PublicKey::~PublicKey() = default;

PrivateKey::~PrivateKey() = default;
