// Command-line option scanning with the process module's own state, and the
// utilities for option lists of the form key=value,key=value.
//
// The scanner is the classic single-letter scanner with a reset flag. Its
// state is process-wide and unguarded: one thread at a time. It is separate
// from the C library's getopt state. The list utilities keep no state, write
// nothing and may be called from any thread.

#ifndef QZ_BASE_PROCESS_OPTION_H_
#define QZ_BASE_PROCESS_OPTION_H_

#include <cstdint>

// Index in the argument vector of the next argument to scan; starts at 1.
extern int ProcessOptionIndex;
// Non-zero (the default, 1): diagnostics are printed to stderr.
extern int ProcessOptionError;
// The option character last examined, an unknown one included.
extern int ProcessOptionChar;
// The argument of the last option that takes one, pointing into the argument
// vector; null after an option without argument; left as it was when the
// scanner returns '?' or ':' (unknown letter or missing argument).
extern char* ProcessOptionArgument;
// Non-zero: the next call starts a new argument at ProcessOptionIndex, and
// clears it. To scan a vector again, set ProcessOptionIndex (normally to 1)
// and ProcessOptionReset to 1.
extern int ProcessOptionReset;

// Scans the next option of argv (argc entries) against options, the accepted
// letters, where a letter followed by ":" takes an argument (the rest of the
// word, else the next word). Returns:
//   the option letter found;
//   '?' for an unknown letter, or for a missing argument when options does
//       not begin with ":";
//   ':' for a missing argument when options begins with ":";
//   -1 when the options end: at the first word not beginning with "-", at
//       the end of the vector, at "-" alone (unless "-" is a letter of
//       options), at a word beginning with "--" (which is passed over), and
//       at a "-" inside a cluster of letters that is not an option letter
//       (the index stays). A null options gives -1 and changes nothing.
// ":" is never an option letter. Diagnostics go to stderr, naming the
// program by argv[0] ("nil" when null), only when ProcessOptionError is
// non-zero and options does not begin with ":":
//   "<argv[0]>: illegal option -- <c>\n"
//   "<argv[0]>: option requires an argument -- <c>\n"
// A null entry in argv, or a negative index, ends the options like the end
// of the vector. Not thread-safe.
int ProcessGetOption(int argc, char* const argv[], const char* options);

// In place: each "," becomes byte 30, each "=" byte 29 and each blank byte
// 31, so that a value can hold the list's separators. Null text: nothing.
void ProcessEscapeOption(char* text);

// In place, the reverse: byte 30 becomes ",", byte 31 a blank and byte 29
// "=". Null text: nothing.
void ProcessUnescapeOption(char* text);

// 1 when text may be a key or a value of a list: not null, without "=" or
// ",", and shorter than limit characters, where limit 0 stands for 1024 and
// limit 0xffffffff for no limit. Otherwise -1.
int ProcessCheckOptionItem(const char* text, uint32_t limit);

// 1 when ProcessCheckOptionItem(key, 0) and ProcessCheckOptionItem(value,
// value_limit) both give 1, else -1.
int ProcessCheckOptionPair(const char* key, const char* value,
                           uint32_t value_limit);

// 1 when list begins with word followed by "," or by the end of list, else
// 0 (also when either is null). A word that contains "," never matches.
int ProcessMatchOption(const char* list, const char* word);

#endif  // QZ_BASE_PROCESS_OPTION_H_
