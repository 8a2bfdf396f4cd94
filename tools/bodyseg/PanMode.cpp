#include "PanMode.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>

#include "FrameSynthesis.h"
#include "ImageIo.h"
#include "Turn.h"
#include "Y4m.h"

namespace bodyseg {

namespace {

RgbImage crop(const RgbImage& photo, int left, int top, int width, int height) {
    RgbImage view;
    view.width = width;
    view.height = height;
    view.pixels.resize(static_cast<size_t>(width) * height * 3);
    for (int y = 0; y < height; ++y)
        std::memcpy(view.at(0, y), photo.at(left, top + y), static_cast<size_t>(width) * 3);
    return view;
}

bool writePan(const Options& options, std::string* error) {
    const std::string& photoPath = options.inputs[0];
    const std::string& outPath = options.inputs[1];
    struct stat info;
    if (!options.force && ::lstat(outPath.c_str(), &info) == 0) {
        *error = outPath + " exists (use --force to overwrite)";
        return false;
    }
    RgbImage photo;
    if (!readPhoto(photoPath, &photo, error))
        return false;
    const int width = options.width != 0 ? options.width : (photo.width * 3 / 4) & ~1;
    const int height = options.height != 0 ? options.height : (photo.height * 3 / 4) & ~1;
    if (width < 2 || height < 2 || width > photo.width || height > photo.height) {
        *error = "a " + std::to_string(width) + "x" + std::to_string(height) +
                 " window does not fit in " + photoPath + " (" + std::to_string(photo.width) + "x" +
                 std::to_string(photo.height) + ")";
        return false;
    }
    const bool swap = swapsSides(options.orientation);
    Y4mWriter video;
    if (!video.open(outPath, swap ? height : width, swap ? width : height, "30:1", error))
        return false;
    const FrameLayout layout{PixelFormat::NV21, options.orientation, 0, 0};
    const int frames = options.frames;
    for (int k = 0; k < frames; ++k) {
        const int left = (photo.width - width) * k / (frames - 1);
        Frame frame;
        if (!frameFromPhoto(crop(photo, left, (photo.height - height) / 2, width, height), layout,
                            &frame, error) ||
            !video.write(planarFromFrame(frame), error)) {
            return false;
        }
    }
    if (!video.close(error))
        return false;
    std::printf("pan: wrote %s, %d frames of a %dx%d window across %s, orientation %d\n",
                outPath.c_str(), frames, width, height, photoPath.c_str(), options.orientation);
    return true;
}

}  // namespace

int runPan(const Options& options) {
    std::string error;
    if (!writePan(options, &error)) {
        std::fprintf(stderr, "bodyseg: %s\n", error.c_str());
        return 1;
    }
    return 0;
}

}  // namespace bodyseg
