// The line prefix that Log writes at the start of every log line:
// "<pid> <tid> HH:MM:SS mmm.uuu ".

#ifndef QZ_BASE_LOG_LOG_PREFIX_H_
#define QZ_BASE_LOG_LOG_PREFIX_H_

// Size of the buffer the accessors give LogPrefix.
constexpr int kLogPrefixSize = 128;

// Formats the line prefix into buffer and returns its length. The text is
// bounded as snprintf(buffer, size - 1, ...) bounds it: at most size - 2
// characters and a NUL (a 1-byte buffer gets the NUL alone; size 0 or less
// writes nothing). No heap allocation, no lock; safe from any thread and in a
// forked child (the cached process and thread ids are dropped at fork).
int LogPrefix(char* buffer, int size);

#endif  // QZ_BASE_LOG_LOG_PREFIX_H_
