#!/usr/bin/env bash
# End-to-end checks of the install layout and of the Debian packages.
#
#   packaging_test.sh <check>
#
# Checks (each one CTest test):
#   stage    install this build into a staging root with DESTDIR: exactly the
#            expected files with their modes, every header compiling alone;
#            the compressed manual page reproducible and rendering cleanly;
#            then run the staged driver through its sbin link against a fake
#            installation, and build and run a consumer through
#            find_package(qzbase) and one through qzbase.pc
#   debs     build the packages with tools/package, twice: the same bytes
#            both times, each package exactly its expected files, the driver
#            hardened
#   lintian  lintian reports no error or warning on them
#   dpkg     (root) install both packages, use them, remove them and check
#            that nothing is left
#
# Environment (set by CMake): QZ_SOURCE_DIR, QZ_BUILD_DIR, QZ_WORK_DIR,
# QZ_SYSTEM_DIR (relative to the prefix), QZ_VERSION (the project's
# version).
# Exit status: 0 passed, 77 skipped (with the reason on standard output: a
# tool is missing for an ordinary user, or the check needs root), anything
# else failed. Under CI a missing tool is a failure.
set -euo pipefail

check="${1:?usage: packaging_test.sh <check>}"
: "${QZ_SOURCE_DIR:?}" "${QZ_BUILD_DIR:?}" "${QZ_WORK_DIR:?}"
: "${QZ_SYSTEM_DIR:=lib/qz}"
work="$QZ_WORK_DIR"
debs="$work/package-build/packages"
consumer="$QZ_SOURCE_DIR/tests/packaging/consumer"
packages=(libqzbase-dev qzupdate)

fail() { echo "FAIL: $*" >&2; exit 1; }
skip() { echo "SKIP: $*"; exit 77; }
need_tool() {
  for tool in "$@"; do
    command -v "$tool" >/dev/null && continue
    [ -z "${CI:-}" ] || fail "'$tool' is missing (tools/install-deps installs it)"
    skip "'$tool' is missing (tools/install-deps package installs it)"
  done
}
# same <what> <expected> <actual>
same() { [ "$2" = "$3" ] || fail "$1:"$'\n'"$(diff <(echo "$2") <(echo "$3"))"; }

# expected <package or all> <library directory> <build type>: its files,
# "<mode> <path>[ -> <target>]" a line, sorted, without the leading "/".
expected() {
  {
    if [ "$1" != qzupdate ]; then
      for header in digest/md5 error/error_format error/error_report \
          error/error_text file/file_descriptor file/file_owner \
          file/file_path file/file_socket file/file_umask log/log \
          log/log_prefix log/log_redirect log/logger process/exit_status \
          process/host_name process/option process/process_control \
          process/process_create process/temp_name process/user \
          socket/socket_network socket/socket_option socket/socket_pipe \
          socket/socket_query socket/socket_resolve socket/socket_support \
          string/owned_string string/string_format string/string_match \
          sync/mutex sync/signal; do
        echo "-rw-r--r-- usr/include/qz/base/$header.h"
      done
      printf -- "-rw-r--r-- usr/$2/%s\n" libqzbase.a pkgconfig/qzbase.pc \
        cmake/qzbase/qzbase{Config,ConfigVersion,Targets,Targets-$3}.cmake
    fi
    if [ "$1" != libqzbase-dev ]; then
      echo "-rwxr-xr-x usr/$QZ_SYSTEM_DIR/bin/qzupdate"
      echo "lrwxrwxrwx usr/sbin/qzupdate -> ../$QZ_SYSTEM_DIR/bin/qzupdate"
      echo "-rw-r--r-- usr/share/man/man8/qzupdate.8.gz"
    fi
    if [ "$1" != all ]; then
      printf -- "-rw-r--r-- usr/share/%s\n" "doc/$1/copyright" \
        "doc/$1/changelog.Debian.gz" "lintian/overrides/$1"
    fi
  } | sort
}

