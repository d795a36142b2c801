// Helpers shared by the driver's own files; not part of its interface.

#ifndef QZ_UPDATE_UPDATE_INTERNAL_H_
#define QZ_UPDATE_UPDATE_INTERNAL_H_

#include <string>

// Writes a whole line to descriptor 2 with one write loop, so that it is
// never split or mixed with another writer's text. Failures are ignored: the
// driver has nowhere else to report them. Leaves errno as it found it.
void UpdateWriteError(const std::string& line);

// Flushes the stdout stream, so that nothing the driver has printed is left
// in its buffer when the driver waits for a key or starts a child that
// writes to the same descriptor.
void UpdateFlushOutput();

// The value of an environment variable when it is set and not empty, else
// null. Borrowed: valid until the variable changes.
const char* UpdateGetEnvironment(const char* name);

// Starts a child with the command vector (entry 0 the program file, entry 1
// its argv[0]), the driver's environment and its descriptors 0, 1 and 2,
// after flushing what the driver has buffered, so that nothing buffered is
// written twice and everything printed so far comes before the child's own
// output. Returns the child's process id, or -1 with errno.
int UpdateStartChild(const char* const* command);

// waitpid(pid, status, 0), repeated when a signal interrupts it. Returns
// 0, or -1 with errno.
int UpdateWaitChild(int pid, int* status);

#endif  // QZ_UPDATE_UPDATE_INTERNAL_H_
