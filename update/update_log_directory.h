// The log directory's name, apart from the environment and the clock.

#ifndef QZ_UPDATE_UPDATE_LOG_DIRECTORY_H_
#define QZ_UPDATE_UPDATE_LOG_DIRECTORY_H_

#include <string>

// "M-<host>-<pid>-<id>".
std::string UpdateLogDirectoryName(const char* host, int pid, const char* id);

// Whether a host name may go into the log directory's name: false for a
// name holding '/' (the directory would not lie directly inside QZ_ROOT) or
// a control character (it would reach root's output verbatim). ".." inside
// a name is harmless: "M-a..b-<pid>-<id>" is one name.
bool UpdateHostNameUsable(const char* host);

#endif  // QZ_UPDATE_UPDATE_LOG_DIRECTORY_H_
