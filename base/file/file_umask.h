// A process umask held for a scope.

#ifndef QZ_BASE_FILE_FILE_UMASK_H_
#define QZ_BASE_FILE_FILE_UMASK_H_

#include <sys/types.h>

// Sets the process umask to mask for the lifetime of the object and puts
// the previous one back at its end; errno is left as the scope left it. The
// umask is process-wide: another thread creating a file meanwhile gets
// mask too.
class ScopedUmask {
 public:
  explicit ScopedUmask(mode_t mask);
  ~ScopedUmask();
  ScopedUmask(const ScopedUmask&) = delete;
  ScopedUmask& operator=(const ScopedUmask&) = delete;

 private:
  mode_t previous_;
};

#endif  // QZ_BASE_FILE_FILE_UMASK_H_
