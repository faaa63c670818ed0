#include "Values.h"

#include "core/ParameterReference.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace pexctl {
namespace {

using kelix::ParameterDescription;
using kelix::ValueKind;

constexpr std::int64_t kInt32Min = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kInt32Max = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kUInt32Max = std::numeric_limits<std::uint32_t>::max();

// Simple case folding of the Latin, Greek and Cyrillic capitals, the same on
// every C library and locale.
char16_t Lower(char16_t c) {
    if ((c >= u'A' && c <= u'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7) || (c >= 0x391 && c <= 0x3AB) ||
        (c >= 0x410 && c <= 0x42F)) {
        return static_cast<char16_t>(c + 0x20);
    }
    if (c >= 0x400 && c <= 0x40F) return static_cast<char16_t>(c + 0x50);
    if (c >= 0x100 && c <= 0x17F && c != 0x130 && c != 0x131 && c != 0x138 && c != 0x149 && c != 0x17F) {
        const bool oddCapitals = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
        if ((c % 2 == 1) == oddCapitals) return static_cast<char16_t>(c + 1);
    }
    return c;
}

std::u16string Lower(std::u16string_view text) {
    std::u16string lower(text);
    for (char16_t& c : lower) c = Lower(c);
    return lower;
}

std::string EndpointLine(const Endpoint& endpoint) {
    return "[" + std::to_string(endpoint.index) + "] " + Utf16ToUtf8(endpoint.name) + " " + Utf16ToUtf8(endpoint.id);
}

ParsedValue Failed(std::string error) { return {{}, std::move(error)}; }

}  // namespace

std::optional<std::int64_t> ParseInteger(std::string_view text, std::int64_t low, std::int64_t high,
                                         std::string& error) {
    const std::string quoted = "\"" + std::string(text) + "\"";
    std::string_view digits = text;
    const bool negative = digits.starts_with('-');
    if (negative || digits.starts_with('+')) digits.remove_prefix(1);
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        base = 16;
        digits.remove_prefix(2);
    }
    if (digits.empty()) {
        error = quoted + " is not a number (decimal, or hexadecimal with 0x)";
        return std::nullopt;
    }
    std::uint64_t magnitude = 0;
    for (const char c : digits) {
        int digit = -1;
        if (c >= '0' && c <= '9') digit = c - '0';
        if (base == 16 && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
        if (base == 16 && c >= 'A' && c <= 'F') digit = c - 'A' + 10;
        if (digit < 0) {
            error = quoted + " is not a number (decimal, or hexadecimal with 0x)";
            return std::nullopt;
        }
        magnitude = magnitude * static_cast<std::uint64_t>(base) + static_cast<std::uint64_t>(digit);
        if (magnitude > (std::uint64_t{1} << 40)) break;  // far outside every range here
    }
    const std::int64_t value =
        negative ? -static_cast<std::int64_t>(std::min<std::uint64_t>(magnitude, std::uint64_t{1} << 41))
                 : static_cast<std::int64_t>(std::min<std::uint64_t>(magnitude, std::uint64_t{1} << 41));
    if (value < low || value > high) {
        error = quoted + " is out of range " + std::to_string(low) + ".." + std::to_string(high);
        return std::nullopt;
    }
    return value;
}

std::string Utf16ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;  // a lone surrogate
        }
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return out;
}

std::u16string Utf8ToUtf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const int length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
        char32_t c = 0xFFFD;
        bool valid = length != 0 && i + static_cast<std::size_t>(length) <= text.size();
        if (valid) {
            c = length == 1 ? lead : length == 2 ? (lead & 0x1F) : length == 3 ? (lead & 0x0F) : (lead & 0x07);
            for (int k = 1; k < length; ++k) {
                const auto next = static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]);
                if ((next & 0xC0) != 0x80) valid = false;
                c = (c << 6) | (next & 0x3F);
            }
        }
        if (!valid) {
            out.push_back(0xFFFD);
            ++i;
            continue;
        }
        i += static_cast<std::size_t>(length);
        if (c >= 0x10000) {
            c -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(c));
        }
    }
    return out;
}

