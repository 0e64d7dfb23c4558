#include "kova/kit/values/Struct.h"

namespace kova::kit::detail {

template bool readStruct<Reader>(Reader&, const ReadTable<Reader>&, void*);
template bool writeStruct<Writer>(Writer&, const WriteRow<Writer>*, std::size_t, const void*);

#if KOVA_KIT_HAS_FAST_PATH
template bool readStruct<FastReader>(FastReader&, const ReadTable<FastReader>&, void*);
#endif

}  // namespace kova::kit::detail
