// Starting the stages' programs and waiting for them, in step with the
// driver's signals.

#ifndef QZ_UPDATE_UPDATE_CHILD_H_
#define QZ_UPDATE_UPDATE_CHILD_H_

// Starts a child with the command vector (entry 0 the program file, entry 1
// its argv[0]), the driver's environment and its descriptors 0, 1 and 2,
// after flushing what the driver has buffered, so that nothing buffered is
// written twice and everything printed so far comes before the child's own
// output. Returns the child's process id, or -1 with errno (EINTR when a
// terminating signal came before the start: nothing is started then).
int UpdateStartChild(const char* const* command);

// Waits for the child and reaps it (waitpid(pid, status, 0)), repeated when
// a signal interrupts it. While it waits, SIGTERM and SIGHUP are passed on
// to the child. Returns 0, or -1 with errno.
int UpdateWaitChild(int pid, int* status);

#endif  // QZ_UPDATE_UPDATE_CHILD_H_
