#!/usr/bin/env bash
# Opens pages of "orreryctl convert" in a headless Chromium: they render without a message on the
# browser's console, and what a report says is shown and never run.
#
#   page.sh ORRERYCTL FOLDER   the program, and the folder of the made reports; 77 without a Chromium
set -euo pipefail

orreryctl=$1 reports=$2
browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome) || exit 77
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
    echo "FAILED: $*" >&2
    failures=$((failures + 1))
}

# Leaves what the browser made of a page in $work/dom, and what its console says in $work/console.
open_page() {
    timeout 120 "$browser" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
        --disable-background-networking --disable-component-update --disable-sync \
        --user-data-dir="$work/profile" --enable-logging=stderr --virtual-time-budget=2000 \
        --dump-dom "file://$1" >"$work/dom" 2>"$work/log" || fail "$1: the browser ended with $?"
    grep CONSOLE "$work/log" >"$work/console" || true
}

shows() {
    grep -qF -- "$1" "$work/dom" || fail "the page does not show: $1"
}

is_untouched() {
    [ ! -s "$work/console" ] || fail "the console says: $(cat "$work/console")"
    if grep -qiE '<(script|img|svg|iframe|object|embed|link|base|form|input)\b|<[^>]* on[a-z]+=|owned</title>' \
        "$work/dom"; then
        fail "a value has become part of the page: $(grep -iE '<script|<img|<svg| on[a-z]+=' "$work/dom" | head -3)"
    fi
}

# The checks below can fail: this browser runs scripts where nothing keeps it from doing so.
own='<script>document.title = "owned"</script>'
echo "<title>t</title>$own" >"$work/control.html"
open_page "$work/control.html"
shows '<title>owned</title>'

iconv -f UTF-8 -t UTF-16LE "$reports/front-desk.tsv" >"$work/front-desk.tsv"
"$orreryctl" convert "$work/front-desk.tsv" --to html -o "$work/front-desk.html"
open_page "$work/front-desk.html"
is_untouched
for text in '<h1>FRONT-DESK</h1>' 'Solheim NV 1000' '36.3 GiB free of 430.5 GiB' 'Daten &amp; Büro' \
    'Kontor &lt;gjester&gt;' 'Empty slot' '2384 ms'; do
    shows "$text"
done

# A script that got into the page would be kept from running by its content security policy.
sed "s|<main>|<main>$own|" "$work/front-desk.html" >"$work/blocked.html"
open_page "$work/blocked.html"
shows '<title>FRONT-DESK'
grep -q 'Content Security Policy' "$work/console" || fail "the page's policy does not block scripts"

# Every value of the made report once more, as something that would like to run.
attacks=(
    "<script>document.title='owned'</script>"
    "</title></style></main><script>document.title='owned'</script>"
    "<img src=x onerror=\"document.title='owned'\">"
    "\" onmouseover=\"document.title='owned'\" style=\"width:9999px"
    "' autofocus onfocus='document.title=1"
    "a	b &lt;c&gt; &amp; \"d\" 'e' <"
    "<svg/onload=document.title='owned'>"
    "<!-- <![CDATA[ \\u003cscript> {{x}} \${x}"
)
count=0
while IFS=$'\t' read -r section index property value; do
    printf '%s\t%s\t%s\t%s\n' "$section" "$index" "$property" "${attacks[count++ % ${#attacks[@]}]}$value"
done <"$reports/front-desk.tsv" | iconv -f UTF-8 -t UTF-16LE >"$work/attack.tsv"
"$orreryctl" convert "$work/attack.tsv" --to html -o "$work/attack.html"
open_page "$work/attack.html"
is_untouched
shows "&lt;script&gt;document.title='owned'&lt;/script&gt;"
shows "a	b &amp;lt;c&amp;gt; &amp;amp; \"d\" 'e' &lt;"

[ $failures = 0 ]
