# Debian source packages for the libraries the project compiles itself (the
# Windows build's, the fuzz build's instrumented ones). Sourced by ./run and
# by the cmake/build-*-deps.sh scripts:
#
#   ensure_deb_src            a deb-src entry for the system's release, made
#                             from the machine's own deb entries (so a mirror
#                             or proxy configured there is used); returns 0
#                             when it wrote one and apt needs an update
#   fetch_debian_sources DIR PKG...
#                             apt-get source of each PKG not yet unpacked
#                             in DIR
#   debian_source_dir DIR PKG the unpacked tree of PKG in DIR, if any
#   ml_deps_setup PREFIX SRCNAME
#                             for the cmake/build-*-deps.sh scripts: makes
#                             PREFIX and sets prefix (absolute), work
#                             (PREFIX/../SRCNAME, sources and build trees)
#                             and jobs (at most 2)
#   ml_build_libjpeg SRC CMAKE_ARGS...
#   ml_build_libpng SRC CMAKE_ARGS...
#   ml_build_libtiff SRC CMAKE_ARGS...
#                             one static library from its source tree into
#                             $prefix/lib and its headers into
#                             $prefix/include, built in $work/NAME-build;
#                             CMAKE_ARGS say the compiler and flags (and for
#                             libtiff where zlib comes from); libtiff takes
#                             libjpeg from $prefix
#
# Needs root (or sudo) only to write the entry. ML_APT_ETC and ML_RELEASE
# stand in for /etc/apt and the release's code name in tests.

# The file ensure_deb_src owns; it is rewritten whenever the machine's deb
# entries say otherwise.
ML_DEB_SRC_FILE=/etc/apt/sources.list.d/marrowline-src.sources

ml_as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

# The deb-src stanzas (deb822) for the release's own suite, one per deb entry
# that serves it: the URIs, components and keyring stay as configured.
ml_derived_deb_src() {
  local etc=${ML_APT_ETC:-/etc/apt} release=${ML_RELEASE:-}
  [ -n "$release" ] || release=$(. /etc/os-release 2>/dev/null && echo "${VERSION_CODENAME:-}")
  [ -n "$release" ] || return 0
  # deb822 files: stanzas split by blank lines, comments dropped.
  local f
  for f in "$etc"/sources.list.d/*.sources; do
    [ -f "$f" ] && [ "$f" != "$ML_DEB_SRC_FILE" ] || continue
    awk -v release="$release" '
      function flush() {
        if (types ~ /(^|[ \t])deb([ \t]|$)/ && enabled != "no" && (" " suites " ") ~ (" " release " ")) {
          printf "Types: deb-src\nURIs: %s\nSuites: %s\nComponents: %s\n", uris, release, comps
          if (signed != "") printf "Signed-By: %s\n", signed
          printf "\n"
        }
        types = uris = suites = comps = signed = enabled = ""
      }
      /^[ \t]*#/ { next }
      /^[ \t]*$/ { flush(); next }
      { key = $1; sub(/:$/, "", key); value = $0; sub(/^[^:]*:[ \t]*/, "", value) }
      key == "Types" { types = value } key == "URIs" { uris = value } key == "Suites" { suites = value }
      key == "Components" { comps = value } key == "Signed-By" { signed = value } key == "Enabled" { enabled = value }
      END { flush() }' "$f"
  done
  # One-line entries: "deb [options] URI SUITE COMPONENTS...".
  for f in "$etc"/sources.list "$etc"/sources.list.d/*.list; do
    [ -f "$f" ] || continue
    awk -v release="$release" '
      $1 != "deb" { next }
      {
        i = 2; options = ""
        if ($2 ~ /^\[/) { while (i <= NF && $i !~ /\]$/) { options = options " " $i; i++ } options = options " " $i; i++ }
        uri = $i; suite = $(i + 1); comps = ""
        for (j = i + 2; j <= NF; j++) comps = comps " " $j
        if (suite != release) next
        signed = ""
        if (match(options, /signed-by=[^] ]*/)) signed = substr(options, RSTART + 10, RLENGTH - 10)
        printf "Types: deb-src\nURIs: %s\nSuites: %s\nComponents:%s\n", uri, suite, comps
        if (signed != "") printf "Signed-By: %s\n", signed
        printf "\n"
      }' "$f"
  done
}

