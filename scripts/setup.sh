#!/usr/bin/env bash
# Installs what Zuv needs to build and test on Debian 12, and generates the legacy locales the
# system-encoding tests run under. Idempotent and non-interactive; needs root (or sudo) only when
# something is missing.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config ccache
  libicu-dev libgtest-dev libgmock-dev libbenchmark-dev
  locales
  clang libclang-rt-14-dev
  e2fsprogs xfsprogs xorriso fuseiso bindfs mount util-linux libmount-dev tzdata
  libglib2.0-dev libglib2.0-bin libxxhash-dev hyperfine time
  qt6-base-dev qt6-qpa-plugins fonts-dejavu-core xvfb xauth
  doxygen file dpkg-dev
)

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; elif command -v sudo >/dev/null; then sudo "$@"; else
    echo "setup: need root to run: $*" >&2; return 1; fi
}

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  as_root env DEBIAN_FRONTEND=noninteractive apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# Legacy locales for the system-encoding tests.
have_locale() { locale -a 2>/dev/null | tr 'A-Z' 'a-z' | tr -d '-' | grep -qx "$1"; }
have_locale "en_us.iso88591" || as_root localedef -i en_US -f ISO-8859-1 en_US.ISO-8859-1
have_locale "ja_jp.eucjp" || as_root localedef -i ja_JP -f EUC-JP ja_JP.EUC-JP
exit 0
