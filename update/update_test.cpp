// The qzupdate command end to end, as one table of scenarios, then unit
// tests of what no run shows: the path search without /proc and the
// descriptors of a redirection. A scenario runs the built
// driver in a throwaway installation whose programs are fakes
// (testing/fake_program.sh) and whose session file is kept when the driver
// removes it (testing/preload_shim.cpp), and compares all that the run
// shows: exit status, standard output and error, what the programs saw,
// the session file and what is left in the personal root and home.

#include "update/update.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "testing/test_support.h"
#include "update/update_environment.h"

namespace {

// The texts that what a run shows is made of. "{name}=text;" defines a
// token: in an expected text "{name}" or "{name args}" stands for its text
// (a definition for "name args" comes first), with "$" in it replaced by
// the args and "$1", "$2" by their words; "{text N}" is the platform's text
// of error N and "{long N}" a path of N characters. Tokens are expanded
// innermost first, so that args may hold tokens.
const char kTokens[] =
    // Standard output.
    R"({set}=Update: Set owner method called.\n{ids};
{ids}=;
{uid}=Update: Using user id '$'.\n;
{gid}=Update: Using group id '$'.\n;
{logs}={set}Update: Using log directory '<L>'.\n{set};
{key}=Update: Press any key to start $1 (it will $2 files).\n;
{prompt}={logs}Update: Going to start update runner.\n{key qzrunner download};
{run}={prompt}{starting}{waitrun}Update: Update runner exited with code $.\n;
{starting}=Update: ACTION! Starting update runner '{bin}/qzrunner.bin'.\n;
{waitrun}=Update: Waiting update runner  with pid <n>.\n;
{ok}={run 0}{installing}{going2}{key qzpost install}{exists};
{installing}=Update: New version downloaded, going to install it.\n;
{going2}=Update: Going to start post update application.\n;
{exists}=Update: File already exists.\n;
{rmfile}=Update: Successfully removed log file $/session.\n;
{removed}={rmfile $}Update: Successfully removed log directory '$'.\n;
{clean}={removed <L>};
{current}=Update: Velmora version is up to date.\n;
{usage}=Update: ERROR! Invalid command, please use '--upgrade' parameter.\n;
{noroot}=Update: WARNING! No environment for QZ_ROOT.\n;
{nohome}={noroot}Update: WARNING! No environment for QZ_HOME.\n;
{assume}=Update: Assuming QZ user's home directory '$'.\n;
{home}={noroot}{assume <T>/home}{inhome};
{inhome}=Update: Assuming QZ root directory in the user's home '<T>/home'.\n;
{made}=Update: WARNING! Creating directory '<T>/home/.qz'.\n{set}{root};
{root}=Update: Assuming QZ root directory '<T>/home/.qz'.\n;
{success}=Update: Update finished successfully.\n;)"
    // Standard error.
    R"({exit}=Update: ERROR! Exiting with update error '$', '{text $}'.\n;
{stop}=Update: ERROR! Error is $, '{text $}'.\n{exit $};
{fail}={exit $}{nologs};
{nologs}=Update: WARNING! Could not find log directory to remove.\n;
{HOME}=Update: ERROR!  HOME is '$'.\n;
{nohomeenv}={HOME $}Update: ERROR! No environment for HOME.\n{empty}{noenv};
{invalid}=Update: ERROR! Invalid value for the QZ home directory '$'.\n;
{empty}=Update: ERROR! Home path is empty.\n;
{noenv}=Update: ERROR! Can not find environment for QZ_ROOT.\n{fail 2};
{cannot}=Update: WARNING! Could not create log directory;
{nodir}={cannot} '$1'. Error is '{text $2}'\n{cannot}.\n{nologs};
{baduid}=Update: WARNING! SUDO_UID is not set properly.\n;
{badgid}=Update: WARNING! SUDO_GID is not set properly.\n;
{refused}=<prefix> File: ERROR! Can't change ownership of '$1'.\n{why2 $2};
{why2}=<prefix> File: ERROR! Error is $, {text $}.\n;
{notgiven}=Update: WARNING! Failed to change ownership of $1 '$2'{why $3};
{why}=. Error is '{text $}'.\n;
{nosession}=Update: WARNING! File '<L>/session' does not exist.\n;
{dirfail}=Update: WARNING! Failed while removing log directory '<L>'{why $};
{unsafe}=Update: Could not redirect stdout to '<L>/session'.\n;)"
    // What the programs see.
    R"({both}={seen runner}{seen post};
{seen}={args $} {vars}\n{modes $}\n{fds $}{sig}{copy $};
{args runner}=qzrunner.bin --update background;
{args post}=qzpost -s {bin}/qzserver;
{bin}=<T>/sys/bin;
{vars}={lib}{config}QZ_LOGS=<L> QZ_ROOT={R} QZ_SYSTEM=<T>/sys;
{lib}=LD_LIBRARY_PATH=/caller/lib ;
{R}=<T>/root;
{config}=;
{modes}=logs 700 {owner} session 600 {owner};
{owner}=me;
{fds}=fds 0:{fd0 $} 1:{fd1 $} 2:{fd2} pos {pos $}\n;
{fd0}=/dev/null;
{fd1}=<T>/rec/out;
{fd1 post}=<L>/session;
{fd2}=<T>/rec/err;
{pos}=0;
{sig}=SigBlk: 0000000000000000\nSigIgn: {ignored}\n;
{ignored}=0000000000000000;
{copy}=;
{copy post}={s0};)"
    // The session file.
    R"({log}=<prefix> Update: $.\n;
{redirected}=Update: Redirected stdout to '<L>/session'.\n;
{s0}={redirected}{logged};
{logged}={executing}{log Using post-upgrade program '{bin}/qzpost'}{using};
{executing}={log ACTION! Executing post update program '{bin}/qzpost'};
{using}={log Using server program '{bin}/qzserver'}{usingroot};
{usingroot}={log Using root directory '{R}'}{postfile}{log Using IN#0 OUT#1};
{postfile}=;
{waiting}={log Waiting post update program with pid <n>};
{exited}={log Update post program exited with code $};
{posted}={s0}{waiting}{exited $};
{errlog}={log Error is $, '{text $}'};
{restore}=Update: Restoring stdout to the original handler.\n;
{done}={s0}{waiting}{success}{restore}{exited 0};)"
    // Whole runs after the status: through both stages; ended by the runner,
    // or by a runner that did not start; by the post-update program (status
    // S, code N) or before it started; by a signal at the first prompt.
    R"({good}={ok}{clean}|$|{both}|{done};
{ended}={run $}{clean}|{stop $}|{seen runner};
{notrun}={run $}{clean}|{stop $};
{postfailed}={ok}{clean}|{exit $2}|{both}|{posted $1}{restore}{errlog $2};
{nopost}={ok}{clean}|{exit $}|{seen runner}|{redirected}{success}{restore};
{stopped}={prompt}{clean}|{exit 4};)";

