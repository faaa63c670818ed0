#include "PropVariantView.h"

#include "core/ValueText.h"

namespace kelix {

bool IsScalar(const PROPVARIANT& value) {
    return value.vt == VT_I4 || value.vt == VT_UI4;
}

CountedValue CountedView(const PROPVARIANT& value) {
    if (value.vt == VT_BLOB) return {value.blob.pBlobData, value.blob.cbSize};
    // Every vector has its element count and data pointer where a blob has them;
    // elements are at least one byte, so count bytes always lie inside the data.
    if ((value.vt & VT_VECTOR) != 0) {
        return {reinterpret_cast<const std::uint8_t*>(value.cal.pElems), value.cal.cElems};
    }
    return {};
}

std::wstring PropVariantText(ParameterId id, const PROPVARIANT& value) {
    if (IsScalar(value)) return std::to_wstring(value.lVal);
    const CountedValue counted = CountedView(value);
    return CountedValueText(id, counted.data, counted.count);
}

}  // namespace kelix
