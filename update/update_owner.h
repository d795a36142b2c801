// Ownership repair through a descriptor, for what the driver made in a
// directory that the sudo caller owns.

#ifndef QZ_UPDATE_UPDATE_OWNER_H_
#define QZ_UPDATE_UPDATE_OWNER_H_

// UpdateSetOwner (update.h) for the file or directory open on fd, changed
// through the descriptor; path names it in the lines. A negative fd (the
// driver has no descriptor of what it made) reports the change as failed
// with errno as it stands; directory then chooses the word of the warning.
void UpdateSetOwnerOf(int fd, const char* path, bool directory);

#endif  // QZ_UPDATE_UPDATE_OWNER_H_
