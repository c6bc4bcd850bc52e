#ifndef KEEPSAFE_JWT_EXTRACT_SUBJECT_H
#define KEEPSAFE_JWT_EXTRACT_SUBJECT_H

#include <keepsafe/platform/export/export.h>

/** \file
 * The subject of a token, for callers in C and C++. The token's signature and expiry are not checked. `token`
 * is a zero-terminated token in compact form; a null pointer counts as an empty text. Every text delivered is
 * allocated with malloc; the caller frees it. An output that is not produced is left as it was: set pointers
 * to null before the call. Any thread; nothing is thrown. */

#ifdef __cplusplus
extern "C" {
#endif

/** Splits the claim "sub" at its colons, empty fields left out, and delivers the first three fields. Mind the
 * order: the first output receives the second field, the second output the first. A token whose claim
 * "is_machine" is "true" has the whole subject as its first field, an empty second and "ts" as its third. A
 * token without a string in "is_machine" delivers nothing. */
KEEPSAFE_API void extractSubject_C(const char* token, char** fieldTwo, char** fieldOne, char** fieldThree);

/** Delivers the claim "sub" whole. */
KEEPSAFE_API void extractSubjectNT_C(const char* token, char** subject);

#ifdef __cplusplus
}
#endif

#endif
