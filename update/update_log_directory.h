// The log directory's name, apart from the environment and the clock.

#ifndef QZ_UPDATE_UPDATE_LOG_DIRECTORY_H_
#define QZ_UPDATE_UPDATE_LOG_DIRECTORY_H_

#include <string>

// "M-<host>-<pid>-<id>".
std::string UpdateLogDirectoryName(const char* host, int pid, const char* id);

// Whether a host name keeps that name directly inside QZ_ROOT: false for a
// name holding '/' or "..".
bool UpdateHostNameUsable(const char* host);

#endif  // QZ_UPDATE_UPDATE_LOG_DIRECTORY_H_
