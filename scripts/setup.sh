#!/usr/bin/env bash
# Installs what the project needs on a Debian bookworm machine: the Debian packages, and
# GraphicsMagick with Magick++ built at 8-bit quantum from Debian's own source package
# (Debian ships it at 16 bits, which changes every pixel the importers export).
# Idempotent: packages already present and a cached GraphicsMagick build are kept.
set -euo pipefail

GM_PREFIX="${NOX_GM_PREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/noxdbimport/graphicsmagick-q8}"

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive

PACKAGES=(
  build-essential cmake pkg-config ninja-build dpkg-dev
  libopenexr-dev libimath-dev libstb-dev libsquish-dev libpugixml-dev
  libsqlite3-dev libpq-dev postgresql libssl-dev libgtest-dev libgmock-dev googletest libcli11-dev
  liblz4-dev libzstd-dev python3-pil
  chromium  # the gallery test loads its page in a headless browser
)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

need_gm=1
if [ -x "$GM_PREFIX/bin/GraphicsMagick++-config" ] && [ -f "$GM_PREFIX/.built-q8" ]; then need_gm=0; fi

apt_updated=0
apt_update() {
  if [ "$apt_updated" -eq 0 ]; then $SUDO apt-get update -qq; apt_updated=1; fi
}

if [ "${#missing[@]}" -gt 0 ]; then
  echo "setup: installing ${missing[*]}" >&2
  apt_update
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# A deb-src entry derived from the machine's own Debian source list, so that the source
# package comes from the same mirror the machine already trusts.
enable_source_index() {
  local src=/etc/apt/sources.list.d/noxdbimport-src.sources
  [ -f "$src" ] && return 0
  local tmp; tmp=$(mktemp)
  if [ -f /etc/apt/sources.list.d/debian.sources ]; then
    # deb822: copy the stanzas that carry "Types: deb" and turn them into deb-src.
    awk 'BEGIN { RS = ""; ORS = "\n\n" }
         { n = split($0, line, "\n"); keep = 0
           for (i = 1; i <= n; i++)
             if (line[i] ~ /^Types:/ && (" " line[i] " ") ~ / deb /) { line[i] = "Types: deb-src"; keep = 1 }
           if (keep) { out = line[1]; for (i = 2; i <= n; i++) out = out "\n" line[i]; print out } }' \
      /etc/apt/sources.list.d/debian.sources > "$tmp"
  elif [ -f /etc/apt/sources.list ]; then
    local list=/etc/apt/sources.list.d/noxdbimport-src.list
    grep -E '^deb ' /etc/apt/sources.list | sed 's/^deb /deb-src /' > "$tmp"
    src="$list"
  fi
  if [ ! -s "$tmp" ]; then
    echo "setup: no Debian source list found to derive a deb-src entry from" >&2
    rm -f "$tmp"; exit 1
  fi
  $SUDO install -m 644 "$tmp" "$src"
  rm -f "$tmp"
  apt_updated=0
}

if [ "$need_gm" -eq 1 ]; then
  echo "setup: building GraphicsMagick at 8-bit quantum into $GM_PREFIX" >&2
  enable_source_index
  apt_update
  $SUDO apt-get build-dep -y -qq graphicsmagick >/dev/null
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  ( cd "$work" && apt-get source -qq graphicsmagick >/dev/null 2>&1 )
  srcdir=$(find "$work" -maxdepth 1 -mindepth 1 -type d -iname 'graphicsmagick-*' | head -n 1)
  [ -n "$srcdir" ] || { echo "setup: apt-get source graphicsmagick gave no source tree" >&2; exit 1; }
  rm -rf "$GM_PREFIX"
  mkdir -p "$GM_PREFIX"
  (
    cd "$srcdir"
    ./configure -q --prefix="$GM_PREFIX" --with-quantum-depth=8 --enable-shared --disable-static \
      --without-perl --without-x --disable-openmp --without-wmf \
      --without-dps --without-fpx --without-jbig --without-trio >/dev/null
    make -s -j"$(nproc)" >/dev/null 2>&1
    make -s install >/dev/null 2>&1
  )
  "$GM_PREFIX/bin/gm" version | grep -q 'Q8' || { echo "setup: the GraphicsMagick build is not at 8-bit quantum" >&2; exit 1; }
  touch "$GM_PREFIX/.built-q8"
  echo "setup: GraphicsMagick ready (Q8)" >&2
fi
echo "$GM_PREFIX"
