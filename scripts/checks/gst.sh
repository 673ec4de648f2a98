#!/usr/bin/env bash
# long service of the GStreamer element and of the program between pipes: frames lost, memory, latency, throughput
#
#   scripts/check.sh gst [FRAMES]     default: 100000 through the element
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh

frames=${1:-100000}
need_packages $test_packages
build_release gstoravosuperres oravo-superres
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export GST_PLUGIN_PATH=$PWD/$release_tree/gstreamer GST_REGISTRY=$work/registry
superres=$release_tree/tools/oravo-superres

# Frames of a pattern that moves by fractions of a pixel, with noise, in hundredths of a kelvin: WIDTH HEIGHT FILE
record() {
    /usr/bin/python3 - "$@" <<'EOF'
import sys
import numpy as np
width, height = map(int, sys.argv[1:3])
random = np.random.default_rng(1)
y, x = np.mgrid[0:height, 0:width].astype(float)
def frame(n):
    u, v = x + 1.1 * np.sin(0.37 * n), y + 0.9 * np.sin(0.61 * n)
    scene = 900 * np.sin(u / 2.3) * np.cos(v / 2.9) + 400 * np.sin((u + 2 * v) / 7) * np.cos((u - v) / 5)
    return 29300 + scene + random.normal(0, 5, scene.shape)
np.stack([frame(n) for n in range(60)]).round().astype("<u2").tofile(sys.argv[3])
EOF
}

echo "== $frames frames of 32 x 24 pixels through the element"
record 32 24 "$work/32"
for _ in $(seq $(((frames + 59) / 60))); do cat "$work/32"; done 2>/dev/null |
    gst-launch-1.0 -q fdsrc ! rawvideoparse format=gray16-le width=32 height=24 framerate=30/1 ! \
        oravosuperres scale=0.01 offset=-273.15 pipeline=float ! filesink location=/dev/stdout buffer-mode=unbuffered \
        > >(wc -c >"$work/bytes") &
launch=$!
resident() { sed -n 's/^VmRSS:[ \t]*\([0-9]*\) kB/\1/p' /proc/$launch/status 2>/dev/null || true; }
sleep 5
early=$(resident) late=$early
while kill -0 $launch 2>/dev/null; do
    now=$(resident)
    late=${now:-$late}
    sleep 1
done
wait $launch
for _ in $(seq 100); do [ -s "$work/bytes" ] && break; sleep 0.1; done
images=$(($(cat "$work/bytes") / (4 * 2 * 32 * 24)))
echo "$images images; resident memory ${early:-?} kB after 5 s, ${late:-?} kB at the end"
[ "$images" -eq $(((frames + 59) / 60 * 60)) ]
[ -z "$early" ] || [ "$late" -le $((early + 1024)) ]

echo "== latency of the element at 320 x 240, 30 Hz, float"
record 320 240 "$work/320"
for _ in $(seq 10); do cat "$work/320"; done | GST_TRACERS="latency(flags=element)" GST_DEBUG=GST_TRACER:7 \
    GST_DEBUG_NO_COLOR=1 gst-launch-1.0 -q fdsrc ! \
    rawvideoparse format=gray16-le width=320 height=240 framerate=30/1 ! clocksync ! \
    oravosuperres scale=0.01 offset=-273.15 pipeline=float ! fakesink 2>"$work/trace"
sed -n 's/.*element-latency,.*element=(string)oravosuperres0,.*time=(guint64)\([0-9]*\),.*/\1/p' "$work/trace" | sort -n |
    awk '{ t[NR] = $1 / 1e6 } END {
        p = t[int(0.99 * NR)]
        printf "%d frames: median %.1f ms, p99 %.1f ms, most %.1f ms of 33.3\n", NR, t[int(NR / 2)], p, t[NR]
        exit !(NR > 100 && p < 33.3) }'

echo "== the program between pipes, float"
record 640 512 "$work/640"
for size in 320x240 640x512; do
    start=$(date +%s.%N)
    cat "$work/${size%x*}" "$work/${size%x*}" | "$superres" enhance - --raw "$size:u16le" --every --encoding centikelvin \
        --pipeline float -o - 2>/dev/null | cat >/dev/null
    awk -v size="$size" -v start="$start" -v end="$(date +%s.%N)" \
        'BEGIN { printf "%s: %.1f frames a second\n", size, 120 / (end - start) }'
done
