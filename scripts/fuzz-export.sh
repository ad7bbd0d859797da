#!/usr/bin/env bash
# Fuzzes the Health export reader, and the sync engine replaying what it read, for a bounded
# time: scripts/fuzz-export.sh [seconds] (600).
# Installs clang and its fuzzer runtime when missing, builds the `fuzz` preset, seeds a corpus
# from the export fixtures (outside the repository; OST_FIXTURES_DIR overrides) and runs
# libFuzzer on one core. The corpus grows in build/fuzz/corpus across runs; a finding is written
# to build/fuzz/findings/ and makes the script fail.
set -euo pipefail

seconds="${1:-600}"
root="$(cd "$(dirname "$0")/.." && pwd)"
fixtures="${OST_FIXTURES_DIR:-$root/../shared/fixtures}/apple-health"

"$root/scripts/setup.sh"
need=()
for p in clang libclang-rt-14-dev; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || need+=("$p")
done
if [ ${#need[@]} -gt 0 ]; then
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq "${need[@]}" >/dev/null
fi

cd "$root"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

out="$root/build/fuzz"
mkdir -p "$out/corpus" "$out/findings" "$out/seeds"
# Seeds: every fixture XML file, and the first 16 KB of each (the fuzzer works on small inputs;
# a whole file is cut at -max_len anyway).
if [ -d "$fixtures" ]; then
  i=0
  while IFS= read -r -d '' f; do
    cp "$f" "$out/seeds/fixture-$i.xml"
    head -c 16384 "$f" >"$out/seeds/fixture-$i-head.xml"
    i=$((i + 1))
  done < <(find "$fixtures" -type f \( -name '*.xml' -o -name '*.gpx' \) -print0)
  echo "fuzz-export: $i fixture files seeded from $fixtures"
else
  echo "fuzz-export: no fixtures at $fixtures; starting from the dictionary alone"
fi

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
status=0
"$out/fuzz/ExportReaderFuzzer" "$out/corpus" "$out/seeds" \
  -dict="$root/fuzz/export.dict" -max_len=32768 -timeout=10 -rss_limit_mb=2048 \
  -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$out/findings/" \
  || status=$?
echo "fuzz-export: corpus $(find "$out/corpus" -type f | wc -l) inputs," \
  "$(find "$out/findings" -type f | wc -l) findings in $out/findings"
exit $status
