#include "Y4m.h"

#include <cstdlib>
#include <sstream>

#include "Frame.h"

namespace bodyseg {

namespace {

const char kSignature[] = "YUV4MPEG2";

// The 8-bit 4:2:0 tags; they differ only in where chroma sits, which a mask does not notice.
bool isPlanar420(const std::string& colourSpace) {
    return colourSpace.empty() || colourSpace == "420" || colourSpace == "420jpeg" ||
           colourSpace == "420paldv" || colourSpace == "420mpeg2";
}

bool parseSide(const std::string& value, int* side) {
    char* end = nullptr;
    const long parsed = std::strtol(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0' || parsed <= 0 || parsed > kMaxFrameSide)
        return false;
    *side = static_cast<int>(parsed);
    return true;
}

}  // namespace

size_t Y4mHeader::frameBytes() const {
    return static_cast<size_t>(width) * static_cast<size_t>(height) * 3 / 2;
}

bool parseY4mHeader(const std::string& line, Y4mHeader* header, std::string* reason) {
    std::istringstream words(line);
    std::string word;
    if (!(words >> word) || word != kSignature) {
        *reason = "not a YUV4MPEG2 file (it does not start with \"YUV4MPEG2 \")";
        return false;
    }
    Y4mHeader parsed;
    while (words >> word) {
        const char tag = word[0];
        const std::string value = word.substr(1);
        if ((tag == 'W' && !parseSide(value, &parsed.width)) ||
            (tag == 'H' && !parseSide(value, &parsed.height))) {
            *reason = "bad header tag '" + word + "' (sides are 1 to " +
                      std::to_string(kMaxFrameSide) + ")";
            return false;
        }
        if (tag == 'F')
            parsed.frameRate = value;
        if (tag == 'C')
            parsed.colourSpace = value;
    }
    if (parsed.width == 0 || parsed.height == 0) {
        *reason = "header without W and H";
        return false;
    }
    if (!isPlanar420(parsed.colourSpace)) {
        *reason = "unsupported colour space C" + parsed.colourSpace +
                  " (bodyseg reads 8-bit 4:2:0: C420, C420jpeg, C420paldv, C420mpeg2)";
        return false;
    }
    if (parsed.width % 2 != 0 || parsed.height % 2 != 0) {
        *reason = "frames of " + std::to_string(parsed.width) + "x" +
                  std::to_string(parsed.height) +
                  " cannot be NV21/NV12 frames (width and height must be even)";
        return false;
    }
    *header = parsed;
    return true;
}

bool Y4mWriter::open(const std::string& path, int width, int height, const std::string& frameRate,
                     std::string* error) {
    return file_.open(path, error) &&
           file_.write(std::string(kSignature) + " W" + std::to_string(width) + " H" +
                           std::to_string(height) + " F" + frameRate + " Ip A1:1 C420jpeg\n",
                       error);
}

bool Y4mWriter::write(const I420& frame, std::string* error) {
    return file_.write("FRAME\n", error) &&
           file_.write(frame.bytes.data(), frame.bytes.size(), error);
}

}  // namespace bodyseg