// Rows' definitions: the personal root made from QZ_HOME, and a sudo caller
// ($D, who owns what the driver gives it).
#define QZ_HOME "{R}=<T>/home/.qz;{config}=QZ_CONFIG=<T>/home/.qz ;"
#define SUDO "{ids}={uid 65534}{gid 65534};{owner}=65534:65534;"
// Links planted at the session file, in place of the log directory.
#define LINK "'rm $QZ_LOGS/session; ln -s $FAKE_TARGET $QZ_LOGS/session'"
#define MOVE "'mv $QZ_LOGS $QZ_LOGS.moved; ln -s $FAKE_TARGET $QZ_LOGS'"
// What they lead to: a directory holding a session file, or a file that
// the post-update program's output would go to.
#define CANARY "mkdir home/canary; echo canary >home/canary/session; "
#define CANARIES "<T>/home/canary 755 me\n<T>/home/canary/session 644 me 7"
#define MOVED "\n<L> -> <T>/home/canary\n<L>.moved 700 me"
#define CANARY_FILE \
  "{fd1 post}=<T>/rec/out;{copy post}=canary\n;echo canary >home/canary; "
#define LINKED \
  "<T>/home/canary 644 me 7\n<L> 700 {owner}\n<L>/session -> <T>/home/canary"
// A personal root that the sudo caller links to a directory of its own.
#define OWN    \
  QZ_HOME SUDO \
      "{fd1 post}=<T>/home/own/M-testhost-<pid>-<id>/session;mkdir home/own; "

