// Ownership of files.

#ifndef QZ_BASE_FILE_FILE_OWNER_H_
#define QZ_BASE_FILE_FILE_OWNER_H_

// chown (following symbolic links) to user_id and group_id (-1 keeps that
// id unchanged). 1 on success. On failure writes two lines through Log,
//   File: ERROR! Can't change ownership of '<path>'.
//   File: ERROR! Error is <n>, <text>.
// (a null path prints as "nil" and fails with EFAULT), nothing on the error
// channel, and returns -1 with errno as chown left it. Safe from any thread
// that may log.
int FileSetOwner(const char* path, int user_id, int group_id);

// fchown of the file open on fd to user_id and group_id, for callers that
// must not look a name up again; path only names the file in the failure
// lines, which are those of FileSetOwner. A negative fd makes no call and
// fails with errno as the caller left it (the reason there is no
// descriptor). 1 on success, else -1 with errno. Safe from any thread that
// may log.
int FileSetDescriptorOwner(int fd, const char* path, int user_id, int group_id);

#endif  // QZ_BASE_FILE_FILE_OWNER_H_
