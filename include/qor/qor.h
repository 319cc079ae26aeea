#ifndef QOR_QOR_H
#define QOR_QOR_H

// The whole library.

#include "qor/base/base_type_auto.h"
#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_char.h"
#include "qor/base/base_type_convert.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_target.h"
#include "qor/base/base_type_time.h"
#include "qor/base/base_type_view.h"
#include "qor/base/exception.h"
#include "qor/base/field.h"
#include "qor/base/interface.h"
#include "qor/base/library.h"
#include "qor/base/mlcheck.h"
#include "qor/log/log_dumper.h"
#include "qor/mt/containers.h"
#include "qor/mt/handle.h"
#include "qor/mt/mutex.h"
#include "qor/mt/shared.h"
#include "qor/nbr/lsd.h"
#include "qor/nbr/parser.h"
#include "qor/nbr/stream.h"
#include "qor/string/multi_string.h"
#include "qor/string/printf.h"
#include "qor/string/string_buffer.h"
#include "qor/string/string_ref.h"
#include "qor/string/string_slice.h"
#include "qor/util/BinaryInStream.h"
#include "qor/util/BinaryOutStream.h"
#include "qor/util/BinaryStream.h"
#include "qor/util/optional.h"
#include "qor/util/singleton_T.h"

#endif  // QOR_QOR_H
