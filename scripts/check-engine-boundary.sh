#!/usr/bin/env bash
# The sync engine must build unchanged against Apple's frameworks, so it may see only the
# Apple-shaped headers of Foundation/ and HealthKit/ and the core library's public headers:
# nothing under internal/, nothing of the simulator (Simulator/, Platform/) and none of the
# simulator-only calls that Apple-shaped classes carry for tests. Those public headers must not
# pull such headers in either. Prints every crossing and fails when there is one.
set -uo pipefail
cd "$(dirname "$0")/.."

status=0
report() { echo "engine boundary: $1"; status=1; }

# Quoted includes of the engine: only the four modules, never their hidden parts.
while IFS= read -r line; do
  file=${line%%:*}
  header=$(sed -E 's/.*#include "([^"]+)".*/\1/' <<<"${line#*:}")
  case "$header" in
    */internal/* | */Simulator/* | */Platform/*) report "$file includes $header" ;;
    Foundation/* | HealthKit/* | OstrandCore/* | OstrandHealthKit/*) ;;
    *) report "$file includes $header, which is outside the modules it may use" ;;
  esac
done < <(grep -rHo --include='*.h' --include='*.cpp' '#include "[^"]*"' OstrandHealthKit)

# Simulator-only calls on Apple-shaped classes, and the platform namespace itself.
forbidden='simulatedDevice\(|setApplicationState\(|expireBackgroundTasks\(|platform::|SimulatedHealthDevice|ScriptedHealthUser|DispatchRuntime'
while IFS= read -r hit; do
  report "simulator-only API in ${hit}"
done < <(grep -rHnE --include='*.h' --include='*.cpp' "$forbidden" OstrandHealthKit)

# The Apple-shaped public headers themselves stay clear of hidden headers.
while IFS= read -r hit; do
  report "public header reaches a hidden one: ${hit}"
done < <(grep -HnE '#include "[^"]*/(internal|Simulator|Platform)/' Foundation/*.h HealthKit/*.h \
           HealthKit/UIKit/*.h OstrandCore/*.h)

[ "$status" -eq 0 ] && echo "engine boundary: clean"
exit "$status"
