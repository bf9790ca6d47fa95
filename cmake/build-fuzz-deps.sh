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

recipe=4
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

# The same compiler and flags for each; libtiff also reads old-style JPEG.
# (A later -DCMAKE_C_FLAGS overrides the first.)
tools=(-DCMAKE_C_COMPILER=clang -DCMAKE_BUILD_TYPE=None -DCMAKE_C_FLAGS="$cflags")
echo "== fuzz deps: libjpeg-turbo" >&2
ml_build_libjpeg "$jpeg_src" "${tools[@]}"
echo "== fuzz deps: libpng" >&2
ml_build_libpng "$png_src" "${tools[@]}" -DPNG_HARDWARE_OPTIMIZATIONS=OFF
echo "== fuzz deps: libtiff" >&2
# libtiff's LZW decoder reads its code table with unaligned 8-byte loads, by
# design and harmless on x86-64; the alignment check alone is left out there.
ml_build_libtiff "$tiff_src" "${tools[@]}" -DCMAKE_C_FLAGS="$cflags -fno-sanitize=alignment" -Dold-jpeg=ON

echo "$want_stamp" > "$stamp"
complete || { echo "fuzz deps: install incomplete in $prefix" >&2; exit 1; }
echo "== fuzz deps: done in $prefix" >&2
