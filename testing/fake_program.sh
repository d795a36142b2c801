#!/bin/sh
# Stands in for the installation's programs in the driver's end-to-end
# tests: sys/bin/qzrunner.bin and sys/bin/qzpost lead to it. It appends to
# "$QZ_TEST_REC/seen" what it sees: its name and arguments with the
# variables the driver sets on one line, mode and owner ("me" for its own
# user) of the log directory and the session file, its descriptors (but the
# shell's own one of this script) and the offset of standard input, its
# blocked and ignored signals (the last three from /proc, when there is
# one), and for qzpost the session file as it stands. Then it runs the
# shell command FAKE_RUNNER or FAKE_POST: how the program ends, and what it
# does to the installation first.
name=${0##*/}
# Listed by another process, so that nothing this shell opens shows.
[ ! -d /proc/$$/fd ] || find /proc/$$/fd -mindepth 1 \
  ! -lname "$(readlink -f "$0")" -fprintf "$QZ_TEST_REC/fds.$$" ' %f:%l'
mode() { stat -c '%a %u:%g' "$1" 2>/dev/null | sed "s/$(id -u):$(id -g)/me/"; }
{
  # shellcheck disable=SC2046 # the variables, one space apart
  echo "$name $*" $(env | grep -E '^(QZ_[CLRS]|LD_LIBRARY_PATH=)' | sort)
  echo "logs $(mode "$QZ_LOGS") session $(mode "$QZ_LOGS/session")"
  pos=$(sed -n 's/^pos:\t*//p' /proc/$$/fdinfo/0 2>/dev/null)
  echo "fds$(cat "$QZ_TEST_REC/fds.$$" 2>/dev/null) pos $pos"
  # Read by the shell itself: a child would see the mask it waits with.
  [ ! -r /proc/$$/status ] || while read -r key value; do
    case $key in SigBlk: | SigIgn:) echo "$key $value" ;; esac
  done </proc/$$/status
  [ "$name" != qzpost ] || cat "$QZ_LOGS/session"
} >>"$QZ_TEST_REC/seen"
if [ "$name" = qzpost ]; then eval "$FAKE_POST"; else eval "$FAKE_RUNNER"; fi
