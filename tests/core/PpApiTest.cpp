// PP API wire format: a record of each builder against bytes written out by hand
// from the record tables, and the module list parser on replies that lie.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "core/KnownModules.h"
#include "core/ModuleList.h"
#include "core/PpApiRequests.h"

namespace kelix {
namespace {

// "37 ce e9 ba" -> {0x37, 0xce, 0xe9, 0xba}; '|' separates nothing but helps the eye.
std::vector<std::uint8_t> Hex(std::string text) {
    std::replace(text.begin(), text.end(), '|', ' ');
    std::istringstream in(text);
    std::vector<std::uint8_t> bytes;
    for (unsigned byte = 0; in >> std::hex >> byte;) bytes.push_back(static_cast<std::uint8_t>(byte));
    return bytes;
}

template <std::size_t Size>
std::vector<std::uint8_t> Bytes(const KsRecord<Size>& record) {
    return std::vector<std::uint8_t>(record.begin(), record.end());
}

// Property sets and GUIDs in wire order, copied from the tables.
const std::string kPpSet = "37 ce e9 ba 99 aa c7 4b 9b df 4c bf 3d 23 e1 b9";
const std::string kTag = "7e 2f 8e c1 3d 93 65 49 b7 d1 1e ef 22 8d 2a f3";
const std::string kAmdSet = "bd fc 07 82 1a c8 1b 44 96 b5 4a 0c f0 86 65 ad";
const std::string kEngineSet = "dc 82 2f 3a 6f 88 aa 4b 9e b4 08 2b 90 25 c5 36";
// "{CBDD3DB0-85AE-4466-B18D-504FD8E7082B}": the registry form, read field by field.
Guid ParseGuid(const std::string& text) {
    const auto hex = [&](std::size_t at, std::size_t n) { return std::stoul(text.substr(at, n), nullptr, 16); };
    Guid guid{static_cast<std::uint32_t>(hex(1, 8)), static_cast<std::uint16_t>(hex(10, 4)),
              static_cast<std::uint16_t>(hex(15, 4)), {}};
    for (std::size_t i = 0; i < 8; ++i) guid.data4[i] = static_cast<std::uint8_t>(hex(20 + 2 * i + (i >= 2), 2));
    return guid;
}
const Guid kModule = ParseGuid("{CBDD3DB0-85AE-4466-B18D-504FD8E7082B}");
const std::string kModuleBytes = "b0 3d dd cb ae 85 66 44 b1 8d 50 4f d8 e7 08 2b";
const Guid kAmdModule = ParseGuid("{B5FCC815-1F49-4F4E-B04C-05F3A383EFFF}");
const std::string kAmdModuleBytes = "15 c8 fc b5 49 1f 4e 4f b0 4c 05 f3 a3 83 ef ff";

// The module ids as published, in the order they are tried; an id of the AMD rows is no PP API module.
TEST(KnownModulesTest, IdsAndVersionsInOrder) {
    const std::pair<const char*, const char*> pp[] = {
        {"{849F0D73-1678-4D57-8C78-61C548253993}", "1.0.0"}, {"{F5151CC1-D8AA-4F79-8A05-7AB55D8B7A39}", "1.0.0"},
        {"{2F20FF4C-587D-4EA5-BD72-F246351DEFE6}", "1.2.0"}, {"{9DC26903-A3A8-4A30-8839-A77B6F4E5964}", "1.3.1"},
        {"{F7922237-511F-4203-A780-2C2CE0A13AF2}", "1.3.1-lite"},
        {"{D11B4F61-42FA-43BB-997C-8D2B026D11C8}", "2.10.0-lite"},
        {"{CBDD3DB0-85AE-4466-B18D-504FD8E7082B}", "1.4.2"}, {"{56A9EA76-3745-4CC0-815C-A621FAA8C9CB}", "1.4.2-lite"},
    };
    const std::pair<const char*, const char*> amd[] = {
        {"{CFE115BD-8AEA-40BC-A764-AD9C18FEE730}", "1.0.0"}, {"{2CEA7CB6-7F35-4C1B-B7E3-054F6C479955}", "1.3.1"},
        {"{01FD7450-263C-43B5-ADCC-CBCD61975F89}", "1.3.1-lite"}, {"{B5FCC815-1F49-4F4E-B04C-05F3A383EFFF}", "1.4.1"},
        {"{34A7CA4C-B652-4585-9A05-33C8FF01FB81}", "1.4.1-lite"}, {"{DF0CC948-64D1-45C7-BD36-4CDB1E6712F8}", "1.4.2"},
        {"{4F9B9C5A-6027-4DF6-9F88-06C2A429ADEA}", "1.4.2-lite"},
    };
    for (const auto& [id, version] : pp) EXPECT_EQ(KnownModuleVersion(ParseGuid(id)), version) << id;
    ASSERT_EQ(AmdModules().size(), std::size(amd));
    for (std::size_t i = 0; i < std::size(amd); ++i) {
        EXPECT_EQ(AmdModules()[i].id, ParseGuid(amd[i].first)) << i;
        EXPECT_EQ(AmdModules()[i].version, amd[i].second) << i;
        EXPECT_EQ(KnownModuleVersion(AmdModules()[i].id), std::nullopt) << i;
    }
}

// One record of each builder; the export tests build their expected requests with these.
TEST(PpApiRequestTest, RecordsMatchTheTables) {
    const PpModuleAddress module{0x11, 2, kModule};
    struct Case {
        const char* name;
        std::vector<std::uint8_t> built;
        std::string expected;
    };
    const Case cases[] = {
        {"version, pin 1", Bytes(PpShortHeader(kPpVersion, kKsPropertyGet, 1)),
         kPpSet + "| 00 00 00 00 | 01 00 00 00 | 01 00 00 00 | 00 00 00 00"},
        {"module list, pin 0x0102", Bytes(PpModuleHeader(kPpModuleList, kKsPropertyGet, 0x0102)),
         kPpSet + "| 01 00 00 00 | 01 00 00 00 | 02 01 00 00 | 00 00 00 00 |" + kTag},
        {"instantiation state", Bytes(PpModuleRequest(kPpInstantiationState, kKsPropertyGet, module)),
         kPpSet + "| 06 00 00 00 | 01 00 00 00 | 11 00 00 00 | 00 00 00 00 |" + kTag + "| 02 00 00 00 |" +
             kModuleBytes},
        {"enable set", Bytes(PpModuleEnableRequest(kKsPropertySet, module, 1)),
         kPpSet + "| 02 00 00 00 | 02 00 00 00 | 11 00 00 00 | 00 00 00 00 |" + kTag + "| 02 00 00 00 |" +
             kModuleBytes + "| 01"},
        {"parameter get", Bytes(PpModuleParameterRequest(kKsPropertyGet, {0, 0, kModule}, 0x01020304, 0)),
         kPpSet + "| 03 00 00 00 | 01 00 00 00 | 00 00 00 00 | 00 00 00 00 |" + kTag + "| 00 00 00 00 |" +
             kModuleBytes + "| 04 03 02 01 | 00"},
        {"AMD instantiation", Bytes(AmdInstantiationRequest(kAmdModule)),
         kAmdSet + "| 01 00 00 00 | 01 00 00 00 |" + kAmdModuleBytes + "| 02 00 00 00 | 00 00 00 00"},
        {"AMD parameter set", Bytes(AmdParameterRequest(kKsPropertySet, kAmdModule, 2, 45)),
         kAmdSet + "| 00 00 00 00 | 02 00 00 00 |" + kAmdModuleBytes + "| 02 00 00 00 | 2d 00 00 00"},
        {"audio-engine descriptor, node 5", Bytes(AudioEngineDescriptorRequest(5)),
         kEngineSet + "| 06 00 00 00 | 01 00 00 10 | 05 00 00 00 | 00 00 00 00"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.built, Hex(c.expected)) << c.name;
    }
}

// A value buffer holds the value's length, the value and zeros, whatever size it has; a kept
// buffer sends what a fresh one would, whatever the value before it left behind.
TEST(PpApiRequestTest, ValueBuffersFreshAndKept) {
    constexpr std::size_t kPp = kPpParameterBufferSize, kAmd = kAmdParameterBufferSize;
    struct Step {
        std::size_t bufferSize;
        std::size_t valueBytes;
        bool fits;
    };
    const Step steps[] = {
        {kPp, 1000, true}, {kPp, 3, true},    {kPp, 0, true},      {kPp, 64000, true}, {kPp, 64001, false},
        {kAmd, 8, true},   {kAmd, 4092, true}, {kAmd, 4093, false}, {kPp, 12, true},
        {4, 0, true},  // just the length word
    };
    KeptValueBuffer kept;
    std::uint8_t fill = 0;
    for (const Step& step : steps) {
        SCOPED_TRACE(testing::Message() << step.valueBytes << " bytes in " << step.bufferSize);
        const std::vector<std::uint8_t> value(step.valueBytes, ++fill);
        const auto fresh = ParameterValueBuffer(step.bufferSize, value);
        const std::span<std::uint8_t> sent = kept.Fill(step.bufferSize, value);
        ASSERT_EQ(fresh.has_value(), step.fits);
        if (!step.fits) {
            EXPECT_TRUE(sent.empty());
            continue;
        }
        ASSERT_EQ(fresh->size(), step.bufferSize);
        EXPECT_EQ(ReadU32(*fresh, 0), step.valueBytes);
        const auto end = fresh->begin() + 4 + static_cast<std::ptrdiff_t>(step.valueBytes);
        EXPECT_EQ(std::vector(fresh->begin() + 4, end), value);
        EXPECT_EQ(std::count(end, fresh->end(), 0), fresh->end() - end);
        EXPECT_TRUE(std::equal(sent.begin(), sent.end(), fresh->begin(), fresh->end()));
    }
}

TEST(PpApiRequestTest, SmallReplies) {
    const auto descriptor = ParseAudioEngineDescriptor(Hex("00 00 00 00 07 00 00 00 02 00 00 00"));
    ASSERT_TRUE(descriptor.has_value());
    EXPECT_EQ(descriptor->offloadPinId, 7u);
    EXPECT_EQ(descriptor->loopbackPinId, 2u);
    EXPECT_FALSE(ParseAudioEngineDescriptor(Hex("00 00 00 00 07 00 00 00 02 00 00")).has_value());
    EXPECT_EQ(ReadU32(Hex("01 02 03 04 05"), 1), 0x05040302u);
    EXPECT_EQ(ReadU32(Hex("01 02 03 04 05"), 2), 0u);
    EXPECT_EQ(ReadU32(Hex("01 02 03 04 05"), 9), 0u);
}

// A module list reply: its two header words, then `bytes` bytes that differ from their neighbours.
std::vector<std::uint8_t> Reply(std::uint32_t totalSize, std::uint32_t count, std::size_t bytes) {
    std::vector<std::uint8_t> reply(8 + bytes);
    std::memcpy(reply.data(), &totalSize, 4);
    std::memcpy(reply.data() + 4, &count, 4);
    for (std::size_t i = 8; i < reply.size(); ++i) reply[i] = static_cast<std::uint8_t>(i * 7);
    return reply;
}

// Descriptors are taken as received, and only as many as the header counts and the bytes hold.
TEST(ModuleListTest, OnlyWhatFitsTheBytesReceived) {
    struct Case {
        const char* name;
        std::vector<std::uint8_t> reply;
        std::uint32_t totalSize;
        std::uint32_t count;
        std::size_t parsed;
    };
    const Case cases[] = {
        {"nothing", {}, 0, 0, 0},
        {"short header", Hex("08 00 00 00 01 00 00"), 0, 0, 0},
        {"empty list", Reply(8, 0, 0), 8, 0, 0},
        {"two modules", Reply(304, 2, 296), 304, 2, 2},
        {"count beyond the bytes", Reply(304, 2, 295), 304, 2, 1},
        {"one byte short of a descriptor", Reply(156, 1, 147), 156, 1, 0},
        {"count of 0xFFFFFFFF", Reply(8, 0xFFFFFFFF, 148), 8, 0xFFFFFFFF, 1},
        {"count below the bytes", Reply(304, 1, 296), 304, 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // An exact-size copy, so that the sanitizer sees a read past the end.
        const std::vector<std::uint8_t> reply(c.reply);
        const ModuleList list = ParseModuleList(reply);
        EXPECT_EQ(list.totalSize, c.totalSize);
        EXPECT_EQ(list.count, c.count);
        ASSERT_EQ(list.descriptors.size(), c.parsed);
        for (std::size_t i = 0; i < c.parsed; ++i) {
            EXPECT_EQ(std::memcmp(&list.descriptors[i], reply.data() + 8 + i * 148, 148), 0) << i;
        }
    }
}

TEST(ModuleListTest, DescriptorTexts) {
    ModuleDescriptor descriptor{};
    std::memset(descriptor.version, 'x', sizeof descriptor.version);
    EXPECT_EQ(DescriptorText(descriptor.version), std::string(64, 'x'));  // no terminator: the whole field
    SetDescriptorText(descriptor.version, std::string(70, 'y'));
    EXPECT_EQ(DescriptorText(descriptor.version), std::string(63, 'y'));
    EXPECT_EQ(descriptor.version[63], '\0');
    EXPECT_EQ(WidenText("n\xE9"), std::wstring(L"n\u00E9"));
}

}  // namespace
}  // namespace kelix
