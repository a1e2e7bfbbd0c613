#!/usr/bin/env bash
# Measures the emulated tools on a 20-volume machine: milliseconds per call of
# `diskutil info -plist` and `diskutil list -plist`.
#   emulator/measure-tools.sh [BUILD_DIR] [CALLS]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
calls=${2:-200}
machine=$(mktemp -d /tmp/tavrill-measure-XXXXXX)
trap 'rm -rf "$machine"' EXIT
"$build/emulator/mkmachine" emulator/scenarios/twenty-volumes.json "$machine" > /dev/null

measure() {
    local label=$1
    shift
    local start end
    start=$(date +%s%N)
    for ((i = 0; i < calls; i++)); do "$@" > /dev/null; done
    end=$(date +%s%N)
    awk -v l="$label" -v ns=$((end - start)) -v n="$calls" 'BEGIN { printf "%-34s %6.2f ms\n", l, ns / n / 1e6 }'
}

echo "$(ls "$machine/Volumes" | wc -l) entries in /Volumes, $calls calls each"
measure "diskutil info -plist /Volumes/VOL05" "$machine/usr/sbin/diskutil" info -plist /Volumes/VOL05
measure "diskutil info -plist disk12" "$machine/usr/sbin/diskutil" info -plist disk12
measure "diskutil info -plist /" "$machine/usr/sbin/diskutil" info -plist /
measure "diskutil list -plist" "$machine/usr/sbin/diskutil" list -plist
measure "/bin/true (process start alone)" /bin/true
