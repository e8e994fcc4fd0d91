#!/bin/bash
# check_package.sh PACKAGE.deb: installs the package, starts the installed
# program on a virtual display from an empty home, closes its window, and removes
# the package again. Needs root, Xvfb, openbox, xdotool and x11-utils.
set -eu

package=$(readlink -f "$1")
name=$(dpkg-deb -f "$package" Package)
here=$(dirname "$(readlink -f "$0")")
scratch=$(mktemp -d)
children=()

cleanup()
{
  for child in "${children[@]}"; do
    kill "$child" 2>/dev/null || true
  done
  if dpkg-query -W "$name" >/dev/null 2>&1; then
    apt-get purge -y "$name" >/dev/null 2>&1 || true
  fi
  rm -rf "$scratch"
}
trap cleanup EXIT

fail()
{
  echo "check_package: $*" >&2
  exit 1
}

# within SECONDS COMMAND...: repeats the command until it succeeds.
within()
{
  local until=$((SECONDS + $1))
  shift
  until "$@"; do
    [ "$SECONDS" -lt "$until" ] || return 1
    sleep 0.2
  done
}

files_of_package()
{
  dpkg-deb --fsys-tarfile "$package" | tar --list | sed 's/^\.//' | grep -v '/$'
}

start_display()
{
  Xvfb -displayfd 3 -screen 0 1280x900x24 -nolisten tcp 3>"$scratch/display" 2>/dev/null &
  children+=("$!")
  within 20 grep -q . "$scratch/display" || fail "no virtual display"
  DISPLAY=:$(cat "$scratch/display")
  export DISPLAY
  openbox >/dev/null 2>&1 &
  children+=("$!")
}

find_window()
{
  xdotool search --onlyvisible --name '^Quorix Vela$' >"$scratch/window" 2>/dev/null
}

gone()
{
  ! kill -0 "$1" 2>/dev/null
}

use_program()
{
  mkdir -m 0700 "$scratch/home" "$scratch/run"
  env -i PATH=/usr/bin:/bin HOME="$scratch/home" XDG_RUNTIME_DIR="$scratch/run" \
    DISPLAY="$DISPLAY" LANG=C.UTF-8 vela >"$scratch/log" 2>&1 &
  local program=$! status=0
  children+=("$program")
  within 60 find_window \
    || fail "no window; it said: $(cat "$scratch/log"); on display: $(xwininfo -root -tree)"
  xdotool windowactivate --sync "$(head -n 1 "$scratch/window")" key alt+F4
  within 10 gone "$program" || fail "the program did not end after its window"
  wait "$program" || status=$?
  [ "$status" -eq 0 ] || fail "the program ended with $status: $(cat "$scratch/log")"
  echo "ok    the installed program shows its window, and ends with it"
}

apt-get install -y --no-install-recommends "$package" >"$scratch/apt" 2>&1 \
  || fail "cannot install: $(tail -n 5 "$scratch/apt")"
"$here/validate.sh" /usr
start_display
use_program
apt-get purge -y "$name" >"$scratch/apt" 2>&1 || fail "cannot remove: $(tail -n 5 "$scratch/apt")"
files_of_package | while read -r file; do
  [ ! -e "$file" ] || fail "left behind: $file"
done
[ ! -e "/usr/share/doc/$name" ] || fail "left behind: /usr/share/doc/$name"
! dpkg-query -W "$name" >/dev/null 2>&1 || fail "the package is still known"
echo "ok    nothing is left of the package"
