#include "queries/data_mag.h"

namespace zrtmon {

namespace {
constexpr const char* kFieldNames[] = {"Track1", "Track2", "Track3"};
}

const char* CDataMag::GetFieldName(uint32_t index) { return NameAt(kFieldNames, index); }

} // namespace zrtmon
