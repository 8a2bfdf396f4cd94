// The mirror into the camera host's memory map: taking the host's record, the hash keys, native
// and hardware-buffer entries, and what the registry mirrors (and what it does not).
#include <android/log.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ALGONativeGalloc.h"
#include "APSAlgoMemTrace.h"
#include "ApsMemMap.h"
#include "MemoryTestSupport.h"
#include "StatusCodes.h"

namespace {

using testsupport::onlyLine;
using testsupport::pointerText;
using kavo::AlgorithmMemory;
using kavo::APSAlgoMemTrace;
using kavo::APSMemMapInfo;

std::string infoText(const APSMemMapInfo& i) {
    return "input sAPSNativeMemLock:" + pointerText(i.sAPSNativeMemLock) +
           ", sAPSNativeUsingSize:" + pointerText(i.sAPSNativeUsingSize) +
           ", sAPSMapLock:" + pointerText(i.sAPSMapLock) +
           ", sAPSHardBuffLock:" + pointerText(i.sAPSHardBuffLock) +
           ",sAPSMemMap:" + pointerText(i.sAPSMemMap) + ", sAPSRefNum:" + pointerText(i.sAPSRefNum);
}

class APSAlgoMemTraceTest : public algocoretest::TracedRegistryTest {
  protected:
    // Hands the host map to the plug-in; the fixture switches mirroring off again.
    void connect() {
        APSMemMapInfo info = host_.info();
        ASSERT_EQ(APSAlgoMemTrace::setAPSMemInfo(&info), 0);
        capture_.clear();
    }

    hostaps::ApsMemMap host_;
};

TEST_F(APSAlgoMemTraceTest, CompleteRecordIsLoggedAndAnyNullFieldSwitchesMirroringOff) {
    APSMemMapInfo info = host_.info();
    EXPECT_EQ(APSAlgoMemTrace::setAPSMemInfo(&info), 0);
    EXPECT_EQ(APSAlgoMemTrace::sAPSMemEnable, 1);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_INFO, "setAPSMemInfo", infoText(info)));

    capture_.clear();
    EXPECT_EQ(APSAlgoMemTrace::setAPSMemInfo(nullptr), SDK_INPUT_BUFFER_NULL_ERR);
    EXPECT_EQ(APSAlgoMemTrace::sAPSMemEnable, 0);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "setAPSMemInfo", "APSMemInfo is nullptr"));

    using Clear = void (*)(APSMemMapInfo&);
    const Clear clears[] = {
        [](APSMemMapInfo& i) { i.sAPSNativeMemLock = nullptr; },
        [](APSMemMapInfo& i) { i.sAPSNativeUsingSize = nullptr; },
        [](APSMemMapInfo& i) { i.sAPSMapLock = nullptr; },
        [](APSMemMapInfo& i) { i.sAPSHardBuffLock = nullptr; },
        [](APSMemMapInfo& i) { i.sAPSMemMap = nullptr; },
        [](APSMemMapInfo& i) { i.sAPSRefNum = nullptr; },
    };
    for (const Clear clear : clears) {
        connect();
        info = host_.info();
        clear(info);
        EXPECT_EQ(APSAlgoMemTrace::setAPSMemInfo(&info), SDK_INPUT_BUFFER_NULL_ERR);
        ASSERT_EQ(APSAlgoMemTrace::sAPSMemEnable, 0);
        EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "setAPSMemInfo", infoText(info)));
    }
    // Switched off, the mirror touches nothing of the host's (the registry's own tests run so).
    char block[8];
    EXPECT_EQ(APSAlgoMemTrace::mapAPSHardwareBuffInsert(block, 8, "x.cpp", 3, 0, 0, 0), 0u);
    APSAlgoMemTrace::mapAPSHardwareBuffDelete(block, "x.cpp", 4);
    EXPECT_EQ(host_.hardwareRecordCount(), 0u);
}

