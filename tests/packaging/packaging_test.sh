#!/usr/bin/env bash
# End-to-end checks of the install layout and of the Debian packages.
#
#   packaging_test.sh <check>
#
# Checks (each one CTest test):
#   stage         install this build into a staging root with DESTDIR and
#                 check the layout (the other staged checks use that root)
#   driver        run the staged driver through its sbin link against a fake
#                 installation beside it
#   cmake         build and run a consumer through find_package(qzbase)
#   pkgconfig     build and run a consumer through qzbase.pc
#   manual        render the compressed manual page with no warning
#   debs          build the packages with tools/package
#   lintian       lintian reports no error or warning on them
#   dpkg          (root) install both packages, use them, remove them and
#                 check nothing is left
#
# Environment (set by CMake): QZ_SOURCE_DIR, QZ_BUILD_DIR, QZ_WORK_DIR,
# QZ_SYSTEM_DIR (relative to the prefix), QZ_HAVE_DRIVER (1 or 0),
# QZ_VERSION (the project's version).
# Exit status: 0 passed, 77 skipped (a tool is missing for an ordinary user,
# or the check needs root), anything else failed. Under CI a missing tool is
# a failure.
set -euo pipefail

check="${1:?usage: packaging_test.sh <check>}"
: "${QZ_SOURCE_DIR:?}" "${QZ_BUILD_DIR:?}" "${QZ_WORK_DIR:?}"
: "${QZ_SYSTEM_DIR:=lib/qz}" "${QZ_HAVE_DRIVER:=0}"

stage="$QZ_WORK_DIR/stage"
prefix=/usr
debs_dir="$QZ_WORK_DIR/package-build/packages"
consumer_source="$QZ_SOURCE_DIR/tests/packaging/consumer"

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

skip() {
  echo "SKIP: $*"
  exit 77
}

# need_tool <command>...: skips when one is missing, except under CI, where
# tools/install-deps has installed them all.
need_tool() {
  local tool
  for tool in "$@"; do
    if ! command -v "$tool" >/dev/null; then
      if [ -n "${CI:-}" ]; then
        fail "'$tool' is missing (tools/install-deps installs it)"
      fi
      skip "'$tool' is missing"
    fi
  done
}

need_driver() {
  [ "$QZ_HAVE_DRIVER" = 1 ] || skip "this build has no qzupdate driver"
}

# expect_mode <mode> <path>
expect_mode() {
  local mode
  mode="$(stat -c %a "$2")"
  [ "$mode" = "$1" ] || fail "$2 has mode $mode, expected $1"
}

# fake_installation <bin dir> <calls file>: the three programs the driver
# starts, as scripts that record their arguments and environment.
fake_installation() {
  local bin="$1" calls="$2" program
  for program in qzrunner.bin qzpost qzserver; do
    cat >"$bin/$program" <<EOF
#!/bin/sh
echo "$program \$* QZ_SYSTEM=\$QZ_SYSTEM LD_LIBRARY_PATH=\$LD_LIBRARY_PATH" >>'$calls'
exit 0
EOF
    chmod 0755 "$bin/$program"
  done
}

remove_fake_installation() {
  rm -f "$1/qzrunner.bin" "$1/qzpost" "$1/qzserver"
}

# run_driver <command> <system dir>: runs the driver with no standard input
# and a fresh home against the fake installation in <system dir>/bin, and
# checks where it found itself, what it started and its exit status.
run_driver() {
  local command="$1" system="$2" home calls status=0
  home="$(mktemp -d "$QZ_WORK_DIR/home.XXXXXX")"
  calls="$home/calls"
  fake_installation "$system/bin" "$calls"
  env -u QZ_SYSTEM -u QZ_ROOT -u QZ_CONFIG -u QZ_LOGS -u SUDO_UID -u SUDO_GID \
    QZ_HOME="$home" "$command" --upgrade </dev/null \
    >"$home/out" 2>"$home/err" || status=$?
  remove_fake_installation "$system/bin"
  echo "--- standard output"
  cat "$home/out"
  echo "--- standard error"
  cat "$home/err"
  [ "$status" -eq 0 ] || fail "$command exited with $status, expected 0"
  grep -qxF "Update: Application path is '$system/bin'." "$home/out" ||
    fail "no line naming the application path '$system/bin'"
  grep -qxF "qzrunner.bin --update background QZ_SYSTEM=$system LD_LIBRARY_PATH=$system/lib" "$calls" ||
    fail "the runner was not started as expected: $(cat "$calls" 2>/dev/null)"
  grep -qxF "qzpost -s $system/bin/qzserver QZ_SYSTEM=$system LD_LIBRARY_PATH=$system/lib" "$calls" ||
    fail "the post-update program was not started as expected: $(cat "$calls")"
  [ -d "$home/.qz" ] || fail "no personal root directory $home/.qz"
  [ -z "$(ls -A "$home/.qz")" ] || fail "the run left $(ls -A "$home/.qz") in $home/.qz"
  rm -rf "$home"
}

