// YUV4MPEG2 (.y4m) in its 4:2:0 planar form: a header line "YUV4MPEG2 W<w> H<h> F<n>:<d> ...",
// then per frame a line starting "FRAME" and the Y, U and V planes with tight pitches.
#pragma once

#include <string>

#include "ByteStream.h"
#include "I420.h"

namespace bodyseg {

struct Y4mHeader {
    int width = 0;
    int height = 0;
    std::string frameRate = "30:1";  // the F tag's value
    std::string colourSpace;         // the C tag's value, empty when the header has none

    // Bytes of one frame's planes.
    size_t frameBytes() const;
};

// The header line without its newline. Refuses a missing signature, a missing or bad W or H,
// odd sides (NV21/NV12 chroma covers pixel pairs) and any colour space but the 8-bit 4:2:0 ones.
bool parseY4mHeader(const std::string& line, Y4mHeader* header, std::string* reason);

// Writes C420jpeg, the 4:2:0 layout whose chroma sits between the pixels as libyuv's RGB
// conversions place it, frame by frame.
class Y4mWriter {
  public:
    bool open(const std::string& path, int width, int height, const std::string& frameRate,
              std::string* error);
    bool write(const I420& frame, std::string* error);
    bool close(std::string* error) { return file_.close(error); }

  private:
    ByteStream file_;
};

}  // namespace bodyseg
