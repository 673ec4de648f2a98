#!/usr/bin/env bash
# How close enlarged images come to the truth: simulates bursts of the rendered scene, and of the pictures in
# $ORAVO_TEST_DATA/stills where that is set, and prints a table in Markdown.
#
#   scripts/quality.sh [BUILD_FOLDER]     default: build-release, which is built when it is missing
#
# Every burst has five frames of 160 x 120 pixels. What is compared: each pipeline of this library as the program runs
# it (guarded, every parameter left alone), bicubic enlargement of the reference frame, and the total-variation method
# of OpenCV's module superres where that is installed, on some of the bursts, since it takes ten seconds
# for each (PEER=no leaves it out). Three pixels along the border are left out. Each method gets the burst with its own
# reference frame on the truth's grid.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$root/scripts/lib.sh"
build=${1:-$root/$release_tree}
if [ ! -x "$build/tools/oravo-superres" ]; then
    (cd "$root" && release_tree=$build && build_release tools/all bench/all) >/dev/null
fi
superres=$build/tools/oravo-superres
peer=$build/bench/superres_peer
if [ "${PEER:-yes}" = no ]; then peer=; fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

worse=0
unsaid=0
settings=0

# The four figures of the line that begins with $1, and of the one behind it: PSNR, SSIM, RMSE, flat, hot, cold.
figures() {
    awk -v name="$1" '$1 == name { psnr = $3; rmse = $6; ssim = $8
        do getline; while (!/flat/)
        gsub(",", ""); printf "%s | %s | %s | %s | %s | %s", psnr, ssim, rmse, $5, $8, $11 }'
}

row() { printf '| %s | %s | %s |\n' "$setting" "$1" "$2"; }

# Simulates a burst whose frame $1 lies on the truth's grid, but for an offset of $2 pixels in x and y.
burst() {
    local shifts
    shifts=$(awk -v ref="$1" -v offset="$2" -v all="$pattern" 'BEGIN { n = split(all, d, ";"); split(d[ref + 1], r, ",")
        for (i = 1; i <= n; ++i) { split(d[i], s, ",")
            printf "%s%.4f,%.4f", (i > 1 ? ";" : ""), s[1] - r[1] + offset, s[2] - r[2] + offset } }')
    rm -rf "$work/burst"
    "$superres" simulate -o "$work/burst" --reference "$1" --shifts "$shifts" --noise "$noise" --psf-sigma "$blur" \
        --seed 5 "${scene[@]}" 2>/dev/null
}

compare() {
    "$superres" evaluate "$work/out.tif" "$work/burst/truth.tif" --reference "$work/burst/frame_00$1.tif" --regions
}

measure() {
    setting="$1 | $2 | $noise | $blur"
    local pipelines pipeline reference result ours bicubic
    pipelines=$("$superres" enhance --help | sed -nE 's/^ +--pipeline [A-Z]+:\{([^}]*)\}.*/\1/p' | tr , ' ')
    for pipeline in $pipelines; do
        reference=1
        if [ "$pipeline" = reference ]; then reference=4; fi
        burst "$reference" 0
        "$superres" enhance "$work/burst" -o "$work/out.tif" --pipeline "$pipeline" 2>"$work/said"
        result=$(compare "$reference")
        if [ "$pipeline" = float ]; then row bicubic "$(figures bicubic <<<"$result")"; fi
        row "$pipeline$(grep -o 'TV weight [0-9]*' "$work/said" | sed 's/^/, /')" "$(figures result <<<"$result")"
        ours=$(awk '$1 == "result" { print $6 }' <<<"$result")
        bicubic=$(awk '$1 == "bicubic" { print $6 }' <<<"$result")
        settings=$((settings + 1))
        if awk "BEGIN { exit !($ours > $bicubic) }"; then
            worse=$((worse + 1))
            if ! grep -q 'hardly better than its bicubic' "$work/said"; then unsaid=$((unsaid + 1)); fi
        fi
    done
    if [ -x "$peer" ] && [[ "$2 $noise $blur" =~ ^random\ (0.05|0.5|1.5)\ 0.683$ ]]; then
        burst 2 0.25
        "$peer" "$work/out.tif" "$work"/burst/frame_*.tif
        row "OpenCV superres" "$(compare 2 | figures result)"
    fi
}

random='0.29,0.01;0,0;-0.35,0.42;0.88,-0.61;-0.74,-0.93'
halves='0.5,0;0,0;0,0.5;0.5,0.5;1,-0.5'
sideways='0.3,0;0,0;-0.4,0.02;0.85,-0.03;0.6,0'
tripod='0.02,0;0,0;-0.01,0.02;0.01,-0.02;0,0.01'
far='3.3,-2.6;0,0;-2.4,3.1;4.7,1.2;-4.1,-3.7'

sweep() {
    local name=$1
    for noise in 0.05 0.2 0.5 1 1.5 3; do blur=0.683 pattern=$random measure "$name" random; done
    for blur in 0.4 1.0 1.4; do noise=0.05 pattern=$random measure "$name" random; done
    noise=0.05 blur=0.683
    pattern=$halves measure "$name" halves
    pattern=$sideways measure "$name" sideways
    pattern=$tripod measure "$name" tripod
    pattern=$far measure "$name" far
}

echo "| scene | shifts | noise, K | blur | method | PSNR, dB | SSIM | RMSE, K | flat | hot | cold |"
echo "|---|---|---|---|---|---|---|---|---|---|---|"
scene=()
sweep rendered
if [ -n "${ORAVO_TEST_DATA:-}" ]; then
    for still in "$ORAVO_TEST_DATA"/stills/*.{tif,png}; do
        scene=(--scene "$still")
        case $still in *counts*) scene+=(--scale 0.01) ;; esac # counts have no calibration: hundreds stand for kelvin
        name=$(basename "${still%.*}")
        sweep "${name%_*}"
    done
fi
echo
echo "Worse than bicubic: $worse of $settings results, $unsaid of them without a warning."
[ "$unsaid" -eq 0 ]
