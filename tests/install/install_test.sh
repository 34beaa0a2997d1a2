#!/usr/bin/env bash
# The installed tree: `cmake --install` into a temporary prefix must give the public headers,
# the versioned library, noxdb and the package files, with every shared library found inside
# the prefix or the system; the example consumer must build against it with find_package and
# with pkg-config, and run. As root, the installed noxdb is also run as another user on a
# database that user may only read.
#   install_test.sh CMAKE BUILD_DIR SOURCE_DIR GRAPHICSMAGICK_LIBDIR
set -euo pipefail
cmake=$1 build=$2 source=$3 gm_libdir=$4

fail() { echo "FAIL: $*" >&2; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/noxdb-install.XXXXXX")
trap 'rm -rf "$work"' EXIT
# Another user must be able to reach what is in here.
chmod 755 "$work"
prefix=$work/prefix
picture=$work/sunset.png
cp "$source/samples/pictures/outdoors/sunset.png" "$picture"
chmod 644 "$picture"

"$cmake" --install "$build" --prefix "$prefix" >"$work/install.log" || { cat "$work/install.log"; fail "cmake --install failed"; }

for f in bin/noxdb lib/libNoxDbImport.so lib/libNoxDbImport.so.0.1 include/noxdbimport/import/NoxDbImport.h \
         lib/cmake/NoxDbImport/NoxDbImportConfig.cmake lib/pkgconfig/noxdbimport.pc; do
  [ -e "$prefix/$f" ] || fail "$f is not installed"
done
for f in include/noxdbimport/import/ImageImporter.h include/noxdbimport/image; do
  [ ! -e "$prefix/$f" ] || fail "the internal $f is installed"
done
readelf -d "$prefix/lib/libNoxDbImport.so" | grep -q 'SONAME.*\[libNoxDbImport\.so\.0\.1\]' ||
  fail "libNoxDbImport.so has not the soname libNoxDbImport.so.0.1"
for f in bin/noxdb lib/libNoxDbImport.so; do
  libraries=$(ldd "$prefix/$f")
  if grep -q 'not found' <<<"$libraries"; then fail "$f misses libraries:"$'\n'"$libraries"; fi
  if grep -qF -e "$build" -e "$gm_libdir" <<<"$libraries"; then
    fail "$f takes libraries from the build tree or GraphicsMagick's build:"$'\n'"$libraries"
  fi
done

# The consumer, once through each package file, into one database.
db=$work/shared/media.noxdb
mkdir -m 755 "$work/shared"
"$cmake" -S "$source/examples/consumer" -B "$work/with-cmake" -DCMAKE_PREFIX_PATH="$prefix" >"$work/consumer.log" &&
  "$cmake" --build "$work/with-cmake" >>"$work/consumer.log" || { cat "$work/consumer.log"; fail "the consumer does not build with find_package"; }
mkdir "$work/with-make"
PKG_CONFIG_PATH=$prefix/lib/pkgconfig make -s -C "$work/with-make" -f "$source/examples/consumer/Makefile" >"$work/make.log" 2>&1 ||
  { cat "$work/make.log"; fail "the consumer does not build with pkg-config"; }
for consumer in with-cmake/consumer with-make/consumer; do
  listing=$("$work/$consumer" "$db" "$picture") || fail "$consumer failed"
  grep -qE '^IMAGE [0-9a-f-]{36} [0-9]+ sunset$' <<<"$listing" || fail "$consumer did not list the picture it imported:"$'\n'"$listing"
done
"$prefix/bin/noxdb" --db "$db" check >/dev/null || fail "the installed noxdb finds the database damaged"

if [ "$(id -u)" -ne 0 ]; then
  echo "not root: the run as another user is left out"
  exit 0
fi
# Another user, who may read the database but not write it or its folder, and who cannot
# enter the home folder GraphicsMagick was built in.
chmod 644 "$db"
mine=$work/nobody
mkdir -m 755 "$mine" && chown nobody "$mine"
as_nobody() { (cd "$mine" && runuser -u nobody -- "$@"); }
for command in "ls" "info sunset" "check" "export sunset IconLarge $mine/large.png" "gallery $mine/gallery"; do
  # shellcheck disable=SC2086
  out=$(as_nobody "$prefix/bin/noxdb" --db "$db" $command 2>&1) || fail "noxdb $command as nobody: $out"
done
[ -s "$mine/large.png" ] && [ -s "$mine/gallery/index.html" ] || fail "noxdb as nobody wrote no picture or page"
if out=$(as_nobody "$prefix/bin/noxdb" --db "$db" rm sunset 2>&1); then fail "nobody could delete from a database it may only read"; fi
as_nobody "$work/with-make/consumer" "$mine/own.noxdb" "$picture" | grep -q ' sunset$' ||
  fail "the consumer as nobody did not import into its own database"
echo "installed tree checked, also as nobody"
