#!/usr/bin/env bash
# What gst-launch-1.0 makes of recordings through the plugin, beside the program: launch.sh PLUGIN_FOLDER PROGRAM
set -euo pipefail
superres=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export GST_PLUGIN_PATH=$1 GST_REGISTRY=$work/registry
cd "$work"

gst-inspect-1.0 oravosuperres >manual 2>complaints
[ ! -s complaints ] || { cat complaints; exit 1; }
for property in scale offset nuc guard pipeline threads; do grep -qE "^  $property +:" manual || { cat manual; exit 1; }; done

# Eight frames of a pattern that moves by fractions of a pixel, as raw file and with rows as GStreamer has them, which begin
# at multiples of four bytes.
record() { # WIDTH HEIGHT
    python3 - "$1" "$2" <<'EOF'
import array, math, sys
width, height = map(int, sys.argv[1:])
def count(x, y):
    return 29300 + int(900 * math.sin(x / 2.3) * math.cos(y / 2.9) + 400 * math.sin((x + 2 * y) / 7) * math.cos((x - y) / 3.1))
rows = [array.array("H", [count(x + 0.37 * n, y - 0.61 * n) for x in range(width)]).tobytes()
        for n in range(8) for y in range(height)]
open("packed", "wb").write(b"".join(rows))
open("recording", "wb").write(b"".join(row + bytes(-len(row) % 4) for row in rows))
EOF
}
agree() { # PROGRAM'S OPTIONS, PLUGIN'S PROPERTIES, SIZE
    local width=${3%x*} height=${3#*x}
    "$superres" enhance - --raw "$3:u16le" --every $1 -o - <packed >expected 2>log || [ $? -eq 6 ]
    grep -q ', 4 enlarged from one frame$' log || { cat log; exit 1; }
    gst-launch-1.0 -q filesrc location=recording ! rawvideoparse format=gray16-le width="$width" height="$height" framerate=30/1 ! \
        oravosuperres $2 ! filesink location=image
    cmp image expected || { echo "$1 and $2 disagree"; exit 1; }
}
decode='--scale 0.01 --offset -273.15' decoding='scale=0.01 offset=-273.15'
record 64 48
agree "$decode" "$decoding" 64x48
for pipeline in float vector reference; do
    agree "$decode --pipeline $pipeline" "$decoding pipeline=$pipeline" 64x48
done
agree "$decode --pipeline float --threads 2" "$decoding pipeline=float threads=2" 64x48
agree "--scale 0.4 --nuc --no-guard --pipeline float" "scale=0.4 nuc=true guard=false pipeline=float" 64x48
record 63 47
agree "$decode --pipeline float" "$decoding pipeline=float" 63x47
