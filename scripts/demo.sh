#!/usr/bin/env bash
# Sets up, builds, and shows the library at work. Whatever fails ends it with a non-zero status.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh build
echo "demo: building"
cmake --preset demo >/dev/null
cmake --build --preset demo

bin=build/demo/examples
out=build/demo/demo
mkdir -p "$out"

echo
echo "== contacts: an address book through nbr"
"$bin/contacts" examples/data/contacts.txt "$out/contacts.nbr"

echo
echo "== inspect: an nbr message, given in hexadecimal, as a tree"
cat examples/data/message.hex
"$bin/inspect" examples/data/message.hex
"$bin/inspect" --compact examples/data/message.hex

echo
echo "== inspect: bytes that are no nbr"
status=0
"$bin/inspect" examples/data/malformed.hex || status=$?
if [ "$status" != 1 ]; then
    echo "demo: inspect ended with $status where 1 refuses the input" >&2
    exit 1
fi
