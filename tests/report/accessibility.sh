#!/usr/bin/env bash
# Has axe-core look at pages of "orreryctl convert" in a headless Chromium, in both colour schemes and
# with every fact open, and looks itself at what that leaves out: graphics stand out from what is
# beside them, and paper shows the facts of closed sections.
#
#   accessibility.sh ORRERYCTL FOLDER AXE   the program, the folder of the made reports, and axe.min.js;
#                                           77 without a Chromium or that file
set -euo pipefail

orreryctl=$1 reports=$2 axe=$3
browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome) || exit 77
[ -s "$axe" ] || exit 77
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

cat >"$work/look.js" <<'JS'
const found = [];
const channels = (colour) => colour.match(/[\d.]+/g).slice(0, 3).map((text) => text / 255);
const luminance = (colour) => channels(colour)
    .map((c) => (c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4))
    .reduce((sum, c, at) => sum + c * [0.2126, 0.7152, 0.0722][at], 0);
const contrast = (one, other) => {
    const [dark, light] = [luminance(one), luminance(other)].sort((a, b) => a - b);
    return (light + 0.05) / (dark + 0.05);
};
const style = (element) => getComputedStyle(element);
function standsOut(what, one, other) {
    if (contrast(one, other) < 3) found.push(`${what}: ${one} beside ${other}`);
}
let pictures = 0;
for (const picture of document.querySelectorAll('.bar, .map, .track')) {
    ++pictures;
    const card = style(picture.closest('.card')).backgroundColor;
    standsOut(`the edge of a ${picture.className}`, style(picture).borderTopColor, card);
    for (const part of picture.querySelectorAll('.fill, .used')) {
        standsOut(part.className, style(part).backgroundColor, card);
        standsOut(part.className, style(part).backgroundColor, style(picture).backgroundColor);
    }
    for (const part of picture.querySelectorAll('.used + .free')) {
        const free = style(part);
        standsOut('free', free.backgroundColor, style(part.previousSibling).backgroundColor);
        standsOut('the end of free', free.borderRightColor, free.backgroundColor);
    }
}
if (!pictures) found.push('the page shows no picture');
for (const slot of document.querySelectorAll('.slot:not(.empty)'))
    standsOut('slot', style(slot).borderLeftColor, style(slot).backgroundColor);
document.querySelectorAll('details').forEach((part) => { part.open = true; });
// In columns axe-core takes elements for overlapped by others.
document.querySelectorAll('.flow').forEach((part) => { part.style.columns = 'auto'; });
axe.run().then((result) => {
    for (const { id, nodes } of [...result.violations, ...result.incomplete])
        for (const node of nodes) found.push(`${id}: ${node.html.slice(0, 200)}`);
    found.push(`passes ${result.passes.map(({ id }) => id).join(' ')}`);
    document.body.textContent = found.join('\n');
    document.title = 'looked';
});
JS

run_browser() {
    timeout 120 "$browser" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
        --disable-background-networking --disable-component-update --disable-sync \
        --user-data-dir="$work/profile" "$@" 2>/dev/null
}

# check NAME EDIT SCHEME  prints what is wrong with a page that sed has edited (0 dark, 1 light)
check() {
    local page=$work/looked-at.html
    {
        sed -e '/http-equiv="Content-Security-Policy"/d' -e "$2" -e '/<\/body>/,$d' "$work/$1.html"
        echo '<script>'
        cat "$axe"
        echo '</script><script>'
        cat "$work/look.js"
        echo '</script></body></html>'
    } >"$page"
    run_browser --virtual-time-budget=20000 --blink-settings=preferredColorScheme="$3" \
        --dump-dom "file://$page" >"$work/dom" || true
    grep -q '<title>looked</title>' "$work/dom" && grep -q 'passes .*color-contrast' "$work/dom" ||
        echo "the page was not looked at: $(tail -n 3 "$work/dom")"
    sed -n '/<body>/,/^passes/p' "$work/dom" | sed -e 's/^<body>//' -e '/^passes/d'
}

for report in front-desk server workstation; do
    iconv -f UTF-8 -t UTF-16LE "$reports/$report.tsv" >"$work/$report.tsv"
    "$orreryctl" convert "$work/$report.tsv" --to html -o "$work/$report.html"
    for scheme in 0 1; do
        wrong=$(check "$report" '' "$scheme")
        [ -z "$wrong" ] || {
            echo "FAILED: $report, scheme $scheme: $wrong" >&2
            failures=$((failures + 1))
        }
    done
done

# On paper every fact is there, though its section is closed: the tables take more than the rest.
pages() {
    run_browser --print-to-pdf="$work/$1.pdf" --no-pdf-header-footer "file://$work/$1.html" || true
    grep -ac '/Type */Page\b' "$work/$1.pdf"
}
sed '/<h2>All facts/,/<\/section>/{/<table>/d}' "$work/server.html" >"$work/short.html"
long=$(pages server) short=$(pages short)
[ "$long" -gt $((short + 2)) ] || {
    echo "FAILED: on paper the facts are not open: $long pages, $short without them" >&2
    failures=$((failures + 1))
}

# Each kind of fault is found where it is made on purpose.
while IFS='|' read -r edit scheme expected; do
    wrong=$(check front-desk "$edit" "$scheme")
    grep -q "$expected" <<<"$wrong" || {
        echo "FAILED: a page does not fail with $edit" >&2
        failures=$((failures + 1))
    }
done <<'EOF'
s/ aria-label="[^"]*"//|1|role-img-alt
s/--muted: #5a6675/--muted: #9aa6b5/|1|color-contrast
s/--muted: #9aa6b5/--muted: #5a6675/|0|color-contrast
s/--edge: #66717f/--edge: #c9dcf7/|1|the edge of a bar
EOF

[ $failures = 0 ]
