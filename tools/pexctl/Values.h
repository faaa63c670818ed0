// pexctl's portable side: strict numbers, values by field as JSON and text,
// UTF-8 and UTF-16, and the choice of an endpoint from what --device says.
// Standard C++ and nlohmann-json only, so that it is tested natively too.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "core/ParameterModel.h"

namespace pexctl {

using Json = nlohmann::ordered_json;

// Decimal or 0x hexadecimal, with an optional minus sign, inside [low, high].
// Never octal ("010" is ten), never clamped. On failure `error` says why.
std::optional<std::int64_t> ParseInteger(std::string_view text, std::int64_t low, std::int64_t high,
                                         std::string& error);

std::string Utf16ToUtf8(std::u16string_view text);
std::u16string Utf8ToUtf16(std::string_view text);

// The PROPVARIANT type of a store write of a scalar.
enum class ScalarType { Default, I4, UI4 };

// A value as read: a number, an object by field, or a string. `unsignedScalar`
// shows a scalar as UI4. Texts end at their first NUL.
Json ValueToJson(const kelix::ParameterDescription& parameter, const std::vector<std::uint8_t>& bytes,
                 bool unsignedScalar = false);
// The same for people: "-6", "krelo1.4", or one "field = items" line per field.
std::vector<std::string> ValueToLines(const kelix::ParameterDescription& parameter, const Json& value);

// What `set` takes: a scalar in strict number syntax, or a JSON object by
// field (a number may also be given as a string in number syntax). The caller
// bytes come back, checked against the layout.
struct ParsedValue {
    std::vector<std::uint8_t> bytes;
    std::string error;  // empty on success
};
ParsedValue ParseValue(const kelix::ParameterDescription& parameter, std::string_view text, ScalarType type);
ParsedValue JsonToValue(const kelix::ParameterDescription& parameter, const Json& value, ScalarType type);

// What a client may write to `parameter`, checked: the parameter writable,
// a --type given for scalars only ("", "i4", "ui4"), and the bytes of
// `parsed` of the size its layout calls for; `parsed` with an error in words
// otherwise.
ParsedValue CheckWrite(const kelix::ParameterDescription& parameter, const std::string& type, ParsedValue parsed);
// The first two of those checks alone: why no value can be written, or empty.
std::string WriteRefusal(const kelix::ParameterDescription& parameter, const std::string& type);

// A parameter as `params --json` and serve's catalogue show it: id, name,
// kind, structure, size, routes, access.
Json DescribeParameter(const kelix::ParameterDescription& parameter);
std::string_view KindText(kelix::ValueKind kind);  // "scalar", "structure", "text"

// A render endpoint as `list` shows it.
struct Endpoint {
    std::size_t index = 0;
    std::u16string id;
    std::u16string name;
    bool isDefault = false;
    std::uint32_t state = 0;       // DEVICE_STATE_* bit
    std::uint32_t formFactor = 10; // EndpointFormFactor; 10 unknown
    std::string pexVersion, kreloVersion;
};
std::string_view StateText(std::uint32_t state);
std::string_view FormFactorText(std::uint32_t formFactor);

// --device: "default", an index from `list`, an id, or a piece of the friendly
// name (any case). No match or several matches give an error in words that
// lists the candidates.
struct Selection {
    const Endpoint* endpoint = nullptr;
    std::string error;
};
Selection SelectEndpoint(const std::vector<Endpoint>& endpoints, std::string_view selector);

}  // namespace pexctl
