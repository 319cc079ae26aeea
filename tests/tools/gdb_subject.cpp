// What the pretty printers show. A debugger stops in `stop`, or looks at the core that an abort
// there leaves.

#include <qor/qor.h>

#include <cstdlib>
#include <memory>

namespace {

struct Pump : qor::Shared {
    int pressure = 7;
};

// Keeps its arguments alive for the debugger.
void use(const auto&...) {}

[[gnu::noinline]] void stop(bool aborts) {
    if (aborts) std::abort();
    asm volatile("");
}

}  // namespace

int main(int argc, char**) {
    qor::String string("text \"q\"");
    qor::String longString(std::string(300, 'x'));
    qor::istr view("a view of bytes", 6);
    qor::istr nullView;
    qor::iwstr wideView(L"w\u00f8", 2);
    qor::Bytes bytes(qor::istr("\x01\xffhi", 4));
    qor::Bytes noBytes;
    qor::Time time = qor::Time::microSeconds(1500000000123456);
    qor::Time duration = qor::Time::milliSeconds(-5250);
    qor::Time unset;
    qor::Time forever = qor::Time::forever();
    qor::Handle<Pump> handle(new Pump);
    qor::Handle<Pump> other(handle);
    qor::Handle<Pump> noHandle;
    qor::Long number(-7);
    qor::Byte byte(65);
    qor::Bit bit(true);
    qor::Wchar wide(L'\u00f8');
    qor::Double fraction(1.5);
    qor::Optional<qor::String> set(qor::String("here"));
    qor::Optional<qor::String> notSet;
    qor::mt::map<qor::String, int> map;
    map.set("one", 1);
    map.set("two", 2);
    qor::mt::set<int> numbers;
    numbers.insert(3);
    numbers.insert(1);

    qor::pml::ntv::Unit unit;
    qor::pml::ntvFromPml(unit,
                         qor::istr("server(host(ex ample)port:Ushort(8080)paths((a)('(b)')))"));
    qor::pml::ntv::Unit typed("sizes");
    typed.addChild(std::make_unique<qor::pml::ntv::Unit>(
        "a", "", qor::pml::ntv::IntegerValue::create(qor::Longlong(-12))));
    typed.addChild(std::make_unique<qor::pml::ntv::Unit>(
        "b", "", qor::pml::ntv::BooleanValue::create(qor::Bit(true))));
    typed.addChild(std::make_unique<qor::pml::ntv::Unit>(
        "c", "", qor::pml::ntv::FloatValue::create(qor::Double(0.5))));

    qor::json::JsonUnit json;
    json.decode("{\"n\":12345678901,\"a\":[1,true,null,\"x\\\"y\"],\"\\\"o\\\"\":{\"deep\":[[]]}}");
    qor::json::JsonUnit looked;
    looked.decode("{\"z\":[\"text of many characters\",2],\"a\":{}}");
    qor::istr text;
    std::as_const(looked)["z"].arrayValue()->at(0) >> text;
    qor::json::JsonUnit built;
    built["name"] << "Ann";
    built["id"] << 12345678901LL;
    built["ok"] << true;
    built["list"].newChild() << 1;
    built["none"];
    qor::json::JsonUnit nothing;

    qor::XMLParser parser(qor::istr("<a x=\"1\" y='&lt;'>t<b>u &amp; v</b><c/></a>"));
    const qor::XMLNode& xml = *parser.rootNode();

    const qor::istr message(
        "\xff\x01(\x01\x01\x02\x2c\x01\x02\xff\x01(\x01\xf1\x02hi\xff\x01)\xff\x01)");
    const std::unique_ptr<qor::nbr::ValueBase> nbr(qor::nbr::parser::from(message));
    const auto& value = *nbr;

    stop(argc > 1);
    use(view, nullView, time, duration, unset, forever, number, byte, bit, wide, fraction, xml,
        value);
    return 0;
}
