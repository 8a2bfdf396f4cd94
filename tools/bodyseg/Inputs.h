// The inputs of a run: the files named on the command line, the files of the directories named
// there and the paths of a list file, each classified by its name as a photo, a raw dump or a
// YUV4MPEG2 video.
#pragma once

#include <string>
#include <vector>

#include "Frame.h"

namespace bodyseg {

enum class InputKind { Photo, RawDump, Y4m };

struct Input {
    std::string path;
    std::string name;  // file name without directory and extension: names the outputs
    InputKind kind = InputKind::Photo;
    PixelFormat rawFormat = PixelFormat::NV21;  // raw dumps only
};

// Files with a known extension are taken, in the order given, directories contribute their known
// files sorted by name (not recursively), and an explicitly named file with another extension is
// an error. `yuvFormat` is the format of ".yuv" dumps; ".nv21" and ".nv12" name their own.
bool collectInputs(const std::vector<std::string>& args, const std::string& listFile,
                   PixelFormat yuvFormat, std::vector<Input>* inputs, std::string* error);

}  // namespace bodyseg
