#include "qor/util/base64.h"

#include <ostream>

#include "util/base64_forms.h"
#include "util/output.h"

namespace qor {

void Base64::encode(istr data, String& out, bool lineBreak) {
    util::base64Encode(util::base64Forms().front(), util::bytesOf(data), out, lineBreak);
}

void Base64::encode(const std::vector<unsigned char>& data, String& out, bool lineBreak) {
    util::base64Encode(util::base64Forms().front(), data, out, lineBreak);
}

void Base64::decode(istr text, Bytes& out) {
    util::base64Decode(util::base64Forms().front(), text, out);
}

void Base64::decode(istr text, std::vector<unsigned char>& out) {
    util::base64Decode(util::base64Forms().front(), text, out);
}

bool Base64::isBase64(char c) noexcept {
    return util::base64Value(c) != util::base64Foreign;
}

// Declared in base_type_bytes.h, on a lower floor.

Bytes::Bytes(const base64& text) {
    Base64::decode(text, *this);
}

std::ostream& operator<<(std::ostream& os, const Bytes& bytes) {
    String text;
    Base64::encode(bytes, text, false);
    return os << static_cast<const std::string&>(text);
}

}  // namespace qor
