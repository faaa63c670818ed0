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

StoredBytes StoredBytesOf(const PROPVARIANT& value) {
    if (IsScalar(value)) return {reinterpret_cast<const std::uint8_t*>(&value.lVal), 4};
    if (value.vt == VT_BLOB) return {value.blob.pBlobData, value.blob.cbSize};
    if ((value.vt & VT_VECTOR) == 0) return {};
    std::uint64_t elementSize = 0;
    switch (value.vt & VT_TYPEMASK) {
        case VT_I1: case VT_UI1: elementSize = 1; break;
        case VT_I2: case VT_UI2: case VT_BOOL: elementSize = 2; break;
        case VT_I4: case VT_UI4: case VT_INT: case VT_UINT: case VT_R4: case VT_ERROR: elementSize = 4; break;
        case VT_I8: case VT_UI8: case VT_R8: case VT_CY: case VT_DATE: case VT_FILETIME: elementSize = 8; break;
        default: return {};
    }
    const std::uint64_t bytes = elementSize * value.cal.cElems;
    return {reinterpret_cast<const std::uint8_t*>(value.cal.pElems),
            static_cast<std::uint32_t>(bytes > UINT32_MAX ? UINT32_MAX : bytes)};
}

std::wstring PropVariantText(ParameterId id, const PROPVARIANT& value) {
    if (IsScalar(value)) return std::to_wstring(value.lVal);
    const CountedValue counted = CountedView(value);
    return CountedValueText(id, counted.data, counted.count);
}

}  // namespace kelix
