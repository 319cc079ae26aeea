#!/usr/bin/env bash
# Sets up, builds, and runs the examples and tools. Ends with a non-zero status at the first failure.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh build
echo "demo: building"
cmake --preset demo >/dev/null
cmake --build --preset demo

bin=build/demo/examples
tools=build/demo/tools
out=build/demo/demo
mkdir -p "$out"

echo
echo "== messenger: a server and twenty clients send each other the lines of a transcript"
rm -f "$out"/messenger*.log
"$bin/messenger" demo examples/data/messenger.pml "$PWD/$out/messenger.log"
echo "the end of its log:"
tail -n 4 "$out/messenger.log"

echo
echo "== contacts: an address book, written and read in each format"
"$bin/contacts" examples/data/contacts.txt "$out/contacts"

echo
echo "== qor-inspect: an nbr message, given in hexadecimal, as a tree"
cat examples/data/message.hex
"$tools/qor-inspect" examples/data/message.hex
"$tools/qor-inspect" --compact examples/data/message.hex

echo
echo "== qor-inspect: a pml file, and the same tree in each layout"
cat examples/data/server.pml
for layout in formatted mixed simple compact; do
    echo "-- $layout"
    "$tools/qor-inspect" --layout "$layout" --parts ntv examples/data/server.pml
done
echo "-- formatted, with the paths and no types"
"$tools/qor-inspect" --layout formatted --parts pnv examples/data/server.pml

echo
echo "== qor-inspect: a JSON and an XML file, and their trees"
for file in examples/data/station.json examples/data/station.xml; do
    cat "$file"
    "$tools/qor-inspect" "$file"
    "$tools/qor-inspect" --compact "$file"
done

echo
echo "== contacts: the address book, converted from each format to the next, and the first lines of each"
book="$out/contacts.nbr"
for format in pml json xml nbr; do
    "$bin/contacts" --convert "$book" "$out/book.$format"
    book="$out/book.$format"
done
cmp "$out/contacts.nbr" "$out/book.nbr"
head -n 12 "$out/book.pml"
head -n 12 "$out/book.json"
head -n 12 "$out/book.xml"

echo
echo "== qor-inspect: a directory as pml"
"$tools/qor-inspect" examples

echo
echo "== qor-inspect: a tree in another format, and a part of a tree"
"$tools/qor-inspect" --to xml examples/data/server.pml
"$tools/qor-inspect" --compact --path readings/[1] examples/data/station.json

echo
echo "== logbook: eight threads write to a log, and one of them fails"
rm -f "$out"/logbook*.log
"$bin/logbook" "$out/logbook.log" examples/data/logbook.pml
echo "-- qor-log: how often each tag is in that log, and its failures as one line each"
"$tools/qor-log" --count "$out/logbook.log"
"$tools/qor-log" --level error --fold "$out/logbook.log"

echo
echo "== reminders: timers, set and killed with typed commands"
cat examples/data/reminders.txt
echo "--"
"$bin/reminders" < examples/data/reminders.txt

echo
echo "== menu: runs two entries by their keys"
"$bin/menu" ciphers network exit

echo
echo "== qor-inspect: bytes that are not nbr"
status=0
"$tools/qor-inspect" examples/data/malformed.hex || status=$?
if [ "$status" != 1 ]; then
    echo "demo: qor-inspect ended with $status where 1 refuses the input" >&2
    exit 1
fi
