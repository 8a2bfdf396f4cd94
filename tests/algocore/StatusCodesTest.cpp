// statusToString over the whole 16-bit range: exactly the listed codes have names, every other
// value (the gaps after ...9, the space between groups, negatives) gives null.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "StatusCodes.h"

namespace {

// The assigned values, group by group, as closed ranges.
struct Range {
    int first;
    int last;
};
const Range kAssigned[] = {
    {0x0000, 0x0009}, {0x0010, 0x0010},  // general
    {0x0100, 0x0110},                    // file
    {0x0200, 0x0211},                    // image
    {0x0300, 0x0309}, {0x0310, 0x0310},  // data
    {0x0400, 0x0412},                    // system
    {0x0500, 0x050B},                    // algorithm API
    {0x0600, 0x0601},                    // arithmetic
    {0x0700, 0x0704},                    // mesh
    {0xE000, 0xE009}, {0xE010, 0xE011},  // warnings
    {0xFFFE, 0xFFFF},                    // catch-all
};

bool assigned(int code) {
    for (const Range& r : kAssigned) {
        if (code >= r.first && code <= r.last)
            return true;
    }
    return false;
}

TEST(StatusToString, ExactlyTheListedCodesHaveNames) {
    std::set<std::string> names;
    int named = 0;
    for (int code = -1; code <= 0xFFFF; ++code) {
        const char* name = statusToString(code);
        if (!assigned(code)) {
            EXPECT_EQ(name, nullptr) << code;
            continue;
        }
        ASSERT_NE(name, nullptr) << code;
        EXPECT_EQ(std::strncmp(name, "SDK_", 4), 0) << name;
        EXPECT_EQ(statusToString(code), name) << "static storage, same pointer every call";
        names.insert(name);
        ++named;
    }
    EXPECT_EQ(named, 109);
    EXPECT_EQ(names.size(), 109u) << "every name is distinct";
}

TEST(StatusToString, ValuesOutsideTheTableGiveNull) {
    for (int code : {-1,     -65535, 10,     15,     17,      255,       0x0111, 0x0212,
                     0x030A, 0x030F, 0x0311, 0x0413, 0x050C,  0x0602,    0x0705, 0x0800,
                     0xE00A, 0xE00F, 0xE012, 0xFFFD, 0x10000, 0x7FFFFFFF}) {
        EXPECT_EQ(statusToString(code), nullptr) << code;
    }
}

TEST(StatusToString, NamesAtTheEdgesOfEachGroup) {
    struct Case {
        int code;
        const char* name;
    };
    const Case cases[] = {
        {0, "SDK_SUCCESS"},
        {1, "SDK_INIT_ERROR"},
        {9, "SDK_BAD_INDEX"},
        {16, "SDK_TYPE_NOT_DEFINE"},
        {256, "SDK_FILE_BASE_ERR"},
        {270, "SDK_FILE_NO_EXCUTE_PERMISSION_ERR"},
        {272, "SDK_FILE_REWIND_ERR"},
        {512, "SDK_IMAGE_BASE_ERR"},
        {529, "SDK_IMAGE_UNKNOW_RESOLUTION"},
        {768, "SDK_DATA_BASE_ERR"},
        {777, "SDK_UNDEFINED_ASPECT_RATIO"},
        {784, "SDK_UNDEFINED_FXY"},
        {1024, "SDK_SYS_BASE_ERR"},
        {1027, "SDK_INPUT_BUFFER_NULL_ERR"},
        {1039, "SDK_MEMORY_ALLOCATE_ERR"},
        {1040, "SDK_MEMORY_FREE_ERR"},
        {1041, "SDK_OUT_OF_MEMORY_ERR"},
        {1042, "SDK_NOT_FOUND"},
        {1280, "SDK_IMAGEALGOAPI_BASE"},
        {1291, "SDK_GETMEMORYINFO_ERROR"},
        {1536, "SDK_ERR_UNSUPPORT"},
        {1537, "SDK_ERR_ZERO_DIVISION"},
        {1792, "SDK_MESH_NOT_INIT"},
        {1796, "SDK_MESH_CALC_WI_NULL"},
        {57344, "SDK_WARNING_FACE_STR_NULL"},
        {57353, "SDK_WARNING_NOT_SUPPORT_IMAGE_FORMAT"},
        {57360, "SDK_WARNING_NOT_SUPPORT_SET_PARAMS"},
        {57361, "SDK_WARNING_NOT_SUPPORT_FUNCTION"},
        {65534, "SDK_UNKNOWN_ERR"},
        {65535, "SDK_FAILURE"},
    };
    for (const Case& c : cases) {
        const char* name = statusToString(c.code);
        ASSERT_NE(name, nullptr) << c.code;
        EXPECT_STREQ(name, c.name) << c.code;
    }
}

TEST(StatusCodes, ValuesTheEntryPointsReturn) {
    EXPECT_EQ(SDK_FAILURE, 65535);
    EXPECT_EQ(SDK_MEMORY_FREE_ERR, 1040);
    EXPECT_EQ(SDK_OUT_OF_MEMORY_ERR, 1041);
    EXPECT_EQ(SDK_INPUT_BUFFER_NULL_ERR, 1027);
}

}  // namespace
