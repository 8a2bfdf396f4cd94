#include "FrameCall.h"

#include <android/log.h>

#include <chrono>

#include "BodySegmentAPI.h"

namespace bodyseg {

FrameResult sendFrame(const Session& session, Frame& frame, uint8_t* mask) {
    Image in = {};
    in.orientation = frame.orientation;
    in.image_type = imageTypeCode(frame.format);
    in.width = frame.width;
    in.height = frame.height;
    in.stride = frame.stride;
    in.scan = frame.scan;
    in.data = frame.bytes.data();
    Image out = {};
    out.data = mask;

    takeLogLines();
    FrameResult result;
    const auto start = std::chrono::steady_clock::now();
    result.status = session.process(&in, &out);
    result.callMs =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    const std::vector<LogLine> lines = takeLogLines();
    result.stages = stageTimesFrom(lines);
    for (const LogLine& line : lines) {
        if (line.priority >= ANDROID_LOG_ERROR)
            result.errorLines.push_back(line.text);
    }
    return result;
}

std::string describeFailure(const Session& session, const FrameResult& result) {
    std::string text = "processImage failed: " + session.statusText(result.status);
    if (session.echoesLog())
        return text;
    for (const std::string& line : result.errorLines)
        text += "\n  " + line;
    return text;
}

}  // namespace bodyseg
