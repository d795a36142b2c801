// The run's result codes, as the exit path reads them.

#ifndef QZ_UPDATE_UPDATE_EXIT_H_
#define QZ_UPDATE_UPDATE_EXIT_H_

// Whether a result code means "already up to date": 255, the programs' own
// word for it, or -1, the same low eight bits seen as a signed value.
bool UpdateIsUpToDate(int code);

#endif  // QZ_UPDATE_UPDATE_EXIT_H_
