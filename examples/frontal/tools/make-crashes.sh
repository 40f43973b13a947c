#!/usr/bin/env bash
# Makes the sample study's crash matrix with `simcore pulse`: every crash in CSH and BIN under
# crashes/, the offset crash also as an ISO-MME test folder, and the file lists frontal.fls (the
# matrix) and offset-mme.fls (the ISO-MME test) with each crash's expected window from the 5-30 rule
# that `simcore pulse` prints.
#
#   examples/frontal/tools/make-crashes.sh [SIMCORE]     (default: build/simcore)
#
# The committed files are this script's output; run it again after a change to the pulses.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
simcore="$(realpath "${1:-build/simcore}")"
crashes="$here/crashes"
list="$here/frontal.fls"
# The offset crash alone, read from its ISO-MME folder by offset-mme.prt.
mme_list="$here/offset-mme.fls"

mkdir -p "$crashes"
rm -f "$crashes"/*.csh "$crashes"/*.bin
rm -rf "$crashes"/OFFSET64

# The matrix: file stem, pulse options, whether the airbag must fire, the format the study reads.
# The study lists each crash once, in CSH or BIN by turns, so that both readers run.
matrix=(
    "full_frontal_56_MSS_1|--kind full-frontal --speed 56|fire|csh"
    "offset_64_MSS_1|--kind offset --speed 64|fire|bin"
    "pole_32_MSS_1|--kind pole --speed 32|fire|csh"
    "full_frontal_26_MSS_1|--kind full-frontal --speed 26|fire|bin"
    "full_frontal_16_MSS_1|--kind full-frontal --speed 16|no fire|csh"
    "full_frontal_8_MSS_1|--kind full-frontal --speed 8|no fire|bin"
    "rough_road_50_MSS_1|--kind rough-road --speed 50|no fire|csh"
    "hammer_MSS_1|--kind hammer|no fire|bin"
)

# One time event's window: minimum, optimum, maximum, as the file list writes them.
settings() {
    printf '        Time Event Settings {\n'
    printf '            Time Event = %s\n' "$1"
    printf '            Minimum Value = %s\n' "$2"
    printf '            Optimum = %s\n' "$3"
    printf '            Maximum Value = %s\n' "$4"
    printf '            Weight = 1\n'
    printf '        }\n'
}

# The file list's header.
list_header() {
    printf '@File Type = File List\n'
    printf '@Project = Frontal\n'
    printf '@Comment = "Made by tools/make-crashes.sh: windows from the 5-30 rule, NF for the no-fire crashes"\n'
}

# One crash of a file list: its path, colour, and the windows of both stages. A must-fire crash fires
# stage 1 by its required time: optimum and maximum at it, no minimum (an earlier fire is always in
# time); its stage 2 is left undefined, for the study's reader to judge. A no-fire crash fires neither.
# Times are in ms: the study keeps them in ticks of the time event's precision (20 kHz), where a time
# of 0.1 ms is exact.
list_entry() {
    local path="$1" color="$2" verdict="$3" required="$4"
    printf 'File {\n'
    printf '    Name = %s\n' "$path"
    printf '    Color = %s\n' "$color"
    printf '    Used = 1\n'
    printf '    Time Event Settings List {\n'
    if [ "$verdict" = fire ]; then
        settings "Fire Stage 1" NotDef "$required" "$required"
        settings "Fire Stage 2" NotDef NotDef NotDef
    else
        settings "Fire Stage 1" NF NF NF
        settings "Fire Stage 2" NF NF NF
    fi
    printf '    }\n'
    printf '    Channel Defects List {\n'
    printf '    }\n'
    printf '}\n'
}

list_header >"$list.tmp"
colors=(255 65280 16711680 33023 8421376 8388736 32896 8421504)
index=0
for entry in "${matrix[@]}"; do
    IFS='|' read -r stem options verdict format <<<"$entry"
    # shellcheck disable=SC2086
    printed="$("$simcore" pulse $options --out "$crashes/$stem.csh")"
    "$simcore" convert "$crashes/$stem.csh" "$crashes/$stem.bin"
    echo "$stem: $printed"
    required="${printed##*: }"
    required="${required% ms}"
    if [ "$verdict" = fire ] && [ "$required" = none ]; then
        echo "$stem must fire but reaches no 5-30 time" >&2
        exit 2
    fi
    list_entry "crashes/$stem.$format" "${colors[$index]}" "$verdict" "$required" >>"$list.tmp"
    if [ "$stem" = offset_64_MSS_1 ]; then
        { list_header; list_entry crashes/OFFSET64/OFFSET64.mme "${colors[$index]}" "$verdict" "$required"; } \
            >"$mme_list"
    fi
    index=$((index + 1))
done
mv "$list.tmp" "$list"

# The offset crash as a laboratory would send it, and a check that it reads back to the same samples.
python3 "$here/tools/csh-to-mme.py" "$crashes/offset_64_MSS_1.csh" "$crashes/OFFSET64"
check="$(mktemp -d)"
trap 'rm -rf "$check"' EXIT
"$simcore" convert "$crashes/OFFSET64/OFFSET64.mme" "$check/from-mme.csh"
python3 "$here/tools/csh-to-mme.py" --compare "$crashes/offset_64_MSS_1.csh" "$check/from-mme.csh"
