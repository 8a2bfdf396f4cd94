// The plug-in's contract with its host about frame geometry. Every frame sits in a buffer of
// exactly the size its declared geometry describes, flush against an inaccessible page, so a read
// outside it faults even inside the uninstrumented libyuv. Each case runs in a child process: a
// fault is reported as that case's failure instead of ending the test program.
#include <android/log.h>
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include <climits>
#include <cstddef>
#include <memory>
#include <string>

#include "CameraHost.h"
#include "ChildChecks.h"
#include "ChildProcess.h"
#include "GuardedBuffer.h"
#include "LogCapture.h"

namespace hardening {
namespace {

using e2e::kFailure;
using e2e::plugin;
using e2e::Runtime;
using e2e::Table;
using Geometry = functest::FrameGeometry;

constexpr int kSuccess = 0;

// The bytes the declared geometry describes: a luma plane of stride * scan bytes and the chroma
// plane of half that. Zero when no buffer can be described, and for sizes no address space holds,
// where a sealed zero-byte buffer is the stricter check anyway.
size_t declaredBytes(const Geometry& g) {
    // 64 GiB where the address space allows it; on 32-bit targets, anything up to 2 GiB.
    constexpr uint64_t kLargestReservation =
        sizeof(void*) >= 8 ? uint64_t{1} << 36 : uint64_t{1} << 31;
    if (g.stride <= 0 || g.scan <= 0)
        return 0;
    const uint64_t bytes = static_cast<uint64_t>(g.stride) * static_cast<uint64_t>(g.scan) * 3 / 2;
    return bytes <= kLargestReservation ? static_cast<size_t>(bytes) : 0;
}

// A recognisable picture in frames small enough to paint; larger ones stay zero so that only the
// pages the plug-in touches are ever committed.
void paint(GuardedBuffer& frame) {
    constexpr size_t kLargestPainted = size_t{64} << 20;
    if (frame.size() > kLargestPainted)
        return;
    for (size_t i = 0; i < frame.size(); ++i)
        frame.data()[i] = static_cast<uint8_t>(i * 7 + (i >> 11));
}

// Which call of a case went wrong; the case's name says the geometry and format.
std::string describe(int orientation, FlushEdge flush, Table table) {
    return std::string(e2e::tableName(table)) + " orientation " + std::to_string(orientation) +
           (flush == FlushEdge::End ? " (end flush)" : " (start flush)");
}

// One live handle on the scripted NeuroPilot runtime for the whole program; each case's child
// inherits it.
class FrameGeometry : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        block_ = e2e::encryptedBlock(e2e::writeConfig(Runtime::Neuropilot, true));
        e2e::standin(Runtime::Neuropilot);
        __system_property_set("persist.camera.algo.aibeautybodydetect.loglvl", "1");
        ASSERT_EQ(plugin().api.algoInitHandle(&handle_, block_->param()), kSuccess);
        plugin().api.setLogLevel(1);  // errors only, as on a phone
    }
    static void TearDownTestSuite() {
        EXPECT_EQ(plugin().api.releaseHandle(handle_, nullptr), kSuccess);
        block_.reset();
    }

    static std::unique_ptr<e2e::InitBlock> block_;
    static void* handle_;
};

std::unique_ptr<e2e::InitBlock> FrameGeometry::block_;
void* FrameGeometry::handle_ = nullptr;

struct Impossible {
    const char* name;
    Geometry geometry;
    bool nullData;
    const char* fields;  // as the refusal names them, in its order
};

class ImpossibleGeometry : public FrameGeometry,
                           public ::testing::WithParamInterface<Impossible> {};

