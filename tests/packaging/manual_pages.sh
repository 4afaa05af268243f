#!/usr/bin/env bash
# Whether manual page and completion of a program name every option of its --help, and no option besides. Arguments are
# the program, the two files, and the program's verbs, which have options of their own.
set -euo pipefail
program=$1 page=$2 completion=$3
shift 3

# Options as they stand in a text: --name, without the backslashes of a manual page.
options() {
    sed 's/\\-/-/g; s/\\f[A-Z]//g' | grep -oE -- '(^|[^-[:alnum:]])--[a-z][-a-z]*' | grep -oE -- '--.*' | sort -u
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
{
    "$program" --help
    for verb in "$@"; do "$program" "$verb" --help; done
} | options >"$work/help"
# Options of other programs stand in the examples alone.
sed '/^\.SH EXAMPLES/,/^\.SH SEE ALSO/d' "$page" | options >"$work/page"
options <"$completion" >"$work/completion"
[ -s "$work/help" ]
diff -u --label help --label page "$work/help" "$work/page"
diff -u --label help --label completion "$work/help" "$work/completion"
