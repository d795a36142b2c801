// Resolving a directory path one component at a time, for a driver that
// runs as root on paths that a sudo caller controls.

#ifndef QZ_UPDATE_UPDATE_RESOLVE_H_
#define QZ_UPDATE_UPDATE_RESOLVE_H_

// Whether paths must be resolved safely: the driver runs for a sudo caller
// (SUDO_UID set, effective user root).
bool UpdateResolveSafely();

// Opens the directory that path names, from start (a directory descriptor,
// or AT_FDCWD) for a relative path and from "/" for an absolute one, one
// component at a time with O_NOFOLLOW: a symbolic link is read and its
// target walked in turn (at most 40 links, then ELOOP), so that each step
// is checked before the next one is taken. With safe, a step from
// something owned by a user other than root into a directory or link owned
// by another user is refused with EPERM; a link's absolute target is
// walked from "/" through directories owned by root up to the first one
// that is not, which must belong to the link's owner (a caller's link to
// its own directory), and a walk must not end in a directory owned by root
// after passing a link of another user's.
//
// Returns an O_PATH descriptor of the directory (close-on-exec, the
// caller's), or -1 with errno (EPERM for a refused step, ENOTDIR when the
// last component is no directory, what openat said otherwise).
int UpdateResolveDirectory(int start, const char* path, bool safe);

#endif  // QZ_UPDATE_UPDATE_RESOLVE_H_
