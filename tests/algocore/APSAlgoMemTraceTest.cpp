// The mirror into the camera host's memory map: taking the host's record, the hash keys, native
// and hardware-buffer entries, and what the registry mirrors (and what it does not).
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "ALGONativeGalloc.h"
#include "APSAlgoMemTrace.h"
#include "ApsMemMap.h"
#include "MemoryTestSupport.h"
#include "StatusCodes.h"

namespace {

using algocoretest::headedLines;
using algocoretest::pointerText;
using kavo::AlgorithmMemory;
using kavo::APSAlgoMemTrace;
using kavo::APSMemMapInfo;

std::string infoText(const APSMemMapInfo& info) {
    char text[512];
    snprintf(text, sizeof(text),
             "input sAPSNativeMemLock:%p, sAPSNativeUsingSize:%p, sAPSMapLock:%p, "
             "sAPSHardBuffLock:%p,sAPSMemMap:%p, sAPSRefNum:%p",
             static_cast<void*>(info.sAPSNativeMemLock),
             static_cast<void*>(info.sAPSNativeUsingSize), static_cast<void*>(info.sAPSMapLock),
             static_cast<void*>(info.sAPSHardBuffLock), static_cast<void*>(info.sAPSMemMap),
             static_cast<void*>(info.sAPSRefNum));
    return text;
}

void expectTraceLine(const testsupport::LogCapture& capture, int priority,
                     const std::string& function, const std::string& message) {
    const auto lines = headedLines(capture);
    ASSERT_EQ(lines.size(), 1u) << message;
    EXPECT_EQ(lines[0].priority, priority);
    EXPECT_EQ(lines[0].file, "APSAlgoMemTrace.cpp");
    EXPECT_EQ(lines[0].function, function);
    EXPECT_EQ(lines[0].message, message);
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

TEST_F(APSAlgoMemTraceTest, NullRecordIsRefused) {
    connect();
    EXPECT_EQ(APSAlgoMemTrace::setAPSMemInfo(nullptr), SDK_INPUT_BUFFER_NULL_ERR);
    EXPECT_EQ(APSAlgoMemTrace::sAPSMemEnable, 0);
    expectTraceLine(capture_, ANDROID_LOG_ERROR, "setAPSMemInfo", "APSMemInfo is nullptr");
}

TEST_F(APSAlgoMemTraceTest, AnyNullFieldSwitchesMirroringOff) {
    const APSMemMapInfo complete = host_.info();
    for (int field = 0; field < 6; ++field) {
        connect();
        APSMemMapInfo info = complete;
        switch (field) {
            case 0:
                info.sAPSNativeMemLock = nullptr;
                break;
            case 1:
                info.sAPSNativeUsingSize = nullptr;
                break;
            case 2:
                info.sAPSMapLock = nullptr;
                break;
            case 3:
                info.sAPSHardBuffLock = nullptr;
                break;
            case 4:
                info.sAPSMemMap = nullptr;
                break;
            default:
                info.sAPSRefNum = nullptr;
                break;
        }
        EXPECT_EQ(APSAlgoMemTrace::setAPSMemInfo(&info), SDK_INPUT_BUFFER_NULL_ERR) << field;
        EXPECT_EQ(APSAlgoMemTrace::sAPSMemEnable, 0) << field;
        expectTraceLine(capture_, ANDROID_LOG_ERROR, "setAPSMemInfo", infoText(info));
    }
}

TEST_F(APSAlgoMemTraceTest, CompleteRecordIsCopiedAndLogged) {
    APSMemMapInfo info = host_.info();
    EXPECT_EQ(APSAlgoMemTrace::setAPSMemInfo(&info), 0);
    EXPECT_EQ(APSAlgoMemTrace::sAPSMemEnable, 1);
    expectTraceLine(capture_, ANDROID_LOG_INFO, "setAPSMemInfo", infoText(info));
    info = APSMemMapInfo{};  // the plug-in keeps its own copy
    EXPECT_EQ(APSAlgoMemTrace::sAPSMemInfo.sAPSMemMap, host_.info().sAPSMemMap);
    EXPECT_EQ(APSAlgoMemTrace::sAPSMemInfo.sAPSNativeUsingSize, host_.info().sAPSNativeUsingSize);
}

TEST_F(APSAlgoMemTraceTest, HashCodeIsTheComplementOfThePointer) {
    for (uintptr_t value : {uintptr_t{0}, uintptr_t{0x1000}, ~uintptr_t{0} - 7}) {
        const void* p = reinterpret_cast<const void*>(value);
        const void* complement = reinterpret_cast<const void*>(~value);
        EXPECT_EQ(APSAlgoMemTrace::getHashCode(p), ~static_cast<uint64_t>(value));
        // The pointer is widened before it is complemented, so on 32-bit targets the upper
        // word of every code is all ones.
        EXPECT_EQ(static_cast<uintptr_t>(APSAlgoMemTrace::getHashCode(p)),
                  static_cast<uintptr_t>(~APSAlgoMemTrace::getHashCode(complement)));
        EXPECT_EQ(APSAlgoMemTrace::getHashCode(p), hostaps::ApsMemMap::hashCode(p));
    }
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
    const auto keys = host_.nativeKeys();
    ASSERT_EQ(keys.size(), 1u);
    EXPECT_EQ(keys[0], ~static_cast<uint64_t>(reinterpret_cast<uintptr_t>(p)));

    kavo::Native::free(p, "mirror.cpp", 13);
    EXPECT_EQ(host_.nativeRecordCount(), 0u);
    EXPECT_EQ(host_.nativeUsingSize(), 0u);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(APSAlgoMemTraceTest, RepeatedNativeInsertIsIgnored) {
    connect();
    char block[8];
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapInsert(block, 8, "one.cpp", 1), 8u);
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapInsert(block, 4, "two.cpp", 2), 0u);
    expectTraceLine(capture_, ANDROID_LOG_ERROR, "mapAPSNativeMapInsert",
                    "addr: [" + pointerText(block) +
                        "] had insert into aps map, ignore it!, Source File: two.cpp, Line Num:2");
    EXPECT_EQ(host_.nativeRecordCount(), 1u);
    EXPECT_EQ(host_.nativeRecord(block)->file, "one.cpp");
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapDelete(block, "one.cpp", 3), 8u);
}

