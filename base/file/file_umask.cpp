#include "base/file/file_umask.h"

#include <sys/stat.h>

// umask cannot fail and does not touch errno.
ScopedUmask::ScopedUmask(mode_t mask) : previous_(umask(mask)) {}

ScopedUmask::~ScopedUmask() { umask(previous_); }
