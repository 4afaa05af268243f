#!/usr/bin/env bash
# Installs the build tree given as argument into a directory of its own and compares the files with
# installed_files.txt. Lines "program: file" there count where the tree builds that program.
set -euo pipefail
build=$1
here=$(cd "$(dirname "$0")" && pwd)
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT

DESTDIR=$root cmake --install "$build" --prefix /usr >/dev/null
while IFS=' ' read -r program file; do
    if [ -x "$build/bin/${program%:}" ]; then echo "$file"; fi
done <"$here/installed_files.txt" | sort >"$root/expected"
(cd "$root" && find usr -type f | sort) >"$root/found"
diff -u "$root/expected" "$root/found"

for page in "$root"/usr/share/man/man*/*.gz; do
    if zcat "$page" | grep -n '@[A-Z_]*@'; then
        echo "$page: a name was not filled in" >&2
        exit 1
    fi
done