TEST_P(ImpossibleGeometry, IsRefusedWithOneLineNamingTheFieldsBeforeAnyPixelIsRead) {
    const Impossible& c = GetParam();
    ASSERT_NE(handle_, nullptr);
    const std::string verdict = testsupport::runInChild([&] {
        testsupport::ChildChecks check;
        for (Table table : {Table::AlgoAPI, Table::AlgoAPIV1}) {
            GuardedBuffer frame(declaredBytes(c.geometry), FlushEdge::End);
            GuardedBuffer mask(BODYSEG_MASK_BYTES, FlushEdge::End);
            check.expect(frame.ok() && mask.ok(), "buffers reserved");
            // Not one byte of either may be touched.
            frame.seal();
            mask.seal();
            Image in = e2e::inputImage(c.geometry, BODYSEG_IMAGE_NV21, 90,
                                       c.nullData ? nullptr : frame.data());
            Image out{};
            out.data = mask.data();
            const std::string what = describe(in.orientation, FlushEdge::End, table);

            testsupport::LogCapture log;
            check.expectEq(e2e::processFrame(table, handle_, &in, &out), kFailure, what);
            check.expectEq(log.errorCount(), 1u, what + ": ERROR lines");
            const std::string refusal =
                std::string("frame refused, bad fields: ") + c.fields + " (";
            check.expectEq(log.matching(refusal).size(), 1u, what + ": lines naming " + c.fields);
        }
        return check.verdict();
    });
    EXPECT_EQ(verdict, "");
}

INSTANTIATE_TEST_SUITE_P(
    HostMistakes, ImpossibleGeometry,
    ::testing::Values(
        Impossible{"ZeroWidth", {0, 480, 640, 480}, false, "width"},
        Impossible{"NegativeWidth", {-640, 480, 640, 480}, false, "width"},
        Impossible{"ZeroHeight", {640, 0, 640, 480}, false, "height"},
        Impossible{"NegativeHeight", {640, -480, 640, 480}, false, "height"},
        Impossible{"StrideBelowWidth", {640, 480, 600, 480}, false, "stride"},
        Impossible{"OddStride", {640, 480, 641, 480}, false, "stride"},
        Impossible{"ZeroStride", {640, 480, 0, 480}, false, "stride"},
        Impossible{"NegativeStride", {640, 480, -704, 480}, false, "stride"},
        Impossible{"ScanBelowHeight", {640, 480, 640, 470}, false, "scan"},
        Impossible{"OddScan", {640, 480, 640, 481}, false, "scan"},
        Impossible{"ZeroScan", {640, 480, 640, 0}, false, "scan"},
        Impossible{"NegativeScan", {640, 480, 640, -496}, false, "scan"},
        Impossible{"NullData", {640, 480, 640, 480}, true, "data"},
        // libyuv's scaler takes at most 32768 pixels a side: wider or taller frames cannot be
        // made into the network input, however sound their buffer.
        Impossible{"WiderThanTheScaler", {32770, 2, 32770, 2}, false, "width"},
        Impossible{"TallerThanTheScaler", {2, 32770, 2, 32770}, false, "height"},
        Impossible{"FrameBeyondTwoGigabytes", {640, 480, 65536, 32768}, false, "stride*scan"},
        Impossible{"LargestValues",
                   {INT_MAX, INT_MAX, INT_MAX, INT_MAX},
                   false,
                   "width height stride scan"},
        Impossible{"SmallestValues",
                   {INT_MIN, INT_MIN, INT_MIN, INT_MIN},
                   true,
                   "width height stride scan data"},
        Impossible{"EverythingAtOnce", {-1, -1, -2, -2}, true, "width height stride scan data"}),
    [](const ::testing::TestParamInfo<Impossible>& info) { return info.param.name; });

struct Possible {
    const char* name;
    Geometry geometry;
    int imageType;
};

class PossibleGeometry : public FrameGeometry, public ::testing::WithParamInterface<Possible> {};

// Orientations outside the four quarter turns are taken like 0 and 270 by the rotation rules;
// they change which turn is made, never which bytes are read.
constexpr int kOrientations[] = {0, 90, 180, 270, 45, -90, 360, INT_MIN, INT_MAX};

