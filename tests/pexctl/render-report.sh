#!/bin/bash
# The report page as a browser shows it. pexctl tunes a simulated machine kept
# in a profile, saves two snapshots and writes three pages (from the endpoint,
# from a snapshot, and one snapshot over another); headless Chromium loads
# each: the page must load without a console message (it runs no script and
# its policy blocks every fetch, so any message is a fault), its DOM must hold
# exactly one curve per band array and snapshot, and a screenshot is kept.
#   render-report.sh PEXCTL PROFILE OUTPUT-DIRECTORY RUNNER...   (the runner: the tree's Wine command)
set -eu
pexctl=$1 profile=$2 out=$3
runner=("${@:4}")
rm -rf "$out"
mkdir -p "$out"
cp "$profile" "$out/machine.json"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
run() { "${runner[@]}" "$pexctl" "--simulate=$out/machine.json" "$@"; }

# count items from a curve: "[v1, v2, ...]" with v = offset + scale * sin(i / period)
curve() {
    awk -v n="$1" -v offset="$2" -v scale="$3" -v period="$4" 'BEGIN {
        printf "["; for (i = 0; i < n; i++) printf "%s%d", (i ? ", " : ""), offset + scale * sin(i / period); printf "]" }'
}
bands() { echo "{\"count\": 20, \"a\": $(curve 20 "$1" "$2" 3), \"b\": $(curve 20 0 "$3" 2.5)}"; }

run --route both set pex_ieq_bands "$(bands 500 400 80)" >/dev/null
run set pex_graphic_equalizer_bands "$(bands 300 250 -60)" >/dev/null
run set pex_audio_optimizer_bands \
    "{\"count\": 20, \"a\": $(curve 20 50 40 4), \"b\": $(curve 200 0 100 7)}" >/dev/null
tuning="{\"count\": 20, \"a\": $(curve 20 0 30 3), \"b\": $(curve 20 -20 10 2), \"c\": $(curve 20 40 5 5), \"d\": $(curve 20 -60 20 4)}"
run --route both set pex_regulator_tuning "$tuning" >/dev/null
run set pex_woofer_regulator_tuning "$tuning" >/dev/null
run --route store set krelo_regulator_thresholds "{\"a\": $(curve 20 -12 6 3), \"b\": $(curve 20 -6 3 2)}" >/dev/null
run set pex_postgain -6 >/dev/null
run save "$out/tuned.json"
run --route both set pex_ieq_bands "$(bands 450 300 -40)" >/dev/null
run set pex_postgain -2 >/dev/null
run save "$out/retuned.json"
run report "$out/endpoint.html"
run report --from "$out/tuned.json" "$out/tuned.html"
run report --from "$out/tuned.json" --compare "$out/retuned.json" "$out/compare.html"

# Rows of 20 bands in each band array: 1114, 1122 (a, b), 1119 (a and b[10]),
# 1123, 1170 (a-d), 2108 (a, b), 2126 (v).
arrays() {
    total=0
    for pair in 1114:2 1122:2 1119:11 1123:4 1170:4 2108:2 2126:1; do
        entries=$(grep -c "\"id\": ${pair%:*}," "$1" || true)
        total=$((total + entries * ${pair#*:}))
    done
    echo "$total"
}
tuned=$(arrays "$out/tuned.json")
retuned=$(arrays "$out/retuned.json")
[ "$tuned" -ge 20 ] || fail "the tuned snapshot holds only $tuned band arrays"

chromium_run() {
    name=$1; shift
    rm -rf "$out/chromium-$name"
    chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking \
        --disable-component-update --disable-sync --user-data-dir="$out/chromium-$name" \
        --enable-logging=stderr --v=0 "$@" 2>"$out/$name.log"
}

check() {  # page, expected curves of snapshot 0, of snapshot 1
    page=$1
    chromium_run "$page-dom" --dump-dom "file://$out/$page.html" >"$out/$page.dom.html" || fail "$page: chromium failed"
    if grep -q ':CONSOLE' "$out/$page-dom.log"; then
        fail "$page: console messages:"
        grep ':CONSOLE' "$out/$page-dom.log"
    fi
    grep -q '</body></html>' "$out/$page.dom.html" || fail "$page: no DOM came back"
    for source in 0 1; do
        expected=$2
        [ "$source" = 1 ] && expected=$3
        found=$(grep -o "<path class=\"curve[^\"]*\" data-source=\"$source\"" "$out/$page.dom.html" | wc -l)
        [ "$found" -eq "$expected" ] || fail "$page: $found curves of snapshot $source in the DOM, $expected band arrays"
    done
    chromium_run "$page-shot" --hide-scrollbars --window-size=1280,2600 --screenshot="$out/$page.png" \
        "file://$out/$page.html" || fail "$page: no screenshot"
    [ -s "$out/$page.png" ] || fail "$page: the screenshot is empty"
    echo "screenshot: $out/$page.png"
}
check endpoint "$retuned" 0
check tuned "$tuned" 0
check compare "$tuned" "$retuned"
[ "$failures" -eq 0 ] || { echo "$failures failed"; exit 1; }
echo "the report renders: $tuned band arrays, compared with $retuned"