ml_other_deb_src_present() {
  local f
  for f in /etc/apt/sources.list.d/*.sources; do
    [ -f "$f" ] && [ "$f" != "$ML_DEB_SRC_FILE" ] && grep -qs '^Types:.*deb-src' "$f" && return 0
  done
  grep -qs '^deb-src' /etc/apt/sources.list /etc/apt/sources.list.d/*.list
}

ensure_deb_src() {
  ml_other_deb_src_present && return 1
  local wanted
  wanted=$(ml_derived_deb_src)
  if [ -z "$wanted" ]; then
    echo "no deb entry for this release to make a deb-src entry from; add one to /etc/apt/sources.list.d" >&2
    return 1
  fi
  [ -f "$ML_DEB_SRC_FILE" ] && [ "$(cat "$ML_DEB_SRC_FILE")" = "$wanted" ] && return 1
  printf '%s\n' "$wanted" | ml_as_root tee "$ML_DEB_SRC_FILE" >/dev/null
  return 0
}

debian_source_dir() {
  (cd "$1" && find . -maxdepth 1 -mindepth 1 -type d -name "$2-*" ! -name '*-build' | sort | tail -n 1 | sed 's|^\./||')
}

fetch_debian_sources() {
  local dir=$1 pkg fetch=()
  shift
  mkdir -p "$dir"
  for pkg in "$@"; do
    [ -n "$(debian_source_dir "$dir" "$pkg")" ] || fetch+=("$pkg")
  done
  [ ${#fetch[@]} -gt 0 ] || return 0
  echo "== fetching the Debian sources of ${fetch[*]}" >&2
  if ensure_deb_src; then ml_as_root apt-get update -qq; fi
  # apt warns when root downloads unsandboxed; the download is fine.
  (cd "$dir" && apt-get source -qq --only-source "${fetch[@]}" 2>&1 | grep -v '^W: Download is performed unsandboxed' >&2) || true
}

ml_deps_setup() {
  if [ $# -ne 2 ] || [ -z "$1" ]; then
    echo "usage: $0 PREFIX" >&2
    exit 2
  fi
  mkdir -p "$1"
  prefix=$(cd "$1" && pwd)
  work=$(dirname "$prefix")/$2
  jobs=$(nproc 2>/dev/null || echo 2)
  [ "$jobs" -gt 2 ] && jobs=2
  return 0
}

# libjpeg-turbo with its libjpeg v6b interface, without SIMD (no nasm).
ml_build_libjpeg() {
  local src=$1 build=$work/libjpeg-turbo-build
  shift
  rm -rf "$build"
  cmake -S "$src" -B "$build" "$@" -DENABLE_SHARED=OFF -DENABLE_STATIC=ON -DWITH_SIMD=OFF \
    -DWITH_TURBOJPEG=OFF -DWITH_JAVA=OFF -DWITH_FUZZ=OFF >/dev/null
  cmake --build "$build" -j"$jobs" --target jpeg-static >/dev/null
  cp "$build/libjpeg.a" "$prefix/lib/"
  cp "$src/jpeglib.h" "$src/jmorecfg.h" "$src/jerror.h" "$build/jconfig.h" "$prefix/include/"
}

ml_build_libpng() {
  local src=$1 build=$work/libpng-build
  shift
  rm -rf "$build"
  cmake -S "$src" -B "$build" "$@" -DPNG_SHARED=OFF -DPNG_STATIC=ON -DPNG_TESTS=OFF \
    -DPNG_EXECUTABLES=OFF -DPNG_FRAMEWORK=OFF >/dev/null
  cmake --build "$build" -j"$jobs" --target png_static >/dev/null
  cp "$build/libpng16.a" "$prefix/lib/"
  cp "$src/png.h" "$src/pngconf.h" "$build/pnglibconf.h" "$prefix/include/"
}

# libtiff, the library only, with deflate and JPEG compression.
ml_build_libtiff() {
  local src=$1 build=$work/tiff-build
  shift
  rm -rf "$build"
  cmake -S "$src" -B "$build" "$@" -DBUILD_SHARED_LIBS=OFF -Dtiff-tools=OFF -Dtiff-tests=OFF \
    -Dtiff-contrib=OFF -Dtiff-docs=OFF -Dcxx=OFF -Dzlib=ON -Djpeg=ON -Djpeg12=OFF -Dpixarlog=OFF \
    -Dlzma=OFF -Dzstd=OFF -Dwebp=OFF -Djbig=OFF -Dlerc=OFF -Dlibdeflate=OFF \
    -DJPEG_INCLUDE_DIR="$prefix/include" -DJPEG_LIBRARY="$prefix/lib/libjpeg.a" >/dev/null
  cmake --build "$build" -j"$jobs" --target tiff >/dev/null
  cp "$build/libtiff/libtiff.a" "$prefix/lib/"
  cp "$src/libtiff/tiff.h" "$src/libtiff/tiffio.h" "$src/libtiff/tiffvers.h" "$build/libtiff/tiffconf.h" \
    "$prefix/include/"
}