# run_consumer <program>: the consumer prints ENOENT and the MD5 of "abc",
# and logs one prefixed line.
run_consumer() {
  local out err
  out="$("$1" 2>"$QZ_WORK_DIR/consumer.err")" || fail "$1 failed"
  err="$(cat "$QZ_WORK_DIR/consumer.err")"
  [ "$out" = "ENOENT 900150983cd24fb0d6963f7d28e17f72" ] ||
    fail "$1 printed '$out', expected 'ENOENT 900150983cd24fb0d6963f7d28e17f72'"
  printf '%s\n' "$err" |
    grep -qE "^[0-9]+ [0-9]+ [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9. ]{7} Consumer: ErrorName\(2\) is 'ENOENT'\.$" ||
    fail "$1 logged '$err'"
}

# cmake_consumer <build dir> [cmake arguments...]: builds and runs the
# consumer through find_package(qzbase); prints the qzbase_DIR it used.
cmake_consumer() {
  local build="$1"
  shift
  rm -rf "$build"
  cmake -S "$consumer_source" -B "$build" "$@" </dev/null >"$build.log" 2>&1 ||
    { cat "$build.log"; fail "configuring the CMake consumer failed"; }
  cmake --build "$build" </dev/null >>"$build.log" 2>&1 ||
    { cat "$build.log"; fail "building the CMake consumer failed"; }
  run_consumer "$build/consumer"
  sed -n 's/^qzbase_DIR:PATH=//p' "$build/CMakeCache.txt"
}

# pkgconfig_consumer <output>: builds the consumer with the flags of
# pkg-config qzbase (under the caller's PKG_CONFIG_PATH) and runs it.
pkgconfig_consumer() {
  local cflags libs
  cflags="$(pkg-config --cflags qzbase)" || fail "pkg-config knows no qzbase"
  libs="$(pkg-config --libs qzbase)"
  # shellcheck disable=SC2086
  g++ -std=c++17 $cflags -o "$1" "$consumer_source/consumer.cpp" $libs ||
    fail "building the pkg-config consumer failed (flags: $cflags $libs)"
  run_consumer "$1"
}

# check_manual_page <file.8.gz>: renders it with man and groff; any warning
# text fails.
check_manual_page() {
  local page="$1" err
  err="$(LC_ALL=C.UTF-8 man --warnings -l "$page" 2>&1 >/dev/null)" ||
    fail "man could not render $page: $err"
  [ -z "$err" ] || fail "man warns about $page: $err"
  err="$(zcat "$page" | groff -ww -man -Tutf8 -z 2>&1)" ||
    fail "groff could not render $page: $err"
  [ -z "$err" ] || fail "groff warns about $page: $err"
  lexgrog "$page" | grep -qF 'qzupdate - download and install' ||
    fail "$page has no usable NAME line: $(lexgrog "$page")"
}

stage_check() {
  local libdir pc
  rm -rf "$stage"
  DESTDIR="$stage" cmake --install "$QZ_BUILD_DIR" --prefix "$prefix" \
    </dev/null >"$QZ_WORK_DIR/install.log" ||
    { cat "$QZ_WORK_DIR/install.log"; fail "cmake --install failed"; }
  # Nothing may land outside the staging root's prefix.
  [ "$(ls -A "$stage")" = usr ] || fail "staged outside $prefix: $(ls -A "$stage")"

  local root="$stage$prefix"
  for header in base/log/log.h base/error/error_text.h base/string/owned_string.h; do
    [ -f "$root/include/qz/$header" ] || fail "header $header not installed"
    expect_mode 644 "$root/include/qz/$header"
  done
  if find "$root/include" -name '*_test*' | grep -q .; then
    fail "test headers installed: $(find "$root/include" -name '*_test*')"
  fi
  libdir="$(dirname "$(find "$root/lib" -name libqzbase.a)")"
  [ -f "$libdir/libqzbase.a" ] || fail "no libqzbase.a"
  [ -f "$libdir/cmake/qzbase/qzbaseConfig.cmake" ] || fail "no CMake package"
  pc="$libdir/pkgconfig/qzbase.pc"
  [ -f "$pc" ] || fail "no qzbase.pc"
  # shellcheck disable=SC2016 # the text ${pcfiledir}, not a variable
  grep -q '^prefix=${pcfiledir}/' "$pc" || fail "qzbase.pc is not relocatable: $(head -1 "$pc")"
  if grep -rqF "$stage" "$root/lib" "$root/include"; then
    fail "the staging root's path is written into installed files"
  fi

  if [ "$QZ_HAVE_DRIVER" = 1 ]; then
    local driver="$root/$QZ_SYSTEM_DIR/bin/qzupdate" link="$root/sbin/qzupdate"
    if [ ! -x "$driver" ] || [ -L "$driver" ]; then
      fail "no driver at $driver"
    fi
    expect_mode 755 "$driver"
    [ -L "$link" ] || fail "$link is not a symbolic link"
    [ "$(readlink "$link")" = "../$QZ_SYSTEM_DIR/bin/qzupdate" ] ||
      fail "$link points at '$(readlink "$link")'"
    [ "$(readlink -f "$link")" = "$(readlink -f "$driver")" ] ||
      fail "$link does not resolve to the driver"
    local page="$root/share/man/man8/qzupdate.8.gz"
    [ -f "$page" ] || fail "no manual page $page"
    expect_mode 644 "$page"
  fi
  echo "staged in $stage"
}

