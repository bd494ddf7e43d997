#!/usr/bin/env bash
# Every note of the HTML corpus, read by a real browser (headless Chromium), holds no script
# element, no event handler and no script address. The page's policy lets nothing run or load, so
# what comes back is what the parser built, and the test reaches no other machine.
# Both engines make these very notes: the portable one natively, the MSHTML adapter over the
# stand-in engine under Wine.
# Usage: NoteContentInert.sh CHROMIUM CORPUS_DIR
set -euo pipefail
chromium=$1
corpus=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

failures=0
count=0
for note in "$corpus"/*.note; do
  name=$(basename "$note" .note)
  page="$work/$name.html"
  { printf '%s' '<!DOCTYPE html><html><head><meta charset="utf-8"><meta http-equiv="Content-Security-Policy" content="default-src '"'none'"'; style-src '"'unsafe-inline'"'"></head><body>'; cat "$note"; printf '</body></html>'; } >"$page"
  "$chromium" --headless --no-sandbox --disable-gpu --no-first-run --user-data-dir="$work/profile" --dump-dom "file://$page" >"$work/$name.dom" 2>"$work/$name.err" || {
    echo "$name: chromium failed"; cat "$work/$name.err"; failures=$((failures + 1)); continue; }
  # The dump serialises the parsed DOM: every attribute as ' name="value"', text '<' as '&lt;'.
  if ! grep -q '</body>' "$work/$name.dom"; then
    echo "$name: no document came back"; failures=$((failures + 1)); continue
  fi
  found=$(grep -oiE '<script|<iframe[^>]* srcdoc=| on[a-z]+="|="[[:space:]]*(javascript|vbscript):|="data:text/html' "$work/$name.dom" || true)
  if [ -n "$found" ]; then
    echo "$name: $(echo "$found" | sort -u | tr '\n' ' ')"; failures=$((failures + 1))
  fi
  count=$((count + 1))
done
[ "$count" -gt 0 ] || { echo "no notes in $corpus"; exit 1; }
echo "$count notes read by $("$chromium" --version 2>/dev/null | head -n 1): $failures with script"
[ "$failures" -eq 0 ]
