#!/usr/bin/env bash
# the HTML report in a real browser: nothing fetched, no errors, slider, pointer, keys, widths; leaves screenshots
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
. scripts/lib.sh
build=${1:-$release_tree}
out=$PWD/out/report

need_packages $test_packages chromium fonts-dejavu-core
build_in "$build" -DCMAKE_BUILD_TYPE=Release -- oravo-superres
superres=$build/tools/oravo-superres

browser() {
    local sandbox=()
    if [ "$(id -u)" -eq 0 ]; then
        sandbox=(--no-sandbox)
    fi
    timeout 120 chromium --headless "${sandbox[@]}" --disable-gpu --hide-scrollbars --user-data-dir="$out/profile" \
        --enable-logging=stderr --virtual-time-budget=5000 "$@"
}

# Prints the value of a number that the probe left in the page.
probed() {
    grep -o "data-$1=\"[^\"]*\"" "$out/page.txt" | head -n 1 | cut -d '"' -f 2
}

fail() {
    echo "report: $1" >&2
    exit 1
}

# expect NAME VALUE WHAT
expect() {
    [ "$(probed "$1")" = "$2" ] || fail "$page at $width pixels: $3: $(probed "$1") instead of $2"
}

# Errors are counted from the first script on.
before='<script>window.faults=0;addEventListener("error",()=>++faults,true);console.error=console.warn=()=>++faults;</script>'

# look NAME WIDTH
look() {
    local page=$1.html width=$2
    sed -e "s|<head>|<head>$before|" "$out/$page" >"$out/probe.html"
    { echo '<script>'; cat scripts/checks/report.js; echo '</script>'; } >>"$out/probe.html"
    browser --window-size="$width,1000" --dump-dom "file://$out/probe.html" >"$out/page.txt" 2>"$out/log.txt"
    [ "$(probed images)" -ge 7 ] || fail "$page shows $(probed images) pictures at a width of $width"
    expect loaded "$(probed images)" "pictures loaded"
    expect shown 2 "pictures under the slider"
    expect fetched 0 "other files needed"
    expect faults 0 "errors"
    expect wide 0 "pixels that stick out"
    expect unnamed 0 "parts without a name"
    expect clip "inset(0px 0px 0px 25%)" "clip of the right picture"
    expect pointed "$(probed hottest)" "value under the pointer"
    [[ $(probed moved) == *"pixel (4, 4);"* && $(probed border) == *"pixel (4, 0);"* ]] || fail "$page: arrow keys lead to $(probed moved), $(probed border)"
    expect chosen "$(probed choices)" "pictures that can be chosen"
    if grep CONSOLE "$out/log.txt"; then
        fail "$page writes to the console"
    fi
    probed hottest >"$out/$1.reading"
    browser --window-size="$width,$(probed high)" --screenshot="$out/$1-$width.png" "file://$out/$page" 2>/dev/null
    echo "== $page at $width pixels: $(probed images) pictures, $(wc -c <"$out/$page") bytes, $out/$1-$width.png"
}

# holds NAME: the page reads what the figures for programs say, to its rounding
holds() {
    /usr/bin/python3 - "$out/$1.reading" "$out/$1.json" <<'END'
import json, re, sys
reading, image = open(sys.argv[1]).read(), json.load(open(sys.argv[2]))["image"]
hottest = image["spots"]["hottest"]
shown, frame = (re.search(pattern, reading)[1] for pattern in (r"^(\S+)", r"reference frame (\S+)"))
for text, value in ((shown, hottest["value"]), (frame, hottest["in_reference_frame"])):
    if abs(float(text) - value) > 0.501 * 10 ** -len(text.partition(".")[2]):
        sys.exit(f"report: the page shows {text} where the value is {value}")
if f"pixel ({hottest['x']}, {hottest['y']});" not in reading:
    sys.exit(f"report: the hottest pixel is not at {reading}")
END
}

rm -rf "$out"
mkdir -p "$out"
"$superres" simulate -o "$out/burst" --frames 7 --defects 5 --noise 0.1 --seed 3
"$superres" enhance "$out/burst" -o "$out/all.tif" --every --encoding celsius --report "$out/report.html" \
    --report "$out/report.json"
# A name that is markup, a portrait, a fixed range, and a frame that is left out.
"$superres" simulate -o "$out/odd" --width 64 --height 96 --reference 1 --shifts '0.2,0.1;0,0;0.3,13;0.2,0.15;0.7,0.1'
"$superres" enhance "$out/odd" -o "$out/<b>&\"odd\"<.tif" --pipeline float --palette grey --range 10:30 \
    --unit '</script>' --report "$out/odd.html" --report "$out/odd.json"
# Frames of nothing but noise: an image that is not to be trusted.
/usr/bin/python3 - "$out/noise.npy" <<'END'
import sys
import numpy as np
np.save(sys.argv[1], np.random.default_rng(1).normal(20, 1, (5, 48, 64)).astype(np.float32))
END
"$superres" enhance "$out/noise.npy" -o "$out/noise.tif" --report "$out/noise.html" --report "$out/noise.json" || [ $? = 6 ]
for width in 1280 360; do
    for page in report odd noise; do
        look "$page" "$width"
        holds "$page"
    done
done
browser --print-to-pdf="$out/report.pdf" "file://$out/report.html" 2>/dev/null
rm -rf "$out/profile" "$out/probe.html" "$out/page.txt" "$out/log.txt" "$out"/*.reading