// The scenarios: name, script and what the run shows. The script is shell
// run in the installation $T (see kSetup) that ends by exec'ing the driver;
// it may begin with token definitions "{name}=text;" of its own. What the
// run shows is the exit status, standard output, standard error, what the
// programs saw (fake_program.sh), the session file and what is left in
// root/ and home/, separated by '|' (empty ones at the end may be left out).
// In it "<T>" is the installation, "<L>" the run's log directory, "<pid>"
// and "<id>" the process id and random id in other log directory names,
// "<n>" a child's process id, "<prefix>" the driver's log line prefix and
// "me" the test's user.
const char* const kRows[][3] = {
    {"success", "run", "0|{good}"},
    {"input_file",
     "{fd0}=<T>/in;{pos runner}=1;{pos post}=2;printf abc >in; run <in",
     "0|{good}"},
    {"runner_up_to_date", "runner 'exit 255'",
     "255|{run 255}{current}{clean}||{seen runner}"},
    {"runner_fails", "runner 'exit 5'", "5|{ended 5}"},
    {"runner_not_executable", "plain qzrunner.bin; run", "13|{notrun 13}"},
    {"post_up_to_date", "post 'exit 255'",
     "255|{ok}{clean}||{both}|{posted 65280}{current}{restore}{errlog 255}"},
    {"post_fails", "post 'exit 1'", "1|{postfailed 256 1}"},
    {"post_killed", "post 'kill -TERM $$'", "4|{postfailed 15 4}"},
    {"post_not_executable", "plain qzpost; run", "13|{nopost 13}"},
    {"server_missing", "rm sys/bin/qzserver; run", "2|{nopost 2}"},
    {"post_file",
     "{args post}=qzpost -s {bin}/qzserver -f {R}/update.post;{postfile}={log "
     "Using post file '{R}/update.post'};echo >root/update.post; run",
     "0|{good}|<T>/root/update.post 644 me 1"},
    {"child_leaves_a_file", "post 'echo left >$QZ_LOGS/left'",
     "0|{ok}{rmfile <L>}|{dirfail 39}|{both}|{done}|<L> 700 me\n<L>/left 644 "
     "me 5"},
    {"system_from_own_location",
     "{lib}=LD_LIBRARY_PATH=<T>/sys/lib ;Q=$I; run -u QZ_SYSTEM",
     "0|Update: Application path is '<T>/sys/bin'.\n{good}"},
    {"root_made", QZ_HOME "run $H", "0|{home}{made}{good}|<T>/home/.qz 700 me"},
    {"root_kept", QZ_HOME "mkdir home/.qz; run $H",
     "0|{home}{root}{good}|<T>/home/.qz 755 me"},
    {"home_unset", "run -u QZ_ROOT", "2|{nohome}|{nohomeenv nil}"},
    {"home_empty", "run -u QZ_ROOT QZ_HOME= HOME=", "2|{nohome}|{nohomeenv }"},
    {"qz_home_too_long", "run -u QZ_ROOT QZ_HOME={long 1024} HOME=/ignored",
     "2|{noroot}|{invalid {long 1024}}{empty}{noenv}"},
    {"home_too_long", "run -u QZ_ROOT HOME={long 1024}",
     "2|{nohome}|{HOME {long 1024}}{invalid {long 1024}}{empty}{noenv}"},
    {"home_too_long_for_root", "run -u QZ_ROOT HOME={long 1020}",
     "2|{nohome}{assume {long 1020}}|{HOME {long 1020}}{invalid {long "
     "1020}}{noenv}"},
    {"log_directory_not_made", "run QZ_ROOT=$T/none",
     "0||{nodir <T>/none/M-testhost-<pid>-<id> 2}"},
    {"invalid_commands",
     "mkdir home/logs; echo >home/logs/session; $E $Q; $E $Q --upgrade now; $E "
     "$Q --UPGRADE; exec $E QZ_LOGS=$T/home/logs $Q '--upgrade '",
     "1|{usage}{usage}{usage}{usage}{removed <T>/home/logs}|{fail 1}{fail "
     "1}{fail 1}{exit 1}"},
    {"sudo_ids_unusable",
     "run SUDO_UID=-5 SUDO_GID=", "0|{good {baduid}{badgid}{baduid}{badgid}}"},
    {"sudo_uid_alone", "{ids}={uid 12};run SUDO_UID=12x", "0|{good}"},
    {"sudo_gid_alone", "{ids}={gid 7};run SUDO_GID=7", "0|{good}"},
    {"sudo_caller_owns", QZ_HOME SUDO "run $H $D",
     "0|{home}{made}{good}|<T>/home/.qz 700 65534:65534"},
    {"sudo_refused",
     "{ids}={uid 0}{gid 0};{copy post}={refused <L>/session 1}{s0};exec $U $E "
     "SUDO_UID=0 SUDO_GID=0 $I --upgrade",
     "0|{ok}{clean}|{refused <L> 1}{notgiven directory <L> 1}{notgiven file "
     "<L>/session 1}|{both}|{refused <L>/session 1}{done}"},
    {"runner_links_session",
     "{modes post}=logs 700 me session 777 me;" CANARY_FILE "runner " LINK,
     "0|{ok}{success}|{unsafe}{nosession}{dirfail 39}|{both}||" LINKED},
    {"runner_links_directory",
     "{modes post}=logs 777 me session 644 me;{fd1 "
     "post}=<L>.moved/session;{copy post}=canary\n;" CANARY "runner " MOVE,
     "0|{ok}{rmfile <L>}|{dirfail 1}|{both}|{done}|" CANARIES MOVED},
    {"link_after_fchown",
     SUDO "{modes}=logs 700 {owner} session 777 me;" CANARY_FILE
          "run SHIM_AFTER=fchown $D",
     "0|{ok}{success}|{refused <L>/session 17}{notgiven file <L>/session "
     "17}{unsafe}{logged}{waiting}{exited 0}{nosession}{dirfail "
     "39}|{both}||" LINKED},
    {"link_after_mkdir", CANARY "run SHIM_AFTER=mkdir",
     "0||{nodir <L> 20}|||" CANARIES MOVED},
    {"host_name_leaving_root", "mkdir root/M-x; run HOSTNAME=x/y",
     "0||{nodir <T>/root/M-x/y-<pid>-<id> 22}|||<T>/root/M-x 755 me"},
    {"blocked_signals", "run --block-signal --ignore-signal=CHLD", "0|{good}"},
    {"all_closed", "{fd1}=/dev/null;{fd2}=/dev/null;run <&- >&- 2>&-",
     "0|||{both}|{done}"},
    {"reader_gone", "{fd1}=<T>/p;mkfifo p; exec 4<>p 5>p 4<&-; run >&5 5>&-",
     "0|||{both}|{done}"},
    {"error_full", "{fd2}=/dev/full;runner 'exit 5' 2>/dev/full",
     "5|{run 5}{clean}||{seen runner}"},
    // Each signal that ends the run at a prompt, by its number: not every
    // shell knows every name.
    {"int_at_prompt", "at_prompt 2", "4|{stopped}"},
    {"HUP_at_prompt", "at_prompt 1", "4|{stopped}"},
    {"TERM_at_prompt", "at_prompt 15", "4|{stopped}"},
    {"QUIT_at_prompt", "at_prompt 3", "4|{stopped}"},
    {"USR1_at_prompt", "at_prompt 10", "4|{stopped}"},
    {"USR2_at_prompt", "at_prompt 12", "4|{stopped}"},
    {"ALRM_at_prompt", "at_prompt 14", "4|{stopped}"},
    {"XCPU_at_prompt", "at_prompt 24", "4|{stopped}"},
    {"VTALRM_at_prompt", "at_prompt 26", "4|{stopped}"},
    {"PROF_at_prompt", "at_prompt 27", "4|{stopped}"},
    {"POLL_at_prompt", "at_prompt 29", "4|{stopped}"},
    {"PWR_at_prompt", "at_prompt 30", "4|{stopped}"},
    {"STKFLT_at_prompt", "at_prompt 16", "4|{stopped}"},
    {"term_ignored",
     "{fd0}=<T>/in;{ignored}=0000000000004000;at_prompt 15 --ignore-signal=15",
     "0|{good}"},
    {"int_in_runner", "S=setsid; in_runner INT -$$", "4|{ended 4}"},
    {"term_in_runner", "in_runner TERM $$", "4|{ended 4}"},
    {"qz_linked_after_mkdir", QZ_HOME CANARY "run $H SHIM_AFTER=qz",
     "0|{home}{made}|{nodir <L> 20}|||<T>/home/.qz -> "
     "<T>/home/canary\n<T>/home/.qz.moved 700 me\n" CANARIES},
    {"home_moved_after_mkdir",
     QZ_HOME "{exists}=;{modes}=logs  session ;{copy post}=;{fd1 "
             "post}=<T>/home.moved/.qz/M-testhost-<pid>-<id>/session;mkdir "
             "root/canary; run $H SHIM_AFTER=home FAKE_TARGET=$T/root/canary",
     "0|{home}{made}{good cat: <L>/session: No such file or "
     "directory\n}|<T>/root/canary 755 me"},
    {"log_directory_not_openable", "run SHIM_AFTER=open", "0||{nodir <L> 24}"},
    {"host_name_with_dots", "run HOSTNAME=a..b", "0|{good}"},
    {"root_set_group_id", "chgrp $(id -g) root; chmod g+s root; run",
     "0|{good}"},
    {"host_names_with_controls",
     "$E HOSTNAME=\"$(printf 'a\\nb')\" $Q --upgrade; run HOSTNAME=\"$(printf "
     "'\\033[31m')\"",
     "0||{nodir <T>/root/M-a?b-<pid>-<id> 22}{nodir <L> 22}"},
    {"qz_links_elsewhere", QZ_HOME SUDO CANARY "qz $T/home/canary",
     "0|{home}{root}|{nodir <L> 1}|||<T>/home/.qz -> "
     "<T>/home/canary\n" CANARIES},
    {"qz_links_to_own", OWN "qz own home/own",
     "0|{home}{root}{good}|<T>/home/.qz -> own\n<T>/home/own 755 65534:65534"},
    {"qz_links_to_own_absolute", OWN "qz $T/home/own home/own",
     "0|{home}{root}{good}|<T>/home/.qz -> <T>/home/own\n<T>/home/own 755 "
     "65534:65534"},
    {"session_made_a_fifo",
     "{copy post}=;{fd0}=<T>/in;{modes post}=logs 700 me session 644 me;{fd1 "
     "post}=<T>/rec/out;hold; (key qzrunner; at qzpost; L=$(echo root/M-*); rm "
     "$L/session; mkfifo $L/session; echo >&3; : >$L/session; kill -TERM $$) & "
     "post 'exec sleep 60'",
     "4|{ok}|{unsafe}{exit 4}{nosession}{dirfail 39}|{both}||<L> 700 "
     "me\n<L>/session 644 me"},
    // The keys answer the prompts after an XFSZ at the first (which ends
    // nothing), and the post-update program limits the file size to what
    // the session file holds: the driver goes on without what it cannot log.
    {"file_size_limit",
     "{fd0}=<T>/in;hold; (at qzrunner; kill -XFSZ $$; key qzrunner; key "
     "qzpost) & post 'prlimit --pid $PPID --fsize=$(stat -c %s "
     "$QZ_LOGS/session)'",
     "0|{ok}||{both}|{s0}"},
    {"without_proc",
     "{fds}=fds pos \n;{sig}=;echo 'mount -t tmpfs none /proc && exec \"$@\"' "
     ">np; S=\"unshare -m$([ $(id -u) = 0 ] || echo r) sh np\"; $S true || "
     "echo no mount namespace to hide /proc in >rec/skip; grep -q __asan_init "
     "$Q && echo the sanitizers need /proc >rec/skip; run",
     "0|{good}"},
};

