// The value model of every parameter a client can name: catalogue rows, the
// special ids of the exported API and the ids only the DSP route serves. Each
// has a kind (scalar, structure with named fields, text), the routes that
// serve it, and for structures the caller structure field by field. Built from
// the catalogue and the DSP route table; clients use it to name parameters,
// check a value's size before the library sees it, and show values by field.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Guid.h"
#include "core/ParameterCatalogue.h"

namespace kelix {

enum class ValueKind {
    Scalar,     // one INT32
    Structure,  // a caller structure of named fields
    Text,       // zero-terminated UTF-16 text (versions, module names and ids)
};

enum class ValueAccess { ReadWrite, ReadOnly, WriteOnly };

// One field of a caller structure. A field holds `count` items, or, when
// `countedBy` names an earlier field, as many items as that field says; the
// last field of an information block takes whatever the value holds (`rest`).
struct FieldLayout {
    std::string_view name;
    std::uint32_t count = 1;     // items of a fixed field
    int countedBy = -1;          // index of the field holding the item count, or -1
    std::uint32_t itemWords = 1; // INT32 words per item (a compressor record has 6)
    bool bytes = false;          // items are single bytes (filter configuration data)
    std::uint32_t maxCount = 0;  // largest count a counted field may hold (0: no bound of its own)
    bool rest = false;

    bool Counted() const { return countedBy >= 0; }
    std::uint32_t ItemBytes() const { return bytes ? 1 : 4 * itemWords; }
};

struct ParameterDescription {
    ParameterId id = 0;
    std::string name;          // e.g. "pex_postgain"
    std::string_view summary;  // one line for ids with a meaning of their own, else empty
    ValueKind kind = ValueKind::Scalar;
    ValueAccess access = ValueAccess::ReadWrite;
    bool store = false;        // served by the property-store route (flags bit 0)
    bool dsp = false;          // served by the DSP route (flags bit 1)
    std::optional<PropertyKey> key;        // its property key, for catalogue rows
    std::optional<std::int32_t> dspIndex;  // DSP parameter index, for route-table ids
    std::string dspName;                   // DSP-side name, for route-table ids
    std::vector<FieldLayout> fields;       // Structure only
    bool dspBlob = false;                  // written on the DSP route as a VT_BLOB (structures)

    bool Readable() const { return access != ValueAccess::WriteOnly; }
    bool Writable() const { return access != ValueAccess::ReadOnly; }
};

// Every parameter, ordered by id; built once on first use.
const std::vector<ParameterDescription>& ParameterModel();
const ParameterDescription* FindParameter(ParameterId id);
const ParameterDescription* FindParameter(std::string_view name);

// Size of the caller structure: the fixed size, or the size the counts in
// `bytes` call for. Nothing when a count is negative, above its bound, or the
// bytes end before a count word.
std::optional<std::uint32_t> StructureSize(const ParameterDescription& parameter, const std::uint8_t* bytes,
                                           std::uint32_t size);
// Size text for references: "164", "8 + 4n", "160 or 720" ...
std::string StructureSizeText(const ParameterDescription& parameter);

// A structure by field, in field order; compressor records are flattened, six
// words per record. Items are INT32 values, or bytes 0-255 for byte fields.
struct FieldValue {
    std::string name;
    std::vector<std::int64_t> items;
};
using StructureValue = std::vector<FieldValue>;

// Caller bytes -> fields. Nothing when the bytes are shorter than the layout needs.
std::optional<StructureValue> DecodeStructure(const ParameterDescription& parameter, const std::uint8_t* bytes,
                                              std::uint32_t size);

// Fields -> caller bytes. Fields may come in any order; a count field left
// out is taken from its items. Unknown or missing fields, a wrong number of
// items, inconsistent counts and items out of range give an error in words.
struct EncodedStructure {
    std::vector<std::uint8_t> bytes;
    std::string error;  // empty on success
};
EncodedStructure EncodeStructure(const ParameterDescription& parameter, const StructureValue& value);

}  // namespace kelix
