#include "core/ParameterModel.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>

#include "core/DspParameterTables.h"
#include "core/DspValueShaping.h"
#include "core/ParameterFamily.h"
#include "core/ValueLayouts.h"

namespace kelix {
namespace {

FieldLayout Word(std::string_view name) { return {.name = name}; }
FieldLayout Array(std::string_view name, std::uint32_t count) { return {.name = name, .count = count}; }
FieldLayout CountedWords(std::string_view name, int countedBy) {
    return {.name = name, .count = 0, .countedBy = countedBy};
}

// The caller structures of SetPexParam and GetPexParam, and the information
// blocks the DSP answers. Every id not here is a scalar or a text.
const std::map<ParameterId, std::vector<FieldLayout>>& StructureLayouts() {
    static const std::map<ParameterId, std::vector<FieldLayout>> layouts = [] {
        const std::vector<FieldLayout> bands{Word("count"), Array("a", 20), Array("b", 20)};
        const std::vector<FieldLayout> tuning{Word("count"), Array("a", 20), Array("b", 20), Array("c", 20),
                                              Array("d", 20)};
        const std::vector<FieldLayout> partialOutput{Word("first"), Word("n"), CountedWords("v", 1)};
        const std::vector<FieldLayout> block{{.name = "v", .count = 0, .rest = true}};
        const std::vector<FieldLayout> request{Array("word", 2)};
        return std::map<ParameterId, std::vector<FieldLayout>>{
            {1003, request},
            {1114, bands},
            {1119, {Word("count"), Array("a", 20), Array("b", 200)}},  // b[10][20], row by row
            {1122, bands},
            {1123, tuning},
            {1141, partialOutput},
            {1156, partialOutput},
            {1161, {Array("head", 10), Array("tail", 32)}},
            {1162, {Array("w", 18)}},
            {1170, tuning},
            {2003, request},
            {2105, {{.name = "size", .maxCount = kFilterConfigCapacity},
                    {.name = "data", .count = 0, .countedBy = 0, .bytes = true}}},
            {2107, {Word("n"), CountedWords("v", 0)}},
            {2108, {Array("a", 20), Array("b", 20)}},
            {2109, {Array("a", 20)}},
            {2116, {Word("n"), {.name = "records", .count = 0, .countedBy = 0, .itemWords = 6}}},
            {2122, {Array("v", 8)}},
            {2125, block},
            {2126, block},
            {2127, block},
        };
    }();
    return layouts;
}

// Ids without a catalogue row: the special ids of the exported API and the ids
// only the DSP route serves.
struct SpecialId {
    ParameterId id;
    std::string_view name;
    ValueKind kind;
    ValueAccess access;
    bool store;
    std::string_view summary;
};
constexpr SpecialId kSpecialIds[] = {
    {kPexVersionId, "pex_version", ValueKind::Text, ValueAccess::ReadOnly, true,
     "version of the PEX effect (store route) or of its DSP module (DSP route)"},
    {kPexDirectRequestId, "pex_direct_request", ValueKind::Structure, ValueAccess::WriteOnly, false,
     "direct request to the PEX module; the 8 bytes must be present but are not sent"},
    {1006, "pex_module_id", ValueKind::Text, ValueAccess::ReadOnly, false, "module id of the PEX module"},
    {1007, "pex_module_name", ValueKind::Text, ValueAccess::ReadOnly, false, "name of the PEX module"},
    {1008, "pex_module_type", ValueKind::Scalar, ValueAccess::ReadOnly, false, "module type of the PEX module"},
    {1141, "pex_partial_output_mode", ValueKind::Structure, ValueAccess::ReadWrite, false, ""},
    {kKreloVersionId, "krelo_version", ValueKind::Text, ValueAccess::ReadOnly, true,
     "version of the KRELO effect (store route) or of its DSP module (DSP route)"},
    {kKreloDirectRequestId, "krelo_direct_request", ValueKind::Structure, ValueAccess::WriteOnly, false,
     "direct request to the KRELO module; the 8 bytes must be present but are not sent"},
    {2004, "krelo_module_id", ValueKind::Text, ValueAccess::ReadOnly, false, "module id of the KRELO module"},
    {2005, "krelo_module_name", ValueKind::Text, ValueAccess::ReadOnly, false, "name of the KRELO module"},
    {2006, "krelo_module_type", ValueKind::Scalar, ValueAccess::ReadOnly, false, "module type of the KRELO module"},
    {2125, "krelo_regulator_tuning_info", ValueKind::Structure, ValueAccess::ReadOnly, false,
     "information block of the module"},
    {2126, "krelo_vis_bands", ValueKind::Structure, ValueAccess::ReadOnly, false, "information block of the module"},
    {2127, "krelo_mb_compressor_tuning_info", ValueKind::Structure, ValueAccess::ReadOnly, false,
     "information block of the module"},
    {2128, "krelo_limiter_gain", ValueKind::Scalar, ValueAccess::ReadOnly, false, "limiter gain read from the module"},
};

std::string Narrow(std::wstring_view text) {
    std::string narrow;
    narrow.reserve(text.size());
    for (const wchar_t c : text) narrow.push_back(static_cast<char>(c));  // the tables' names are ASCII
    return narrow;
}

std::vector<ParameterDescription> BuildModel() {
    std::map<ParameterId, ParameterDescription> model;
    for (const auto& [id, info] : ParameterCatalogue()) {
        ParameterDescription& parameter = model[id];
        parameter.id = id;
        parameter.name = Narrow(info.name);
        parameter.store = true;
        parameter.key = info.key;
    }
    for (const SpecialId& special : kSpecialIds) {
        ParameterDescription& parameter = model[special.id];
        parameter.id = special.id;
        parameter.name = special.name;
        parameter.summary = special.summary;
        parameter.kind = special.kind;
        parameter.access = special.access;
        parameter.store = special.store;
        parameter.dsp = true;  // the DSP route serves every special id
    }
    for (auto& [id, parameter] : model) {
        if (const std::optional<DspRoute> route = LookupDspRoute(id)) {
            parameter.dsp = true;
            parameter.dspIndex = route->index;
            parameter.dspName = Narrow(route->name);
        }
        if (const auto layout = StructureLayouts().find(id); layout != StructureLayouts().end()) {
            parameter.kind = ValueKind::Structure;
            parameter.fields = layout->second;
        }
        parameter.dspBlob = parameter.dsp && parameter.kind == ValueKind::Structure &&
                            parameter.access == ValueAccess::ReadWrite;
    }
    std::vector<ParameterDescription> ordered;
    ordered.reserve(model.size());
    for (auto& entry : model) ordered.push_back(std::move(entry.second));
    return ordered;
}

std::int32_t ReadWord(const std::uint8_t* bytes) {
    std::int32_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// Walks a structure's fields over caller bytes: each field's offset and item count.
struct FieldSpan {
    std::uint64_t offset;
    std::uint64_t items;
};
std::optional<std::vector<FieldSpan>> Spans(const ParameterDescription& parameter, const std::uint8_t* bytes,
                                            std::uint32_t size) {
    std::vector<FieldSpan> spans;
    std::uint64_t offset = 0;
    for (const FieldLayout& field : parameter.fields) {
        std::uint64_t items = field.count;
        if (field.rest) {
            items = offset < size ? (size - offset) / field.ItemBytes() : 0;
        } else if (field.Counted()) {
            const FieldSpan& counter = spans[static_cast<std::size_t>(field.countedBy)];
            if (bytes == nullptr || counter.offset + 4 > size) return std::nullopt;
            const std::int32_t count = ReadWord(bytes + counter.offset);
            if (count < 0) return std::nullopt;
            items = static_cast<std::uint64_t>(count);
        }
        if (field.maxCount != 0 && bytes != nullptr && offset + 4 <= size &&
            static_cast<std::uint32_t>(ReadWord(bytes + offset)) > field.maxCount) {
            return std::nullopt;
        }
        spans.push_back({offset, items});
        offset += items * field.ItemBytes();
    }
    spans.push_back({offset, 0});  // the end
    return spans;
}

std::string Join(const std::vector<FieldLayout>& fields) {
    std::string names;
    for (const FieldLayout& field : fields) names += (names.empty() ? "" : ", ") + std::string(field.name);
    return names;
}

}  // namespace

const std::vector<ParameterDescription>& ParameterModel() {
    static const std::vector<ParameterDescription> model = BuildModel();
    return model;
}

const ParameterDescription* FindParameter(ParameterId id) {
    const auto& model = ParameterModel();
    const auto found = std::lower_bound(model.begin(), model.end(), id,
                                        [](const ParameterDescription& p, ParameterId key) { return p.id < key; });
    return found != model.end() && found->id == id ? &*found : nullptr;
}

const ParameterDescription* FindParameter(std::string_view name) {
    for (const ParameterDescription& parameter : ParameterModel()) {
        if (parameter.name == name) return &parameter;
    }
    return nullptr;
}

std::optional<std::uint32_t> StructureSize(const ParameterDescription& parameter, const std::uint8_t* bytes,
                                           std::uint32_t size) {
    if (parameter.kind != ValueKind::Structure) return 4;
    const auto spans = Spans(parameter, bytes, size);
    if (!spans || spans->back().offset > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return static_cast<std::uint32_t>(spans->back().offset);
}

std::string StructureSizeText(const ParameterDescription& parameter) {
    if (parameter.kind == ValueKind::Text) return "2 per character + 2";
    if (parameter.kind == ValueKind::Scalar) return "4";
    std::uint32_t fixed = 0;
    std::string counted;
    for (const FieldLayout& field : parameter.fields) {
        if (field.rest && parameter.dspIndex) {
            const auto index = static_cast<std::uint32_t>(*parameter.dspIndex);
            const auto early = InformationBlockSize(index, L"1.0.0");
            const auto late = InformationBlockSize(index, L"1.4.2");
            if (early && late && *early != *late) return std::to_string(*early) + " or " + std::to_string(*late);
            if (late) fixed += *late;
        } else if (field.Counted()) {
            const std::string count(parameter.fields[static_cast<std::size_t>(field.countedBy)].name);
            counted = field.ItemBytes() == 1 ? count : std::to_string(field.ItemBytes()) + count;
        } else {
            fixed += field.count * field.ItemBytes();
        }
    }
    if (counted.empty()) return std::to_string(fixed);
    return std::to_string(fixed) + " + " + counted;
}

std::optional<StructureValue> DecodeStructure(const ParameterDescription& parameter, const std::uint8_t* bytes,
                                              std::uint32_t size) {
    const auto spans = Spans(parameter, bytes, size);
    if (!spans || spans->back().offset > size) return std::nullopt;
    StructureValue value;
    for (std::size_t i = 0; i < parameter.fields.size(); ++i) {
        const FieldLayout& field = parameter.fields[i];
        const FieldSpan& span = (*spans)[i];
        FieldValue decoded{std::string(field.name), {}};
        const std::uint64_t values = span.items * (field.bytes ? 1 : field.itemWords);
        decoded.items.reserve(static_cast<std::size_t>(values));
        for (std::uint64_t k = 0; k < values; ++k) {
            decoded.items.push_back(field.bytes ? std::int64_t{bytes[span.offset + k]}
                                                : std::int64_t{ReadWord(bytes + span.offset + 4 * k)});
        }
        value.push_back(std::move(decoded));
    }
    return value;
}

EncodedStructure EncodeStructure(const ParameterDescription& parameter, const StructureValue& value) {
    EncodedStructure result;
    const auto fail = [&](std::string error) {
        result.bytes.clear();
        result.error = parameter.name + ": " + std::move(error);
        return result;
    };
    const auto& fields = parameter.fields;
    std::vector<const FieldValue*> given(fields.size(), nullptr);
    for (const FieldValue& field : value) {
        const auto found = std::find_if(fields.begin(), fields.end(),
                                        [&](const FieldLayout& layout) { return layout.name == field.name; });
        if (found == fields.end()) return fail("unknown field \"" + field.name + "\" (fields: " + Join(fields) + ")");
        const auto index = static_cast<std::size_t>(found - fields.begin());
        if (given[index] != nullptr) return fail("field \"" + field.name + "\" given twice");
        given[index] = &field;
    }
    // Counts: taken from the counted field's items, checked against a count given as well.
    std::vector<std::int64_t> words(fields.size(), 0);
    std::vector<bool> derived(fields.size(), false);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const FieldLayout& field = fields[i];
        if (!field.Counted()) continue;
        const auto counter = static_cast<std::size_t>(field.countedBy);
        const std::string name(field.name);
        if (given[i] == nullptr) return fail("field \"" + name + "\" is missing");
        const std::size_t perItem = field.bytes ? 1 : field.itemWords;
        if (given[i]->items.size() % perItem != 0) {
            return fail("\"" + name + "\" needs whole records of " + std::to_string(perItem) + " values");
        }
        const auto items = static_cast<std::int64_t>(given[i]->items.size() / perItem);
        if (given[counter] != nullptr) {
            if (given[counter]->items.size() != 1 || given[counter]->items[0] != items) {
                return fail("\"" + std::string(fields[counter].name) + "\" says " +
                            (given[counter]->items.size() == 1 ? std::to_string(given[counter]->items[0]) : "?") +
                            " but \"" + name + "\" has " + std::to_string(items));
            }
        }
        words[counter] = items;
        derived[counter] = true;
    }
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const FieldLayout& field = fields[i];
        const std::string name(field.name);
        const FieldValue* input = given[i];
        if (field.rest) return fail("is read-only");
        if (input == nullptr && !derived[i]) return fail("field \"" + name + "\" is missing");
        if (field.Counted()) continue;
        const std::size_t expected = field.count * field.itemWords;
        if (input != nullptr && input->items.size() != expected) {
            return fail("\"" + name + "\" has " + std::to_string(input->items.size()) + " value" +
                        (input->items.size() == 1 ? "" : "s") + ", it takes " + std::to_string(expected));
        }
        if (input != nullptr && expected == 1) words[i] = input->items[0];
        if (field.maxCount != 0 && (words[i] < 0 || words[i] > field.maxCount)) {
            return fail("\"" + name + "\" is " + std::to_string(words[i]) + ", at most " +
                        std::to_string(field.maxCount) + " fits");
        }
    }
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const FieldLayout& field = fields[i];
        const bool single = !field.Counted() && field.count * field.itemWords == 1;
        const std::vector<std::int64_t> one{words[i]};
        const std::vector<std::int64_t>& items = single ? one : given[i]->items;
        for (const std::int64_t item : items) {
            const std::int64_t low = field.bytes ? 0 : std::numeric_limits<std::int32_t>::min();
            const std::int64_t high = field.bytes ? 255 : std::numeric_limits<std::int32_t>::max();
            if (item < low || item > high) {
                return fail("\"" + std::string(field.name) + "\" holds " + std::to_string(item) + ", outside " +
                            std::to_string(low) + ".." + std::to_string(high));
            }
            if (field.bytes) {
                result.bytes.push_back(static_cast<std::uint8_t>(item));
            } else {
                const auto word = static_cast<std::int32_t>(item);
                const auto* raw = reinterpret_cast<const std::uint8_t*>(&word);
                result.bytes.insert(result.bytes.end(), raw, raw + 4);
            }
        }
    }
    return result;
}

}  // namespace kelix
