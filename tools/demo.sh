#!/usr/bin/env bash
# The demo: draws a sample picture and runs the filter on it through the real
# plug-in interface, with marrowline-host loading the plug-in module.
set -euo pipefail
bin=$1
out=${2:-build/demo}
mkdir -p "$out"
"$bin/marrowline-sample" "$out/sample.png" 640 420 8 rgb
run() {
  local name=$1; shift
  "$bin/marrowline-host" "$@" "$out/sample.png" "$out/$name.png"
  echo "  $out/$name.png  ($*)"
}
echo "Marrowline demo: the sample picture is $out/sample.png; results:"
run blurry --edge-style blurry --smoothing 20 --tweaker 80
run blurry-screen --edge-style blurry --smoothing 12 --tweaker 100 --glue screen
run blurry-flip --edge-style blurry --smoothing 30 --tweaker 60 --flip 1
run blurry-colour --edge-style blurry --colorize 1 --fore 255,220,40 --back 20,0,60
run thin-soft --edge-style "thin/soft"
run chrome --edge-style chrome --chrome-style sine
run tangled-multiply --edge-style tangled --glue multiply
echo "Open them in any picture viewer."
