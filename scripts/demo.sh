#!/usr/bin/env bash
# Builds the programs, writes a sample database, recovers its tables from the datafiles alone and shows the rows.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/packages.sh g++ cmake ninja-build libsqlite3-dev libcli11-dev nlohmann-json3-dev
cmake --preset release -DVEXLO_TESTS=OFF -B build/demo >/dev/null
cmake --build build/demo --target vexlo vexlo-sample vexlo-convert

db=build/demo/database
rm -rf "$db"
build/demo/bin/vexlo-sample "$db"

echo
echo "==== A database without an instance: only these files are left ===="
ls -l "$db"/*.dbf

echo
echo "==== vexlo recovers it ===="
build/demo/bin/vexlo "config=$db/config.ini" <<'COMMANDS' 2>&1 | sed 's/^VEXLO> /\n/'
list files
export dict
load dict
list users
list tables scott
set user hr
list parts sales
desc scott.emp
unload table scott.emp
unload user hr
exit
COMMANDS

echo
echo "==== The unloaded rows ===="
for dump in "$db"/data/SCOTT_EMP.dat "$db"/data/HR.dat; do
    build/demo/bin/vexlo-convert --list "$dump"
done
build/demo/bin/vexlo-convert --to csv --table EMP --output - "$db/data/SCOTT_EMP.dat"
echo
build/demo/bin/vexlo-convert --to csv --table SALES --output - "$db/data/HR.dat"
