// statusToString against the list hosts read, StatusCodes.h itself: every listed code has exactly
// its own name, every other value (the gaps after ...9, the space between groups, negatives) null.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>

#include "PluginPaths.h"
#include "StatusCodes.h"

namespace {

// Every "    SDK_NAME = 0x1234," line of the header.
std::map<int, std::string> listedCodes() {
    std::ifstream header(testsupport::sourceDir() + "/algocore/status/include/StatusCodes.h");
    std::map<int, std::string> codes;
    for (std::string line; std::getline(header, line);) {
        const size_t name = line.find("SDK_");
        const size_t value = line.find(" = 0x");
        if (name != std::string::npos && value != std::string::npos && name < value)
            codes[std::stoi(line.substr(value + 3, 6), nullptr, 16)] =
                line.substr(name, value - name);
    }
    return codes;
}

TEST(StatusToString, ExactlyTheListedCodesHaveTheirOwnNames) {
    const std::map<int, std::string> listed = listedCodes();
    ASSERT_EQ(listed.size(), 109u);
    for (int code = -1; code <= 0x10000; ++code) {
        const auto it = listed.find(code);
        if (it == listed.end()) {
            EXPECT_EQ(statusToString(code), nullptr) << code;
        } else {
            EXPECT_STREQ(statusToString(code), it->second.c_str()) << code;
        }
    }
    EXPECT_EQ(statusToString(-65535), nullptr);
    EXPECT_EQ(statusToString(0x7FFFFFFF), nullptr);
}

// The values the entry points return, which hosts compare numerically.
TEST(StatusToString, CodesTheEntryPointsReturn) {
    EXPECT_STREQ(statusToString(0), "SDK_SUCCESS");
    EXPECT_STREQ(statusToString(1027), "SDK_INPUT_BUFFER_NULL_ERR");
    EXPECT_STREQ(statusToString(1040), "SDK_MEMORY_FREE_ERR");
    EXPECT_STREQ(statusToString(1041), "SDK_OUT_OF_MEMORY_ERR");
    EXPECT_STREQ(statusToString(65535), "SDK_FAILURE");
}

}  // namespace
