// statusToString: the numbers hosts compare, one or more of every group, with their exact names;
// and against the list hosts read, StatusCodes.h itself, every listed code has exactly its own
// name and every other value (the gaps after ...9, between groups, negatives) none.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "PluginPaths.h"
#include "StatusCodes.h"

namespace {

TEST(StatusToString, EveryGroupsCodesHaveTheirExactNames) {
    std::istringstream pinned(
        "0x0000=SDK_SUCCESS 0x0010=SDK_TYPE_NOT_DEFINE 0x0110=SDK_FILE_REWIND_ERR "
        "0x0211=SDK_IMAGE_UNKNOW_RESOLUTION 0x0310=SDK_UNDEFINED_FXY "
        "0x0403=SDK_INPUT_BUFFER_NULL_ERR 0x0410=SDK_MEMORY_FREE_ERR 0x0411=SDK_OUT_OF_MEMORY_ERR "
        "0x050B=SDK_GETMEMORYINFO_ERROR 0x0601=SDK_ERR_ZERO_DIVISION 0x0704=SDK_MESH_CALC_WI_NULL "
        "0xE011=SDK_WARNING_NOT_SUPPORT_FUNCTION 0xFFFF=SDK_FAILURE");
    for (std::string token; pinned >> token;)
        EXPECT_STREQ(statusToString(std::stoi(token, nullptr, 16)), token.c_str() + 7) << token;

    // Every "    SDK_NAME = 0x1234," line of the header.
    std::ifstream header(testsupport::sourceDir() + "/algocore/status/include/StatusCodes.h");
    std::map<int, std::string> listed;
    for (std::string line; std::getline(header, line);) {
        const size_t name = line.find("SDK_");
        const size_t value = line.find(" = 0x");
        if (name != std::string::npos && value != std::string::npos && name < value)
            listed[std::stoi(line.substr(value + 3, 6), nullptr, 16)] =
                line.substr(name, value - name);
    }
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

}  // namespace
