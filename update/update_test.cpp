// The qzupdate command end to end, as one table of scenarios, then unit
// tests of the helpers that no run reaches. A scenario runs the built
// driver in a throwaway installation whose programs are fakes
// (testing/fake_program.sh) and whose session file is kept when the driver
// removes it (testing/preload_shim.cpp), and compares all that the run
// shows: exit status, standard output and error, what the programs saw,
// the session file and what is left in the personal root and home.

#include "update/update.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>
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
    "{set}=Update: Set owner method called.\n{ids};"
    "{ids}=;"
    "{uid}=Update: Using user id '$'.\n;"
    "{gid}=Update: Using group id '$'.\n;"
    "{logs}={set}Update: Using log directory '<L>'.\n{set};"
    "{key}=Update: Press any key to start $1 (it will $2 files).\n;"
    "{going}=Update: Going to start update runner.\n{key qzrunner download};"
    "{prompt}={logs}{going};"
    "{run}={prompt}{starting}{waitrun}{ran $};"
    "{starting}=Update: ACTION! Starting update runner '{bin}/qzrunner.bin'.\n;"
    "{waitrun}=Update: Waiting update runner  with pid <n>.\n;"
    "{ran}=Update: Update runner exited with code $.\n;"
    "{ok}={run 0}{installing}{going2}{key qzpost install}{exists};"
    "{installing}=Update: New version downloaded, going to install it.\n;"
    "{going2}=Update: Going to start post update application.\n;"
    "{exists}=Update: File already exists.\n;"
    "{rmfile}=Update: Successfully removed log file $/session.\n;"
    "{removed}={rmfile $}Update: Successfully removed log directory '$'.\n;"
    "{clean}={removed <L>};"
    "{current}=Update: Velmora version is up to date.\n;"
    "{usage}=Update: ERROR! Invalid command, please use '--upgrade' "
    "parameter.\n;"
    "{noroot}=Update: WARNING! No environment for QZ_ROOT.\n;"
    "{nohome}={noroot}Update: WARNING! No environment for QZ_HOME.\n;"
    "{assume}=Update: Assuming QZ user's home directory '$'.\n;"
    "{home}={noroot}{assume <T>/home}{inhome};"
    "{inhome}=Update: Assuming QZ root directory in the user's home "
    "'<T>/home'.\n;"
    "{made}=Update: WARNING! Creating directory '<T>/home/.qz'.\n{set};"
    "{root}=Update: Assuming QZ root directory '<T>/home/.qz'.\n;"
    "{success}=Update: Update finished successfully.\n;"
    // Standard error.
    "{exit}=Update: ERROR! Exiting with update error '$', '{text $}'.\n;"
    "{stop}=Update: ERROR! Error is $, '{text $}'.\n{exit $};"
    "{fail}={exit $}{nologs};"
    "{nologs}=Update: WARNING! Could not find log directory to remove.\n;"
    "{HOME}=Update: ERROR!  HOME is '$'.\n;"
    "{nohomeenv}={HOME $}Update: ERROR! No environment for HOME.\n{empty};"
    "{invalid}=Update: ERROR! Invalid value for the QZ home directory '$'.\n;"
    "{empty}=Update: ERROR! Home path is empty.\n;"
    "{noenv}=Update: ERROR! Can not find environment for QZ_ROOT.\n{fail 2};"
    "{cannot}=Update: WARNING! Could not create log directory;"
    "{nodir}={cannot} '$1'. Error is '{text $2}'\n{cannot}.\n{nologs};"
    "{baduid}=Update: WARNING! SUDO_UID is not set properly.\n;"
    "{badgid}=Update: WARNING! SUDO_GID is not set properly.\n;"
    "{refused}=<prefix> File: ERROR! Can't change ownership of '$1'.\n{why2 "
    "$2};"
    "{why2}=<prefix> File: ERROR! Error is $, {text $}.\n;"
    "{notgiven}=Update: WARNING! Failed to change ownership of $1 '$2'{why $3};"
    "{why}=. Error is '{text $}'.\n;"
    "{nosession}=Update: WARNING! File '<L>/session' does not exist.\n;"
    "{dirfail}=Update: WARNING! Failed while removing log directory '<L>'{why "
    "$};"
    "{unsafe}=Update: Could not redirect stdout to '<L>/session'.\n;"
    // What the programs see.
    "{both}={seen runner}{seen post};"
    "{seen}={args $}\n{vars}\n{modes $}\n{fds $}{sig}{copy $};"
    "{args runner}=qzrunner.bin --update background;"
    "{args post}=qzpost -s {bin}/qzserver;"
    "{bin}=<T>/sys/bin;"
    "{vars}={lib}{config}QZ_LOGS=<L> QZ_ROOT={R} QZ_SYSTEM=<T>/sys ;"
    "{lib}=LD_LIBRARY_PATH=/caller/lib ;"
    "{R}=<T>/root;"
    "{config}=;"
    "{modes}=logs 700 {owner} session 600 {owner};"
    "{owner}=me;"
    "{fds}=fds 0:{fd0 $} 1:{fd1 $} 2:{fd2} pos {pos $}\n;"
    "{fd0}=/dev/null;"
    "{fd1}=<T>/rec/out;"
    "{fd1 post}=<L>/session;"
    "{fd2}=<T>/rec/err;"
    "{pos}=0;"
    "{sig}=SigBlk:\t0000000000000000\nSigIgn:\t{ignored}\n;"
    "{ignored}=0000000000000000;"
    "{copy}=;"
    "{copy post}={s0};"
    // The session file.
    "{log}=<prefix> Update: $.\n;"
    "{redirected}=Update: Redirected stdout to '<L>/session'.\n;"
    "{s0}={redirected}{logged};"
    "{logged}={executing}{log Using post-upgrade program "
    "'{bin}/qzpost'}{using};"
    "{executing}={log ACTION! Executing post update program '{bin}/qzpost'};"
    "{using}={log Using server program '{bin}/qzserver'}{usingroot};"
    "{usingroot}={log Using root directory '{R}'}{postfile}{log Using IN#0 "
    "OUT#1};"
    "{postfile}=;"
    "{waiting}={log Waiting post update program with pid <n>};"
    "{exited}={log Update post program exited with code $};"
    "{posted}={s0}{waiting}{exited $};"
    "{errlog}={log Error is $, '{text $}'};"
    "{restore}=Update: Restoring stdout to the original handler.\n;"
    "{finished}={success}{restore};"
    "{done}={s0}{waiting}{finished}{exited 0};"
    // Whole runs after the status: through both stages; ended by the runner,
    // or by a runner that did not start; by the post-update program (status
    // S, code N) or before it started.
    "{good}={ok}{clean}|$|{both}|{done};"
    "{ended}={run $}{clean}|{stop $}|{seen runner};"
    "{notrun}={run $}{clean}|{stop $};"
    "{postfailed}={ok}{clean}|{exit $2}|{both}|{posted $1}{restore}{errlog $2};"
    "{nopost}={ok}{clean}|{exit $}|{seen runner}|{redirected}{finished};";

