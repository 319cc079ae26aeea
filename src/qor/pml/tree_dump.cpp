#include "pml/tree_dump.h"

#include <deque>
#include <optional>

namespace qor::pml::ntv {

namespace {

// A list that is being written, and the next of its units.
struct OpenList {
    OpenList(dumper& d, const ListValue& list)
        : scope(d, "qor::pml::ntv::ListValue"), next(list.begin()), end(list.end()) {}
    dumper::_Entry scope;
    ListValue::const_iterator next;
    ListValue::const_iterator end;
};

// A unit that is being written; if its value is a list, until the list's end.
struct OpenUnit {
    explicit OpenUnit(dumper& d) : scope(d, "qor::pml::ntv::Unit") {}
    dumper::_Entry scope;
    std::optional<OpenList> list;
};

class TreeDump {
public:
    explicit TreeDump(dumper& d) : dumper_(d) {}

    void begin(const Unit& unit) {
        OpenUnit& open = open_.emplace_back(dumper_);
        dumper_.member("name_", unit.name()).member("type_", unit.type());
        dumper_.indent().name("value_");
        if (const ListValue* const list = unit.listValue()) {
            open.list.emplace(dumper_, *list);
        } else if (unit.value() != nullptr) {
            unit.value()->dump(dumper_);
        }
    }

    void finish() {
        while (!open_.empty()) {
            std::optional<OpenList>& list = open_.back().list;
            if (list && list->next != list->end) {
                dumper_.indent();
                begin(**list->next++);
                continue;
            }
            list.reset();
            dumper_.endline();
            open_.pop_back();
            if (!open_.empty()) dumper_.endline();
        }
    }

private:
    dumper& dumper_;
    std::deque<OpenUnit> open_;
};

}  // namespace

void dumpTree(dumper& d, const Unit& unit) {
    TreeDump dump(d);
    dump.begin(unit);
    dump.finish();
}

void dumpTree(dumper& d, const ListValue& list) {
    const dumper::_Entry scope(d, "qor::pml::ntv::ListValue");
    for (const Unit* const unit : list) {
        dumpTree(d.indent(), *unit);
        d.endline();
    }
}

}  // namespace qor::pml::ntv
