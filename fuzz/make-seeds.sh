#!/usr/bin/env bash
# Writes the seed corpora from what the emulated Mac's disk tool prints for the demo machine
# plus an APFS stick: every disk's and volume's info, the disk list, the Disk Manager's listing
# of /Volumes. Run it once after the emulator changes what it prints, then commit the files.
#   fuzz/make-seeds.sh [BUILD_DIR]      (default build-asan; needs its mkmachine)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-asan}
mac=$(mktemp -d)
trap 'rm -rf "$mac"' EXIT
"$build/emulator/mkmachine" emulator/scenarios/demo.json "$mac" >/dev/null
"$mac/usr/local/bin/emuctl" --root "$mac" plug \
    '{"mediaName":"Kingston DT","size":"64GB","scheme":"GPT","partitions":[{"fs":"APFS","volumes":[{"name":"Work"}]}]}' >/dev/null
diskutil() { "$mac/usr/sbin/diskutil" "$@"; }

corpus=fuzz/corpus
mkdir -p "$corpus"/{property_list,disk_info,disk_list,disk_manager_listing}
diskutil list -plist > "$corpus/disk_list/demo-list.plist"
cp "$corpus/disk_list/demo-list.plist" "$corpus/property_list/"
ids=$(diskutil list -plist | sed -n 's:.*<string>\(disk[0-9s]*\)</string>.*:\1:p' | sort -u)
for id in $ids; do
    diskutil info -plist "$id" > "$corpus/disk_info/$id.plist" || true
done
diskutil info -plist / > "$corpus/disk_info/root.plist"
diskutil info -plist disk99 > "$corpus/disk_info/unknown-disk.plist" || true
cp "$corpus/disk_info/root.plist" "$corpus/property_list/"

# The listing asks about every entry of /Volumes in turn; one input holds all the answers.
listing="$corpus/disk_manager_listing/demo-volumes"
: > "$listing"
for entry in "$mac"/Volumes/*; do
    [ -s "$listing" ] && printf '\n%%%%\n' >> "$listing"
    diskutil info -plist "/Volumes/$(basename "$entry")" >> "$listing" || true
done
echo "seeds written to $corpus"

# The restore tool as a program reading a pipe sees it: everything in one piece but the prompt,
# and the same cut a line at a time. The inputs written by hand beside them (pieces as a terminal
# delivers them, a split percentage, the tool's failures) stay as they are.
mkdir -p "$corpus/asr_output"
# asr restores only as root; on the emulated Mac that is a call marked as one.
printf y | EMULATOR_EUID=0 "$mac/usr/sbin/asr" restore --source / --target /Volumes/Backup --erase \
    > "$corpus/asr_output/emulator-pipe" || true
sed 's/$/\n\n%%/' "$corpus/asr_output/emulator-pipe" > "$corpus/asr_output/emulator-lines"
echo "asr seeds written to $corpus/asr_output"
