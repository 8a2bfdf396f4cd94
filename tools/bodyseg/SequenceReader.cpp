#include "SequenceReader.h"

#include <libyuv/convert_from.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "FrameRange.h"
#include "Y4m.h"

namespace bodyseg {

namespace {

// Header and FRAME lines longer than this are taken for a file of another kind.
constexpr size_t kMaxLine = 4096;

std::string geometry(const Frame& frame) {
    return std::string(formatName(frame.format)) + " " + std::to_string(frame.width) + "x" +
           std::to_string(frame.height) + ", stride " + std::to_string(frame.stride) + ", scan " +
           std::to_string(frame.scan);
}

}  // namespace

SequenceReader::~SequenceReader() {
    if (file_ != nullptr)
        std::fclose(file_);
}

bool SequenceReader::open(const Input& input, PixelFormat y4mFormat, int orientation,
                          const RawGeometry& raw, std::string* error) {
    off_t size = 0;
    if (!openFile(input.path, &size, error))
        return false;
    y4m_ = input.kind == InputKind::Y4m;
    shape_.orientation = orientation;
    if (y4m_) {
        shape_.format = y4mFormat;
        return indexY4m(size, error);
    }
    shape_.format = input.rawFormat;
    shape_.width = raw.width;
    shape_.height = raw.height;
    shape_.stride = raw.stride;
    shape_.scan = raw.scan;
    return indexRawDump(size, error);
}

bool SequenceReader::openFile(const std::string& path, off_t* size, std::string* error) {
    path_ = path;
    struct stat info;
    file_ = std::fopen(path.c_str(), "rb");
    if (file_ == nullptr || ::fstat(fileno(file_), &info) != 0) {
        *error = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        *error = "cannot read " + path + ": not a regular file";
        return false;
    }
    *size = info.st_size;
    return true;
}

bool SequenceReader::indexRawDump(off_t size, std::string* error) {
    storedBytes_ = frameBytes(shape_.stride, shape_.scan);
    const size_t bytes = static_cast<size_t>(size);
    if (bytes < storedBytes_) {
        *error = path_ + " has " + std::to_string(bytes) + " bytes; " + geometry(shape_) +
                 " needs " + std::to_string(storedBytes_);
        return false;
    }
    if (bytes % storedBytes_ != 0) {
        return fail("ends in a partial frame of " + std::to_string(bytes % storedBytes_) +
                        " bytes after " + framesText(bytes / storedBytes_) + " of " +
                        geometry(shape_) + " (" + std::to_string(storedBytes_) + " bytes each)",
                    error);
    }
    for (size_t at = 0; at < bytes; at += storedBytes_)
        offsets_.push_back(static_cast<off_t>(at));
    description_ = "raw " + geometry(shape_);
    return true;
}

bool SequenceReader::indexY4m(off_t size, std::string* error) {
    std::string line;
    if (!readLine(&line))
        return fail("truncated YUV4MPEG2 header (no end of line)", error);
    Y4mHeader header;
    std::string reason;
    if (!parseY4mHeader(line, &header, &reason))
        return fail(reason, error);
    shape_.width = shape_.stride = header.width;
    shape_.height = shape_.scan = header.height;
    storedBytes_ = header.frameBytes();
    planes_ = I420(header.width, header.height);
    frameRate_ = header.frameRate;
    while (readLine(&line)) {
        const std::string frame = "frame " + std::to_string(offsets_.size());
        if (line.compare(0, 5, "FRAME") != 0)
            return fail(frame + " does not start with a FRAME line", error);
        const off_t at = ftello(file_);
        if (size - at < static_cast<off_t>(storedBytes_)) {
            return fail(frame + " is cut short: " + std::to_string(size - at) + " of " +
                            std::to_string(storedBytes_) + " bytes",
                        error);
        }
        offsets_.push_back(at);
        if (fseeko(file_, static_cast<off_t>(storedBytes_), SEEK_CUR) != 0)
            return fail(std::strerror(errno), error);
    }
    if (!line.empty())
        return fail("ends in an unfinished line after frame " + std::to_string(offsets_.size()),
                    error);
    if (offsets_.empty())
        return fail("holds no frame", error);
    description_ = "y4m " +
                   (header.colourSpace.empty() ? std::string("C420") : "C" + header.colourSpace) +
                   " " + frameRate_ + " -> " + geometry(shape_);
    return true;
}

// False at the end of the file or of kMaxLine bytes; `line` then holds what was read.
bool SequenceReader::readLine(std::string* line) {
    line->clear();
    for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_)) {
        if (c == '\n')
            return true;
        if (line->size() == kMaxLine)
            return false;
        line->push_back(static_cast<char>(c));
    }
    return false;
}

bool SequenceReader::read(size_t index, Frame* frame, std::string* error) {
    const size_t lumaBytes = static_cast<size_t>(shape_.stride) * shape_.scan;
    frame->format = shape_.format;
    frame->orientation = shape_.orientation;
    frame->width = shape_.width;
    frame->height = shape_.height;
    frame->stride = shape_.stride;
    frame->scan = shape_.scan;
    frame->bytes.resize(frameBytes(shape_.stride, shape_.scan));
    uint8_t* target = y4m_ ? planes_.bytes.data() : frame->bytes.data();
    if (fseeko(file_, offsets_[index], SEEK_SET) != 0 ||
        std::fread(target, 1, storedBytes_, file_) != storedBytes_) {
        return fail("frame " + std::to_string(index) + " cannot be read" +
                        (std::ferror(file_) ? std::string(": ") + std::strerror(errno) : ""),
                    error);
    }
    if (!y4m_)
        return true;
    const auto interleave =
        shape_.format == PixelFormat::NV21 ? libyuv::I420ToNV21 : libyuv::I420ToNV12;
    interleave(planes_.y(), planes_.width, planes_.u(), planes_.halfWidth(), planes_.v(),
               planes_.halfWidth(), frame->bytes.data(), frame->stride,
               frame->bytes.data() + lumaBytes, frame->stride, frame->width, frame->height);
    return true;
}

bool SequenceReader::fail(const std::string& reason, std::string* error) {
    *error = path_ + ": " + reason;
    return false;
}

}  // namespace bodyseg
