#!/usr/bin/env bash
# Puts the GIMP plug-in and the filter module beside it into the user's GIMP
# 2.10 profile: GIMP2_DIRECTORY when set, else ~/.config/GIMP/2.10. GIMP
# registers it at its next start, under Filters > Quellfire > Marrowline...
#   gimp/install-gimp.sh BIN_FOLDER
set -euo pipefail
bin=${1:?usage: install-gimp.sh BIN_FOLDER}
for f in marrowline-gimp Marrowline.so; do
  [ -f "$bin/$f" ] || { echo "install-gimp: $bin/$f is missing; build it first" >&2; exit 1; }
done
profile=${GIMP2_DIRECTORY:-${XDG_CONFIG_HOME:-$HOME/.config}/GIMP/2.10}
target="$profile/plug-ins/marrowline-gimp"
mkdir -p "$target"
# GIMP 2.10 runs a plug-in in a folder of its own name; the module goes beside it.
install -m 755 "$bin/marrowline-gimp" "$target/marrowline-gimp"
install -m 644 "$bin/Marrowline.so" "$target/Marrowline.so"
echo "installed into $target"
echo "start GIMP and find it under Filters > Quellfire > Marrowline..."
