#!/usr/bin/env bash
# the HTML report in a real browser: pictures loaded, nothing fetched, no errors, nothing sticks out; leaves screenshots
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

# Errors are counted from the first script on; the rest is measured when everything is loaded.
before='<script>window.faults=0;addEventListener("error",()=>++faults,true);console.error=console.warn=()=>++faults;</script>'
after='<script>addEventListener("load",()=>{const d=document.documentElement,i=[...document.images];
d.dataset.images=i.length;d.dataset.loaded=i.filter(p=>p.complete&&p.naturalWidth>0&&p.clientWidth>0).length;
d.dataset.fetched=performance.getEntriesByType("resource").filter(e=>!e.name.startsWith("data:")).length;
d.dataset.wide=d.scrollWidth-d.clientWidth;d.dataset.high=d.scrollHeight;d.dataset.faults=faults;});</script>'

# look NAME WIDTH
look() {
    sed -e "s|<head>|<head>$before|" "$out/$1.html" >"$out/probe.html"
    printf '%s\n' "$after" >>"$out/probe.html"
    browser --window-size="$2,1000" --dump-dom "file://$out/probe.html" >"$out/page.txt" 2>"$out/log.txt"
    local images high
    images=$(probed images)
    high=$(probed high)
    [ "${images:-0}" -ge 6 ] || fail "$1.html shows ${images:-no} pictures at a width of $2"
    [ "$(probed loaded)" = "$images" ] || fail "$1.html: $(probed loaded) of $images pictures are loaded"
    [ "$(probed fetched)" = 0 ] || fail "$1.html needs $(probed fetched) other files"
    [ "$(probed faults)" = 0 ] || fail "$1.html has $(probed faults) errors"
    [ "$(probed wide)" -le 0 ] || fail "$1.html sticks out by $(probed wide) pixels at a width of $2"
    if grep CONSOLE "$out/log.txt"; then
        fail "$1.html writes to the console"
    fi
    browser --window-size="$2,$high" --screenshot="$out/$1-$2.png" "file://$out/$1.html" 2>/dev/null
    echo "== $1.html at $2 pixels: $images pictures, $(wc -c <"$out/$1.html") bytes, $out/$1-$2.png"
}

rm -rf "$out"
mkdir -p "$out"
"$superres" simulate -o "$out/burst" --frames 7 --defects 5 --noise 0.1 --seed 3
"$superres" enhance "$out/burst" -o "$out/all.tif" --every --encoding celsius --report "$out/report.html" \
    --report "$out/report.json"
# A name that is markup, a portrait, a fixed range, and a frame that is left out.
"$superres" simulate -o "$out/odd" --width 64 --height 96 --reference 1 --shifts '0.2,0.1;0,0;0.3,13;0.2,0.15;0.7,0.1'
"$superres" enhance "$out/odd" -o "$out/<b>&\"odd\"<.tif" --pipeline float --palette grey --range 10:30 --report "$out/odd.html"
for width in 1280 500; do
    look report "$width"
    look odd "$width"
done
rm -rf "$out/profile" "$out/probe.html" "$out/page.txt" "$out/log.txt"
