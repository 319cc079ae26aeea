// Escaping in XML: any text that is escaped decodes unchanged, and any text is decoded like in a
// simple implementation.

#include <string>

#include "qor/base/base_type_char.h"
#include "qor/xml/xml_escape.h"
#include "require.h"

namespace {

using namespace qor;

// The simple implementation, byte by byte.
std::string decoded(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t end = text.find(';', i);
        if (text[i] != '&' || end == std::string::npos || end - i > 7) {
            out += text[i];
            continue;
        }
        const std::string name = text.substr(i + 1, end - i - 1);
        i = end;
        if (name == "amp")
            out += '&';
        else if (name == "quot")
            out += '"';
        else if (name == "apos")
            out += '\'';
        else if (name == "lt")
            out += '<';
        else if (name == "gt")
            out += '>';
        else if (name.starts_with("#x")) {
            unsigned value = 0;
            for (const char c : name.substr(2))
                value = (value << 4) + HexFromChar(c);
            if ((value & 255) != 0) out += static_cast<char>(value);
        } else if (name.starts_with('#')) {
            const int value = std::atoi(name.c_str() + 1);
            if ((value & 255) != 0) out += static_cast<char>(value);
        } else {
            out += '&' + name + ';';
        }
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const String text(istr(data, size));
    String out = "before";
    xml::unescape(out, text);
    require(out == "before" + decoded(text));
    // A part of the output.
    String own = text;
    xml::unescape(own, own);
    require(own == text + decoded(text));
    String attr = text;
    xml::escape(attr, attr);
    String escaped;
    xml::escape(escaped, text);
    require(attr == text + escaped);
    attr = text;
    xml::encode_attr(attr);
    require(attr.find_first_of("\"'<>") == String::npos);
    xml::decode_attr(attr);
    require(attr == text);
    String cdata = text;
    xml::encode_cdata(cdata);
    xml::decode_cdata(cdata);
    require(cdata == text);
    return 0;
}
