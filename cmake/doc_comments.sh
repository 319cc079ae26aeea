#!/bin/sh
# Turns the plain comments of a header into what Doxygen reads, on its way there: "// text" becomes
# "/// text", with Doxygen's own marks escaped, and lines that are indented become examples. The
# specialisations for the standard library and for fmt, which it cannot place, are left out.
exec awk '
function show(line) {
    if (held != "") print held
    held = ""
    print line
}
function endExample() {
    if (example) show(lead "/// \\endverbatim")
    example = 0
}
/^(requires .* )?struct (std|fmt)::/ || /^inline constexpr bool std::/ { skipping = 1; held = "" }
skipping {
    if (/^};|{};$|true;$/) skipping = 0
    next
}
/^[ \t]*\/\/( |$)/ {
    at = index($0, "//")
    lead = substr($0, 1, at - 1)
    text = substr($0, at + 2)
    if (text ~ /^     /) {
        if (!example) show(lead "/// \\verbatim")
        example = 1
        show(lead "///" text)
        next
    }
    if (text != "") endExample()
    gsub(/[\\@<>#%&]/, "\\\\&", text)
    show(lead "///" text)
    next
}
{ endExample() }
/^template </ { if (held != "") print held; held = $0; next }
{ show($0) }
END { if (held != "") print held }
' "$1"
