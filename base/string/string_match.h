// Matching and editing of C strings and owned strings.

#ifndef QZ_BASE_STRING_STRING_MATCH_H_
#define QZ_BASE_STRING_STRING_MATCH_H_

// The string itself when it begins with prefix, else null.
const char* StringHasPrefix(const char* string, const char* prefix);

// Where suffix begins inside string when string ends with it, else null
// (also when suffix is longer than string).
const char* StringHasSuffix(const char* string, const char* suffix);

// When the slot's string begins with prefix: replaces the prefix by
// replacement in a new string and returns 1. Otherwise returns 0 and the slot
// is untouched.
int StringReplacePrefix(char** slot, const char* prefix,
                        const char* replacement);

// Replaces every non-overlapping occurrence of pattern, left to right, in a
// new string and returns the count; 0 leaves the slot untouched (same
// pointer). The slot must hold a string. An empty pattern replaces nothing and
// returns 0.
int StringReplaceAll(char** slot, const char* pattern, const char* replacement);

// Cuts the string in place at its first byte that is neither printable nor
// one of the option-escape bytes 29, 30, 31; bytes from 128 up never count as
// printable. Returns the string; null and empty strings pass unchanged.
char* StringCutNonPrintable(char* string);

// Sets all four fields to -1, then scans "%i.%i.%i_%i"; returns the number
// of fields converted (sscanf's result).
int StringParseVersion(const char* string, int* major, int* minor, int* patch,
                       int* build);

// Counts the separator bytes among the first length bytes and logs
// "String: Found <n> lines with separator <code>.". A length below 1
// counts nothing (and still logs the count 0).
int StringCountLines(const char* buffer, int length, char separator);

// 1 when the path begins with "../" or holds "/../" starting at index 3 or
// later, else 0.
int StringHasParentReference(const char* path);

#endif  // QZ_BASE_STRING_STRING_MATCH_H_
