#!/usr/bin/env bash
# The main job: builds the library and the speechcommon tool, then follows a user dictionary
# from its text to an archive image, looks words up through a manager over two dictionaries,
# lists it, turns the image back into text, checks a lexicon and goes through PLS; then the
# component broker over an example tree.
set -euo pipefail
cd "$(dirname "$0")/.."
export BUILD=${BUILD:-build-demo}  # its own tree: the demo builds neither tests nor benchmarks
./scripts/build.sh -DSC_BUILD_TESTS=OFF -DSC_BUILD_BENCH=OFF
built=$(cd "$BUILD" && pwd)
sc="$built/tools/speechcommon"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp examples/lexicon.txt examples/override.txt "$work"
cd "$work"

say() { printf '\n== %s\n' "$*"; }
# Each command is shown with its exit status when that is not 0; the demo fails at the end when
# a command's status is not the one expected (0 for run, 1 for fails).
unexpected=0
check() {
  local expected=$1 status=$2
  ((status == 0)) || printf '(exit status %d)\n' "$status"
  if ((status != expected)); then
    printf 'demo: expected exit status %d\n' "$expected" >&2
    unexpected=$((unexpected + 1))
  fi
}
run() { printf '\n$ speechcommon %s\n' "$*"; local s=0; "$sc" "$@" || s=$?; check 0 "$s"; }
fails() { printf '\n$ speechcommon %s\n' "$*"; local s=0; "$sc" "$@" || s=$?; check 1 "$s"; }

say "A user lexicon in the dictionary text format (first lines of examples/lexicon.txt)"
head -n 14 lexicon.txt

say "Compile both lexicons into archive images (flat, offset-based, used in place)"
run dict compile lexicon.txt -o lexicon.img
run dict compile override.txt -o override.img
run dict info lexicon.img

say "Look words up through a manager: override.img first, lexicon.img second"
echo "(Dr., St. and tomato are in both: the first registered answers; colour is in neither)"
fails dict lookup override.img lexicon.img -- Dr. St. tomato café Str. hello colour
say "The same words with the priority turned round"
run dict lookup lexicon.img override.img -- Dr. St. tomato
say "Filters: only French entries, then only pronunciations"
fails dict lookup override.img lexicon.img --language fr-FR -- M. Noël Dr.
fails dict lookup override.img lexicon.img --content broad-narrows -- GIF café Dr.

say "Every key of the override image, section by section"
run dict list override.img

say "Back from the image to text, compared with the source"
run dict decompile lexicon.img -o back.txt
echo "The writer ends lines with CR LF (ignored below) and writes the entries of a key newest"
echo "first; reading adds them one after the other, so the two entries of St. come back swapped:"
diff --strip-trailing-cr lexicon.txt back.txt || true

say "Bad input gets a message naming the file, the line and column, and the failure"
printf '[Header]\nName = broken\n\n[SubHeader]\nContent = EDCT_CONTENT_BOGUS\n' >broken.txt
fails dict info broken.txt
run error 0x801E0003 --json  # EDCT_E_UNKNOWN_FORMAT

say "A lexicon checked as a compiler checks a source (errors and warnings, file:line:column)"
printf '[Header]\nName = Draft\n\n[SubHeader]\nLanguage = en-US\n' >draft.txt
printf 'Content = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n\n' >>draft.txt
printf '[Data]\nDr.\tdoctor\nDr.\tdoctor\n"  St. "\tstreet\n[Misc]\tother\n' >>draft.txt
cat -A draft.txt | sed 's/\$$//'
run dict check draft.txt lexicon.txt
fails dict check draft.txt --werror

say "To and from a W3C pronunciation lexicon (PLS 1.0): the American pronunciations"
run dict export-pls lexicon.img --language en-US --alphabet x-sampa -o lexicon.pls
head -n 12 lexicon.pls
run dict import-pls lexicon.pls -o from-pls.img
run dict lookup from-pls.img --json -- tomato

say "The stream reader traced (VQ_TRACELEVEL, VQ_MODULES and VQ_SUBMODULES with --trace)"
VQ_TRACELEVEL=FUNC VQ_MODULES=EDCTSPI VQ_SUBMODULES=DctStrm run --trace dict info override.txt

say "The component broker over the example installation tree"
tree="$built/examples/broker/tree"
run broker list "$tree"
run broker resolve "$tree" --engine demo/tts --language en demo/voice/def
run broker check "$tree"
run broker resolve "$tree" --engine demo/tts --language en demo/voice/def --json
printf '\n$ examples/broker/broker_client %s\n' "$tree"
status=0
"$built/examples/broker/broker_client" "$tree" || status=$?
check 0 "$status"

if ((unexpected)); then
  printf '\ndemo: %d command(s) ended with an unexpected exit status\n' "$unexpected" >&2
  exit 1
fi