TEST_P(PossibleGeometry, CompletesWithoutReadingOutsideTheDeclaredBuffer) {
    const Possible& c = GetParam();
    ASSERT_NE(handle_, nullptr);
    // The plug-in converts the frame into a working copy of the same size; a 32-bit process may
    // not find room for both, and must then refuse the frame cleanly instead.
    const bool mayRunOutOfMemory =
        sizeof(void*) < 8 && uint64_t{2} * declaredBytes(c.geometry) > (uint64_t{1} << 31);
    const std::string verdict = testsupport::runInChild([&] {
        testsupport::ChildChecks check;
        for (FlushEdge flush : {FlushEdge::End, FlushEdge::Start}) {
            GuardedBuffer frame(declaredBytes(c.geometry), flush);
            check.expect(frame.ok() && frame.size() > 0, "frame reserved");
            paint(frame);
            for (int orientation : kOrientations) {
                const Table table = orientation % 2 == 0 ? Table::AlgoAPI : Table::AlgoAPIV1;
                GuardedBuffer mask(BODYSEG_MASK_BYTES, FlushEdge::End);
                Image in = e2e::inputImage(c.geometry, c.imageType, orientation, frame.data());
                Image out{};
                out.data = mask.data();
                const std::string what = describe(orientation, flush, table);

                testsupport::LogCapture log;
                const int status = e2e::processFrame(table, handle_, &in, &out);
                if (status != kSuccess && mayRunOutOfMemory) {
                    check.expectEq(log.errorCount(), 1u, what + ": ERROR lines when refused");
                    continue;
                }
                check.expectEq(status, kSuccess, what);
                check.expectEq(log.errorCount(), 0u, what + ": ERROR lines");
                check.expectEq(out.size, static_cast<uint32_t>(BODYSEG_MASK_BYTES), what);
                check.expectEq(out.width, BODYSEG_MASK_WIDTH, what);
                check.expectEq(out.height, BODYSEG_MASK_HEIGHT, what);
                check.expect(out.data == mask.data(), what + ": mask moved");
            }
        }
        return check.verdict();
    });
    EXPECT_EQ(verdict, "");
}

INSTANTIATE_TEST_SUITE_P(
    OddButPossible, PossibleGeometry,
    ::testing::Values(
        Possible{"OddWidthAndHeight_NV21", {641, 481, 642, 482}, BODYSEG_IMAGE_NV21},
        Possible{"OddWidthAndHeight_NV12", {641, 481, 642, 482}, BODYSEG_IMAGE_NV12},
        Possible{"StrideBeyondWidth", {640, 480, 704, 480}, BODYSEG_IMAGE_NV21},
        Possible{"ScanBeyondHeight", {640, 480, 640, 496}, BODYSEG_IMAGE_NV12},
        Possible{"BothPadded", {635, 477, 768, 512}, BODYSEG_IMAGE_NV21},
        Possible{"OnePixel", {1, 1, 2, 2}, BODYSEG_IMAGE_NV21},
        Possible{"OneRow", {4095, 1, 4096, 2}, BODYSEG_IMAGE_NV12},
        Possible{"OneColumn", {1, 4095, 2, 4096}, BODYSEG_IMAGE_NV21},
        Possible{"LargerThanTheNetwork", {4000, 3000, 4032, 3008}, BODYSEG_IMAGE_NV21},
        // Formats other than NV21 and NV12 are not converted; the frame still completes.
        Possible{"UnknownFormat", {640, 480, 640, 480}, 7},
        Possible{"NegativeFormat", {640, 480, 640, 480}, -1},
        // stride * scan * 3 overflows 32 bits while the frame itself stays below 2 GiB.
        Possible{"NearlyTwoGigabytes", {2, 2, 32768, 32768}, BODYSEG_IMAGE_NV21}),
    [](const ::testing::TestParamInfo<Possible>& info) { return info.param.name; });

// The guard is what makes the cases above meaningful: a read one byte outside must fault.
TEST(GuardedBuffer, ReadingOneByteOutsideFaults) {
    const auto readAt = [](FlushEdge flush, std::ptrdiff_t offset, bool sealed) {
        return testsupport::runInChild([=] {
            GuardedBuffer buffer(1000, flush);
            if (sealed)
                buffer.seal();
            const volatile uint8_t* byte = buffer.data() + offset;
            return std::to_string(*byte);
        });
    };
    EXPECT_EQ(readAt(FlushEdge::End, 999, false), "0");
    EXPECT_EQ(readAt(FlushEdge::Start, 0, false), "0");
    EXPECT_EQ(readAt(FlushEdge::End, 1000, false).rfind("child ", 0), 0u);
    EXPECT_EQ(readAt(FlushEdge::Start, -1, false).rfind("child ", 0), 0u);
    EXPECT_EQ(readAt(FlushEdge::End, 0, true).rfind("child ", 0), 0u);
}

}  // namespace
}  // namespace hardening
