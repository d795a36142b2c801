// Host names.

#ifndef QZ_BASE_PROCESS_HOST_NAME_H_
#define QZ_BASE_PROCESS_HOST_NAME_H_

// The value of HOSTNAME when set (even empty), else "localhost". The system's
// own host name is not asked for. Borrowed: valid until HOSTNAME changes.
const char* ProcessHostName();

// "localhost".
const char* ProcessDefaultHostName();

// 1 for exactly "localhost", "localhost.localdomain" or "127.0.0.1".
int ProcessIsLocalHost(const char* name);

#endif  // QZ_BASE_PROCESS_HOST_NAME_H_
