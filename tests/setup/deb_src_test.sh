#!/usr/bin/env bash
# deb-src entries from a machine's deb entries: a proxy in a deb822 file, a
# mirror with a keyring in a one-line file; other suites, disabled stanzas,
# commented lines and source entries are passed over.
#   deb_src_test.sh DEBIAN_SOURCES_SH SCRATCH_DIR
set -euo pipefail
source "$1"
etc=$2
rm -rf "$etc" && mkdir -p "$etc/sources.list.d"
failures=0
expect() {  # NAME EXPECTED ACTUAL
  if [ "$2" != "$3" ]; then
    printf 'FAIL %s\n--- expected\n%s\n--- got\n%s\n' "$1" "$2" "$3" >&2
    failures=$((failures + 1))
  fi
}

cat >"$etc/sources.list.d/proxy.sources" <<'SRC'
# the machine's packages, through a caching proxy
Types: deb
URIs: http://proxy.local:3142/debian
Suites: bookworm bookworm-updates
Components: main contrib
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg

Types: deb
Enabled: no
URIs: http://switched-off.example/debian
Suites: bookworm
Components: main

Types: deb
URIs: http://security.example/debian-security
Suites: bookworm-security
Components: main
SRC
cat >"$etc/sources.list" <<'SRC'
deb [arch=amd64 signed-by=/usr/share/keyrings/mirror.gpg] http://mirror.example/debian bookworm main
# deb http://commented.example/debian bookworm main
deb http://mirror.example/debian bookworm-updates main
deb-src http://elsewhere.example/debian bookworm main
SRC

expect "derived entries" "Types: deb-src
URIs: http://proxy.local:3142/debian
Suites: bookworm
Components: main contrib
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg

Types: deb-src
URIs: http://mirror.example/debian
Suites: bookworm
Components: main
Signed-By: /usr/share/keyrings/mirror.gpg" "$(ML_APT_ETC=$etc ML_RELEASE=bookworm ml_derived_deb_src)"

expect "another release" "" "$(ML_APT_ETC=$etc ML_RELEASE=trixie ml_derived_deb_src)"

rm -rf "$etc"
[ "$failures" = 0 ] && echo "deb-src entries: all as expected"
exit "$failures"
