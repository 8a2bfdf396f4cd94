// The records a camera host and the plug-in exchange, byte for byte. A host built for a 32-bit
// phone lays them out in 32-bit words, a 64-bit host with 8-byte pointers; the plug-in built for
// the same target must agree with it exactly.
#include <gtest/gtest.h>

#include <cstddef>
#include <utility>

#include "BodySegmentAPI.h"
#include "ModelCfg.h"
#include "aes.h"

namespace {

using mtk_ai_type::GeneralCfg;
using mtk_ai_type::ModelCfg;

// A record's size and alignment, or a field's offset and width: as built, and as the host has
// them with this target's pointers (4 or 8 bytes).
struct Layout {
    const char* what;
    size_t actual[2];
    size_t expected[2];
};

Layout layout(const char* what, size_t first, size_t second, size_t first4, size_t second4,
              size_t first8, size_t second8) {
    static_assert(sizeof(void*) == 4 || sizeof(void*) == 8, "hosts have 4- or 8-byte pointers");
    return sizeof(void*) == 4 ? Layout{what, {first, second}, {first4, second4}}
                              : Layout{what, {first, second}, {first8, second8}};
}

// Reserved words are left out: the fields around them say where they are.
#define RECORD(r, size4, align4, size8, align8) \
    layout(#r, sizeof(r), alignof(r), size4, align4, size8, align8)
#define FIELD(r, m, offset4, width4, offset8, width8)                                         \
    layout(#r "::" #m, offsetof(r, m), sizeof(std::declval<r>().m), offset4, width4, offset8, \
           width8)

const Layout kLayouts[] = {
    RECORD(Image, 60, 4, 64, 8),
    FIELD(Image, result_width, 0, 4, 0, 4),
    FIELD(Image, result_height, 4, 4, 4, 4),
    FIELD(Image, size, 16, 4, 16, 4),
    FIELD(Image, orientation, 24, 4, 24, 4),
    FIELD(Image, image_type, 28, 4, 28, 4),
    FIELD(Image, width, 32, 4, 32, 4),
    FIELD(Image, height, 36, 4, 36, 4),
    FIELD(Image, stride, 40, 4, 40, 4),
    FIELD(Image, scan, 44, 4, 44, 4),
    FIELD(Image, data, 56, 4, 56, 8),
    RECORD(InputImage, 4, 4, 8, 8),
    FIELD(InputImage, image, 0, 4, 0, 8),
    RECORD(BodySegInitParam, 12, 4, 24, 8),
    FIELD(BodySegInitParam, model, 0, 4, 0, 8),
    FIELD(BodySegInitParam, config_path, 8, 4, 16, 8),
    RECORD(BodySegModelDesc, 20, 4, 32, 8),
    FIELD(BodySegModelDesc, model_path, 0, 4, 0, 8),
    FIELD(BodySegModelDesc, model_data, 4, 4, 8, 8),
    FIELD(BodySegModelDesc, model_size, 8, 4, 16, 4),
    FIELD(BodySegModelDesc, cache_dir, 16, 4, 24, 8),
    RECORD(ModelCfg, 80, 4, 104, 8),
    FIELD(ModelCfg, model_path, 0, 4, 0, 8),
    FIELD(ModelCfg, model_buffer, 4, 4, 8, 8),
    FIELD(ModelCfg, model_size, 8, 4, 16, 4),
    FIELD(ModelCfg, cache_dir, 12, 4, 24, 8),
    FIELD(ModelCfg, acc_mode, 16, 4, 32, 4),
    FIELD(ModelCfg, acc_name, 20, 4, 40, 8),
    FIELD(ModelCfg, exe_mode, 24, 4, 48, 4),
    FIELD(ModelCfg, allow_fp16, 28, 4, 52, 4),
    FIELD(ModelCfg, env_options.deviceKind, 32, 4, 56, 4),
    FIELD(ModelCfg, env_options.MDLACoreOption, 36, 4, 60, 4),
    FIELD(ModelCfg, qos_options.preference, 44, 4, 68, 4),
    FIELD(ModelCfg, qos_options.priority, 48, 4, 72, 4),
    FIELD(ModelCfg, qos_options.boostValue, 52, 1, 76, 1),
    FIELD(ModelCfg, qos_options.delayedPowerOffTime, 60, 4, 84, 4),
    FIELD(ModelCfg, buffer_attribute, 76, 4, 100, 4),
    RECORD(GeneralCfg, 12, 4, 12, 4),
    FIELD(GeneralCfg, decrption, 0, 1, 0, 1),
    FIELD(GeneralCfg, ai_sdk_def, 4, 4, 4, 4),
    FIELD(GeneralCfg, run_ai_model, 8, 1, 8, 1),
    FIELD(GeneralCfg, use_hist_match, 9, 1, 9, 1),
    RECORD(AesCtx, 192, 1, 192, 1),
    FIELD(AesCtx, RoundKey, 0, 176, 0, 176),
    FIELD(AesCtx, Iv, 176, 16, 176, 16),
    RECORD(BodySegAlgoAPI, 32, 4, 64, 8),
    FIELD(BodySegAlgoAPI, getVersion, 0, 4, 0, 8),
    FIELD(BodySegAlgoAPI, setLogLevel, 4, 4, 8, 8),
    FIELD(BodySegAlgoAPI, statusToString, 8, 4, 16, 8),
    FIELD(BodySegAlgoAPI, algoInitHandle, 12, 4, 24, 8),
    FIELD(BodySegAlgoAPI, setParameters, 16, 4, 32, 8),
    FIELD(BodySegAlgoAPI, getParameters, 20, 4, 40, 8),
    FIELD(BodySegAlgoAPI, processImage, 24, 4, 48, 8),
    FIELD(BodySegAlgoAPI, releaseHandle, 28, 4, 56, 8),
    RECORD(BodySegAlgoAPIV1, 56, 4, 112, 8),
    FIELD(BodySegAlgoAPIV1, getVersion, 0, 4, 0, 8),
    FIELD(BodySegAlgoAPIV1, setLogLevel, 4, 4, 8, 8),
    FIELD(BodySegAlgoAPIV1, algoInitHandle, 8, 4, 16, 8),
    FIELD(BodySegAlgoAPIV1, processImage, 40, 4, 80, 8),
    FIELD(BodySegAlgoAPIV1, releaseHandle, 52, 4, 104, 8),
};

TEST(AbiLayout, RecordsAndFieldsSitWhereTheHostPutsThem) {
    for (const Layout& l : kLayouts) {
        EXPECT_EQ(l.actual[0], l.expected[0]) << l.what << " size or offset";
        EXPECT_EQ(l.actual[1], l.expected[1]) << l.what << " alignment or width";
    }
}

}  // namespace