// A fresh installation in $T: a copy of the driver ($I) in sys/bin with the
// fake programs beside it, an empty personal root (owned by 65534 under
// root, as a sudo caller's would be) and home; the driver's standard output
// and error go to rec/. $E runs a command in the driver's whole environment
// (in a session of its own with S=setsid, so that "kill -INT -$$" reaches
// its children as a terminal's would). "run ARGS" runs the driver $Q with
// --upgrade through $E, ARGS adding or removing variables as env(1) does;
// "runner CMD" and "post CMD" run it with that shell command for the fake
// program; "hold" puts standard input on a pipe held open on descriptor 3
// by whatever waits with "at TEXT [FILE]" (for at most a minute); "key
// PROGRAM" answers the prompt that starts PROGRAM, and shows "early" if it
// has run already; "at_prompt N ARGS" runs with ARGS, sends signal N at
// the first prompt and then ends the input; "in_runner SIGNAL PID" sends
// SIGNAL to PID once the runner has shown what it saw, and the runner
// waits for it; "qz TARGET [DIR]" links the
// personal root to TARGET, gives home, the link and DIR to the sudo caller
// and runs for it.
const char kSetup[] =
    "Q=" QZUPDATE_PATH " F=" QZ_FAKE_PROGRAM_PATH " P=" QZ_PRELOAD_SHIM_PATH R"(
