#include "InputFrames.h"

namespace bodyseg {

namespace {

std::string geometry(const Frame& frame) {
    return std::string(formatName(frame.format)) + " " + std::to_string(frame.width) + "x" +
           std::to_string(frame.height) + ", stride " + std::to_string(frame.stride) + ", scan " +
           std::to_string(frame.scan);
}

bool loadPhoto(const Input& input, const FrameLayout& layout, LoadedFrame* loaded,
               std::string* error) {
    if (!readPhoto(input.path, &loaded->picture, error))
        return false;
    const RgbImage& photo = loaded->picture;
    if (photo.width < 2 || photo.height < 2 || photo.width > kMaxFrameSide ||
        photo.height > kMaxFrameSide) {
        *error = input.path + ": a " + std::to_string(photo.width) + "x" +
                 std::to_string(photo.height) + " photo cannot be a frame (sides 2 to " +
                 std::to_string(kMaxFrameSide) + ")";
        return false;
    }
    std::string reason;
    if (!frameFromPhoto(cropToEven(photo), layout, &loaded->frame, &reason)) {
        *error = input.path + ": " + reason;
        return false;
    }
    loaded->description = "photo " + std::to_string(photo.width) + "x" +
                          std::to_string(photo.height) + " -> " + geometry(loaded->frame);
    return true;
}

bool loadRawDump(const Input& input, int orientation, const RawGeometry& raw, LoadedFrame* loaded,
                 std::string* error) {
    if (raw.width == 0) {
        *error = "raw dump " + input.path + " needs --size WxH";
        return false;
    }
    Frame& frame = loaded->frame;
    frame.format = input.rawFormat;
    frame.orientation = orientation;
    frame.width = raw.width;
    frame.height = raw.height;
    frame.stride = raw.stride;
    frame.scan = raw.scan;
    if (!readFile(input.path, &frame.bytes, error))
        return false;
    const size_t needed = frameBytes(frame.stride, frame.scan);
    const size_t got = frame.bytes.size();
    // A dump of several frames is a sequence, read by SequenceReader.
    if (got != needed) {
        *error = input.path + " has " + std::to_string(got) + " bytes; " + geometry(frame) +
                 " needs " + std::to_string(needed);
        return false;
    }
    loaded->picture = uprightPicture(frame);
    loaded->description = "raw " + geometry(frame);
    return true;
}

}  // namespace

bool loadFrame(const Input& input, const FrameLayout& photoLayout, const RawGeometry& raw,
               LoadedFrame* loaded, std::string* error) {
    const bool ok = input.kind == InputKind::Photo
                        ? loadPhoto(input, photoLayout, loaded, error)
                        : loadRawDump(input, photoLayout.orientation, raw, loaded, error);
    if (ok)
        loaded->description += ", orientation " + std::to_string(photoLayout.orientation);
    return ok;
}

}  // namespace bodyseg
