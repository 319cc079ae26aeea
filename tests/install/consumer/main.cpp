// A program outside the project: it succeeds if what it wrote is what it reads.

#include <qor/qor.h>

#include <iostream>

struct Point {
    qor::Long x;
    qor::String name;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Point", "point", "", "");
        field(s, {"x", 1}, x);
        field(s, {"name", 2}, name);
        s.leave();
    }
};

int main() {
    Point point;
    point.x = -7;
    point.name = "origin";
    qor::nbr::CodecStream out;
    qor::nbr::encode(out, point);
    Point again;
    qor::nbr::decode(out.str(), again);

    qor::dumper d(std::cout, true);
    d << again;
    d.nl();
    std::cout << qor::show_version();
    return again.x == -7 && again.name == "origin" ? 0 : 1;
}