# run_driver <command> <system dir>: a whole run against fake programs that
# record how they were started.
run_driver() {
  local home program status=0
  home="$(mktemp -d "$work/home.XXXXXX")"
  for program in qzrunner.bin qzpost qzserver; do
    printf '#!/bin/sh\necho "%s $* $QZ_SYSTEM $LD_LIBRARY_PATH" >>"%s"\n' \
      "$program" "$home/calls" >"$2/bin/$program"
    chmod 0755 "$2/bin/$program"
  done
  env -u QZ_SYSTEM -u QZ_ROOT -u QZ_LOGS -u SUDO_UID -u SUDO_GID \
    QZ_HOME="$home" "$1" --upgrade </dev/null >"$home/out" 2>&1 || status=$?
  rm -f "$2/bin/qzrunner.bin" "$2/bin/qzpost" "$2/bin/qzserver"
  same "$1 exited with $status: $(cat "$home/out")" 0 "$status"
  grep -qxF "Update: Application path is '$2/bin'." "$home/out" ||
    fail "$1 did not find itself in $2/bin"
  same "what $1 started" "qzrunner.bin --update background $2 $2/lib
qzpost -s $2/bin/qzserver $2 $2/lib" "$(cat "$home/calls")"
  same "left in $home/.qz" "" "$(ls -A "$home/.qz")"
  rm -rf "$home"
}

# consumers [cmake arguments]: builds and runs the consumer through the
# CMake package and through pkg-config (PKG_CONFIG_PATH as the caller has
# it); prints the qzbase_DIR that CMake used.
consumers() {
  local build="$work/consumer"
  rm -rf "$build"
  { cmake -S "$consumer" -B "$build" "$@" && cmake --build "$build" &&
    g++ -std=c++17 $(pkg-config --cflags qzbase) -o "$build/pc" \
      "$consumer/consumer.cpp" $(pkg-config --libs qzbase); } \
    </dev/null >"$build.log" 2>&1 || { cat "$build.log"; fail "a consumer did not build"; }
  for program in "$build/consumer" "$build/pc"; do
    same "$program's output" "ENOENT 900150983cd24fb0d6963f7d28e17f72" \
      "$("$program" 2>"$build.err")"
    grep -qE "^[0-9]+ [0-9]+ [0-9:]{8} [0-9.]{7} Consumer: ErrorName\(2\) is 'ENOENT'\.$" \
      "$build.err" || fail "$program logged '$(cat "$build.err")'"
  done
  sed -n 's/^qzbase_DIR:PATH=//p' "$build/CMakeCache.txt"
}

# manual_page <file.8.gz>: renders with no warning and has a NAME line.
manual_page() {
  local err
  err="$(LC_ALL=C.UTF-8 man --warnings -l "$1" 2>&1 >/dev/null
         zcat "$1" | groff -ww -man -Tutf8 -z 2>&1)"
  same "warnings rendering $1" "" "$err"
  lexgrog "$1" | grep -qF 'qzupdate - download and install' || fail "$1 has no NAME line"
}

