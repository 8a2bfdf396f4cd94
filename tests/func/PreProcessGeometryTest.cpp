// Where frame content lands. Pre-processing shrinks the frame by nearest-pixel sampling and turns
// it upright for the network by a quarter turn the orientation chooses; post-processing turns the
// labels back. Frames whose luma spells out each pixel's coordinates trace every tensor and mask
// pixel to the frame position it came from.
#include <gtest/gtest.h>
#include <libyuv/convert_argb.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "FrameBuilder.h"
#include "PipelineRunner.h"

namespace functest {
namespace {

std::string describe(const Bgr& c) {
    return "(b " + std::to_string(c.b) + ", g " + std::to_string(c.g) + ", r " +
           std::to_string(c.r) + ")";
}

// libyuv's RGB24 is blue, green, red in memory; NV21 and NV12 differ only in their chroma order.
// The frame is padded with chroma of its own, so that chroma read from the wrong place shows.
TEST(FuncPreProcessGeometry, ColoursBecomeBlueGreenRedTensorBytesFromEitherChromaOrder) {
    constexpr int kTolerance = 4;
    const FrameGeometry g{320, 240, 352, 256};  // smaller than the network: enlarged
    PipelineRunner runner(g);
    for (const int type : {kImageNV21, kImageNV12}) {
        for (const Bgr c : {Bgr{0, 0, 255}, Bgr{0, 255, 0}, Bgr{255, 0, 0}}) {
            SCOPED_TRACE("type " + std::to_string(type) + " colour " + describe(c));
            Frame frame(g, type, 0x10, 0x00);
            frame.paint([&](int, int) { return yuvFromRgb(c.r, c.g, c.b); });
            ASSERT_EQ(0, runner.pre(frame, 90));
            int wrong = 0;
            for (int y = 0; y < kNetHeight; ++y) {
                for (int x = 0; x < kNetWidth; ++x) {
                    const Bgr p = runner.tensorAt(x, y);
                    wrong += std::abs(p.b - c.b) > kTolerance || std::abs(p.g - c.g) > kTolerance ||
                             std::abs(p.r - c.r) > kTolerance;
                }
            }
            EXPECT_EQ(0, wrong) << "first pixel " << describe(runner.tensorAt(0, 0));
        }
    }
}

// Recovers the luma behind a tensor byte: with neutral chroma the first channel is a strictly
// increasing function of luma over the range the encoding uses.
class LumaDecoder {
  public:
    static constexpr int kDigits = 128;  // luma 16 .. 143 carries one base-128 digit

    LumaDecoder() {
        std::array<uint8_t, kDigits * 2> y{};
        std::array<uint8_t, kDigits> chroma{};
        chroma.fill(128);
        for (int i = 0; i < kDigits; ++i)
            y[i] = y[kDigits + i] = static_cast<uint8_t>(16 + i);
        std::vector<uint8_t> rgb(kDigits * 2 * 3);
        libyuv::I420ToRGB24(y.data(), kDigits, chroma.data(), kDigits / 2, chroma.data(),
                            kDigits / 2, rgb.data(), kDigits * 3, kDigits, 2);
        digit_of_.fill(-1);
        for (int i = 0; i < kDigits; ++i) {
            int& slot = digit_of_[rgb[3 * i]];
            injective_ = injective_ && slot == -1;
            slot = i;
        }
    }

    bool injective() const { return injective_; }
    int digit(uint8_t first_channel) const { return digit_of_[first_channel]; }

