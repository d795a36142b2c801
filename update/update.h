// The update driver: one run of "qzupdate --upgrade".
//
// The run settles the installation environment, makes its log directory,
// runs the update runner and then the post-update program, each after a key
// press, and ends through UpdateExit, the driver's only way out. Standard
// output goes through the C stdio stream stdout (which the post-update stage
// reopens on the session log file); standard error lines go straight to
// descriptor 2; the post-update stage's own lines go through Log.
//
// Single-threaded: the driver's state is the three process-wide values below.

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

// Writes text as it is to standard output and returns the stream, std::cout,
// which is kept in step with the C stdio stream stdout, so that a reopening
// of stdout captures it too. A null text writes nothing and sets the
// stream's bad state.
std::ostream& UpdatePrint(const char* text);

// Installation environment.
void UpdateSetEnvironment(char** argv);
char* UpdateApplicationPath(const char* argv0);
char* UpdateHomeDirectory();
char* UpdateRootDirectory();
char* UpdateRunnerPath(const char* system);
char* UpdatePostPath(const char* system);
char* UpdateServerPath(const char* system);

// Log directory and output redirection.
void UpdatePrepareLogs();
char* UpdateCreateLogDirectory();
char* UpdateRandomId();
void UpdateRedirectOutput(const char* path);
void UpdateRestoreOutput();

// The two stages.
int UpdateStartRunner();
int UpdateStartPost();

// Ownership repair and clean-up.
void UpdateSetOwner(const char* path);
void UpdateRemoveLogs();

#endif  // QZ_UPDATE_UPDATE_H_
