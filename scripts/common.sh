# Sourced by ./run, ./test, ./bench, scripts/again, scripts/fuzz, scripts/lint and
# packaging/check_package.sh, with the working directory at the root.

say()
{
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
}

fail()
{
  say "$*"
  exit 1
}

# Qt and Python read file names by the locale; a bare system has none set.
use_utf8_locale()
{
  case ${LC_ALL:-${LC_CTYPE:-${LANG:-}}} in
    *UTF-8 | *utf8) ;;
    *) export LC_ALL=C.UTF-8 ;;
  esac
}

# with_lock <file> <command...>: one at a time, so that two starts do not build
# over each other. The command's children do not inherit the lock.
with_lock()
{
  local file=$1
  shift
  mkdir -p "$(dirname "$file")"
  if ! command -v flock >/dev/null; then
    "$@"
    return
  fi
  (
    flock -n 9 || { say "waiting for another run in this folder"; flock 9; }
    "$@" 9>&-
  ) 9>"$file"
}

# build <preset> [target...]
build()
{
  local preset=$1
  shift
  export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
  cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}
}
