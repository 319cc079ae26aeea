#include "qor/json/json_stream.h"

#include <ostream>

#include "qor/base/field.h"

namespace qor::json {

namespace {

constinit thread_local unsigned readingDepth = 0;

}  // namespace

bool JsonInputStream::getArrayChildren(JsonArray::const_iterator& begin,
                                       JsonArray::const_iterator& end) const {
    const JsonArray* const array = unit().arrayValue();
    if (array == nullptr) return false;
    begin = array->begin();
    end = array->end();
    return true;
}

bool JsonInputStream::getObjectChildren(JsonObject::const_iterator& begin,
                                        JsonObject::const_iterator& end) const {
    const JsonObject* const object = unit().objectValue();
    if (object == nullptr) return false;
    begin = object->begin();
    end = object->end();
    return true;
}

ReadingDepth::ReadingDepth() {
    if (readingDepth >= kMaxDepth) {
        QOR_THROW(qor::json::DecodeException, "qor::json::ReadingDepth::ReadingDepth",
                  "objects are nested too deeply");
    }
    ++readingDepth;
}

ReadingDepth::~ReadingDepth() {
    --readingDepth;
}

void JsonCodecInterface::encodeJson(JsonOutputStream& out) const {
    JsonStream stream(out);
    forCodec(*this).codecJson(stream);
}

void JsonCodecInterface::decodeJson(const JsonInputStream& in) {
    const ReadingDepth depth;
    JsonStream stream(in);
    codecJson(stream);
}

String JsonCodecInterface::toJson(bool pretty) const {
    JsonOutputStream out;
    encodeJson(out);
    return out.str(pretty, true, 0);
}

void JsonCodecInterface::fromJson(const istr& text) {
    const JsonInputStream in(text);
    decodeJson(in);
}

std::ostream& operator<<(std::ostream& os, const JsonCodecInterface& object) {
    return os << object.toJson(true);
}

}  // namespace qor::json
