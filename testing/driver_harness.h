// Running the built qzupdate against a throwaway installation, for the
// driver's end-to-end tests.

#ifndef QZ_TESTING_DRIVER_HARNESS_H_
#define QZ_TESTING_DRIVER_HARNESS_H_

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

// A temporary directory holding a fake installation, removed with all its
// content when the object goes:
//   sys/bin/qzrunner.bin, sys/bin/qzpost, sys/bin/qzserver   fake programs
//   root/     an existing personal root directory (QZ_ROOT)
//   home/     a home directory without .qz
//   record/   what the fake programs saw (fake_program.cpp)
//   child     the program the fake scripts exec
class FakeInstallation {
 public:
  FakeInstallation();
  ~FakeInstallation();
  FakeInstallation(const FakeInstallation&) = delete;
  FakeInstallation& operator=(const FakeInstallation&) = delete;

  const std::string& dir() const { return dir_; }
  std::string Path(const std::string& relative) const {
    return dir_ + "/" + relative;
  }
  // What the fake program of that name recorded, or "" when it did not run.
  std::string Record(const std::string& name) const;
  // Copies the driver into sys/bin and returns the copy's path.
  std::string InstallDriver() const;

 private:
  std::string dir_;
};

// How the driver is run: its program, argument vector, the whole of its
// environment and its standard input and output.
struct DriverOptions {
  // kClosedPipe: a pipe whose reader is gone before the driver starts;
  // kFull: /dev/full.
  enum class Output { kFile, kPipe, kClosedPipe, kFull };
  std::string program;
  std::vector<std::string> argv;  // argv[0] included
  std::map<std::string, std::string> environment;
  // Null: /dev/null. Otherwise a pipe holding this text, then its end.
  const char* input = nullptr;
  // Standard input closed altogether (input is then not used).
  bool close_input = false;
  Output output = Output::kFile;
  // Standard output or error closed altogether; standard error on
  // /dev/full.
  bool close_output = false;
  bool close_error = false;
  bool error_full = false;
  // Standard input a pipe that stays open until FinishDriver (input is then
  // not used); the driver's first prompt waits on it.
  bool hold_input = false;
  // Run in the driver's process just before exec (signal dispositions, the
  // mask, the process group). Only async-signal-safe calls.
  void (*before_exec)() = nullptr;
};

struct DriverRun {
  pid_t pid = -1;
  int exit_status = -1;  // -1 when the driver did not exit normally
  std::string out;
  std::string err;
};

// Options for a run of the built driver with "--upgrade" against the
// installation: PATH, HOSTNAME=testhost, QZ_SYSTEM, QZ_ROOT and FAKE_RECORD
// set, and the sanitizers' options passed on.
DriverOptions DefaultOptions(const FakeInstallation& installation);

// Opens /dev/null on any of descriptors 0, 1 and 2 that the test process
// was started without, so that descriptors the tests open never take a
// standard number.
void EnsureStandardDescriptors();

// A driver started and not yet waited for.
struct StartedDriver {
  pid_t pid = -1;
  int input = -1;   // the held input's write end, or -1
  int output = -1;  // read end of a kPipe output, or -1
  std::string out_path;
  std::string err_path;
};

// Starts the driver; standard error goes to a file.
StartedDriver StartDriver(const DriverOptions& options,
                          const std::string& scratch);
// Closes the held input, reads the output to its end and waits.
DriverRun FinishDriver(StartedDriver* started);
// Both in one: runs the driver to its end.
DriverRun RunDriver(const DriverOptions& options, const std::string& scratch);

// Waits until the file holds text (the driver or a child got that far); a
// test failure after a generous limit, which only catches a hang.
void AwaitText(const std::string& path, const std::string& text);

// Makes output comparable: the installation's directory becomes "<T>", the
// log directory's process id and random id "<pid>" and "<id>", the waiting
// line's process id "<n>", and the log line prefix "<prefix> ".
std::string Normalize(const std::string& text, const std::string& dir);

// Removes every whole line equal to line (without its end) and returns how
// many there were.
int TakeLines(std::string* text, const std::string& line);

// Reads a whole file; "" when it cannot be read.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
// Mode bits and "uid:gid" of a path, or "missing".
std::string DescribePath(const std::string& path);
// The names in a directory, sorted, joined with blanks.
std::string ListDirectory(const std::string& path);

// argv/envp vectors for execve, pointing into the strings they were made of.
std::vector<std::string> EnvironmentStrings(
    const std::map<std::string, std::string>& environment);
std::vector<char*> Pointers(std::vector<std::string>* strings);

#endif  // QZ_TESTING_DRIVER_HARNESS_H_
