#!/bin/sh
# CheckExports.sh NM LIBRARY EXPECTED
# Compares the library's exported symbols (nm -D --defined-only, demangled, addresses dropped,
# one "TYPE name@@VERSION" a line, sorted) with the list EXPECTED and prints the difference.
set -eu
nm=$1 library=$2 expected=$3
actual=$("$nm" -D --defined-only -C "$library" | sed -E 's/^[0-9a-fA-F]+ //' | LC_ALL=C sort -u)
if ! printf '%s\n' "$actual" | diff -u "$expected" -; then
    echo "exports of $library differ from $expected (- missing, + unexpected)" >&2
    exit 1
fi