TEST_F(APSAlgoMemTraceTest, RegistryMirrorsNativeEntriesUnderTheirHash) {
    connect();
    void* p = kavo::Native::malloc(40, "mirror.cpp", 12);
    ASSERT_NE(p, nullptr);
    const auto record = host_.nativeRecord(p);
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->file, "mirror.cpp");
    EXPECT_EQ(record->line, 12);
    EXPECT_EQ(record->size, 40u);
    EXPECT_EQ(host_.nativeUsingSize(), 40u);
    // The key is the complement of the pointer widened to 64 bits, on 32-bit targets too.
    EXPECT_EQ(host_.nativeKeys(),
              std::vector<uint64_t>{~static_cast<uint64_t>(reinterpret_cast<uintptr_t>(p))});

    kavo::Native::free(p, "mirror.cpp", 13);
    char block[8];
    EXPECT_EQ(AlgorithmMemory::virtureMapInsert(99, block, 8, 2, "v.cpp", 1), 8u);
    EXPECT_EQ(host_.nativeRecordCount(), 0u) << "virtual entries are not mirrored";
    EXPECT_EQ(AlgorithmMemory::virtureMapDelete(99), 8u);
    EXPECT_EQ(host_.nativeUsingSize(), 0u);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(APSAlgoMemTraceTest, HostEntryForTheSamePointerIsKeptAndCountedOnce) {
    connect();
    char block[8];
    APSAlgoMemTrace::mapAPSNativeMemAdd(
        APSAlgoMemTrace::mapAPSNativeMapInsert(block, 8, "host.cpp", 1));
    ASSERT_EQ(host_.nativeUsingSize(), 8u);
    EXPECT_EQ(AlgorithmMemory::mapInsert(block, 8, 0, "plugin.cpp", 2), 8u);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "mapAPSNativeMapInsert",
                         "addr: [" + pointerText(block) +
                             "] had insert into aps map, ignore it!, Source File: plugin.cpp, "
                             "Line Num:2"));
    EXPECT_EQ(host_.nativeUsingSize(), 8u);
    EXPECT_EQ(host_.nativeRecord(block)->file, "host.cpp");
    EXPECT_EQ(AlgorithmMemory::mapDelete(block, "plugin.cpp", 3), 8u);
    EXPECT_EQ(host_.nativeRecordCount(), 0u);
    EXPECT_EQ(host_.nativeUsingSize(), 0u);
}

TEST_F(APSAlgoMemTraceTest, DeleteOfAnUnknownEntryIsAnInfoLine) {
    connect();
    char block[8];
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapDelete(block, "gone.cpp", 70), 0u);
    EXPECT_TRUE(onlyLine(
        capture_, ANDROID_LOG_INFO, "mapAPSNativeMapDelete",
        "addr: [" + pointerText(block) + "] not in aps map!, Source File: gone.cpp, Line Num:70"));
    capture_.clear();
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapDelete(nullptr, "gone.cpp", 71), 0u);
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapInsert(nullptr, 8, "gone.cpp", 72), 0u);
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapInsert(block, 0, "gone.cpp", 73), 0u);
    EXPECT_TRUE(capture_.lines().empty());
    EXPECT_EQ(host_.nativeRecordCount(), 0u);
}

TEST_F(APSAlgoMemTraceTest, HardwareBuffersAreReferenceCounted) {
    connect();
    char buffer[4];
    EXPECT_EQ(APSAlgoMemTrace::mapAPSHardwareBuffInsert(buffer, 4096, "hw.cpp", 5, 1, 2, 3), 4096u);
    EXPECT_EQ(APSAlgoMemTrace::mapAPSHardwareBuffInsert(buffer, 4096, "hw.cpp", 6, 7, 8, 9), 4096u);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_INFO, "mapAPSHardwareBuffInsert",
                         "addr: [" + pointerText(buffer) + "] had insert into aps map,refs add 1"));
    ASSERT_EQ(host_.hardwareRecordCount(), 1u);
    const auto record = host_.hardwareRecord(buffer);
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->refs, 2);
    EXPECT_EQ(record->file, "hw.cpp");
    EXPECT_EQ(record->line, 5);
    EXPECT_EQ(record->size, 4096u);
    EXPECT_EQ(std::vector<uint32_t>(record->attrs, record->attrs + 3),
              (std::vector<uint32_t>{1, 2, 3}));

    APSAlgoMemTrace::mapAPSHardwareBuffDelete(buffer, "hw.cpp", 7);
    EXPECT_EQ(host_.hardwareRecord(buffer)->refs, 1);
    APSAlgoMemTrace::mapAPSHardwareBuffDelete(buffer, "hw.cpp", 8);
    EXPECT_EQ(host_.hardwareRecordCount(), 0u);

    capture_.clear();
    APSAlgoMemTrace::mapAPSHardwareBuffDelete(buffer, "hw.cpp", 9);
    EXPECT_TRUE(onlyLine(capture_, ANDROID_LOG_ERROR, "mapAPSHardwareBuffDelete",
                         "Hardware buff release :" + pointerText(buffer) +
                             " error! Source File: hw.cpp, Line Num: 9"));
}

}  // namespace
