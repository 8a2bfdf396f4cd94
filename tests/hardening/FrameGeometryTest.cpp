// The plug-in's contract with its host about frame geometry. Every frame sits in a buffer of
// exactly the size its declared geometry describes, flush against an inaccessible page, so a read
// outside it faults even inside the uninstrumented libyuv (AddressSanitizer cannot see there).
// Each table runs in a child process, so a fault is reported instead of ending the program.
#include <gtest/gtest.h>
#include <climits>
#include <functional>
#include <string>

#include "CameraHost.h"
#include "GuardedBuffer.h"
#include "ChildChecks.h"
#include "ChildProcess.h"
#include "LogCapture.h"

namespace {

using e2e::Table;
using hardening::FlushEdge;
using hardening::GuardedBuffer;
using Geometry = functest::FrameGeometry;

// The bytes the declared geometry describes; 0 when none can be or no address space holds them.
size_t declaredBytes(const Geometry& g) {
    const uint64_t largest = sizeof(void*) >= 8 ? uint64_t{1} << 36 : uint64_t{1} << 31;
    const uint64_t bytes = uint64_t(std::max(g.stride, 0)) * uint64_t(std::max(g.scan, 0)) * 3 / 2;
    return bytes <= largest ? static_cast<size_t>(bytes) : 0;
}

std::string describe(const Geometry& g, int type, int orientation) {
    return std::to_string(g.width) + "x" + std::to_string(g.height) + " stride " +
           std::to_string(g.stride) + " scan " + std::to_string(g.scan) + " type " +
           std::to_string(type) + " orientation " + std::to_string(orientation) + ": ";
}

// One live handle on the scripted NeuroPilot runtime around `cases`, run in a child process.
std::string withHandle(const std::function<void(void*, testsupport::ChildChecks&)>& cases) {
    return testsupport::runInChild([&] {
        testsupport::ChildChecks check;
        e2e::standin(e2e::Runtime::Neuropilot);
        e2e::setLogMask(1);
        auto block = e2e::hostBlock(e2e::Runtime::Neuropilot, true);
        void* handle = nullptr;
        check.expectEq(e2e::initHandle(Table::AlgoAPI, &handle, block->param()), 0, "init");
        cases(handle, check);
        check.expectEq(e2e::releaseHandle(Table::AlgoAPI, handle), 0, "release");
        return check.verdict();
    });
}

struct Impossible {
    Geometry geometry;
    bool nullData;
    const char* fields;  // as the refusal names them, in its order
};

// libyuv's scaler takes at most 32768 pixels a side; stride * scan * 3 / 2 must stay below 2 GiB.
constexpr Impossible kImpossible[] = {
    {{0, 480, 640, 480}, false, "width"},
    {{-640, 480, 640, 480}, false, "width"},
    {{640, 0, 640, 480}, false, "height"},
    {{640, -480, 640, 480}, false, "height"},
    {{640, 480, 638, 480}, false, "stride"},
    {{640, 480, 641, 480}, false, "stride"},
    {{640, 480, 0, 480}, false, "stride"},
    {{640, 480, -704, 480}, false, "stride"},
    {{640, 480, 640, 470}, false, "scan"},
    {{640, 480, 640, 481}, false, "scan"},
    {{640, 480, 640, 0}, false, "scan"},
    {{640, 480, 640, -496}, false, "scan"},
    {{640, 480, 640, 480}, true, "data"},
    {{32770, 2, 32770, 2}, false, "width"},
    {{2, 32770, 2, 32770}, false, "height"},
    {{640, 480, 65536, 32768}, false, "stride*scan"},
    {{INT_MAX, INT_MAX, INT_MAX, INT_MAX}, false, "width height stride scan"},
    {{INT_MIN, INT_MIN, INT_MIN, INT_MIN}, true, "width height stride scan data"},
    {{-1, -1, -2, -2}, true, "width height stride scan data"}};

void refuseImpossible(void* handle, testsupport::ChildChecks& check) {
    for (const Impossible& c : kImpossible) {
        for (Table table : {Table::AlgoAPI, Table::AlgoAPIV1}) {
            GuardedBuffer frame(declaredBytes(c.geometry), FlushEdge::End);
            GuardedBuffer mask(BODYSEG_MASK_BYTES, FlushEdge::End);
            frame.seal();  // not one byte of either may be touched
            mask.seal();
            Image in = e2e::inputImage(c.geometry, 5, 90, c.nullData ? nullptr : frame.data());
            Image out{};
            out.data = mask.data();
            const std::string what = describe(c.geometry, 5, 90) + e2e::tableName(table);
            testsupport::LogCapture log;
            check.expectEq(e2e::processFrame(table, handle, &in, &out), e2e::kFailure, what);
            check.expectEq(log.errorCount(), 1u, what + " ERROR lines");
            const std::string line = std::string("frame refused, bad fields: ") + c.fields + " (";
            check.expectEq(log.matching(line).size(), 1u, what + " " + c.fields);
        }
    }
}

TEST(FrameGeometry, ImpossibleGeometryIsRefusedWithOneLineNamingTheFieldsBeforeAnyPixelIsRead) {
    EXPECT_EQ(withHandle(refuseImpossible), "");
}

struct Possible {
    Geometry geometry;
    int imageType;
};

// Odd sizes, padding either side, one pixel, row or column, larger than the network, formats that
// are not converted, stride * scan * 3 beyond 32 bits in a frame below 2 GiB, and the scaler's
// longest sides.
constexpr Possible kPossible[] = {
    {{641, 481, 642, 482}, 5}, {{641, 481, 642, 482}, 6},  {{640, 480, 704, 480}, 5},
    {{640, 480, 640, 496}, 6}, {{635, 477, 768, 512}, 5},  {{1, 1, 2, 2}, 5},
    {{4095, 1, 4096, 2}, 6},   {{1, 4095, 2, 4096}, 5},    {{4000, 3000, 4032, 3008}, 5},
    {{640, 480, 640, 480}, 7}, {{640, 480, 640, 480}, -1}, {{2, 2, 32768, 32768}, 5},
    {{32768, 2, 32768, 2}, 6}, {{2, 32768, 2, 32768}, 5},
};

// Orientations outside the quarter turns change which turn is made, never which bytes are read.
constexpr int kOrientations[] = {0, 90, 180, 270, 45, -90, 360, INT_MIN, INT_MAX};

void takePossible(void* handle, testsupport::ChildChecks& check) {
    for (const Possible& c : kPossible) {
        for (bool flushStart : {false, true}) {
            GuardedBuffer frame(declaredBytes(c.geometry),
                                flushStart ? FlushEdge::Start : FlushEdge::End);
            check.expect(frame.ok(), "frame reserved");
            // The plug-in copies the frame; a 32-bit process may not find room for both, and must
            // then refuse the frame with one line instead.
            const bool mayRunOut = sizeof(void*) < 8 && frame.size() > (size_t{1} << 30);
            for (int orientation : kOrientations) {
                const Table table = orientation % 2 == 0 ? Table::AlgoAPI : Table::AlgoAPIV1;
                GuardedBuffer mask(BODYSEG_MASK_BYTES, FlushEdge::End);
                Image in = e2e::inputImage(c.geometry, c.imageType, orientation, frame.data());
                Image out{};
                out.data = mask.data();
                const std::string what = describe(c.geometry, c.imageType, orientation) +
                                         (flushStart ? "start flush" : "end flush");
                testsupport::LogCapture log;
                const int status = e2e::processFrame(table, handle, &in, &out);
                check.expect(status == 0 || mayRunOut, what + " status " + std::to_string(status));
                check.expectEq(log.errorCount(), status == 0 ? 0u : 1u, what + " ERROR lines");
            }
        }
    }
}

TEST(FrameGeometry, OddButPossibleGeometryCompletesWithoutReadingOutsideTheDeclaredBuffer) {
    EXPECT_EQ(withHandle(takePossible), "");
}

// The guard is what makes the cases above meaningful: a read one byte outside must fault.
TEST(FrameGeometry, GuardedBufferFaultsOneByteOutside) {
    const auto readAt = [](bool flushStart, std::ptrdiff_t offset, bool sealed) {
        return testsupport::runInChild([=] {
            GuardedBuffer buffer(1000, flushStart ? FlushEdge::Start : FlushEdge::End);
            if (sealed)
                buffer.seal();
            return std::to_string(*static_cast<volatile uint8_t*>(buffer.data() + offset));
        });
    };
    EXPECT_EQ(readAt(false, 999, false) + readAt(true, 0, false), "00");
    for (const std::string& crash :
         {readAt(false, 1000, false), readAt(true, -1, false), readAt(false, 0, true)})
        EXPECT_EQ(crash.rfind("child ", 0), 0u) << crash;
}

}  // namespace
