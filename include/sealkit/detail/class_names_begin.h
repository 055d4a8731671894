/// Suspends the macros by which wolfSSL renames what has the name of a class or id here (`#define MD5
/// WC_MD5`), so that these keep their names. `class_names_end.h` brings the macros back. Both are included
/// several times on purpose.
#pragma push_macro("DES")
#pragma push_macro("HMAC")
#pragma push_macro("MD4")
#pragma push_macro("MD5")
#pragma push_macro("RC4")
#pragma push_macro("SHA1")
#pragma push_macro("SHA256")
#pragma push_macro("SHA384")
#pragma push_macro("SHA512")
#undef DES
#undef HMAC
#undef MD4
#undef MD5
#undef RC4
#undef SHA1
#undef SHA256
#undef SHA384
#undef SHA512