cd "$T" && umask 022 && mkdir -p sys/bin root home rec && chmod 777 rec
cp $Q sys/bin/qzupdate && cp $F child && cp $P shim
for p in qzrunner.bin qzpost qzserver; do ln -s "$T/child" sys/bin/$p; done
echo $$ >rec/pid; I=$T/sys/bin/qzupdate; exec </dev/null >rec/out 2>rec/err
[ $(id -u) = 0 ] && chown 65534:65534 root &&
  U='setpriv --reuid=65534 --regid=65534 --clear-groups'
H="-u QZ_ROOT QZ_HOME=$T/home HOME=/ignored"; D="SUDO_UID=65534 SUDO_GID=65534"
E="env -i --default-signal PATH=/usr/bin:/bin HOSTNAME=testhost QZ_SYSTEM=$T/sys
  ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 QZ_ROOT=$T/root
  UBSAN_OPTIONS=$UBSAN_OPTIONS LD_LIBRARY_PATH=/caller/lib LD_PRELOAD=$T/shim
  QZ_TEST_REC=$T/rec FAKE_TARGET=$T/home/canary env"
run() { exec $S $E "$@" $Q --upgrade 3>&-; }
runner() { run FAKE_RUNNER="$1"; }; post() { run FAKE_POST="$1"; }
at() { i=0; until grep -qs "$1" "${2:-rec/out}" || [ $((i += 1)) = 6000 ]
  do sleep 0.01; done; }
