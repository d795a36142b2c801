// The temporary directory, temporary names and the prefix edit that moves
// a name from one directory to another.

#ifndef QZ_BASE_PROCESS_TEMP_NAME_H_
#define QZ_BASE_PROCESS_TEMP_NAME_H_

// TEMP if set and not empty, else TMP if set and not empty, else "/tmp".
// Borrowed.
const char* ProcessTempDirectory();

// "<directory>/<prefix><number>" (directory null: the temporary directory;
// prefix null: "T-"; directory empty: the name alone, with a warning in the
// log), where number mixes the thread id and the microseconds of the time.
// Allocated with malloc: the caller frees it. Null (logged) when memory runs
// out. Nothing is created on disk.
char* ProcessTempName(const char* directory, const char* prefix);

// When the slot's owned string begins with a non-empty prefix and the
// replacement is non-empty: replaces the prefix and returns 1; else 0.
int ProcessReplacePrefix(char** slot, const char* prefix,
                         const char* replacement);

#endif  // QZ_BASE_PROCESS_TEMP_NAME_H_