case "$check" in
  stage)
    need_tool pkg-config man groff lexgrog
    stage="$work/stage"
    rm -rf "$stage"
    DESTDIR="$stage" cmake --install "$QZ_BUILD_DIR" --prefix /usr </dev/null \
      >"$work/install.log" || { cat "$work/install.log"; fail "cmake --install failed"; }
    libdir="$(cd "$stage/usr" && dirname "$(find lib -name libqzbase.a)")"
    type="$(sed -n 's/^CMAKE_BUILD_TYPE:STRING=//p' "$QZ_BUILD_DIR/CMakeCache.txt")"
    same "the staged install" "$(expected all "$libdir" "${type,,}")" \
      "$(cd "$stage" && find . ! -type d -printf '%M %P -> %l\n' | sed 's/ -> $//' | sort)"
    ! grep -rqF "$stage" "$stage" || fail "the staging root's path is written into installed files"
    for header in $(cd "$stage/usr/include/qz" && find . -name '*.h'); do
      echo "#include \"${header#./}\"" | g++ -std=c++17 -fsyntax-only -Wall -Werror \
        -I"$stage/usr/include/qz" -x c++ - || fail "$header does not compile alone"
    done
    page="$stage/usr/share/man/man8/qzupdate.8.gz"
    # gzip -n: no name and no time stamp in the header, the same bytes always.
    same "$page's name and time" 0000000000 "$(od -An -tx1 -j3 -N5 "$page" | tr -d ' ')"
    zcat "$page" | cmp -s - "$QZ_SOURCE_DIR/doc/qzupdate.8" || fail "$page differs from doc/qzupdate.8"
    grep -q "^\.TH QZUPDATE 8 \"[0-9-]*\" \"qzupdate ${QZ_VERSION:?}\" " "$QZ_SOURCE_DIR/doc/qzupdate.8" ||
      fail "doc/qzupdate.8 does not name version $QZ_VERSION"
    manual_page "$page"
    root="$(cd "$stage" && pwd -P)/usr"
    run_driver "$root/sbin/qzupdate" "$root/$QZ_SYSTEM_DIR"
    used="$(PKG_CONFIG_PATH="$stage/usr/$libdir/pkgconfig" \
            consumers -DCMAKE_PREFIX_PATH="$stage/usr" | tail -1)"
    [[ "$used" == "$stage/usr/"* ]] || fail "find_package(qzbase) used '$used'"
    ;;
  debs)
    need_tool dpkg-shlibdeps dpkg-deb dpkg-architecture objdump
    for build in first second; do
      rm -rf "$work/package-build"
      "$QZ_SOURCE_DIR/tools/package" "$work/package-build" >/dev/null 2>"$work/package.log" ||
        { cat "$work/package.log"; fail "tools/package failed"; }
      [ "$build" = second ] || cp -r "$debs" "$work/first-debs"
    done
    diff -r "$work/first-debs" "$debs" || fail "two builds gave different packages"
    rm -rf "$work/first-debs"
    for package in "${packages[@]}"; do
      same "$package's files" \
        "$(expected "$package" "lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)" release)" \
        "$(dpkg-deb -c "$debs/$package"_*.deb | awk '$1 !~ /^d/ {print $1, substr($0, index($0, "./") + 2)}' | sort)"
    done
    same "sections" "libdevel admin" "$(dpkg-deb -f "$debs"/libqzbase-dev_*.deb Section) $(
      dpkg-deb -f "$debs"/qzupdate_*.deb Section)"
    # Control-flow protection marks every function entry; stack-clash probes
    # show only in large frames, so their flag is read off the build.
    dpkg-deb --fsys-tarfile "$debs"/qzupdate_*.deb |
      tar -xO "./usr/$QZ_SYSTEM_DIR/bin/qzupdate" >"$work/driver"
    [ "$(objdump -d "$work/driver" | grep -c endbr64)" -gt 100 ] ||
      fail "the packaged driver has no control-flow protection"
    grep -q -- -fstack-clash-protection "$work/package-build/update/CMakeFiles/qzupdate_core.dir/flags.make" ||
      fail "the packaged driver is built without stack-clash protection"
    ;;
  lintian)
    need_tool lintian
    lintian --fail-on error,warning --display-info "$debs"/*.deb || fail "lintian complains"
    ;;
  dpkg)
    [ "$(id -u)" -eq 0 ] || skip "installing packages on this machine needs root"
    need_tool dpkg man pkg-config
    for package in "${packages[@]}"; do
      ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q installed ||
        skip "$package is already installed on this machine; not touching it"
    done
    trap 'dpkg -r "${packages[@]}" >/dev/null 2>&1 || true' EXIT
    DEBIAN_FRONTEND=noninteractive dpkg -i "$debs"/*.deb </dev/null >/dev/null || fail "dpkg -i failed"
    used="$(consumers | tail -1)"
    same "find_package(qzbase)" "/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)/cmake/qzbase" "$used"
    run_driver /usr/sbin/qzupdate "/usr/$QZ_SYSTEM_DIR"
    manual_page /usr/share/man/man8/qzupdate.8.gz
    same "man -w qzupdate" /usr/share/man/man8/qzupdate.8.gz "$(man -w qzupdate)"
    mapfile -t files < <(dpkg -L "${packages[@]}")
    DEBIAN_FRONTEND=noninteractive dpkg -r "${packages[@]}" </dev/null >/dev/null || fail "dpkg -r failed"
    trap - EXIT
    # Directories shared with other packages (/usr, /usr/share/doc, ...) stay.
    for path in "${files[@]}"; do
      [ ! -L "$path" ] && { [ ! -e "$path" ] || [ -d "$path" ]; } || fail "$path is left"
    done
    for path in "/usr/$QZ_SYSTEM_DIR" /usr/include/qz /usr/share/doc/{qzupdate,libqzbase-dev}; do
      [ ! -e "$path" ] || fail "$path is left"
    done
    ;;
  *)
    fail "unknown check '$check'"
    ;;
esac
echo "PASS: $check"
