// Where the driver's own lines go: progress to the stdout stream
// (UpdatePrint, in update.h), warnings and errors straight to descriptor 2.

#ifndef QZ_UPDATE_UPDATE_PRINT_H_
#define QZ_UPDATE_UPDATE_PRINT_H_

#include <sstream>

#include "base/error/error_format.h"

// Inserted into an UpdateErrorLine: the text of errno as it was when the
// line began, before anything could change it ("nil" when there is none).
struct UpdateErrnoText {};

// One line for standard error, built with << and written whole, with one
// write loop, when the object goes (at the end of the statement that makes
// a temporary one), so that it is never split or mixed with another
// writer's text. What the stdout stream holds is flushed first, since it
// may share the terminal. errno is the same after the line as before it;
// failures to write are ignored: the driver has nowhere else to report them.
//
//   UpdateErrorLine() << "Update: WARNING! ... Error is '"
//                     << UpdateErrnoText() << "'.\n";
class UpdateErrorLine {
 public:
  UpdateErrorLine();
  ~UpdateErrorLine();
  UpdateErrorLine(const UpdateErrorLine&) = delete;
  UpdateErrorLine& operator=(const UpdateErrorLine&) = delete;

  template <typename T>
  UpdateErrorLine& operator<<(const T& value) {
    line_ << value;
    return *this;
  }
  UpdateErrorLine& operator<<(UpdateErrnoText /*unused*/) {
    line_ << ErrorText(savedErrno_);
    return *this;
  }

 private:
  int savedErrno_;
  std::ostringstream line_;
};

// Flushes the stdout stream, so that nothing the driver has printed is left
// in its buffer when it waits for a key or starts a child that writes to
// the same descriptor. A failed flush (a full disk, a reader gone) has lost
// the text; the error is forgotten, so that what comes later is written.
void UpdateFlushOutput();

#endif  // QZ_UPDATE_UPDATE_PRINT_H_
