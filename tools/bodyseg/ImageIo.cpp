#include "ImageIo.h"

#include <png.h>
#include <setjmp.h>
#include <stdio.h>
#include <sys/stat.h>
// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>

#include <cerrno>
#include <cstring>

namespace bodyseg {

namespace {

// Larger pictures are refused rather than risking size overflows downstream.
constexpr uint64_t kMaxPixels = 1ull << 27;

bool sizeAcceptable(uint64_t width, uint64_t height) {
    return width > 0 && height > 0 && width * height <= kMaxPixels;
}

bool isPng(const std::vector<uint8_t>& file) {
    static const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    return file.size() >= 8 && std::memcmp(file.data(), kSignature, 8) == 0;
}

bool isJpeg(const std::vector<uint8_t>& file) {
    return file.size() >= 3 && file[0] == 0xFF && file[1] == 0xD8 && file[2] == 0xFF;
}

bool decodePng(const std::vector<uint8_t>& file, RgbImage* image, std::string* reason) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&png, file.data(), file.size())) {
        *reason = png.message;
        return false;
    }
    if (!sizeAcceptable(png.width, png.height)) {
        png_image_free(&png);
        *reason = "picture too large";
        return false;
    }
    png.format = PNG_FORMAT_RGB;
    image->width = static_cast<int>(png.width);
    image->height = static_cast<int>(png.height);
    // Transparent pixels are composited onto the zeroed buffer, i.e. onto black.
    image->pixels.assign(PNG_IMAGE_SIZE(png), 0);
    if (!png_image_finish_read(&png, nullptr, image->pixels.data(), 0, nullptr)) {
        *reason = png.message;
        return false;
    }
    return true;
}

struct JpegErrorManager {
    jpeg_error_mgr base;
    jmp_buf escape;
    char message[JMSG_LENGTH_MAX];
};

// Fatal errors leave through longjmp; warnings are kept instead of being printed to stderr.
void jpegErrorExit(j_common_ptr info) {
    JpegErrorManager* manager = reinterpret_cast<JpegErrorManager*>(info->err);
    (*info->err->format_message)(info, manager->message);
    longjmp(manager->escape, 1);
}

void jpegKeepMessage(j_common_ptr info) {
    JpegErrorManager* manager = reinterpret_cast<JpegErrorManager*>(info->err);
    if (manager->message[0] == '\0')
        (*info->err->format_message)(info, manager->message);
}

// Only trivially destructible objects live in this frame, which is the only one the longjmp of
// jpegErrorExit lands in; the caller's vector is merely filled.
bool decodeJpegRaw(const uint8_t* data, size_t size, std::vector<uint8_t>* pixels, int* width,
                   int* height, char* message) {
    jpeg_decompress_struct info;
    JpegErrorManager manager;
    info.err = jpeg_std_error(&manager.base);
    manager.base.error_exit = jpegErrorExit;
    manager.base.output_message = jpegKeepMessage;
    manager.message[0] = '\0';
    if (setjmp(manager.escape)) {
        jpeg_destroy_decompress(&info);
        std::memcpy(message, manager.message, JMSG_LENGTH_MAX);
        return false;
    }
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, data, static_cast<unsigned long>(size));
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    if (!sizeAcceptable(info.output_width, info.output_height) || info.output_components != 3) {
        jpeg_destroy_decompress(&info);
        std::strcpy(message, "picture too large or not convertible to RGB");
        return false;
    }
    *width = static_cast<int>(info.output_width);
    *height = static_cast<int>(info.output_height);
    pixels->assign(static_cast<size_t>(*width) * static_cast<size_t>(*height) * 3, 0);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = pixels->data() + static_cast<size_t>(info.output_scanline) * *width * 3;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    const bool warned = manager.base.num_warnings > 0;
    jpeg_destroy_decompress(&info);
    if (warned) {
        std::memcpy(message, manager.message, JMSG_LENGTH_MAX);
        return false;
    }
    return true;
}

}  // namespace

bool readFile(const std::string& path, std::vector<uint8_t>* bytes, std::string* error) {
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) {
        *error = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    if (!S_ISREG(info.st_mode)) {
        *error = "cannot read " + path + ": not a regular file";
        return false;
    }
    FILE* in = std::fopen(path.c_str(), "rb");
    if (in == nullptr) {
        *error = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    bytes->resize(static_cast<size_t>(info.st_size));
    const size_t got = std::fread(bytes->data(), 1, bytes->size(), in);
    const bool failed = got != bytes->size() || std::ferror(in) != 0;
    const int reason = errno;
    std::fclose(in);
    if (failed) {
        *error = "cannot read " + path + ": " +
                 (got != bytes->size() && reason == 0 ? std::string("file changed while reading")
                                                      : std::string(std::strerror(reason)));
        return false;
    }
    return true;
}

bool readPhoto(const std::string& path, RgbImage* image, std::string* error) {
    std::vector<uint8_t> file;
    if (!readFile(path, &file, error))
        return false;
    std::string reason;
    if (isPng(file)) {
        if (decodePng(file, image, &reason))
            return true;
    } else if (isJpeg(file)) {
        char message[JMSG_LENGTH_MAX] = {};
        if (decodeJpegRaw(file.data(), file.size(), &image->pixels, &image->width, &image->height,
                          message)) {
            return true;
        }
        reason = message;
    } else {
        reason = "neither a PNG nor a JPEG file";
    }
    *error = "cannot decode " + path + ": " + reason;
    return false;
}

bool writePng(const std::string& path, const RgbImage& image, std::string* error) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width);
    png.height = static_cast<png_uint_32>(image.height);
    png.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_file(&png, path.c_str(), 0, image.pixels.data(), 0, nullptr)) {
        *error = "cannot write " + path + ": " + png.message;
        return false;
    }
    return true;
}

bool writeIndexedPng(const std::string& path, const uint8_t* indices, int width, int height,
                     const std::array<Rgb, 256>& palette, std::string* error) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(width);
    png.height = static_cast<png_uint_32>(height);
    png.format = PNG_FORMAT_RGB_COLORMAP;
    png.colormap_entries = 256;
    if (!png_image_write_to_file(&png, path.c_str(), 0, indices, 0, palette.data())) {
        *error = "cannot write " + path + ": " + png.message;
        return false;
    }
    return true;
}

}  // namespace bodyseg
