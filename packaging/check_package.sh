#!/bin/bash
# Packs the release build, or takes the package that is named, and lives through its life
# on this machine: installs it, uses the installed program, removes it, and looks for what
# is left behind. Needs Debian, and root (or sudo) for installing.
#
#   packaging/check_package.sh                  builds and packs first
#   packaging/check_package.sh PACKAGE.deb
set -eu
[ $# -eq 0 ] || package=$(readlink -f "$1")
cd "$(dirname "$(readlink -f "$0")")/.."
. scripts/common.sh
. scripts/dependencies.sh

use_utf8_locale
need "$kBuildDependencies" "$kTestDependencies"
(need "$kPackageDependencies") || say "going on without lintian, which cannot be had here"
export PYTHONDONTWRITEBYTECODE=1
scratch=$(mktemp -d)
name=

cleanup()
{
  if [ -n "$name" ] && debian_has "$name"; then
    remove >/dev/null 2>&1 || true
  fi
  rm -rf "$scratch"
}
trap cleanup EXIT

# quietly COMMAND...: what it says is shown only if it fails.
quietly()
{
  "$@" >"$scratch/said" 2>&1 </dev/null || { cat "$scratch/said" >&2; fail "failed: $*"; }
}

pack()
{
  quietly build release
  quietly cpack --config build/release/CPackConfig.cmake -B build/package
  package=$(find "$PWD/build/package" -maxdepth 1 -name '*.deb' -printf '%T@ %p\n' \
    | sort -n | tail -n 1 | cut -d ' ' -f 2)
}

apt()
{
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 \
    -o APT::Sandbox::User=root --no-install-recommends --yes "$@"
}

remove()
{
  apt purge "$name"
}

# Every name of a file where packages put theirs; what the package manager keeps of its
# own work, and caches of names alone, are not the package's.
every_file()
{
  as_root find /etc /opt /usr /var/lib -xdev \
    \( -path /var/lib/apt -o -path '/var/lib/dpkg/*-old' -o -name __pycache__ \) -prune \
    -o -print | LC_ALL=C sort
}

[ -n "${package:-}" ] || pack
name=$(dpkg-deb --field "$package" Package)
! debian_has "$name" || fail "$name is installed here already: remove it first"

if command -v lintian >/dev/null; then
  # Only Debian's own archive wants its first upload to close a report.
  quietly lintian --fail-on error,warning --allow-root \
    --suppress-tags initial-upload-closes-no-bugs "$package"
  echo "ok    lintian finds no error and nothing to warn of"
fi

# What it depends on comes with the needs above, and stays, so that nothing but the package
# itself comes and goes between the two looks at the files.
quietly apt satisfy "$(dpkg-deb --field "$package" Depends)"
every_file >"$scratch/before"
quietly apt install "$package"
packaging/validate.sh /usr
/usr/bin/python3 packaging/use_installed.py "$name" /usr/bin/vela
quietly remove
every_file >"$scratch/after"
if ! left=$(diff "$scratch/before" "$scratch/after"); then
  fail "the files are not as they were before: $left"
fi
echo "ok    nothing is left of the package"
