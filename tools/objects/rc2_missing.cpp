#include "objects/rc2.h"

Rc2Decryptor rc2Decryptor() { return nullptr; }
