// User and group ids and the user and group databases.
//
// The look-ups use the reentrant database calls with a text buffer that they
// allocate with new[] and store in the caller's slot: on success (1) the
// caller owns it and releases it with delete[] once done with the record; on
// failure (-1) it has been released already and errno tells why (ENOENT when
// the entry does not exist). Failures write two lines through Log. All of
// them may run in any thread.

#ifndef QZ_BASE_PROCESS_USER_H_
#define QZ_BASE_PROCESS_USER_H_

#include <grp.h>
#include <pwd.h>

// The id in text that begins with a decimal digit (its leading number,
// narrowed to 32 bits), or -1 for any other text and for a negative result.
int ProcessParseId(const char* text);

int ProcessGetUserId();
int ProcessGetGroupId();

int ProcessGetUserEntry(const char* name, struct passwd* record, char** buffer);
int ProcessGetGroupEntry(const char* name, struct group* record, char** buffer);
int ProcessGetUserEntryById(int user_id, struct passwd* record, char** buffer);
int ProcessGetGroupEntryById(int group_id, struct group* record, char** buffer);

// The id of a named user or group, or -1 (logged).
int ProcessGetUserIdByName(const char* name);
int ProcessGetGroupIdByName(const char* name);

// 1 with the owned-string slot set to the name, or -1 with the slot
// unchanged.
int ProcessGetUserName(char** slot, int user_id);
int ProcessGetGroupName(char** slot, int group_id);

#endif  // QZ_BASE_PROCESS_USER_H_
