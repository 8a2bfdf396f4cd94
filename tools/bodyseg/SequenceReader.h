// The frames of a sequence, read one at a time so that a long recording never sits in memory
// whole: a raw NV21/NV12 dump of whole frames, or a 4:2:0 YUV4MPEG2 video whose frames are
// converted to the NV21 or NV12 frame the plug-in takes. Opening indexes every frame, so that a
// damaged file is refused before the first frame is sent.
#pragma once

#include <stdio.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "Frame.h"
#include "I420.h"
#include "InputFrames.h"
#include "Inputs.h"

namespace bodyseg {

class SequenceReader {
  public:
    SequenceReader() = default;
    ~SequenceReader();
    SequenceReader(const SequenceReader&) = delete;
    SequenceReader& operator=(const SequenceReader&) = delete;

    // Raw dumps take their geometry from `raw`; .y4m frames become `y4mFormat` frames with tight
    // pitches. Every frame is sent with `orientation`.
    bool open(const Input& input, PixelFormat y4mFormat, int orientation, const RawGeometry& raw,
              std::string* error);

    const std::string& path() const { return path_; }
    size_t frameCount() const { return offsets_.size(); }
    // e.g. "y4m C420jpeg 30:1 -> NV21 384x384, stride 384, scan 384"
    const std::string& description() const { return description_; }
    // The video's F tag, 30:1 for raw dumps.
    const std::string& frameRate() const { return frameRate_; }

    // Frame `index` (0-based) in `frame`, which keeps its buffer from call to call.
    bool read(size_t index, Frame* frame, std::string* error);

  private:
    bool openFile(const std::string& path, off_t* size, std::string* error);
    bool indexRawDump(off_t size, std::string* error);
    bool indexY4m(off_t size, std::string* error);
    bool readLine(std::string* line);
    bool fail(const std::string& reason, std::string* error);

    FILE* file_ = nullptr;
    std::string path_;
    bool y4m_ = false;
    Frame shape_;                 // geometry, format and orientation of every frame
    size_t storedBytes_ = 0;      // bytes a frame occupies in the file
    std::vector<off_t> offsets_;  // where each frame's pixels start
    I420 planes_{0, 0};           // .y4m frames on their way to NV21/NV12
    std::string frameRate_ = "30:1";
    std::string description_;
};

}  // namespace bodyseg
