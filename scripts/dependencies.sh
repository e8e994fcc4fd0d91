# What building, testing and touring need, and how it gets onto the machine.
# Sourced by ./run, ./test, ./bench, packaging/check_package.sh and some of scripts; expects
# scripts/common.sh.
#
# One line each: Debian package, then how another system shows that it has it
# (cmd: a command, pc: a pkg-config module, "-" where only Debian is asked).

kBuildDependencies="
g++                        cmd:c++
cmake                      cmd:cmake
ninja-build                cmd:ninja
ccache                     cmd:ccache
qt6-base-dev               pc:Qt6Widgets
qt6-multimedia-dev         pc:Qt6Multimedia
libgl1-mesa-dev            pc:gl
pkg-config                 cmd:pkg-config
libpulse-dev               pc:libpulse
libisal-dev                pc:libisal
qt6-l10n-tools             -
zlib1g-dev                 pc:zlib
libqt6svg6                 -
"

# For a desktop without an X server.
kWaylandDependencies="
qt6-wayland                -
"

kTourDependencies="
python3                    cmd:python3
python3-pyatspi            -
at-spi2-core               -
dbus                       cmd:dbus-run-session
xvfb                       cmd:Xvfb
xauth                      cmd:xauth
xdotool                    cmd:xdotool
x11-utils                  cmd:xwininfo
openbox                    cmd:openbox
imagemagick                cmd:import
pulseaudio                 cmd:pulseaudio
pulseaudio-utils           cmd:parec
ffmpeg                     cmd:ffmpeg
"

kTestDependencies="
$kTourDependencies
clang-format               cmd:clang-format
desktop-file-utils         cmd:desktop-file-validate
appstream                  cmd:appstreamcli
libxml2-utils              cmd:xmllint
shared-mime-info           cmd:update-mime-database
man-db                     cmd:man
dpkg-dev                   cmd:dpkg-shlibdeps
"

kPackageDependencies="
lintian                    cmd:lintian
"

kTidyDependencies="
clang-tidy                 cmd:clang-tidy
"

kLintDependencies="
cppcheck                   cmd:cppcheck
"

kQtLintDependencies="
clazy                      cmd:clazy-standalone
"

kFuzzDependencies="
clang                      cmd:clang++
libclang-rt-dev            -
"

kCoverageDependencies="
gcovr                      cmd:gcovr
"

kStressDependencies="
stress                     cmd:stress
"

kBenchDependencies="
libbenchmark-dev           pc:benchmark
libboost-dev               -
python3                    cmd:python3
util-linux                 cmd:taskset
xvfb                       cmd:Xvfb
xauth                      cmd:xauth
xdotool                    cmd:xdotool
x11-utils                  cmd:xprop
openbox                    cmd:openbox
pulseaudio                 cmd:pulseaudio
pulseaudio-utils           cmd:pactl
ffmpeg                     cmd:ffmpeg
"

is_debian()
{
  command -v dpkg-query >/dev/null && command -v apt-get >/dev/null
}

debian_has()
{
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

other_system_has()
{
  case $1 in
    cmd:*) command -v "${1#cmd:}" >/dev/null ;;
    pc:*) ! command -v pkg-config >/dev/null || pkg-config --exists "${1#pc:}" ;;
    *) true ;;
  esac
}

as_root()
{
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    fail "this needs root and there is no sudo; as root, run: $*"
  fi
}

install_on_debian()
{
  say "installing: $*"
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get -o DPkg::Lock::Timeout=300 update </dev/null \
    || fail "apt-get update failed"
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get -o DPkg::Lock::Timeout=300 install -y --no-install-recommends "$@" </dev/null \
    || fail "apt-get install failed"
}

# need <list>...: installs what is missing on Debian; elsewhere names it and
# ends, because guessing another system's package names helps nobody.
need()
{
  local package sign missing=()
  while read -r package sign; do
    [ -n "$package" ] || continue
    if is_debian; then
      debian_has "$package" || missing+=("$package")
    else
      other_system_has "$sign" || missing+=("${sign#*:} (Debian: $package)")
    fi
  done <<<"$*"
  [ ${#missing[@]} -gt 0 ] || return 0
  if is_debian; then
    install_on_debian "${missing[@]}"
    return
  fi
  say "this is not a Debian system; please install these and start again:"
  printf '  %s\n' "${missing[@]}" >&2
  exit 1
}
