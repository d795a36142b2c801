// Host names, the temporary directory and temporary names.

#ifndef QZ_BASE_PROCESS_HOST_NAME_H_
#define QZ_BASE_PROCESS_HOST_NAME_H_

// The value of HOSTNAME when set (even empty), else "localhost". The system's
// own host name is not asked for. Borrowed: valid until HOSTNAME changes.
const char* ProcessHostName();

// "localhost".
const char* ProcessDefaultHostName();

// 1 for exactly "localhost", "localhost.localdomain" or "127.0.0.1".
int ProcessIsLocalHost(const char* name);

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

#endif  // QZ_BASE_PROCESS_HOST_NAME_H_