// The personal root made from QZ_HOME, and a sudo caller.
#define QZ_HOME "{R}=<T>/home/.qz;{config}=QZ_CONFIG=<T>/home/.qz ;"
#define SUDO "{ids}={uid 65534}{gid 65534};"
// Links planted at the session file, in place of the log directory.
#define LINK "'rm $QZ_LOGS/session; ln -s $FAKE_TARGET $QZ_LOGS/session'"
#define MOVE "'mv $QZ_LOGS $QZ_LOGS.moved; ln -s $FAKE_TARGET $QZ_LOGS'"
#define CANARY "mkdir home/canary; echo canary >home/canary/session; "
#define CANARIES                                                      \
  "<T>/home/canary 755 me\n<T>/home/canary/session 644 me 7\n<L> -> " \
  "<T>/home/canary\n<L>.moved 700 me"
#define SLEEP "runner 'exec sleep 60'"
// A signal (by its number: not every shell knows every name) at the first
// prompt, which ends the run as interrupted.
#define AT_PROMPT(name, number)                                           \
  {                                                                       \
    name "_at_prompt", "hold; (at qzrunner; kill -" #number " $$) & run", \
        "4|{prompt}{clean}|{exit 4}"                                      \
  }

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
    {"runner_not_executable", "plain sys/bin/qzrunner.bin; run",
     "13|{notrun 13}"},
    {"runner_missing", "rm sys/bin/qzrunner.bin; run", "2|{notrun 2}"},
    {"post_up_to_date", "post 'exit 255'",
     "255|{ok}{clean}||{both}|{posted 65280}{current}{restore}{errlog 255}"},
    {"post_fails", "post 'exit 1'", "1|{postfailed 256 1}"},
    {"post_killed", "post 'kill -TERM $$'", "4|{postfailed 15 4}"},
    {"post_missing", "rm sys/bin/qzpost; run", "2|{nopost 2}"},
    {"post_not_executable", "plain sys/bin/qzpost; run", "13|{nopost 13}"},
    {"server_missing", "rm sys/bin/qzserver; run", "2|{nopost 2}"},
    {"server_not_executable", "plain sys/bin/qzserver; run", "13|{nopost 13}"},
    {"post_file",
     "{args post}=qzpost -s {bin}/qzserver -f "
     "<T>/root/update.post;{postfile}={log Using post file "
     "'<T>/root/update.post'};echo >root/update.post; run",
     "0|{good}|<T>/root/update.post 644 me 1"},
    {"child_leaves_a_file", "post 'echo left >$QZ_LOGS/left'",
     "0|{ok}{rmfile <L>}|{dirfail 39}|{both}|{done}|<L> 700 me\n<L>/left 644 "
     "me 5"},
    {"system_from_own_location",
     "{lib}=LD_LIBRARY_PATH=<T>/sys/lib ;Q=$I; run -u QZ_SYSTEM",
     "0|Update: Application path is '<T>/sys/bin'.\n{good}"},
    {"root_made", QZ_HOME "run $H",
     "0|{home}{made}{root}{good}|<T>/home/.qz 700 me"},
    {"root_kept", QZ_HOME "mkdir home/.qz; run $H",
     "0|{home}{root}{good}|<T>/home/.qz 755 me"},
    {"home_unset", "run -u QZ_ROOT", "2|{nohome}|{nohomeenv nil}{noenv}"},
    {"home_empty",
     "run -u QZ_ROOT QZ_HOME= HOME=", "2|{nohome}|{nohomeenv }{noenv}"},
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
     "$E $Q; $E $Q --upgrade now; $E $Q --UPGRADE; exec $E $Q '--upgrade '",
     "1|{usage}{usage}{usage}{usage}|{fail 1}{fail 1}{fail 1}{fail 1}"},
    {"callers_logs_removed",
     "mkdir home/logs; echo >home/logs/session; exec $E QZ_LOGS=$T/home/logs "
     "$Q",
     "1|{usage}{removed <T>/home/logs}|{exit 1}"},
    {"sudo_uid_not_a_number", "run SUDO_UID=x12", "0|{good {baduid}{baduid}}"},
    {"sudo_ids_unusable",
     "run SUDO_UID=-5 SUDO_GID=", "0|{good {baduid}{badgid}{baduid}{badgid}}"},
    {"sudo_uid_alone", "{ids}={uid 12};run SUDO_UID=12x", "0|{good}"},
    {"sudo_gid_alone", "{ids}={gid 7};run SUDO_GID=7", "0|{good}"},
    {"sudo_caller_owns",
     QZ_HOME SUDO "{owner}=65534:65534;run $H SUDO_UID=65534 SUDO_GID=65534",
     "0|{home}{made}{root}{good}|<T>/home/.qz 700 65534:65534"},
    {"sudo_refused",
     "{ids}={uid 0}{gid 0};{copy post}={refused <L>/session 1}{s0};exec $U $E "
     "SUDO_UID=0 SUDO_GID=0 $I --upgrade",
     "0|{ok}{clean}|{refused <L> 1}{notgiven directory <L> 1}{notgiven file "
     "<L>/session 1}|{both}|{refused <L>/session 1}{done}"},
    {"runner_links_session",
     "{modes post}=logs 700 me session 777 me;{fd1 post}=<T>/rec/out;{copy "
     "post}=canary\n;echo canary >home/canary; runner " LINK,
     "0|{ok}{success}|{unsafe}{nosession}{dirfail 39}|{both}||<T>/home/canary "
     "644 me 7\n<L> 700 me\n<L>/session -> <T>/home/canary"},
    {"runner_links_directory",
     "{modes post}=logs 777 me session 644 me;{fd1 "
     "post}=<L>.moved/session;{copy post}=canary\n;" CANARY "runner " MOVE,
     "0|{ok}{rmfile <L>}|{dirfail 1}|{both}|{done}|" CANARIES},
    {"link_after_fchown",
     SUDO "{modes}=logs 700 65534:65534 session 777 me;{fd1 "
          "post}=<T>/rec/out;{copy post}=canary\n;echo canary >home/canary; "
          "run SHIM_AFTER=fchown SUDO_UID=65534 SUDO_GID=65534",
     "0|{ok}{success}|{refused <L>/session 17}{notgiven file <L>/session "
     "17}{unsafe}{logged}{waiting}{exited 0}{nosession}{dirfail "
     "39}|{both}||<T>/home/canary 644 me 7\n<L> 700 65534:65534\n<L>/session "
     "-> <T>/home/canary"},
    {"link_after_mkdir", CANARY "run SHIM_AFTER=mkdir",
     "0||{nodir <L> 20}|||" CANARIES},
    {"host_names_leaving_root",
     "mkdir root/M-x; $E HOSTNAME=x/y $Q --upgrade; run HOSTNAME=../up",
     "0||{nodir <T>/root/M-x/y-<pid>-<id> 22}{nodir "
     "<T>/root/M-../up-<pid>-<id> 22}|||<T>/root/M-x 755 me"},
    {"blocked_signals", "run --block-signal --ignore-signal=CHLD", "0|{good}"},
    {"all_closed", "{fd1}=/dev/null;{fd2}=/dev/null;run <&- >&- 2>&-",
     "0|||{both}|{done}"},
    {"reader_gone", "{fd1}=<T>/p;mkfifo p; exec 4<>p 5>p 4<&-; run >&5 5>&-",
     "0|||{both}|{done}"},
    {"output_full", "{fd1}=/dev/full;run >/dev/full", "0|||{both}|{done}"},
    {"error_full", "{fd2}=/dev/full;runner 'exit 5' 2>/dev/full",
     "5|{run 5}{clean}||{seen runner}"},
    {"keys", "{fd0}=<T>/in;hold; (key qzrunner; key qzpost) & run", "0|{good}"},
    {"int_at_prompt", "hold; (at qzrunner; kill -INT $$) & run",
     "4|{prompt}{clean}|{exit 4}"},
    AT_PROMPT("HUP", 1),
    AT_PROMPT("TERM", 15),
    AT_PROMPT("QUIT", 3),
    AT_PROMPT("USR1", 10),
    AT_PROMPT("USR2", 12),
    AT_PROMPT("ALRM", 14),
    AT_PROMPT("XCPU", 24),
    AT_PROMPT("VTALRM", 26),
    AT_PROMPT("PROF", 27),
    AT_PROMPT("POLL", 29),
    AT_PROMPT("PWR", 30),
    AT_PROMPT("STKFLT", 16),
    {"term_ignored",
     "{fd0}=<T>/in;{ignored}=0000000000004000;hold; (at qzrunner; kill -TERM "
     "$$) & run --ignore-signal=TERM",
     "0|{good}"},
    {"int_in_runner", "S=setsid; (at SigIgn rec/seen; kill -INT -$$) & " SLEEP,
     "4|{ended 4}"},
    {"term_in_runner", "(at SigIgn rec/seen; kill -TERM $$) & " SLEEP,
     "4|{ended 4}"},
    {"qz_linked_after_mkdir", QZ_HOME CANARY "run $H SHIM_AFTER=qz",
     "0|{home}{made}{root}|{nodir <L> 20}|||<T>/home/.qz -> "
     "<T>/home/canary\n<T>/home/.qz.moved 700 me\n<T>/home/canary 755 "
     "me\n<T>/home/canary/session 644 me 7"},
    {"home_moved_after_mkdir",
     QZ_HOME "{exists}=;{modes}=logs  session ;{copy post}=;{fd1 "
             "post}=<T>/home.moved/.qz/M-testhost-<pid>-<id>/session;mkdir "
             "root/canary; run $H SHIM_AFTER=home FAKE_TARGET=$T/root/canary",
     "0|{home}{made}{root}{good cat: <L>/session: No such file or "
     "directory\n}|<T>/root/canary 755 me"},
    {"log_directory_not_openable", "run SHIM_AFTER=open", "0||{nodir <L> 24}"},
    {"host_name_with_dots", "run HOSTNAME=a..b", "0|{good}"},
    {"host_names_with_controls",
     "$E HOSTNAME=\"$(printf 'a\\nb')\" $Q --upgrade; run "
     "HOSTNAME=\"$(printf '\\033[31m')\"",
     "0||{nodir <T>/root/M-a?b-<pid>-<id> 22}{nodir <L> 22}"},
    {"qz_links_elsewhere",
     QZ_HOME SUDO CANARY
     "chown 65534:65534 home; ln -s $T/home/canary "
     "home/.qz; chown -h 65534:65534 home/.qz; run $H SUDO_UID=65534 "
     "SUDO_GID=65534",
     "0|{home}{root}|{nodir <L> 1}|||<T>/home/.qz -> "
     "<T>/home/canary\n<T>/home/canary 755 me\n<T>/home/canary/session 644 me "
     "7"},
    {"qz_links_to_own",
     QZ_HOME SUDO
     "{owner}=65534:65534;{fd1 "
     "post}=<T>/home/own/M-testhost-<pid>-<id>/session;mkdir home/own; chown "
     "-R 65534:65534 home; ln -s own "
     "home/.qz; chown -h 65534:65534 home/.qz; run $H SUDO_UID=65534 "
     "SUDO_GID=65534",
     "0|{home}{root}{good}|<T>/home/.qz -> own\n<T>/home/own 755 "
     "65534:65534"},
    {"qz_links_to_own_absolute",
     QZ_HOME SUDO
     "{owner}=65534:65534;{fd1 "
     "post}=<T>/home/own/M-testhost-<pid>-<id>/session;mkdir home/own; chown "
     "-R 65534:65534 home; ln -s $T/home/own "
     "home/.qz; chown -h 65534:65534 home/.qz; run $H SUDO_UID=65534 "
     "SUDO_GID=65534",
     "0|{home}{root}{good}|<T>/home/.qz -> <T>/home/own\n<T>/home/own 755 "
     "65534:65534"},
    {"session_made_a_fifo",
     "{copy post}=;{fd0}=<T>/in;{modes post}=logs 700 me session 644 me;{fd1 "
     "post}=<T>/rec/out;hold; (key qzrunner; at qzpost; L=$(echo root/M-*); rm "
     "$L/session; mkfifo $L/session; echo >&3; until [ $(grep -c SigIgn "
     "rec/seen) = 2 ]; do sleep 0.01; done; kill -TERM $$) & post 'exec sleep "
     "60'",
     "4|{ok}|{unsafe}{exit 4}{nosession}{dirfail 39}|{seen runner}{seen "
     "post}||<L> 700 me\n<L>/session 644 me"},
    {"xfsz_at_prompt",
     "{fd0}=<T>/in;hold; (at qzrunner; kill -XFSZ $$; key qzrunner; key "
     "qzpost) & run",
     "0|{good}"},
    {"file_size_limit",
     "post 'prlimit --pid $PPID --fsize=$(stat -c %s $QZ_LOGS/session)'",
     "0|{ok}||{both}|{s0}"},
    {"without_proc",
     "{fds}=fds pos \n;{sig}=;printf '#!/bin/sh\\nmount -t tmpfs none /proc && "
     "exec \"$@\"\\n' >np; "
     "chmod +x np; S=\"unshare -m$([ $(id -u) = 0 ] || echo r) $T/np\"; if ! "
     "$S true; then echo no mount namespace to hide /proc in >rec/skip; elif "
     "grep -q __asan_init $Q; then echo the sanitizers need /proc "
     ">rec/skip; fi; run",
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
// has run already.
const char kSetup[] =
    "cd \"$T\" && umask 022 && mkdir -p sys/bin root home rec && chmod 777 "
    "rec && cp " QZUPDATE_PATH " sys/bin/qzupdate && cp " QZ_FAKE_PROGRAM_PATH
    " child && cp " QZ_PRELOAD_SHIM_PATH
    " shim && for p in qzrunner.bin qzpost qzserver; do ln -s \"$T/child\" "
    "sys/bin/$p; done\necho $$ >rec/pid; exec </dev/null >rec/out 2>rec/err\n"
    "[ $(id -u) = 0 ] && chown 65534:65534 root && U='setpriv --reuid=65534 "
    "--regid=65534 --clear-groups'\n"
    "I=$T/sys/bin/qzupdate; Q=" QZUPDATE_PATH
    "; H=\"-u QZ_ROOT QZ_HOME=$T/home HOME=/ignored\"\n"
    "E=\"env -i --default-signal PATH=/usr/bin:/bin HOSTNAME=testhost "
    "QZ_SYSTEM=$T/sys QZ_ROOT=$T/root LD_LIBRARY_PATH=/caller/lib "
    "LD_PRELOAD=$T/shim ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 "
    "UBSAN_OPTIONS=$UBSAN_OPTIONS QZ_TEST_REC=$T/rec "
    "FAKE_TARGET=$T/home/canary env\"\n"
    "run() { exec $S $E \"$@\" $Q --upgrade 3>&-; }\n"
    "runner() { run FAKE_RUNNER=\"$1\"; }; post() { run FAKE_POST=\"$1\"; }\n"
    "at() { i=0; until grep -qs \"$1\" \"${2:-rec/out}\" || [ $((i += 1)) = "
    "6000 ]; do sleep 0.01; done; }\n"
    "hold() { mkfifo in; exec 3<>in <in; }\n"
    "key() { at \"$1\"; grep -qs \"$1\" rec/seen && echo early; echo >&3; }\n"
    "plain() { rm \"$1\" && echo plain >\"$1\"; }\n";
// What the run showed, in sections.
const char kCollect[] =
    "cd \"$T\" && for f in out err seen session; do printf '|'; cat rec/$f "
    "2>/dev/null; done; printf '|%s' \"$(find \"$T/root\" \"$T/home\" "
    "-mindepth 1 \\( -type l -printf '%p -> %l\\n' \\) -o \\( -type f -printf "
    "'%p %m %U:%G %s\\n' \\) -o -printf '%p %m %U:%G\\n' | LC_ALL=C sort | "
    "sed \"s/ $(id -u):$(id -g)/ me/\")\"";

void Replace(std::string* text, const std::string& from,
             const std::string& to) {
  for (size_t at = 0; (at = text->find(from, at)) != std::string::npos;
       at += to.size()) {
    text->replace(at, from.size(), to);
  }
}

std::string Expand(std::string text,
                   const std::map<std::string, std::string>& tokens) {
  for (size_t close; (close = text.find('}')) != std::string::npos;) {
    size_t open = text.rfind('{', close);
    std::string token = text.substr(open + 1, close - open - 1);
    std::string name = token.substr(0, token.find(' '));
    std::string args = token.substr(std::min(token.size(), name.size() + 1));
    std::string value =
        tokens.count(token) != 0 ? tokens.at(token) : tokens.at(name);
    std::istringstream words(args);
    int count = 0;
    for (std::string word; words >> word;) {
      Replace(&value, "$" + std::to_string(++count), word);
    }
    Replace(&value, "$", args);
    value = name == "text" ? strerror(std::stoi(args)) : value;
    text.replace(
        open, close - open + 1,
        name == "long" ? "/" + std::string(std::stoi(args) - 1, 'h') : value);
  }
  return text;
}

// The placeholders in place of what varies from run to run.
std::string Normalize(std::string text, const std::string& dir, pid_t pid) {
  Replace(&text, dir, "<T>");
  const std::string p = std::to_string(pid);
  const std::pair<std::string, std::string> rules[] = {
      {"<T>/(root|home/\\.qz)/M-[^/\n]*-" + p + "-[0-9A-F]{32}", "<L>"},
      {"-[0-9]+-[0-9A-F]{32}", "-<pid>-<id>"},
      {"with pid [0-9]+", "with pid <n>"},
      {"(^|\n|\\|)" + p + " " + p +
           " [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{3}\\.[0-9]{3} ",
       "$1<prefix> "}};
  for (const auto& [pattern, replacement] : rules) {
    text = std::regex_replace(text, std::regex(pattern), replacement);
  }
  return text;
}

class Driver : public testing::TestWithParam<size_t> {};

TEST_P(Driver, Run) {
  const char* const* row = kRows[GetParam()];
  std::map<std::string, std::string> tokens = {{"text", ""}, {"long", ""}};
  std::string script = kTokens + std::string(row[1]);
  for (size_t end = 0; script[0] == '{'; script.erase(0, end + 1)) {
    size_t equals = script.find("}=");
    end = script.find(';');
    tokens[script.substr(1, equals - 1)] =
        script.substr(equals + 2, end - equals - 2);
  }
  if (script.find("65534") != std::string::npos && geteuid() != 0) {
    GTEST_SKIP() << "giving files to another user needs root";
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
                         testing::Range<size_t>(0,
                                                sizeof kRows / sizeof kRows[0]),
                         [](const testing::TestParamInfo<size_t>& param) {
                           return std::string(kRows[param.param][0]);
                         });

// What no run reaches: the program paths of no installation, and the PATH
// search for the installation, its last way to find it: "<entry>/" for the
// first non-empty entry holding a qzrunner whose "<entry>/qzrunner" fits in
// 1022 characters.
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

// Standard output into a new file, again into it while redirected, into a
// file that cannot be opened, and back: the lines on each side, the new
// file's mode, and no descriptor left behind.
TEST(UpdateRedirectOutput, IntoFilesAndBack) {
  qz_test::TempDir temp;
  qz_test::ScopedFd terminal(memfd_create("terminal", 0));
  qz_test::ScopedFd original(dup(1));
  dup2(terminal.get(), 1);
  qz_test::StderrCapture err;
  std::map<int, std::string> before = qz_test::Descriptors(getpid());
  UpdateRedirectOutput(temp.File("out").c_str());
  UpdatePrint("a\n");
  std::string shown = qz_test::DescribePath(temp.File("out")).substr(0, 4);
  chmod(temp.File("out").c_str(), 0640);
  UpdateRedirectOutput(temp.File("out").c_str());
  UpdateRedirectOutput(temp.File("none/out").c_str());
  UpdatePrint("b\n");
  UpdateRestoreOutput();
  EXPECT_TRUE(UpdatePrint(nullptr).bad());
  std::cout.clear();
  static_cast<void>(fflush(stdout));
  EXPECT_EQ(qz_test::Descriptors(getpid()), before);
  dup2(original.get(), 1);
  lseek(terminal.get(), 0, SEEK_SET);
  shown += qz_test::DescribePath(temp.File("out")).substr(0, 4) +
           qz_test::ReadFile(temp.File("out")) +
           qz_test::ReadAll(terminal.get()) + err.Take();
  EXPECT_EQ(Normalize(shown, temp.path(), 0),
            "700 640 Update: Redirected stdout to '<T>/out'.\na\n"
            "Update: Restoring stdout to the original handler.\n"
            "Update: Redirected stdout to '<T>/out'.\n"
            "Update: Restoring stdout to the original handler.\n"
            "Update: File already exists.\nb\n"
            "Update: Can't redirect stdout before restoring the original "
            "descriptors.\nUpdate: Can't redirect stdout before restoring the "
            "original descriptors.\nUpdate: Could not redirect stdout to "
            "'<T>/none/out'.\n");
}

}  // namespace
