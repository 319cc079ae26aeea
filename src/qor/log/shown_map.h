#ifndef QOR_SRC_LOG_SHOWN_MAP_H
#define QOR_SRC_LOG_SHOWN_MAP_H

#include <map>

#include "qor/log/log_dumper.h"

namespace qor {

// A copy of an mt::map, which is dumped in the same form but without a lock.
template <class K, class V>
struct ShownMap {
    dumper& dump(dumper& d) const { return dumpPairs(d, "qor::mt::map", values); }

    std::map<K, V> values;
};

}  // namespace qor

#endif  // QOR_SRC_LOG_SHOWN_MAP_H