case "$check" in
  stage)
    stage_check
    ;;
  driver)
    need_driver
    [ -d "$stage" ] || fail "no staging root; the stage check must run first"
    real_stage="$(cd "$stage" && pwd -P)"
    run_driver "$real_stage$prefix/sbin/qzupdate" "$real_stage$prefix/$QZ_SYSTEM_DIR"
    ;;
  cmake)
    need_tool cmake
    [ -d "$stage" ] || fail "no staging root; the stage check must run first"
    used="$(cmake_consumer "$QZ_WORK_DIR/consumer-cmake" \
      -DCMAKE_PREFIX_PATH="$stage$prefix" | tail -1)"
    case "$used" in
      "$stage$prefix"/*) ;;
      *) fail "find_package(qzbase) used '$used', not the staged package" ;;
    esac
    ;;
  pkgconfig)
    need_tool pkg-config g++
    [ -d "$stage" ] || fail "no staging root; the stage check must run first"
    pc_dir="$(dirname "$(find "$stage" -name qzbase.pc)")"
    PKG_CONFIG_PATH="$pc_dir" pkgconfig_consumer "$QZ_WORK_DIR/consumer-pkgconfig"
    # The prefix follows the .pc file's own directory.
    include_dir="$(PKG_CONFIG_PATH="$pc_dir" pkg-config --variable=includedir qzbase)"
    [ "$(cd "$include_dir" && pwd -P)" = "$(cd "$stage$prefix/include/qz" && pwd -P)" ] ||
      fail "includedir '$include_dir' is not the staged include/qz"
    ;;
  manual)
    need_tool man groff lexgrog
    page="$QZ_BUILD_DIR/packaging/qzupdate.8.gz"
    gzip -t "$page" || fail "$page is not a valid gzip file"
    # gzip -n: no file name and no time stamp in the header.
    [ "$(od -An -tx1 -j3 -N5 "$page" | tr -d ' ')" = 0000000000 ] ||
      fail "$page carries a name or a time stamp"
    zcat "$page" | cmp -s - "$QZ_SOURCE_DIR/doc/qzupdate.8" ||
      fail "$page differs from doc/qzupdate.8"
    if [ -n "${QZ_VERSION:-}" ]; then
      grep -q "^\.TH QZUPDATE 8 \"[0-9-]*\" \"qzupdate $QZ_VERSION\" " "$QZ_SOURCE_DIR/doc/qzupdate.8" ||
        fail "doc/qzupdate.8 does not name version $QZ_VERSION: $(grep '^\.TH' "$QZ_SOURCE_DIR/doc/qzupdate.8")"
    fi
    check_manual_page "$page"
    ;;
  debs)
    need_tool dpkg-shlibdeps dpkg-deb
    "$QZ_SOURCE_DIR/tools/package" "$QZ_WORK_DIR/package-build" >"$QZ_WORK_DIR/debs" \
      2>"$QZ_WORK_DIR/package.log" ||
      { cat "$QZ_WORK_DIR/package.log"; fail "tools/package failed"; }
    cat "$QZ_WORK_DIR/debs"
    dev_deb="$(ls "$debs_dir"/libqzbase-dev_*.deb)" || fail "no libqzbase-dev package"
    [ "$(dpkg-deb -f "$dev_deb" Section)" = libdevel ] || fail "libqzbase-dev is not in libdevel"
    if [ "$QZ_HAVE_DRIVER" = 1 ]; then
      driver_deb="$(ls "$debs_dir"/qzupdate_*.deb)" || fail "no qzupdate package"
      [ "$(dpkg-deb -f "$driver_deb" Section)" = admin ] || fail "qzupdate is not in admin"
      dpkg-deb -f "$driver_deb" Depends | grep -q 'libc6' ||
        fail "qzupdate has no shared-library dependencies: $(dpkg-deb -f "$driver_deb" Depends)"
      contents="$(dpkg-deb -c "$driver_deb")"
      for expected in \
        "-rwxr-xr-x root/root .* ./usr/$QZ_SYSTEM_DIR/bin/qzupdate\$" \
        "lrwxrwxrwx root/root .* ./usr/sbin/qzupdate -> ../$QZ_SYSTEM_DIR/bin/qzupdate\$" \
        "-rw-r--r-- root/root .* ./usr/share/man/man8/qzupdate.8.gz\$" \
        "-rw-r--r-- root/root .* ./usr/share/doc/qzupdate/copyright\$" \
        "-rw-r--r-- root/root .* ./usr/share/doc/qzupdate/changelog.Debian.gz\$"; do
        grep -qE -- "$expected" <<<"$contents" ||
          fail "qzupdate package lacks an entry like '$expected'"
      done
    fi
    ;;
  lintian)
    need_tool lintian
    # lintian warns that it runs as root; its own findings go to stdout.
    lintian --fail-on error,warning --display-info "$debs_dir"/*.deb ||
      fail "lintian reports errors or warnings"
    ;;
  dpkg)
    [ "$(id -u)" -eq 0 ] || skip "installing packages needs root"
    need_tool dpkg man groff lexgrog pkg-config g++ cmake
    packages=(libqzbase-dev)
    [ "$QZ_HAVE_DRIVER" = 1 ] && packages+=(qzupdate)
    for package in "${packages[@]}"; do
      if dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q installed; then
        skip "$package is already installed on this machine; not touching it"
      fi
    done
    system="$prefix/$QZ_SYSTEM_DIR"
    cleanup() {
      remove_fake_installation "$system/bin" 2>/dev/null || true
      dpkg -r "${packages[@]}" >/dev/null 2>&1 || true
    }
    trap cleanup EXIT
    debs=()
    for package in "${packages[@]}"; do
      debs+=("$(ls "$debs_dir/${package}"_*.deb)")
    done
    DEBIAN_FRONTEND=noninteractive dpkg -i "${debs[@]}" </dev/null ||
      fail "dpkg -i failed"
    files="$QZ_WORK_DIR/dpkg-files"
    dpkg -L "${packages[@]}" >"$files"

    # The library as installed: found without any search path.
    used="$(cmake_consumer "$QZ_WORK_DIR/consumer-installed" | tail -1)"
    [ "$used" = "$(dirname "$(find /usr/lib -path '*/cmake/qzbase/qzbaseConfig.cmake')")" ] ||
      fail "find_package(qzbase) used '$used'"
    (
      unset PKG_CONFIG_PATH
      pkgconfig_consumer "$QZ_WORK_DIR/consumer-installed-pc"
    )

    if [ "$QZ_HAVE_DRIVER" = 1 ]; then
      [ "$(stat -c '%a %U %G' "$system/bin/qzupdate")" = "755 root root" ] ||
        fail "$system/bin/qzupdate: $(stat -c '%a %U %G' "$system/bin/qzupdate")"
      run_driver /usr/sbin/qzupdate "$system"
      page=/usr/share/man/man8/qzupdate.8.gz
      [ -f "$page" ] || fail "dpkg did not install $page"
      check_manual_page "$page"
      [ "$(man -w qzupdate)" = "$page" ] || fail "man -w qzupdate gives '$(man -w qzupdate)'"
    fi

    DEBIAN_FRONTEND=noninteractive dpkg -r "${packages[@]}" </dev/null ||
      fail "dpkg -r failed"
    trap - EXIT
    for package in "${packages[@]}"; do
      if dpkg -L "$package" >/dev/null 2>&1; then
        fail "dpkg -L $package still lists files after removal"
      fi
    done
    while read -r path; do
      # Directories shared with other packages (/usr, /usr/share/doc, ...)
      # stay; everything of ours goes.
      if [ -e "$path" ] || [ -L "$path" ]; then
        if [ ! -d "$path" ] || [ -L "$path" ]; then
          fail "$path is left after removal"
        fi
      fi
    done <"$files"
    for dir in "$system" /usr/include/qz /usr/share/doc/qzupdate /usr/share/doc/libqzbase-dev; do
      [ ! -e "$dir" ] || fail "$dir is left after removal"
    done
    ;;
  *)
    fail "unknown check '$check'"
    ;;
esac
echo "PASS: $check"
