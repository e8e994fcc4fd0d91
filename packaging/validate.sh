#!/bin/bash
# Holds what is installed for the desktop to its validators. Any complaint fails.
#   validate.sh            checks the files as they lie here
#   validate.sh FOLDER     checks a staged installation (the folder holding share/)
set -eu

here=$(dirname "$(readlink -f "$0")")
if [ $# -gt 0 ]; then
  desktop=$1/share/applications/com.quorix.Vela.desktop
  metainfo=$1/share/metainfo/com.quorix.Vela.metainfo.xml
  mime=$1/share/mime/packages/com.quorix.Vela.xml
  manual=$1/share/man/man1/vela.1.gz
else
  desktop=$here/com.quorix.Vela.desktop
  metainfo=$here/com.quorix.Vela.metainfo.xml
  mime=$here/com.quorix.Vela.mime.xml
  manual=$here/vela.1
fi

failures=0
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# silent NAME COMMAND...: the command must succeed and say nothing.
silent()
{
  local name=$1 said
  shift
  if said=$("$@" 2>&1) && [ -z "$said" ]; then
    echo "ok    $name"
  else
    echo "FAIL  $name"
    printf '%s\n' "$said" | sed 's/^/      /'
    failures=$((failures + 1))
  fi
}

metainfo_is_valid()
{
  local said
  said=$(appstreamcli validate --no-net --explain "$metainfo" 2>&1) || { echo "$said"; return 1; }
}

mime_type_is_usable()
{
  mkdir -p "$scratch/mime/packages"
  cp "$mime" "$scratch/mime/packages/"
  XDG_DATA_HOME=$scratch XDG_DATA_DIRS=$scratch update-mime-database "$scratch/mime"
  grep -q '^50:application/x-vela:\*\.vela$' "$scratch/mime/globs2"
}

manual_renders()
{
  # The formatted page goes nowhere: only what the formatter complains of counts.
  LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 \
    man --warnings -E UTF-8 -l -Tutf8 -Z "$manual" >/dev/null
}

silent "desktop entry (desktop-file-validate)" desktop-file-validate "$desktop"
silent "metainfo (appstreamcli validate)" metainfo_is_valid
silent "MIME type (xmllint)" xmllint --noout --nonet "$mime"
silent "MIME type (update-mime-database)" mime_type_is_usable
silent "manual page (man --warnings)" manual_renders
exit "$((failures > 0))"
