#!/usr/bin/env bash
# Builds the programs, writes a sample database, recovers its tables from the datafiles alone and shows the rows.
set -euo pipefail
cd "$(dirname "$0")/.."

# Shows a command as it would be typed, and runs it.
run() {
    printf '\n$ %s\n' "$*"
    "$@"
}

# Runs vexlo with the commands of standard input and shows each behind the prompt that took it, as at a terminal.
run_vexlo() {
    printf '\n$ vexlo %s\n' "$*"
    local commands
    mapfile -t commands
    printf '%s\n' "${commands[@]}" | vexlo "$@" 2>&1 |
        awk 'BEGIN { while ((getline line <"/dev/fd/3") > 0) command[++n] = line }
             { while (sub(/^VEXLO> /, "")) print "\nVEXLO> " command[++i]
               if ($0 != "") print }' 3< <(printf '%s\n' "${commands[@]}")
}

scripts/packages.sh g++ cmake ninja-build gzip libsqlite3-dev zlib1g-dev libzstd-dev libcli11-dev nlohmann-json3-dev sqlite3
echo "Building the programs in build/demo ..."
mkdir -p build
(cmake --preset release -DVEXLO_TESTS=OFF -B build/demo &&
    cmake --build build/demo --target vexlo vexlo-sample vexlo-convert vexlo-rescue) >build/demo.log 2>&1 ||
    { cat build/demo.log && exit 1; }
PATH=$PWD/build/demo/bin:$PATH
cd build/demo
rm -rf database out

echo
echo "==== A database without an instance: only these files are left ===="
vexlo-sample database >/dev/null
run ls -l database

echo
echo "==== vexlo recovers it ===="
run_vexlo config=database/config.ini <<'COMMANDS'
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
run vexlo-convert --list database/data/SCOTT_EMP.dat database/data/HR.dat
run vexlo-convert --to csv --table EMP --output - database/data/SCOTT_EMP.dat
run vexlo-convert --to csv --table SALES --output - database/data/HR.dat

echo
echo "==== vexlo-rescue takes the tables into a database, with one command ===="
run vexlo-rescue unload --files 'database/*.dbf' --to sqlite --output out scott.emp scott.dept hr.sales
run sqlite3 -header -column out/rescue.sqlite 'SELECT DNAME, count(*) AS EMPLOYEES, sum(SAL) AS SALARIES
    FROM "SCOTT.EMP" JOIN "SCOTT.DEPT" USING (DEPTNO) GROUP BY DNAME ORDER BY DNAME'
