// Descriptor hygiene for a freshly forked child: what it passes on to the
// program it runs, and what its exit may still write to.
//
// Both walk the descriptors the process has open, whoever opened them: the
// kernel's close_range when it has one, else the list in /proc/self/fd, else
// every number below the open-files limit. They log nothing and keep errno;
// they are meant for the single thread of a child between fork and exec.

#ifndef QZ_BASE_PROCESS_PROCESS_DESCRIPTORS_H_
#define QZ_BASE_PROCESS_PROCESS_DESCRIPTORS_H_

// Marks every open descriptor numbered first or above close-on-exec.
void ProcessCloseOnExecFrom(int first);

// Points every open descriptor numbered first or above at /dev/null (closes
// them when /dev/null cannot be opened). Stream buffers that still refer to
// those numbers then write nowhere, and a file opened afterwards can never
// receive them.
void ProcessSilenceFrom(int first);

#endif  // QZ_BASE_PROCESS_PROCESS_DESCRIPTORS_H_
