// What the run made in the caller's directories: the personal root
// directory (when the run made it), the log directory and its session file.
//
// Under sudo the caller owns the personal root and, once it is given away,
// the log directory, and may change them between two of the driver's
// steps. So whatever the driver made is held by descriptor (close-on-exec)
// from the moment it is made, and every later step works through those
// descriptors and checks, before acting, that a name still leads to the very
// file or directory made: nothing is looked up again by path in a directory
// the caller owns. The state lives in update_made.cpp alone; the rest of
// the driver reaches it through the operations below. Single-threaded.

#ifndef QZ_UPDATE_UPDATE_MADE_H_
#define QZ_UPDATE_UPDATE_MADE_H_

// "<logs>/session": a new owned string, or null for a null logs.
char* UpdateSessionPathOf(const char* logs);

// Resolves the home directory once and keeps it (safely under sudo, see
// update_resolve.h), then tells whether ".qz" is there in it (following a
// link, as a test of existence only). False also when the home directory
// cannot be resolved; UpdateMadeRoot then fails with the reason.
bool UpdateMadeRootPresent(const char* home);

// Makes ".qz" in the home directory kept, as the personal root directory
// root (mode 0700, with the process umask 077 around it), keeps a
// descriptor of it, sets its mode 0700 and gives it to the sudo caller
// (UpdateSetOwner's lines). 0 when mkdir made it; -1 with errno from mkdir
// (or from resolving the home directory) otherwise (EEXIST: something is
// there already, which is then neither changed nor kept). A directory made
// but no longer there as made when it is opened is not kept, and the owner
// change reports why.
int UpdateMadeRoot(const char* root);

// Resolves the existing ".qz" of the home directory kept, as the personal
// root directory root, and keeps it; when it cannot be resolved (a refused
// step included), the reason is kept instead, and making the log directory
// in root fails with it.
void UpdateMadeFindRoot(const char* root);

// Whether name exists in the personal root directory root (a link
// followed, as a test of existence only): looked up through the directory
// kept for root, else (a root the run did not resolve) by path.
bool UpdateMadeRootHolds(const char* root, const char* name);

// Makes the log directory name inside root (the personal root kept by
// UpdateMadeRoot or UpdateMadeFindRoot when that is root, else root
// resolved now, once), mode 0700, keeps a descriptor and the identity of
// it, sets its mode 0700 and gives it to the sudo caller under the name
// path. 0 on success; -1 with errno when root cannot be resolved or the
// directory cannot be made or is not there as made (it is removed again
// then, and nothing is kept or changed).
int UpdateMadeLogDirectory(const char* root, const char* name,
                           const char* path);

// "<log directory>/session" of the log directory made, or null before it is
// made. Borrowed: valid for the run.
const char* UpdateMadeSessionPath();

// Creates "session" in the log directory made, for root alone (mode 0600,
// never following or reusing what is there) and keeps its identity. Returns
// a new descriptor of it, open for appending, which the caller closes; or
// -1 with errno (ENOENT when there is no log directory).
int UpdateMadeSession();

// Whether path names the log directory made, or the session file made.
bool UpdateIsMadeLogDirectory(const char* path);
bool UpdateIsMadeSession(const char* path);

// The session file made, opened again for appending through the log
// directory's descriptor, only while the name "session" still leads to that
// very file: a close-on-exec descriptor, or -1 with errno.
int UpdateMadeReopenSession();

// Whether "session" in the log directory made is still the file made.
bool UpdateMadeSessionPresent();
// Removes "session" from the log directory made. 0, or -1 with errno.
int UpdateMadeRemoveSession();
// Removes the log directory made from root, only while its name there
// still leads to it. 0, or -1 with errno (EPERM when something else has
// taken its place).
int UpdateMadeRemoveLogDirectory();

#endif  // QZ_UPDATE_UPDATE_MADE_H_
