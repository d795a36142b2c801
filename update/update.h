// The update driver: one run of "qzupdate --upgrade".
//
// The run settles the installation environment, makes its log directory,
// runs the update runner and then the post-update program, each after a key
// press, and ends through UpdateExit, the driver's only way out. Standard
// output goes through the C stdio stream stdout (which the post-update stage
// reopens on the session log file); standard error lines go straight to
// descriptor 2; the post-update stage's own lines go through Log.
//
// Single-threaded: the driver's state is the three process-wide values below
// and what the run made (update_made.h).

#ifndef QZ_UPDATE_UPDATE_H_
#define QZ_UPDATE_UPDATE_H_

#include <ostream>

// The run's result and the process's exit status.
extern int updateResult;
// Owned string: "<QZ_SYSTEM>/bin/qzrunner.bin", or null.
extern char* runnerPath;
// Duplicate of the descriptor stdout had before a redirection; -1 when none
// is in force.
extern int savedOutput;

// The whole run; never returns.
[[noreturn]] void UpdateMain(int argc, char** argv);

// Final line, standard output back, log file closed, logs removed, then
// exit(updateResult).
[[noreturn]] void UpdateExit();
// Every end of the run: sets updateResult to code, its one writer, and
// calls UpdateExit.
[[noreturn]] void UpdateExitWith(int code);

// Writes text as it is to standard output and returns the stream, std::cout,
// which is kept in step with the C stdio stream stdout, so that a reopening
// of stdout captures it too. A null text writes nothing and sets the
// stream's bad state.
std::ostream& UpdatePrint(const char* text);

// Installation environment.
//
// Settles QZ_SYSTEM (with LD_LIBRARY_PATH "<QZ_SYSTEM>/lib") from the
// driver's own location and QZ_ROOT (with QZ_CONFIG) as "<home>/.qz" when
// the caller's environment does not hold them. Returns only on success; when
// either cannot be settled it ends the run with 2.
void UpdateSetEnvironment(char** argv);
// The driver's directory: from /proc/<pid>/exe without a trailing '/', else
// from an absolute argv0 (null allowed) with one, else "<entry>/" for the
// first PATH entry holding a qzrunner. Prints the "Application path" line.
// A new owned string, possibly empty, never null; the caller frees it.
char* UpdateApplicationPath(const char* argv0);
// The QZ user's home: QZ_HOME, else HOME, at most 1023 characters. A new
// owned string, or null (with the reason on standard error).
char* UpdateHomeDirectory();
// "<home>/.qz" for a home of at most 1019 characters, made with mode 0700
// and given to the sudo caller when missing. A new owned string (naming a
// directory that may not exist when making it failed), or null.
char* UpdateRootDirectory();
// New owned strings "<system>/bin/qzrunner.bin", "<system>/bin/qzpost" and
// "<system>/bin/qzserver"; null for a null or empty system. Print nothing.
char* UpdateRunnerPath(const char* system);
char* UpdatePostPath(const char* system);
char* UpdateServerPath(const char* system);

// Log directory and output redirection.
//
// Makes the run's log directory, exports it as QZ_LOGS and points the
// Logger's log channel at "<QZ_LOGS>/session" (mode 0600, given to the sudo
// caller). Returns only on success; otherwise ends the run with 0.
void UpdatePrepareLogs();
// Makes "<QZ_ROOT>/M-<host>-<pid>-<id>" with mode 0700 for the sudo caller.
// A new owned string with its path, or null (with a warning on standard
// error) when QZ_ROOT is missing, the name would exceed 1022 characters or
// mkdir fails.
char* UpdateCreateLogDirectory();
// 32 upper-case hexadecimal digits: the MD5 of one rand() draw, the
// generator seeded from the clock's microseconds. A new owned string.
// Reseeds the process-wide generator.
char* UpdateRandomId();
// Makes standard output (descriptor and stdout stream) append to path,
// keeping the previous standard output in savedOutput (close-on-exec). When
// path cannot be opened, standard output stays as it was and savedOutput is
// -1. A redirection already in force is undone first.
void UpdateRedirectOutput(const char* path);
// Puts the saved standard output back and closes savedOutput; does nothing
// when no redirection is in force.
void UpdateRestoreOutput();

// The two stages.
//
// Runs "<runnerPath> --update background" and waits for it. Returns 0 when
// it exited with 0, and 2 when runnerPath is null or empty; every other
// outcome ends the run with the runner's code or the error number.
int UpdateStartRunner();
// Redirects standard output into the session file, then runs
// "<QZ_SYSTEM>/bin/qzpost -s <QZ_SYSTEM>/bin/qzserver [-f
// <QZ_ROOT>/update.post]" and waits for it. Returns 0 when it exited with 0, 2
// without a program path, an error number when a program may not be read and
// executed or the child could not be created. A non-zero status or a failed
// wait ends the run with the decoded code or the error number.
int UpdateStartPost();

// Ownership repair and clean-up.
//
// Gives the existing path to SUDO_UID:SUDO_GID when both are usable; every
// problem is a warning on standard error and the run goes on.
void UpdateSetOwner(const char* path);
// Removes "<QZ_LOGS>/session" (up to 50 tries, 100 ms apart) and then the
// QZ_LOGS directory when it is empty; failures are warnings.
void UpdateRemoveLogs();

#endif  // QZ_UPDATE_UPDATE_H_