TEST_F(APSAlgoMemTraceTest, HostEntryForTheSamePointerIsKeptAndCountedOnce) {
    connect();
    char block[8];
    APSAlgoMemTrace::mapAPSNativeMemAdd(
        APSAlgoMemTrace::mapAPSNativeMapInsert(block, 8, "host.cpp", 1));
    ASSERT_EQ(host_.nativeUsingSize(), 8u);
    EXPECT_EQ(AlgorithmMemory::mapInsert(block, 8, 0, "plugin.cpp", 2), 8u);
    EXPECT_EQ(host_.nativeUsingSize(), 8u);
    EXPECT_EQ(host_.nativeRecord(block)->file, "host.cpp");
    EXPECT_EQ(capture_.matching("ignore it!").size(), 1u);
    EXPECT_EQ(AlgorithmMemory::mapDelete(block, "plugin.cpp", 3), 8u);
    EXPECT_EQ(host_.nativeRecordCount(), 0u);
    EXPECT_EQ(host_.nativeUsingSize(), 0u);
}

TEST_F(APSAlgoMemTraceTest, DeleteOfAnUnknownEntryIsAnInfoLine) {
    connect();
    char block[8];
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapDelete(block, "gone.cpp", 70), 0u);
    expectTraceLine(
        capture_, ANDROID_LOG_INFO, "mapAPSNativeMapDelete",
        "addr: [" + pointerText(block) + "] not in aps map!, Source File: gone.cpp, Line Num:70");
    capture_.clear();
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapDelete(nullptr, "gone.cpp", 71), 0u);
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapInsert(nullptr, 8, "gone.cpp", 72), 0u);
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapInsert(block, 0, "gone.cpp", 73), 0u);
    EXPECT_TRUE(capture_.lines().empty());
    EXPECT_EQ(host_.nativeRecordCount(), 0u);
}