hold() { mkfifo in; exec 3<>in <in; }
key() { at "$1"; grep -qs "$1" rec/seen && echo early; echo >&3; }
plain() { rm sys/bin/$1 && echo plain >sys/bin/$1; }
at_prompt() { hold; (at qzrunner; kill -$1 $$) & shift; run "$@"; }
in_runner() { (at SigIgn rec/seen; kill -$1 $2) & runner 'exec sleep 60'; }
qz() { ln -s $1 home/.qz && chown -h 65534:65534 home home/.qz $2; run $H $D; }
)";
// What the run showed, in sections.
const char kCollect[] = R"sh(cd "$T" && for f in out err seen session; do
  printf '|'; cat rec/$f 2>/dev/null; done
printf '|%s' "$(find "$T/root" "$T/home" -mindepth 1 -type l -printf \
  '%p -> %l\n' -o -type f -printf '%p %m %U:%G %s\n' -o -printf \
  '%p %m %U:%G\n' | LC_ALL=C sort | sed "s/ $(id -u):$(id -g)/ me/")")sh";

// The text with its tokens expanded, innermost first.
std::string Expand(std::string text,
                   const std::map<std::string, std::string>& tokens) {
  const std::regex innermost(R"(\{(([^{} ]*) ?([^{}]*))\})");
  // The args as a whole ("$&" of a replacement) and their words ("$1"...).
  const std::regex args_words(R"((\S*) ?(\S*) ?(\S*)[\s\S]*)");
  for (std::smatch token; std::regex_search(text, token, innermost);) {
    std::string name = token[2], args = token[3];
    std::string value = name == "text" ? strerror(std::stoi(args))
                        : name == "long"
                            ? "/" + std::string(std::stoi(args) - 1, 'h')
                        : tokens.count(token[1]) != 0 ? tokens.at(token[1])
                                                      : tokens.at(name);
    value = std::regex_replace(value, std::regex(R"(\$(?![0-9]))"), "$$&");
    text.replace(token.position(), token.length(),
                 std::regex_replace(args, args_words, value,
                                    std::regex_constants::format_first_only));
  }
  return text;
}

