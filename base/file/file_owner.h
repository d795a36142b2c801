// Ownership of files.

#ifndef QZ_BASE_FILE_FILE_OWNER_H_
#define QZ_BASE_FILE_FILE_OWNER_H_

// chown (following symbolic links): 1 on success; on failure two lines in the
// log ("File: ERROR! Can't change ownership of '<path>'." and
// "File: ERROR! Error is <n>, <text>.") and -1 with errno from chown.
int FileSetOwner(const char* path, int user_id, int group_id);

#endif  // QZ_BASE_FILE_FILE_OWNER_H_
