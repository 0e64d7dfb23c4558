#include "kova/kit/values/Struct.h"

namespace kova::kit::detail {

template bool readStruct<Reader>(Reader&, const ReadTable<Reader>&, void*);
template bool writeStruct<Writer>(Writer&, const WriteRow<Writer>*, std::size_t, const void*);

}  // namespace kova::kit::detail