Json ValueToJson(const ParameterDescription& parameter, const std::vector<std::uint8_t>& bytes, bool unsignedScalar) {
    switch (parameter.kind) {
        case ValueKind::Scalar: {
            if (bytes.size() < 4) return nullptr;
            std::int32_t word;
            std::memcpy(&word, bytes.data(), 4);
            if (unsignedScalar) return static_cast<std::uint32_t>(word);
            return word;
        }
        case ValueKind::Text: {
            std::u16string text(bytes.size() / 2, u'\0');
            if (!text.empty()) std::memcpy(text.data(), bytes.data(), text.size() * 2);
            text.resize(std::min(text.size(), text.find(u'\0')));
            return Utf16ToUtf8(text);
        }
        case ValueKind::Structure: {
            const auto decoded =
                kelix::DecodeStructure(parameter, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
            if (!decoded) return nullptr;
            Json object = Json::object();
            for (std::size_t i = 0; i < decoded->size(); ++i) {
                const kelix::FieldLayout& field = parameter.fields[i];
                const std::vector<std::int64_t>& items = (*decoded)[i].items;
                if (!field.Counted() && !field.rest && field.count == 1) {
                    object[(*decoded)[i].name] = items.front();
                } else if (field.itemWords > 1) {  // records
                    Json records = Json::array();
                    for (std::size_t k = 0; k + field.itemWords <= items.size(); k += field.itemWords) {
                        records.push_back(std::vector<std::int64_t>(items.begin() + static_cast<std::ptrdiff_t>(k),
                                                                    items.begin() + static_cast<std::ptrdiff_t>(k + field.itemWords)));
                    }
                    object[(*decoded)[i].name] = std::move(records);
                } else {
                    object[(*decoded)[i].name] = items;
                }
            }
            return object;
        }
    }
    return nullptr;
}

std::vector<std::string> ValueToLines(const ParameterDescription& parameter, const Json& value) {
    const auto items = [](const Json& array) {
        std::string text;
        for (const Json& item : array) {
            if (!text.empty()) text += ", ";
            text += item.is_array() ? "[" + [&] {
                std::string record;
                for (const Json& word : item) record += (record.empty() ? "" : ", ") + word.dump();
                return record;
            }() + "]"
                                    : item.dump();
        }
        return text;
    };
    if (parameter.kind == ValueKind::Text) {
        const std::string text = value.get<std::string>();
        return {text.empty() ? "(empty)" : text};
    }
    if (!value.is_object()) return {value.dump()};
    std::vector<std::string> lines;
    for (const auto& [name, field] : value.items()) {
        lines.push_back(name + " = " + (field.is_array() ? items(field) : field.dump()));
    }
    return lines;
}

ParsedValue JsonToValue(const ParameterDescription& parameter, const Json& value, ScalarType type) {
    const auto number = [](const Json& item, std::int64_t low, std::int64_t high, std::string& error)
        -> std::optional<std::int64_t> {
        if (item.is_string()) return ParseInteger(item.get<std::string>(), low, high, error);
        if (item.is_number_integer()) {
            const std::int64_t n = item.is_number_unsigned() && item.get<std::uint64_t>() > kUInt32Max
                                       ? std::numeric_limits<std::int64_t>::max()
                                       : item.get<std::int64_t>();
            if (n >= low && n <= high) return n;
            error = item.dump() + " is out of range " + std::to_string(low) + ".." + std::to_string(high);
            return std::nullopt;
        }
        error = item.dump() + " is not an integer";
        return std::nullopt;
    };
    std::string error;
    if (parameter.kind == ValueKind::Text) return Failed(parameter.name + " is a text and cannot be written");
    if (parameter.kind == ValueKind::Scalar) {
        const std::int64_t low = type == ScalarType::UI4 ? 0 : kInt32Min;
        const std::int64_t high = type == ScalarType::UI4 ? kUInt32Max : kInt32Max;
        const auto n = number(value, low, high, error);
        if (!n) return Failed(parameter.name + ": " + error);
        const auto word = static_cast<std::uint32_t>(*n);
        std::vector<std::uint8_t> bytes(4);
        std::memcpy(bytes.data(), &word, 4);
        return {bytes, ""};
    }
    if (!value.is_object()) {
        std::string fields;
        for (const kelix::FieldLayout& field : parameter.fields) fields += (fields.empty() ? "" : ", ") + std::string(field.name);
        return Failed(parameter.name + " is a structure: give a JSON object with the fields " + fields +
                      " (see `pexctl get " + parameter.name + " --json`)");
    }
    kelix::StructureValue structure;
    for (const auto& [name, field] : value.items()) {
        kelix::FieldValue parsed{name, {}};
        const auto add = [&](const Json& item) {
            // Ranges are the layout's to check, with the field's name.
            const auto n = number(item, -(std::int64_t{1} << 40), std::int64_t{1} << 40, error);
            if (!n) return false;
            parsed.items.push_back(*n);
            return true;
        };
        bool ok = true;
        if (field.is_array()) {
            for (const Json& item : field) {
                if (item.is_array()) {
                    for (const Json& word : item) ok = ok && add(word);
                } else {
                    ok = ok && add(item);
                }
            }
        } else {
            ok = add(field);
        }
        if (!ok) return Failed(parameter.name + ": field \"" + name + "\": " + error);
        structure.push_back(std::move(parsed));
    }
    kelix::EncodedStructure encoded = kelix::EncodeStructure(parameter, structure);
    if (!encoded.error.empty()) return Failed(encoded.error);
    return {std::move(encoded.bytes), ""};
}

ParsedValue ParseValue(const ParameterDescription& parameter, std::string_view text, ScalarType type) {
    if (parameter.kind == ValueKind::Scalar && !text.starts_with('{') && !text.starts_with('[')) {
        return JsonToValue(parameter, Json(std::string(text)), type);
    }
    Json value;
    try {
        value = Json::parse(text);
    } catch (const Json::parse_error& e) {
        return Failed(parameter.name + ": the value is not valid JSON: " + e.what());
    }
    return JsonToValue(parameter, value, type);
}

std::string_view StateText(std::uint32_t state) {
    switch (state) {
        case 1: return "active";
        case 2: return "disabled";
        case 4: return "not present";
        case 8: return "unplugged";
        default: return "unknown";
    }
}

std::string_view FormFactorText(std::uint32_t formFactor) {
    constexpr std::string_view kNames[] = {"remote network device", "speakers", "line level", "headphones",
                                           "microphone", "headset", "handset", "digital passthrough", "SPDIF",
                                           "digital display", "unknown"};
    return formFactor < std::size(kNames) ? kNames[formFactor] : "unknown";
}

Selection SelectEndpoint(const std::vector<Endpoint>& endpoints, std::string_view selector) {
    const std::string quoted = "\"" + std::string(selector) + "\"";
    const std::string hint = "; `pexctl list` shows the render endpoints";
    if (selector == "default") {
        for (const Endpoint& endpoint : endpoints) {
            if (endpoint.isDefault) return {&endpoint, ""};
        }
        return {nullptr, "no active render endpoint"};
    }
    if (!selector.empty() && std::all_of(selector.begin(), selector.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        std::string ignored;
        const auto index = ParseInteger(selector, 0, kInt32Max, ignored);
        if (index && static_cast<std::size_t>(*index) < endpoints.size()) return {&endpoints[static_cast<std::size_t>(*index)], ""};
        return {nullptr, "no render endpoint has the index " + std::string(selector) + hint};
    }
    const std::u16string wanted = Utf8ToUtf16(selector);
    for (const Endpoint& endpoint : endpoints) {
        if (endpoint.id == wanted) return {&endpoint, ""};
    }
    for (const Endpoint& endpoint : endpoints) {
        if (Lower(endpoint.id) == Lower(wanted)) return {&endpoint, ""};
    }
    std::vector<const Endpoint*> matches;
    for (const Endpoint& endpoint : endpoints) {
        if (!wanted.empty() && Lower(endpoint.name).find(Lower(wanted)) != std::u16string::npos) matches.push_back(&endpoint);
    }
    if (matches.size() == 1) return {matches.front(), ""};
    if (matches.empty()) return {nullptr, "no render endpoint matches --device " + quoted + hint};
    std::string error = "--device " + quoted + " matches " + std::to_string(matches.size()) +
                        " endpoints; give more of the name, the index or the id:";
    for (const Endpoint* endpoint : matches) error += "\n  " + EndpointLine(*endpoint);
    return {nullptr, error};
}

std::string WriteRefusal(const kelix::ParameterDescription& parameter, const std::string& type) {
    if (!parameter.Writable()) return parameter.name + " is read-only";
    if (!type.empty() && parameter.kind != kelix::ValueKind::Scalar) {
        return "--type applies to scalar values; " + parameter.name + " is a structure";
    }
    return "";
}

ParsedValue CheckWrite(const kelix::ParameterDescription& parameter, const std::string& type, ParsedValue parsed) {
    if (std::string refusal = WriteRefusal(parameter, type); !refusal.empty()) return {{}, std::move(refusal)};
    if (!parsed.error.empty()) return parsed;
    const auto need = kelix::StructureSize(parameter, parsed.bytes.data(), static_cast<std::uint32_t>(parsed.bytes.size()));
    if (!need || *need != parsed.bytes.size()) {
        return {{}, parameter.name + ": the value has " + std::to_string(parsed.bytes.size()) +
                        " bytes, its layout needs " + (need ? std::to_string(*need) : "another count")};
    }
    return parsed;
}

std::string_view KindText(kelix::ValueKind kind) {
    return kind == kelix::ValueKind::Scalar ? "scalar" : kind == kelix::ValueKind::Structure ? "structure" : "text";
}

Json DescribeParameter(const kelix::ParameterDescription& parameter) {
    Json entry = {{"id", parameter.id},       {"name", parameter.name},
                  {"kind", KindText(parameter.kind)}, {"structure", kelix::StructureText(parameter)},
                  {"size", kelix::StructureSizeText(parameter)},
                  {"store", parameter.store}, {"dsp", parameter.dsp},
                  {"readable", parameter.Readable()}, {"writable", parameter.Writable()}};
    if (parameter.dspIndex) entry["dspIndex"] = *parameter.dspIndex;
    if (!parameter.dspName.empty()) entry["dspName"] = parameter.dspName;
    return entry;
}

}  // namespace pexctl
