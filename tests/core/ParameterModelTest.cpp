#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "core/DspBlobLayouts.h"
#include "core/DspParameterTables.h"
#include "core/DspValueShaping.h"
#include "core/ParameterFamily.h"
#include "core/ParameterModel.h"
#include "core/ParameterReference.h"
#include "core/ValueLayouts.h"

namespace kelix {
namespace {

const ParameterDescription& Parameter(std::string_view name) {
    const ParameterDescription* parameter = FindParameter(name);
    if (parameter == nullptr) throw std::runtime_error("no parameter " + std::string(name));
    return *parameter;
}

// A value of every field: counted fields get `counted` items (records of six, single bytes of
// the filter configuration), and every item a distinct value.
StructureValue SampleValue(const ParameterDescription& parameter, std::size_t counted = 3) {
    std::set<int> countFields;  // left out: the encoder derives them
    for (const FieldLayout& field : parameter.fields) countFields.insert(field.countedBy);
    StructureValue value;
    std::int64_t next = -7;
    for (std::size_t i = 0; i < parameter.fields.size(); ++i) {
        const FieldLayout& field = parameter.fields[i];
        if (countFields.contains(static_cast<int>(i))) continue;
        const std::size_t items = (field.Counted() ? counted : field.count) * field.itemWords;
        FieldValue filled{std::string(field.name), {}};
        for (std::size_t k = 0; k < items; ++k) filled.items.push_back(field.bytes ? (next++ & 0xFF) : next++ * 3);
        value.push_back(std::move(filled));
    }
    return value;
}

TEST(ParameterModelTest, NamesEveryCatalogueRowAndEveryDspIdOnce) {
    std::set<std::string> names;
    for (const ParameterDescription& parameter : ParameterModel()) {
        EXPECT_FALSE(parameter.name.empty()) << parameter.id;
        EXPECT_TRUE(names.insert(parameter.name).second) << parameter.name;
        EXPECT_EQ(FindParameter(parameter.name), FindParameter(parameter.id)) << parameter.name;
        EXPECT_TRUE(parameter.store || parameter.dsp) << parameter.name;
        EXPECT_EQ(parameter.kind == ValueKind::Structure, !parameter.fields.empty()) << parameter.name;
    }
    for (ParameterId id = 0; id < 4000; ++id) {
        if (!LookupDspRoute(id)) continue;
        EXPECT_TRUE(IsPexId(id) || IsKreloId(id)) << id;
        const ParameterDescription* parameter = FindParameter(id);
        ASSERT_NE(parameter, nullptr) << id;
        EXPECT_TRUE(parameter->dsp) << id;
    }
    EXPECT_EQ(FindParameter("pex_postgai"), nullptr);
    EXPECT_EQ(FindParameter(1500), nullptr);
}

// Every writable structure, with three counted items and with none, goes through the library's
// own layouts and comes back field for field: on the store route, and on the DSP route where the
// model writes it as a blob (the structures that take one there).
TEST(ParameterModelTest, StructuresRoundTripOnBothRoutes) {
    int stored = 0, sent = 0;
    // One byte short is refused on the way in; on the way out a buffer one byte short of the size
    // asked for is refused, zeroed, and told that size again.
    const auto store = [&](const ParameterDescription& parameter, const std::vector<std::uint8_t>& encoded) {
        std::vector<std::uint8_t> caller = encoded;
        const auto size = static_cast<std::uint32_t>(caller.size());
        // An exact-size copy, so that the sanitizer sees a read past it.
        std::vector<std::uint8_t> shorter(caller.begin(), caller.end() - 1);
        EXPECT_EQ(CallerToStored(parameter.id, shorter.data(), size - 1).status, LayoutStatus::InvalidArgument);
        const StoredValue value = CallerToStored(parameter.id, caller.data(), size);
        ASSERT_EQ(value.status, LayoutStatus::Ok);
        const auto* words = reinterpret_cast<const std::uint8_t*>(value.words.data());
        const auto storedBytes = static_cast<std::uint32_t>(value.words.size() * 4);
        std::uint32_t need = 0;
        const auto read = [&](std::uint8_t* buffer, std::uint32_t* size) {
            return StoredToCaller(parameter.id, words, storedBytes, buffer, size).status;
        };
        EXPECT_EQ(read(nullptr, &need), LayoutStatus::InvalidArgument);
        // Reads come in whole words, the compressor tuning as four records whatever it holds; the
        // init info gives back as many tail bytes as its length word counts words: 32 of the 128 written.
        if (parameter.id == 1161) return;
        EXPECT_EQ(StructureSize(parameter, caller.data(), size), size);
        ASSERT_EQ(need, parameter.id == 2116 ? 100 : (size + 3) / 4 * 4);
        std::vector<std::uint8_t> buffer(need - 1, 0xAA);
        std::uint32_t readSize = need - 1;
        EXPECT_EQ(read(buffer.data(), &readSize), LayoutStatus::InvalidArgument);
        EXPECT_EQ(readSize, need);
        EXPECT_EQ(buffer, std::vector<std::uint8_t>(need - 1, 0));
        buffer.resize(need);
        ASSERT_EQ(read(buffer.data(), &readSize), LayoutStatus::Ok);
        const auto decoded = DecodeStructure(parameter, buffer.data(), readSize);
        ASSERT_TRUE(decoded);
        // A read that loses the value ends the walk before the empty value, which it may not survive.
        ASSERT_EQ(EncodeStructure(parameter, *decoded).bytes, encoded);
        ++stored;
    };
    // One byte short makes no blob; what is sent to a module that keeps it reads back as the
    // caller's structure, and a buffer one byte short is left as it was.
    const auto dsp = [&](const ParameterDescription& parameter, const std::vector<std::uint8_t>& encoded) {
        const auto size = static_cast<std::uint32_t>(encoded.size());
        EXPECT_FALSE(CallerToDspBlob(parameter.id, encoded.data(), size - 1));
        const auto blob = CallerToDspBlob(parameter.id, encoded.data(), size);
        ASSERT_TRUE(blob);
        // Reads do not undo what the sending takes out of these.
        if (parameter.id == 2108 || parameter.id == 2109 || parameter.id == 2116 || parameter.id == 2122) return;
        for (const wchar_t* version : {L"1.0.0", L"2.10.0-lite"}) {
            const std::vector<std::uint8_t> reply =
                ReshapeBlobForDsp(parameter.id, blob->data(), static_cast<std::uint32_t>(blob->size()),
                                  version == std::wstring_view(L"1.0.0"));
            const auto replyBytes = static_cast<std::uint32_t>(reply.size());
            std::vector<std::uint8_t> buffer(size - 1, 0xEE);
            DspReadResult result = ShapeDspReply(parameter.id, reply.data(), replyBytes, version, buffer.data(), size - 1);
            EXPECT_EQ(result.status, LayoutStatus::InvalidArgument);
            EXPECT_EQ(result.size, size);
            EXPECT_EQ(buffer, std::vector<std::uint8_t>(size - 1, 0xEE));
            buffer.resize(size);
            result = ShapeDspReply(parameter.id, reply.data(), replyBytes, version, buffer.data(), size);
            EXPECT_EQ(result.status, LayoutStatus::Ok);
            EXPECT_EQ(result.size, size);
            EXPECT_EQ(buffer, encoded) << std::wstring(version).size();
            ++sent;
        }
    };
    for (const ParameterDescription& parameter : ParameterModel()) {
        if (!parameter.Writable()) continue;
        if (parameter.dsp) EXPECT_EQ(parameter.dspBlob, TakesDspBlob(parameter.id)) << parameter.name;
        if (parameter.kind != ValueKind::Structure) continue;
        for (const std::size_t counted : {3u, 0u}) {
            SCOPED_TRACE(testing::Message() << parameter.name << ", " << counted << " counted items");
            const EncodedStructure encoded = EncodeStructure(parameter, SampleValue(parameter, counted));
            ASSERT_EQ(encoded.error, "");
            if (parameter.store) store(parameter, encoded.bytes);
            if (parameter.dspBlob) dsp(parameter, encoded.bytes);
        }
    }
    EXPECT_EQ(stored, 26);
    EXPECT_EQ(sent, 24);
}

TEST(ParameterModelTest, EncodingRefusesBadFieldsInWords) {
    const auto field = [](std::string name, std::vector<std::int64_t> items) {
        return FieldValue{std::move(name), std::move(items)};
    };
    const std::vector<std::int64_t> twenty(20, 1);
    struct Case {
        std::string_view parameter;
        StructureValue value;
        std::string_view error;
    };
    const Case cases[] = {
        {"krelo_regulator_isolated_bands", {field("b", twenty)}, "unknown field \"b\" (fields: a)"},
        {"krelo_regulator_thresholds", {field("a", twenty)}, "field \"b\" is missing"},
        {"krelo_regulator_isolated_bands", {field("a", twenty), field("a", twenty)}, "\"a\" given twice"},
        {"krelo_audio_optimizer_gains", {field("n", {3}), field("v", {1, 2})}, "\"n\" says 3 but \"v\" has 2"},
        {"krelo_audio_optimizer_gains", {field("v", {2147483648})}, "\"v\" holds 2147483648, outside"},
        {"krelo_filter_config", {field("data", {1, 256})}, "\"data\" holds 256, outside 0..255"},
        {"krelo_filter_config", {field("data", std::vector<std::int64_t>(2045, 0))}, "\"size\" is 2045, at most 2044"},
        {"krelo_mb_compressor_tuning", {field("records", {1, 2, 3})}, "whole records of 6"},
        {"krelo_vis_bands", {field("v", twenty)}, "is read-only"},
    };
    for (const Case& c : cases) {
        const EncodedStructure encoded = EncodeStructure(Parameter(c.parameter), c.value);
        EXPECT_NE(encoded.error.find(c.error), std::string::npos) << c.parameter << ": " << encoded.error;
        EXPECT_TRUE(encoded.bytes.empty()) << c.parameter;
    }
    // In caller bytes that end at the count, a count up to the field's maximum has a size, one above none.
    for (const std::int32_t count : {2044, 2045}) {
        EXPECT_EQ(StructureSize(Parameter("krelo_filter_config"), reinterpret_cast<const std::uint8_t*>(&count), 4),
                  count == 2044 ? std::optional<std::uint32_t>(2048) : std::nullopt)
            << count;
    }
}

// docs/parameters.md is what `pexctl params --markdown` writes: the page pins every parameter's
// kind, access, routes, property key and DSP index and name.
TEST(ParameterReferenceTest, DocsPageIsCurrent) {
    std::ifstream file(KELIX_SOURCE_DIR "/docs/parameters.md", std::ios::binary);
    ASSERT_TRUE(file) << "docs/parameters.md is missing";
    std::stringstream page;
    page << file.rdbuf();
    EXPECT_TRUE(page.str() == ParameterReferenceMarkdown())
        << "docs/parameters.md is stale: regenerate it with `pexctl params --markdown > docs/parameters.md`";
}

}  // namespace
}  // namespace kelix
