#include "objects/weak_encryption.h"

#include "objects/rc2.h"

PasswordSchemes readableSchemes() { return {.all = true, .rc2 = rc2Decryptor()}; }

std::string weaknessOf(KeyEncryption const& encryption) {
    if (!encryption.isWeak)
        return "";
    return "is weakly encrypted (" + encryption.cipher +
           "): its keys are short enough to be searched without the password";
}
