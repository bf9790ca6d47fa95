#!/usr/bin/env bash
# Builds the static third-party libraries of the Windows build:
#
#   bash cmake/build-windows-deps.sh PREFIX
#
# zlib (libz.a), libpng (libpng16.a), libjpeg-turbo with its IJG jpeglib
# interface (libjpeg.a) and libtiff (libtiff.a, with deflate and JPEG
# compression over the two before it) are compiled with the mingw-w64
# toolchain from Debian's own source packages (apt-get source) and installed
# into PREFIX/include and PREFIX/lib, the names cmake/dependencies.cmake
# expects.
# Only the static libraries are built: no shared ones, tests or tools.
#
# The sources and build trees live beside PREFIX, in PREFIX/../windeps-src.
# A stamp file in PREFIX makes a second run return at once; delete PREFIX to
# force a rebuild.
#
# libjpeg-turbo is built without its SIMD extensions, so nasm is not needed.
# The JPEGs this program writes are thumbnails and page images of a few
# hundred pixels, where speed does not matter, and the plain C paths of the
# accurate integer DCT give the same bytes as the SIMD ones.
set -euo pipefail

if [ $# -ne 1 ] || [ -z "$1" ]; then
  echo "usage: $0 PREFIX" >&2
  exit 2
fi

here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$1"
prefix=$(cd "$1" && pwd)
work=$(dirname "$prefix")/windeps-src
toolchain="$here/toolchain-mingw64.cmake"
jobs=$(nproc 2>/dev/null || echo 2)
[ "$jobs" -gt 2 ] && jobs=2

cc=x86_64-w64-mingw32-gcc-posix
ar=x86_64-w64-mingw32-ar
ranlib=x86_64-w64-mingw32-ranlib
cflags="-O2 -ffp-contract=off"

# Bump this when the build below changes, so that old prefixes are redone.
recipe=2
stamp="$prefix/.windeps-complete"
want_stamp="recipe=$recipe"

complete() {
  [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$want_stamp" ] &&
    [ -f "$prefix/lib/libz.a" ] && [ -f "$prefix/lib/libpng16.a" ] &&
    [ -f "$prefix/lib/libjpeg.a" ] && [ -f "$prefix/include/jpeglib.h" ] &&
    [ -f "$prefix/lib/libtiff.a" ] && [ -f "$prefix/include/tiffio.h" ] &&
    [ -f "$prefix/include/png.h" ] && [ -f "$prefix/include/zlib.h" ]
}

if complete; then
  exit 0
fi

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

# --- tools and the deb-src entry, for a fresh machine -----------------------
need_update=0
if ! grep -rqs '^Types:.*deb-src' /etc/apt/sources.list.d/ && ! grep -qs '^deb-src' /etc/apt/sources.list; then
  as_root tee /etc/apt/sources.list.d/marrowline-src.sources >/dev/null <<'SRC'
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: bookworm
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SRC
  need_update=1
fi
missing=()
command -v dpkg-source >/dev/null || missing+=(dpkg-dev)
command -v "$cc" >/dev/null || missing+=(gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64)
command -v cmake >/dev/null || missing+=(cmake)
command -v make >/dev/null || missing+=(make)
if [ $need_update = 1 ] || [ ${#missing[@]} -gt 0 ]; then
  as_root apt-get update -qq
fi
if [ ${#missing[@]} -gt 0 ]; then
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# --- sources ----------------------------------------------------------------
mkdir -p "$work"
cd "$work"
source_dir() {  # the unpacked tree of one source package, if any
  find . -maxdepth 1 -mindepth 1 -type d -name "$1-*" ! -name '*-build' | sort | tail -n 1
}
fetch=()
for pkg in zlib libpng1.6 libjpeg-turbo tiff; do
  [ -n "$(source_dir "$pkg")" ] || fetch+=("$pkg")
done
if [ ${#fetch[@]} -gt 0 ]; then
  echo "== windeps: fetching sources of ${fetch[*]}" >&2
  # apt warns when root downloads unsandboxed; the download is fine.
  apt-get source -qq --only-source "${fetch[@]}" 2>&1 | grep -v '^W: Download is performed unsandboxed' >&2 || true
fi
zlib_src=$work/$(source_dir zlib)
png_src=$work/$(source_dir libpng1.6)
jpeg_src=$work/$(source_dir libjpeg-turbo)
tiff_src=$work/$(source_dir tiff)
for d in "$zlib_src" "$png_src" "$jpeg_src" "$tiff_src"; do
  [ -d "$d" ] && [ "$d" != "$work/" ] || { echo "windeps: missing source tree under $work" >&2; exit 1; }
done

mkdir -p "$prefix/include" "$prefix/lib"

# --- zlib: its few C files straight into an archive --------------------------
# (Debian's repacked source has no Windows makefile, and zlib's own CMake
# project would name the static library zlibstatic.)
echo "== windeps: zlib" >&2
zb="$work/zlib-build"
rm -rf "$zb" && mkdir -p "$zb"
objs=()
for f in adler32 compress crc32 deflate gzclose gzlib gzread gzwrite infback \
         inffast inflate inftrees trees uncompr zutil; do
  "$cc" $cflags -I"$zlib_src" -c "$zlib_src/$f.c" -o "$zb/$f.o"
  objs+=("$zb/$f.o")
done
rm -f "$zb/libz.a"
"$ar" rc "$zb/libz.a" "${objs[@]}"
"$ranlib" "$zb/libz.a"
cp "$zb/libz.a" "$prefix/lib/"
cp "$zlib_src/zlib.h" "$zlib_src/zconf.h" "$prefix/include/"

# --- libpng -------------------------------------------------------------------
echo "== windeps: libpng" >&2
pb="$work/libpng-build"
rm -rf "$pb"
cmake -S "$png_src" -B "$pb" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS="$cflags" -DCMAKE_INSTALL_PREFIX="$prefix" \
  -DPNG_SHARED=OFF -DPNG_STATIC=ON -DPNG_TESTS=OFF -DPNG_EXECUTABLES=OFF \
  -DPNG_FRAMEWORK=OFF -DZLIB_INCLUDE_DIR="$prefix/include" \
  -DZLIB_LIBRARY="$prefix/lib/libz.a" >/dev/null
cmake --build "$pb" -j"$jobs" --target png_static >/dev/null
cp "$pb/libpng16.a" "$prefix/lib/"
cp "$png_src/png.h" "$png_src/pngconf.h" "$pb/pnglibconf.h" "$prefix/include/"

# --- libjpeg-turbo, libjpeg v6b interface -------------------------------------
echo "== windeps: libjpeg-turbo" >&2
jb="$work/libjpeg-turbo-build"
rm -rf "$jb"
cmake -S "$jpeg_src" -B "$jb" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS="$cflags" -DCMAKE_INSTALL_PREFIX="$prefix" \
  -DENABLE_SHARED=OFF -DENABLE_STATIC=ON -DWITH_SIMD=OFF -DWITH_TURBOJPEG=OFF \
  -DWITH_JAVA=OFF -DWITH_FUZZ=OFF >/dev/null
cmake --build "$jb" -j"$jobs" --target jpeg-static >/dev/null
cp "$jb/libjpeg.a" "$prefix/lib/"
cp "$jpeg_src/jpeglib.h" "$jpeg_src/jmorecfg.h" "$jpeg_src/jerror.h" "$jb/jconfig.h" "$prefix/include/"

# --- libtiff: the library only, with the codecs the two above provide --------
echo "== windeps: libtiff" >&2
tb="$work/tiff-build"
rm -rf "$tb"
cmake -S "$tiff_src" -B "$tb" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS="$cflags" -DCMAKE_INSTALL_PREFIX="$prefix" \
  -DBUILD_SHARED_LIBS=OFF -Dtiff-tools=OFF -Dtiff-tests=OFF -Dtiff-contrib=OFF -Dtiff-docs=OFF \
  -Dcxx=OFF -Dzlib=ON -Djpeg=ON -Dold-jpeg=OFF -Djpeg12=OFF -Dpixarlog=OFF -Dlzma=OFF -Dzstd=OFF \
  -Dwebp=OFF -Djbig=OFF -Dlerc=OFF -Dlibdeflate=OFF \
  -DZLIB_INCLUDE_DIR="$prefix/include" -DZLIB_LIBRARY="$prefix/lib/libz.a" \
  -DJPEG_INCLUDE_DIR="$prefix/include" -DJPEG_LIBRARY="$prefix/lib/libjpeg.a" >/dev/null
cmake --build "$tb" -j"$jobs" --target tiff >/dev/null
cp "$tb/libtiff/libtiff.a" "$prefix/lib/"
cp "$tiff_src/libtiff/tiff.h" "$tiff_src/libtiff/tiffio.h" "$tiff_src/libtiff/tiffvers.h" \
  "$tb/libtiff/tiffconf.h" "$prefix/include/"

echo "$want_stamp" > "$stamp"
complete || { echo "windeps: install incomplete in $prefix" >&2; exit 1; }
echo "== windeps: done in $prefix" >&2
