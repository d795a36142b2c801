#!/usr/bin/env bash
# Runs the example playbook of deploy/ansible, and so the qzupdate role,
# against this machine (localhost, local connection) with the given driver
# copied into a throwaway installation whose programs are fakes, one run per
# scenario; then lints the role and the playbook.
#
#   ansible_test.sh <qzupdate binary>
#
# As root, the product's user is a system account the test makes and removes
# (so the driver gives what it makes away); as an ordinary user it is the
# caller, whose home is given to the role, and ownership only stays the
# caller's. No run escalates privileges. The checks read the junit report of
# ansible-core (the task results as JSON), not the printed recap.
# Exit status: 0 passed, 77 ansible is missing (a failure under CI).
set -euo pipefail
driver="${1:?usage: ansible_test.sh <qzupdate binary>}"
deploy="$(cd "$(dirname "$0")/../../deploy/ansible" && pwd)"

fail() { echo "FAIL: $*" >&2; exit 1; }
for tool in ansible-playbook ansible-lint; do
  command -v "$tool" >/dev/null && continue
  [ -z "${CI:-}" ] || fail "'$tool' is missing (tools/install-deps installs it)"
  echo "SKIP: '$tool' is missing (tools/install-deps installs it)" && exit 77
done

work="$(mktemp -d "${TMPDIR:-/tmp}/qzupdate-ansible.XXXXXX")"
made_user=""
trap '[ -z "$made_user" ] || userdel "$made_user" || true; rm -rf "$work"' EXIT
chmod 755 "$work"
mkdir -p "$work/sys/bin" "$work/home" "$work/controller" "$work/stale/logs"
touch "$work/stale/logs/session"
cp "$driver" "$work/sys/bin/qzupdate"
# The runner records its input, the personal root and the owners of the log
# directory and the session file, and exits with the status in runner-status.
cat >"$work/sys/bin/qzrunner.bin" <<FAKE
#!/bin/sh
echo runner \$(readlink /proc/self/fd/0) "\$QZ_ROOT" \$(stat -c %u:%g "\$QZ_LOGS" "\$QZ_LOGS/session") >>'$work/record'
exit \$(cat '$work/runner-status')
FAKE
printf '#!/bin/sh\necho post >>%s\n' "'$work/record'" >"$work/sys/bin/qzpost"
printf '#!/bin/sh\n' >"$work/sys/bin/qzserver"
chmod 755 "$work/sys/bin/"*

vars="\"qzupdate_driver\": \"$work/sys/bin/qzupdate\", \"ansible_become\": false"
if [ "$(id -u)" -eq 0 ]; then
  user="qzansible$$" && made_user="$user"
  useradd --system --no-create-home --home-dir "$work/home" --gid nogroup \
    --shell /usr/sbin/nologin "$user"
else
  user="$(id -un)"
  echo "NOTE: not root: the product's user is the caller, so giving files away is not checked"
  vars+=", \"qzupdate_home\": \"$work/home\""
fi
own="$(id -u "$user"):$(id -g "$user")"
vars+=", \"qzupdate_user\": \"$user\""
printf '[qzupdate]\nlocalhost ansible_connection=local ansible_python_interpreter=%s\n' \
  "$(command -v python3)" >"$work/inventory"
runner="runner /dev/null $work/home/.qz $own $own"

# What the connecting account may carry (sudo's ids for itself, another
# installation's variables): none of it may reach the driver.
export SUDO_UID=0 SUDO_GID=0 SUDO_USER=root QZ_SYSTEM=/nonexistent \
  QZ_ROOT="$work/stale" QZ_HOME="$work/stale" QZ_CONFIG="$work/stale" \
  QZ_LOGS="$work/stale/logs"
export HOME="$work/controller" ANSIBLE_REMOTE_TEMP="$work/controller/tmp" \
  ANSIBLE_NOCOLOR=1 ANSIBLE_RETRY_FILES_ENABLED=0 \
  ANSIBLE_CALLBACKS_ENABLED=junit JUNIT_OUTPUT_DIR="$work/junit"

# report: "<changed> <failed>" counted over the task results of the junit
# report as the recap counts them, then the standard error and message of
# each result.
report() {
  python3 - "$work"/junit/*.xml <<'PY'
import json, sys, xml.etree.ElementTree as ET
changed = failed = 0
texts = []
for case in ET.parse(sys.argv[1]).iter("testcase"):
    bad = case.find("failure")
    body = case.findtext("system-out") if bad is None else bad.text
    result = json.loads(body) if body else {}
    failed += bad is not None
    changed += bad is None and result.get("changed", False)
    texts += [result.get("stderr", ""), str(result.get("msg", ""))]
print(changed, failed)
print("\n".join(texts))
PY
}

# name|ansible-playbook option|runner status|extra variables|changed failed|
# record of the fakes|left in the home|text in the report
scenarios=(
  "update||0||1 0|$runner post|.qz 700 $own|"
  "current||255||0 0|$runner|.qz 700 $own|"
  "runner fails||5||0 1|$runner|.qz 700 $own|Update: ERROR! Exiting with update error '5', 'Input/output error'."
  "no log directory||0|, \"qzupdate_root\": \"$work/missing\"|0 1|||Update: WARNING! Could not create log directory."
  "check mode|--check|0||0 0|||run: env -u QZ_SYSTEM"
)
for scenario in "${scenarios[@]}"; do
  IFS='|' read -r name option status extra counts record left text <<<"$scenario"
  rm -rf "$work/home/.qz" "$work/record" "$work/junit"
  echo "$status" >"$work/runner-status"
  code=0
  # shellcheck disable=SC2086 # the option is one word or none
  ansible-playbook $option -i "$work/inventory" -e "{$vars$extra}" \
    "$deploy/update.yml" </dev/null >"$work/out" 2>&1 || code=$?
  echo "recap of '$name': $(sed -n '/^PLAY RECAP/{n;p;}' "$work/out")"
  got="$(report)" || { cat "$work/out"; fail "$name: no junit report"; }
  # Changed and failed, the playbook's exit status, the fakes' record and
  # what is left in the home, each after a '|'.
  seen="$(head -1 <<<"$got")|$code|$(paste -sd' ' "$work/record" 2>/dev/null)|$(
    find "$work/home" -mindepth 1 -printf '%P %m %U:%G\n' | paste -sd' ')"
  want="$counts|$([ "${counts#* }" = 0 ] && echo 0 || echo 2)|$record|$left"
  { [ "$seen" = "$want" ] && { [ -z "$text" ] || grep -qF -- "$text" <<<"$got"; }; } ||
    fail "$name: saw '$seen', expected '$want' and '$text' in the report:"$'\n'"$got"$'\n'"output:"$'\n'"$(cat "$work/out")"
done
[ -f "$work/stale/logs/session" ] || fail "the connecting account's QZ_LOGS reached the driver"

cd "$deploy"
ansible-lint --offline --strict --nocolor update.yml inventory.yml roles/qzupdate ||
  fail "ansible-lint"
echo "PASS: ansible"
