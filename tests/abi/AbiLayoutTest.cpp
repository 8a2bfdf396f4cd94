// The records a camera host and the plug-in exchange, byte for byte. A host built for a 32-bit
// phone lays them out in 32-bit words, a 64-bit host with 8-byte pointers; the plug-in built for
// the same target must agree with it exactly. Every size, alignment, offset and width below is
// checked when this file compiles, and the test prints the layout the target was built with.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "BodySegmentAPI.h"
#include "ModelCfg.h"
#include "aes.h"

namespace {

using mtk_ai_type::GeneralCfg;
using mtk_ai_type::ModelCfg;

static_assert(sizeof(void*) == 4 || sizeof(void*) == 8, "hosts have 4- or 8-byte pointers");
constexpr bool kPointers32 = sizeof(void*) == 4;

// The value for this target: `with4` where pointers take 4 bytes, `with8` where they take 8.
constexpr size_t forTarget(size_t with4, size_t with8) {
    return kPointers32 ? with4 : with8;
}

// record, size and alignment with 4-byte pointers, the same with 8-byte pointers.
#define BODYSEG_ABI_RECORDS(X)        \
    X(Image, 60, 4, 64, 8)            \
    X(InputImage, 4, 4, 8, 8)         \
    X(BodySegInitParam, 12, 4, 24, 8) \
    X(BodySegModelDesc, 20, 4, 32, 8) \
    X(ModelCfg, 80, 4, 104, 8)        \
    X(GeneralCfg, 12, 4, 12, 4)       \
    X(AesCtx, 192, 1, 192, 1)         \
    X(BodySegAlgoAPI, 32, 4, 64, 8)   \
    X(BodySegAlgoAPIV1, 56, 4, 112, 8)

// record, member, offset and width with 4-byte pointers, the same with 8-byte pointers.
#define BODYSEG_ABI_FIELDS(X)                                  \
    X(Image, result_width, 0, 4, 0, 4)                         \
    X(Image, result_height, 4, 4, 4, 4)                        \
    X(Image, reserved0, 8, 4, 8, 4)                            \
    X(Image, reserved1, 12, 4, 12, 4)                          \
    X(Image, size, 16, 4, 16, 4)                               \
    X(Image, reserved2, 20, 4, 20, 4)                          \
    X(Image, orientation, 24, 4, 24, 4)                        \
    X(Image, image_type, 28, 4, 28, 4)                         \
    X(Image, width, 32, 4, 32, 4)                              \
    X(Image, height, 36, 4, 36, 4)                             \
    X(Image, stride, 40, 4, 40, 4)                             \
    X(Image, scan, 44, 4, 44, 4)                               \
    X(Image, reserved3, 48, 4, 48, 4)                          \
    X(Image, reserved4, 52, 4, 52, 4)                          \
    X(Image, data, 56, 4, 56, 8)                               \
    X(InputImage, image, 0, 4, 0, 8)                           \
    X(BodySegInitParam, model, 0, 4, 0, 8)                     \
    X(BodySegInitParam, reserved, 4, 4, 8, 4)                  \
    X(BodySegInitParam, config_path, 8, 4, 16, 8)              \
    X(BodySegModelDesc, model_path, 0, 4, 0, 8)                \
    X(BodySegModelDesc, model_data, 4, 4, 8, 8)                \
    X(BodySegModelDesc, model_size, 8, 4, 16, 4)               \
    X(BodySegModelDesc, reserved, 12, 4, 20, 4)                \
    X(BodySegModelDesc, cache_dir, 16, 4, 24, 8)               \
    X(ModelCfg, model_path, 0, 4, 0, 8)                        \
    X(ModelCfg, model_buffer, 4, 4, 8, 8)                      \
    X(ModelCfg, model_size, 8, 4, 16, 4)                       \
    X(ModelCfg, cache_dir, 12, 4, 24, 8)                       \
    X(ModelCfg, acc_mode, 16, 4, 32, 4)                        \
    X(ModelCfg, acc_name, 20, 4, 40, 8)                        \
    X(ModelCfg, exe_mode, 24, 4, 48, 4)                        \
    X(ModelCfg, allow_fp16, 28, 4, 52, 4)                      \
    X(ModelCfg, env_options, 32, 12, 56, 12)                   \
    X(ModelCfg, env_options.deviceKind, 32, 4, 56, 4)          \
    X(ModelCfg, env_options.MDLACoreOption, 36, 4, 60, 4)      \
    X(ModelCfg, env_options.reserved, 40, 4, 64, 4)            \
    X(ModelCfg, qos_options, 44, 32, 68, 32)                   \
    X(ModelCfg, qos_options.preference, 44, 4, 68, 4)          \
    X(ModelCfg, qos_options.priority, 48, 4, 72, 4)            \
    X(ModelCfg, qos_options.boostValue, 52, 1, 76, 1)          \
    X(ModelCfg, qos_options.delayedPowerOffTime, 60, 4, 84, 4) \
    X(ModelCfg, buffer_attribute, 76, 4, 100, 4)               \
    X(GeneralCfg, decrption, 0, 1, 0, 1)                       \
    X(GeneralCfg, ai_sdk_def, 4, 4, 4, 4)                      \
    X(GeneralCfg, run_ai_model, 8, 1, 8, 1)                    \
    X(GeneralCfg, use_hist_match, 9, 1, 9, 1)                  \
    X(AesCtx, RoundKey, 0, 176, 0, 176)                        \
    X(AesCtx, Iv, 176, 16, 176, 16)                            \
    X(BodySegAlgoAPI, getVersion, 0, 4, 0, 8)                  \
    X(BodySegAlgoAPI, setLogLevel, 4, 4, 8, 8)                 \
    X(BodySegAlgoAPI, statusToString, 8, 4, 16, 8)             \
    X(BodySegAlgoAPI, algoInitHandle, 12, 4, 24, 8)            \
    X(BodySegAlgoAPI, setParameters, 16, 4, 32, 8)             \
    X(BodySegAlgoAPI, getParameters, 20, 4, 40, 8)             \
    X(BodySegAlgoAPI, processImage, 24, 4, 48, 8)              \
    X(BodySegAlgoAPI, releaseHandle, 28, 4, 56, 8)             \
    X(BodySegAlgoAPIV1, getVersion, 0, 4, 0, 8)                \
    X(BodySegAlgoAPIV1, setLogLevel, 4, 4, 8, 8)               \
    X(BodySegAlgoAPIV1, algoInitHandle, 8, 4, 16, 8)           \
    X(BodySegAlgoAPIV1, untouched3to9, 12, 28, 24, 56)         \
    X(BodySegAlgoAPIV1, processImage, 40, 4, 80, 8)            \
    X(BodySegAlgoAPIV1, untouched11to12, 44, 8, 88, 16)        \
    X(BodySegAlgoAPIV1, releaseHandle, 52, 4, 104, 8)

#define BODYSEG_CHECK_RECORD(record, size4, align4, size8, align8)                           \
    static_assert(sizeof(record) == forTarget(size4, size8), #record " has the wrong size"); \
    static_assert(alignof(record) == forTarget(align4, align8), #record                      \
                  " has the wrong "                                                          \
                  "alignment");
BODYSEG_ABI_RECORDS(BODYSEG_CHECK_RECORD)

#define BODYSEG_CHECK_FIELD(record, member, offset4, width4, offset8, width8)         \
    static_assert(offsetof(record, member) == forTarget(offset4, offset8),            \
                  #record "::" #member " is at the wrong offset");                    \
    static_assert(sizeof(std::declval<record>().member) == forTarget(width4, width8), \
                  #record "::" #member " has the wrong width");
BODYSEG_ABI_FIELDS(BODYSEG_CHECK_FIELD)

struct RecordLayout {
    const char* name;
    size_t size;
    size_t alignment;
    size_t expectedSize;
    size_t expectedAlignment;
};

struct FieldLayout {
    const char* record;
    const char* member;
    size_t offset;
    size_t width;
    size_t expectedOffset;
    size_t expectedWidth;
};

#define BODYSEG_RECORD_ROW(record, size4, align4, size8, align8) \
    {#record, sizeof(record), alignof(record), forTarget(size4, size8), forTarget(align4, align8)},
const RecordLayout kRecords[] = {BODYSEG_ABI_RECORDS(BODYSEG_RECORD_ROW)};

#define BODYSEG_FIELD_ROW(record, member, offset4, width4, offset8, width8) \
    {#record,                                                               \
     #member,                                                               \
     offsetof(record, member),                                              \
     sizeof(std::declval<record>().member),                                 \
     forTarget(offset4, offset8),                                           \
     forTarget(width4, width8)},
const FieldLayout kFields[] = {BODYSEG_ABI_FIELDS(BODYSEG_FIELD_ROW)};

// The layout as this target built it, for the test log of each architecture.
TEST(AbiLayout, RecordsHaveTheHostsSizes) {
    std::printf("%zu-bit pointers\n", sizeof(void*) * 8);
    for (const RecordLayout& record : kRecords) {
        std::printf("%-18s size %3zu  align %zu\n", record.name, record.size, record.alignment);
        EXPECT_EQ(record.size, record.expectedSize) << record.name;
        EXPECT_EQ(record.alignment, record.expectedAlignment) << record.name;
    }
}

TEST(AbiLayout, FieldsSitAtTheHostsOffsets) {
    for (const FieldLayout& field : kFields) {
        std::printf("%-18s %-34s at %3zu  width %3zu\n", field.record, field.member, field.offset,
                    field.width);
        EXPECT_EQ(field.offset, field.expectedOffset) << field.record << "::" << field.member;
        EXPECT_EQ(field.width, field.expectedWidth) << field.record << "::" << field.member;
    }
}

}  // namespace
