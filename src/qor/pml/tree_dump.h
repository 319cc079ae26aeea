#ifndef QOR_SRC_PML_TREE_DUMP_H
#define QOR_SRC_PML_TREE_DUMP_H

#include "qor/log/log_dumper.h"
#include "qor/pml/ntv_unit.h"

namespace qor::pml::ntv {

// Write a tree to a dumper, without recursion.
void dumpTree(dumper& d, const Unit& unit);
void dumpTree(dumper& d, const ListValue& list);

}  // namespace qor::pml::ntv

#endif  // QOR_SRC_PML_TREE_DUMP_H