  private:
    std::array<int, 256> digit_of_{};
    bool injective_ = true;
};

// The frame column (or row) that nearest-pixel shrinking takes for destination index i: a step
// of src/dst in 16.16 fixed point, starting half a step in.
int pointSample(int i, int src, int dst) {
    const int64_t step = (static_cast<int64_t>(src) << 16) / dst;
    return static_cast<int>((step / 2 + i * step) >> 16);
}

struct Position {
    int x;
    int y;
};

// Four frames whose luma carries one base-128 digit each: x low, x high, y low, y high. Their
// padding decodes to no digit or to a wrong one, so a padding byte that is read shows as well.
std::vector<Frame> digitFrames(const FrameGeometry& g) {
    std::vector<Frame> frames;
    for (int axis = 0; axis < 2; ++axis) {
        for (int place = 0; place < 2; ++place) {
            Frame& frame = frames.emplace_back(g, kImageNV21, 0xFF, 0x00);
            frame.paint([&](int x, int y) {
                const int value = axis == 0 ? x : y;
                const int digit =
                    place == 0 ? value % LumaDecoder::kDigits : value / LumaDecoder::kDigits;
                return Yuv{static_cast<uint8_t>(16 + digit), 128, 128};
            });
        }
    }
    return frames;
}

// For every tensor pixel (portrait) and every mask pixel (landscape), the frame position whose
// luma ended up there.
struct Traced {
    std::vector<Position> tensor = std::vector<Position>(kNetPixels, Position{0, 0});
    std::vector<Position> mask = std::vector<Position>(kNetPixels, Position{0, 0});
};

Traced trace(const std::vector<Frame>& digit_frames, int orientation, const LumaDecoder& decoder) {
    Traced traced;
    PipelineRunner runner(digit_frames.front().geometry());
    for (size_t f = 0; f < digit_frames.size(); ++f) {
        const bodysegment::Settings settings = digit_frames[f].settings(orientation);
        EXPECT_EQ(0, runner.pre(digit_frames[f].data(), settings));
        EXPECT_EQ(0, runner.postFromFirstChannel(settings));
        const int weight = f % 2 == 0 ? 1 : LumaDecoder::kDigits;
        const auto add = [&](Position& at, uint8_t byte) {
            const int digit = decoder.digit(byte);
            int& coordinate = f < 2 ? at.x : at.y;
            coordinate = digit < 0 ? -1000000 : coordinate + digit * weight;
        };
        for (size_t i = 0; i < kNetPixels; ++i) {
            add(traced.tensor[i], runner.tensor[3 * i]);
            add(traced.mask[i], runner.mask[i]);
        }
    }
    return traced;
}

// Counts the pixels traced to the wrong frame position and describes the first.
struct Mismatches {
    int count = 0;
    std::string first;

    void check(const char* picture, int x, int y, const Position& got, const Position& want) {
        if ((got.x == want.x && got.y == want.y) || count++ > 0)
            return;
        first = std::string(picture) + " (" + std::to_string(x) + ", " + std::to_string(y) +
                ") came from (" + std::to_string(got.x) + ", " + std::to_string(got.y) +
                "), want (" + std::to_string(want.x) + ", " + std::to_string(want.y) + ")";
    }
};

TEST(FuncPreProcessGeometry, EveryPixelComesFromTheFramePositionTheOrientationTurnsThere) {
    const LumaDecoder decoder;
    ASSERT_TRUE(decoder.injective());
    // Shrinking ratios that take libyuv's general point sampler; its exact halves, quarters,
    // three-quarters and three-eighths have dedicated row functions of their own.
    const FrameGeometry frames[] = {
        {640, 480, 704, 496},
        {1001, 749, 1008, 750},
        {1920, 1080, 1920, 1088},
    };
    for (const FrameGeometry& g : frames) {
        const std::vector<Frame> digit_frames = digitFrames(g);
        // The frame position behind a pixel of the landscape picture at network size.
        const auto sampled = [&](int x, int y) {
            return Position{pointSample(x, g.width, kNetHeight),
                            pointSample(y, g.height, kNetWidth)};
        };
        for (int orientation : {0, 90, 180, 270, 45}) {
            SCOPED_TRACE(std::to_string(g.width) + "x" + std::to_string(g.height) +
                         " orientation " + std::to_string(orientation));
            const Traced traced = trace(digit_frames, orientation, decoder);
            // A clockwise turn (90, and 180 with it) makes the frame's top edge the tensor's
            // right edge; counter-clockwise (0, 270 and any other value) its left edge.
            const bool clockwise = orientation == 90 || orientation == 180;
            Mismatches wrong;
            for (int py = 0; py < kNetHeight; ++py) {
                for (int px = 0; px < kNetWidth; ++px) {
                    const Position want = clockwise ? sampled(py, kNetWidth - 1 - px)
                                                    : sampled(kNetHeight - 1 - py, px);
                    wrong.check("tensor", px, py, traced.tensor[py * kNetWidth + px], want);
                }
            }
            for (int y = 0; y < kNetWidth; ++y) {
                for (int x = 0; x < kNetHeight; ++x)
                    wrong.check("mask", x, y, traced.mask[y * kNetHeight + x], sampled(x, y));
            }
            EXPECT_EQ(0, wrong.count) << wrong.first;
        }
    }
}

}  // namespace
}  // namespace functest
