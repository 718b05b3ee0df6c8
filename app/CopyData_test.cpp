#include "app/CopyData.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

std::unique_ptr<CopyData> Filled(const std::vector<std::string>& args) {
    std::vector<const char*> argv;
    for (const auto& a : args) argv.push_back(a.c_str());
    auto data = std::make_unique<CopyData>();
    data->Fill(static_cast<int>(argv.size()), argv.data());
    return data;
}

TEST(CopyData, WireLayoutIsCountThenSlotsOf260Bytes) {
    auto data = Filled({"/usr/bin/kelvane", "a.wav", "-exit"});
    const auto* bytes = reinterpret_cast<const unsigned char*>(data.get());
    EXPECT_EQ(sizeof(CopyData), 33284u);
    int32_t count;
    std::memcpy(&count, bytes, 4);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(bytes[0], 3);  // little-endian host
    EXPECT_STREQ(reinterpret_cast<const char*>(bytes + 4), "/usr/bin/kelvane");
    EXPECT_STREQ(reinterpret_cast<const char*>(bytes + 4 + 260), "a.wav");
    EXPECT_STREQ(reinterpret_cast<const char*>(bytes + 4 + 2 * 260), "-exit");
}

TEST(CopyData, CutsLongArgumentsTo259AndCountTo128) {
    std::vector<std::string> args(200, "x");
    args[1] = std::string(400, 'L');
    args[127] = "last-kept";
    auto data = Filled(args);
    EXPECT_EQ(data->count, 128);
    EXPECT_EQ(std::strlen(data->slots[1]), 259u);
    EXPECT_EQ(data->slots[1][259], '\0');
    const auto pointers = data->ArgumentPointers();
    ASSERT_EQ(pointers.size(), 128u);
    EXPECT_STREQ(pointers[127], "last-kept");
}

TEST(CopyData, SanitizeRejectsImpossibleCountsAndTerminatesSlots) {
    auto data = std::make_unique<CopyData>();
    std::memset(data.get(), 'A', sizeof(CopyData));
    data->count = 0;
    EXPECT_FALSE(data->Sanitize());
    data->count = -5;
    EXPECT_FALSE(data->Sanitize());
    data->count = 129;
    EXPECT_FALSE(data->Sanitize());
    data->count = 2;
    ASSERT_TRUE(data->Sanitize());
    EXPECT_EQ(std::strlen(data->slots[0]), 259u);
    EXPECT_EQ(std::strlen(data->slots[1]), 259u);
}

}  // namespace
