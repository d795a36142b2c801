// The pieces of the installation environment that other steps and the
// tests use.

#ifndef QZ_UPDATE_UPDATE_ENVIRONMENT_H_
#define QZ_UPDATE_UPDATE_ENVIRONMENT_H_

// The value of an environment variable when it is set and not empty, else
// null. Borrowed: valid until the variable changes.
const char* UpdateGetEnvironment(const char* name);

// The application path search: writes "<entry>/" into buffer (1024 bytes,
// left as it is when nothing is found) for the first entry of path, a PATH
// value, that holds a qzrunner. Empty entries and entries whose
// "<entry>/qzrunner" does not fit in the buffer are passed over.
void UpdateSearchPath(const char* path, char* buffer);

#endif  // QZ_UPDATE_UPDATE_ENVIRONMENT_H_
