#!/usr/bin/env bash
# The pages in a real browser: a report with audio, and the index of a batch in which not all went well.
# PICTURES is the folder for what they look like, which somebody should see.
source "$(dirname "$0")/support.sh"
have chromium || skip "chromium is not installed (scripts/setup.sh long does it)"
need parallel
batch=$SOURCES/packaging/batch out=$work/batch
export TESSIVAR_CLI=$PROGRAMS/tessivar-cli

# A name that would be markup, or a query, if anything took it for that.
name="Demo <script>alert('1')<b>&amp; ?#%41"
mkdir -p "$work/in/$name" "$work/in/Nothing in it" "$work/in/Short" "$out"
cp "$SOURCES"/demo/*.flac "$work/in/$name"
mv "$work/in/$name/HH.flac" "$work/in/$name/HH <img src=x onerror=alert(2)>.flac"
cp "$SOURCES/demo/Kick In.flac" "$SOURCES/demo/HH.flac" "$work/in/Short"
cp "$SOURCES/demo/LICENSE" "$work/in/Short/Broken.wav"
"$batch/with-parallel" "$out" "$work"/in/* -- --report-audio >/dev/null 2>&1 || true
# As a killed run leaves it.
: >"$out/Killed.json"
: >"$out/Killed.log"
"$batch/make-index" "$out" >/dev/null

cp "$out/$name.html" "$work/report.html"
grep -q '<audio' "$work/report.html" || fail "the report holds nothing to listen to"
/usr/bin/python3 "$SOURCES/tests/packaging/browser.py" "$PICTURES" "$work/report.html" "$out/index.html" ||
    fail "pages in the browser"
finish