// The placeholders in place of what varies from run to run.
std::string Normalize(std::string text, const std::string& dir, pid_t pid) {
  const std::string p = std::to_string(pid);
  const std::pair<std::string, std::string> rules[] = {
      {std::regex_replace(dir, std::regex(R"([\\^$.|?*+()[\]{}])"), R"(\$&)"),
       "<T>"},
      {"<T>/(root|home/\\.qz)/M-[^/\n]*-" + p + "-[0-9A-F]{32}", "<L>"},
      {"-[0-9]+-[0-9A-F]{32}", "-<pid>-<id>"},
      {"with pid [0-9]+", "with pid <n>"},
      {R"((^|\n|\|))" + p + " " + p + R"( \d\d:\d\d:\d\d \d{3}\.\d{3} )",
       "$1<prefix> "}};
  for (const auto& [pattern, replacement] : rules) {
    text = std::regex_replace(text, std::regex(pattern), replacement);
  }
  return text;
}

class Driver : public testing::TestWithParam<size_t> {};

TEST_P(Driver, Run) {
  const char* const* row = kRows[GetParam()];
  if (strstr(row[1], "65534") != nullptr && geteuid() != 0) {
    GTEST_SKIP() << "giving files to another user needs root";
  }
  // The definitions, each ended by ';' (and in kTokens by a line end).
  std::map<std::string, std::string> tokens;
  std::string script =
      std::regex_replace(kTokens, std::regex(R"(\\n)"), "\n") + row[1];
  const std::regex definition(R"(^\{([^}]*)\}=([^;]*);\n?)");
  for (std::smatch match; std::regex_search(script, match, definition);
       script = match.suffix()) {
    tokens[match[1]] = match[2];
  }
  qz_test::TempDir temp;
  const std::string dir = "T=" + temp.path() + "\n";
  script = dir + kSetup + Expand(script, tokens);
  // The driver goes with the test, should a time limit end the test first.
  int status = qz_test::RunInChild([&script](int) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    return execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
  });
  FILE* shown = popen((dir + kCollect).c_str(), "r");
  std::string got =
      std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -status) +
      qz_test::ReadAll(fileno(shown));
  pclose(shown);
  std::string want = Expand(row[2], tokens);
  want += std::string(5 - std::count(want.begin(), want.end(), '|'), '|');
  if (std::string why = qz_test::ReadFile(temp.File("rec/skip"));
      !why.empty()) {
    GTEST_SKIP() << why;
  }
  pid_t pid = std::stoi("0" + qz_test::ReadFile(temp.File("rec/pid")));
  EXPECT_EQ(Normalize(got, temp.path(), pid), want);
}

INSTANTIATE_TEST_SUITE_P(Rows, Driver,
                         testing::Range<size_t>(0, std::size(kRows)),
                         [](const auto& row) {
                           return std::string(kRows[row.param][0]);
                         });

TEST(UpdatePaths, WithoutProcLink) {
  EXPECT_EQ(UpdateRunnerPath(""), nullptr);
  EXPECT_EQ(UpdateServerPath(nullptr), nullptr);
  qz_test::TempDir temp;
  qz_test::WriteFile(temp.File("qzrunner"), "");
  const std::string& at = temp.path();
  const std::string fits = at + std::string(1013 - at.size(), '/');
  std::string shown;
  const std::string paths[] = {fits + ":/", fits + "/:" + at,
                               "::/none::" + at + ":/", "/none:/", ""};
  for (const std::string& path : paths) {
    char buffer[1024] = {};
    UpdateSearchPath(path.empty() ? nullptr : path.c_str(), buffer);
    shown.append(buffer).append("|");
  }
  EXPECT_EQ(shown, fits + "/|" + at + "/|" + at + "/|||");
}

// Standard output into a file not there yet, which is made 0700, and back:
// the restored output keeps no descriptor of the redirection behind.
TEST(UpdateRedirectOutput, IntoANewFileAndBack) {
  qz_test::TempDir temp;
  const std::string out = temp.File("out");
  std::map<int, std::string> before = qz_test::Descriptors(getpid());
  UpdateRedirectOutput(out.c_str());
  UpdatePrint("a\n");
  UpdateRestoreOutput();
  EXPECT_EQ(qz_test::Descriptors(getpid()), before);
  EXPECT_EQ(qz_test::FileMode(out) + " " + qz_test::ReadFile(out),
            "700 Update: Redirected stdout to '" + out +
                "'.\na\nUpdate: Restoring stdout to the original handler.\n");
}

}  // namespace