TEST_F(APSAlgoMemTraceTest, CounterOperationsReachTheHostCounter) {
    connect();
    APSAlgoMemTrace::mapAPSNativeMemAdd(30);
    APSAlgoMemTrace::mapAPSNativeMemDec(12);
    EXPECT_EQ(host_.nativeUsingSize(), 18u);
}

TEST_F(APSAlgoMemTraceTest, HardwareBuffersAreReferenceCounted) {
    connect();
    char buffer[4];
    EXPECT_EQ(APSAlgoMemTrace::mapAPSHardwareBuffInsert(buffer, 4096, "hw.cpp", 5, 1, 2, 3), 4096u);
    EXPECT_EQ(APSAlgoMemTrace::mapAPSHardwareBuffInsert(buffer, 4096, "hw.cpp", 6, 7, 8, 9), 4096u);
    expectTraceLine(capture_, ANDROID_LOG_INFO, "mapAPSHardwareBuffInsert",
                    "addr: [" + pointerText(buffer) + "] had insert into aps map,refs add 1");
    ASSERT_EQ(host_.hardwareRecordCount(), 1u);
    const auto record = host_.hardwareRecord(buffer);
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->refs, 2);
    EXPECT_EQ(record->file, "hw.cpp");
    EXPECT_EQ(record->line, 5);
    EXPECT_EQ(record->size, 4096u);
    EXPECT_EQ(record->attrs[0], 1u);
    EXPECT_EQ(record->attrs[1], 2u);
    EXPECT_EQ(record->attrs[2], 3u);

    APSAlgoMemTrace::mapAPSHardwareBuffDelete(buffer, "hw.cpp", 7);
    EXPECT_EQ(host_.hardwareRecord(buffer)->refs, 1);
    APSAlgoMemTrace::mapAPSHardwareBuffDelete(buffer, "hw.cpp", 8);
    EXPECT_EQ(host_.hardwareRecordCount(), 0u);

    capture_.clear();
    APSAlgoMemTrace::mapAPSHardwareBuffDelete(buffer, "hw.cpp", 9);
    expectTraceLine(capture_, ANDROID_LOG_ERROR, "mapAPSHardwareBuffDelete",
                    "Hardware buff release :" + pointerText(buffer) +
                        " error! Source File: hw.cpp, Line Num: 9");
}

TEST_F(APSAlgoMemTraceTest, VirtualEntriesAreNotMirrored) {
    connect();
    char block[8];
    EXPECT_EQ(AlgorithmMemory::virtureMapInsert(99, block, 8, 2, "v.cpp", 1), 8u);
    EXPECT_EQ(host_.nativeRecordCount(), 0u);
    EXPECT_EQ(AlgorithmMemory::virtureMapDelete(99), 8u);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(APSAlgoMemTraceTest, WithoutAHostMapEverythingIsANoOp) {
    char block[8];
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapInsert(block, 8, "x.cpp", 1), 0u);
    EXPECT_EQ(APSAlgoMemTrace::mapAPSNativeMapDelete(block, "x.cpp", 2), 0u);
    APSAlgoMemTrace::mapAPSNativeMemAdd(8);
    EXPECT_EQ(APSAlgoMemTrace::mapAPSHardwareBuffInsert(block, 8, "x.cpp", 3, 0, 0, 0), 0u);
    APSAlgoMemTrace::mapAPSHardwareBuffDelete(block, "x.cpp", 4);
    EXPECT_TRUE(capture_.lines().empty());
    EXPECT_EQ(host_.nativeRecordCount(), 0u);
    EXPECT_EQ(host_.hardwareRecordCount(), 0u);
    EXPECT_EQ(host_.nativeUsingSize(), 0u);
}

}  // namespace
