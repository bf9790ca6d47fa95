#!/usr/bin/env bash
# Builds the third-party libraries of the fuzz build with the fuzzer's
# coverage instrumentation and the sanitizers, so that libFuzzer sees inside
# the decoders the fuzz targets drive:
#
#   bash cmake/build-fuzz-deps.sh PREFIX
#
# libjpeg-turbo (its libjpeg v6b interface, as Debian ships it), libpng and
# libtiff (with deflate and JPEG compression) are compiled with clang from
# Debian's own source packages (apt-get source) and installed as static
# libraries into PREFIX/include and PREFIX/lib; fuzz/CMakeLists.txt takes
# them from there (ML_FUZZ_DEPS_PREFIX). zlib stays the system's: its
# inflate is not what the targets test.
#
# Sources and build trees live beside PREFIX, in PREFIX/../fuzz-deps-src. A
# stamp file in PREFIX makes a second run return at once.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=debian-sources.sh
source "$here/debian-sources.sh"
ml_deps_setup "${1:-}" fuzz-deps-src
[ $# -eq 1 ] || ml_deps_setup

# The same instrumentation as the targets' own code (fuzz/CMakeLists.txt).
cflags="-O1 -g -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=undefined -fno-omit-frame-pointer"
cflags="$cflags -fsanitize-coverage-ignorelist=$(cd "$here/../fuzz" && pwd)/coverage-ignorelist.txt"

recipe=3
stamp="$prefix/.fuzz-deps-complete"
want_stamp="recipe=$recipe cflags=$cflags"
complete() {
  [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$want_stamp" ] &&
    [ -f "$prefix/lib/libjpeg.a" ] && [ -f "$prefix/include/jpeglib.h" ] &&
    [ -f "$prefix/lib/libpng16.a" ] && [ -f "$prefix/include/png.h" ] &&
    [ -f "$prefix/lib/libtiff.a" ] && [ -f "$prefix/include/tiffio.h" ]
}
complete && exit 0

fetch_debian_sources "$work" libjpeg-turbo libpng1.6 tiff
jpeg_src=$work/$(debian_source_dir "$work" libjpeg-turbo)
png_src=$work/$(debian_source_dir "$work" libpng1.6)
tiff_src=$work/$(debian_source_dir "$work" tiff)
for d in "$jpeg_src" "$png_src" "$tiff_src"; do
  [ -d "$d" ] && [ "$d" != "$work/" ] || { echo "fuzz deps: missing source tree under $work" >&2; exit 1; }
done
mkdir -p "$prefix/include" "$prefix/lib"

echo "== fuzz deps: libjpeg-turbo" >&2
jb="$work/libjpeg-turbo-build"
rm -rf "$jb"
CC=clang cmake -S "$jpeg_src" -B "$jb" -DCMAKE_BUILD_TYPE=None -DCMAKE_C_FLAGS="$cflags" \
  -DENABLE_SHARED=OFF -DENABLE_STATIC=ON -DWITH_SIMD=OFF -DWITH_TURBOJPEG=OFF \
  -DWITH_JAVA=OFF -DWITH_FUZZ=OFF >/dev/null
cmake --build "$jb" -j"$jobs" --target jpeg-static >/dev/null
cp "$jb/libjpeg.a" "$prefix/lib/"
cp "$jpeg_src/jpeglib.h" "$jpeg_src/jmorecfg.h" "$jpeg_src/jerror.h" "$jb/jconfig.h" "$prefix/include/"

echo "== fuzz deps: libpng" >&2
pb="$work/libpng-build"
rm -rf "$pb"
CC=clang cmake -S "$png_src" -B "$pb" -DCMAKE_BUILD_TYPE=None -DCMAKE_C_FLAGS="$cflags" \
  -DPNG_SHARED=OFF -DPNG_STATIC=ON -DPNG_TESTS=OFF -DPNG_EXECUTABLES=OFF -DPNG_HARDWARE_OPTIMIZATIONS=OFF >/dev/null
cmake --build "$pb" -j"$jobs" --target png_static >/dev/null
cp "$pb/libpng16.a" "$prefix/lib/"
cp "$png_src/png.h" "$png_src/pngconf.h" "$pb/pnglibconf.h" "$prefix/include/"

echo "== fuzz deps: libtiff" >&2
tb="$work/tiff-build"
rm -rf "$tb"
CC=clang cmake -S "$tiff_src" -B "$tb" -DCMAKE_BUILD_TYPE=None -DCMAKE_C_FLAGS="$cflags" \
  -DBUILD_SHARED_LIBS=OFF -Dtiff-tools=OFF -Dtiff-tests=OFF -Dtiff-contrib=OFF -Dtiff-docs=OFF -Dcxx=OFF \
  -Djpeg=ON -DJPEG_INCLUDE_DIR="$prefix/include" -DJPEG_LIBRARY="$prefix/lib/libjpeg.a" -Dold-jpeg=ON \
  -Dzlib=ON -Dlibdeflate=OFF -Djbig=OFF -Dlerc=OFF -Dlzma=OFF -Dzstd=OFF -Dwebp=OFF >/dev/null
cmake --build "$tb" -j"$jobs" --target tiff >/dev/null
cp "$tb/libtiff/libtiff.a" "$prefix/lib/"
cp "$tiff_src/libtiff/tiff.h" "$tiff_src/libtiff/tiffio.h" "$tiff_src/libtiff/tiffvers.h" "$tb/libtiff/tiffconf.h" \
  "$prefix/include/"

echo "$want_stamp" > "$stamp"
complete || { echo "fuzz deps: install incomplete in $prefix" >&2; exit 1; }
echo "== fuzz deps: done in $prefix" >&2
