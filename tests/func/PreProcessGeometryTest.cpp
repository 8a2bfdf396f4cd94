// Where frame content lands: in the upright tensor (quarter turns by orientation), and back in
// the mask after the inverse turn of post-processing.
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

const FrameGeometry kQuadrantFrames[] = {
    {1920, 1080, 1920, 1088},  // preview: padded rows
    {3280, 2464, 3328, 2464},  // full-resolution capture: padded pitch
    {641, 481, 648, 482},      // odd picture inside even pitch and rows
    {320, 240, 320, 240},      // smaller than the network: enlarged
};

struct Quadrants {
    Bgr top_left;
    Bgr top_right;
    Bgr bottom_left;
    Bgr bottom_right;
};

constexpr Bgr kRed{0, 0, 255};
constexpr Bgr kGreen{0, 255, 0};
constexpr Bgr kBlue{255, 0, 0};
constexpr Bgr kWhite{255, 255, 255};

// Frame corners: red top left, green top right, blue bottom left, white bottom right.
Yuv quadrantColour(const FrameGeometry& g, int x, int y) {
    const bool right = x >= g.width / 2;
    const bool bottom = y >= g.height / 2;
    if (!bottom)
        return right ? yuvFromRgb(0, 255, 0) : yuvFromRgb(255, 0, 0);
    return right ? yuvFromRgb(255, 255, 255) : yuvFromRgb(0, 0, 255);
}

struct TurnCase {
    int orientation;
    Quadrants tensor;  // colour of each tensor quadrant
};

// Clockwise quarter turn (90, and 180 with it): the frame's top edge becomes the tensor's right
// edge. Counter-clockwise (0, 270 and any other value): the top edge becomes the left edge.
const TurnCase kTurns[] = {
    {90, {kBlue, kRed, kWhite, kGreen}}, {180, {kBlue, kRed, kWhite, kGreen}},
    {0, {kGreen, kWhite, kRed, kBlue}},  {270, {kGreen, kWhite, kRed, kBlue}},
    {45, {kGreen, kWhite, kRed, kBlue}},
};

bool near(const Bgr& a, const Bgr& b, int tolerance) {
    return std::abs(a.b - b.b) <= tolerance && std::abs(a.g - b.g) <= tolerance &&
           std::abs(a.r - b.r) <= tolerance;
}

std::string describe(const Bgr& c) {
    return "(b " + std::to_string(c.b) + ", g " + std::to_string(c.g) + ", r " +
           std::to_string(c.r) + ")";
}

TEST(FuncPreProcessGeometry, EachQuadrantLandsWhereTheOrientationTurnsIt) {
    constexpr int kMargin = 4;  // pixels beside the quadrant borders mix chroma blocks
    constexpr int kTolerance = 8;
    for (const FrameGeometry& g : kQuadrantFrames) {
        Frame frame(g, kImageNV21, 0x80, 0x80);
        frame.paint([&](int x, int y) { return quadrantColour(g, x, y); });
        PipelineRunner runner(g);
        for (const TurnCase& turn : kTurns) {
            SCOPED_TRACE(std::to_string(g.width) + "x" + std::to_string(g.height) +
                         " orientation " + std::to_string(turn.orientation));
            ASSERT_EQ(0, runner.pre(frame, turn.orientation));
            int wrong = 0;
            std::string first;
            for (int y = 0; y < kNetHeight; ++y) {
                if (std::abs(y - kNetHeight / 2) < kMargin)
                    continue;
                for (int x = 0; x < kNetWidth; ++x) {
                    if (std::abs(x - kNetWidth / 2) < kMargin)
                        continue;
                    const bool right = x >= kNetWidth / 2;
                    const bool bottom = y >= kNetHeight / 2;
                    const Bgr& want =
                        bottom ? (right ? turn.tensor.bottom_right : turn.tensor.bottom_left)
                               : (right ? turn.tensor.top_right : turn.tensor.top_left);
                    const Bgr got = runner.tensorAt(x, y);
                    if (!near(got, want, kTolerance) && wrong++ == 0) {
                        first = "tensor (" + std::to_string(x) + ", " + std::to_string(y) +
                                ") is " + describe(got) + ", want " + describe(want);
                    }
                }
            }
            EXPECT_EQ(0, wrong) << first;
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

// Four frames whose luma carries one base-128 digit each: x low, x high, y low, y high.
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

// For every mask pixel, the frame position whose luma ended up there.
std::vector<Position> traceMask(const std::vector<Frame>& digit_frames, int orientation,
                                const LumaDecoder& decoder) {
    std::vector<Position> traced(static_cast<size_t>(kNetWidth) * kNetHeight, Position{0, 0});
    PipelineRunner runner(digit_frames.front().geometry());
    for (size_t f = 0; f < digit_frames.size(); ++f) {
        const bodysegment::Settings settings = digit_frames[f].settings(orientation);
        EXPECT_EQ(0, runner.pre(digit_frames[f].data(), settings));
        EXPECT_EQ(0, runner.postFromFirstChannel(settings));
        const bool is_x = f < 2;
        const int weight = f % 2 == 0 ? 1 : LumaDecoder::kDigits;
        for (size_t i = 0; i < traced.size(); ++i) {
            const int digit = decoder.digit(runner.mask()[i]);
            int& coordinate = is_x ? traced[i].x : traced[i].y;
            coordinate = digit < 0 ? -1000000 : coordinate + digit * weight;
        }
    }
    return traced;
}

TEST(FuncPreProcessGeometry, MaskPixelsMapBackToTheFramePositionTheyWereSampledFrom) {
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
        for (int orientation : {0, 90, 180, 270}) {
            SCOPED_TRACE(std::to_string(g.width) + "x" + std::to_string(g.height) +
                         " orientation " + std::to_string(orientation));
            const std::vector<Position> traced = traceMask(digit_frames, orientation, decoder);
            int wrong = 0;
            std::string first;
            for (int row = 0; row < kNetWidth; ++row) {
                for (int col = 0; col < kNetHeight; ++col) {
                    const Position want{pointSample(col, g.width, kNetHeight),
                                        pointSample(row, g.height, kNetWidth)};
                    const Position got = traced[static_cast<size_t>(row) * kNetHeight + col];
                    if ((got.x != want.x || got.y != want.y) && wrong++ == 0) {
                        first = "mask (" + std::to_string(col) + ", " + std::to_string(row) +
                                ") came from (" + std::to_string(got.x) + ", " +
                                std::to_string(got.y) + "), want (" + std::to_string(want.x) +
                                ", " + std::to_string(want.y) + ")";
                    }
                }
            }
            EXPECT_EQ(0, wrong) << first;
        }
    }
}

}  // namespace
}  // namespace functest
