#include "TestInputs.h"

#include <stdio.h>
// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "ImageIo.h"
#include "ToolRunner.h"

namespace bodysegtest {

namespace {

bodyseg::RgbImage gradient(int width, int height) {
    bodyseg::RgbImage image;
    image.width = width;
    image.height = height;
    image.pixels.resize(static_cast<size_t>(width) * height * 3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            uint8_t* pixel = image.at(x, y);
            pixel[0] = static_cast<uint8_t>(x * 255 / width);
            pixel[1] = static_cast<uint8_t>(y * 255 / height);
            pixel[2] = 128;
        }
    }
    return image;
}

}  // namespace

void writePngPhoto(const std::string& path, int width, int height) {
    std::string error;
    if (!bodyseg::writePng(path, gradient(width, height), &error))
        throw std::runtime_error(error);
}

void writeJpegPhoto(const std::string& path, int width, int height) {
    const bodyseg::RgbImage image = gradient(width, height);
    FILE* out = fopen(path.c_str(), "wb");
    if (out == nullptr)
        throw std::runtime_error("cannot write " + path);
    jpeg_compress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    jpeg_stdio_dest(&info, out);
    info.image_width = static_cast<JDIMENSION>(width);
    info.image_height = static_cast<JDIMENSION>(height);
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 90, TRUE);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = const_cast<uint8_t*>(image.at(0, static_cast<int>(info.next_scanline)));
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    fclose(out);
}

std::vector<uint8_t> rawFrame(int stride, int scan) {
    std::vector<uint8_t> bytes(static_cast<size_t>(stride) * scan * 3 / 2);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<uint8_t>(i * 7);
    return bytes;
}

std::string writeConfig(const std::string& name, const std::string& aisdk,
                        const std::string& platform) {
    const std::string path = toolstest::tempPath(name);
    std::ofstream(path) << R"({"Product": "P1", "Platform": ")" + platform + R"(", "AISDK": ")" +
                               aisdk + R"(", "ParamGroup": [
      {"Product": "P1", "Platform": ")" +
                               platform +
                               R"(", "AISDK": "Neuropilot",
       "AccelerationMode": "NP_ACCELERATION_NEURON", "AcceleratorName": "mtk-neuron",
       "ExecutionPreference": "kSustainedSpeed", "Decrption": true},
      {"Product": "P1", "Platform": ")" +
                               platform +
                               R"(", "AISDK": "NeuronRuntime",
       "DeviceKind": "kEnvOptHardware", "MDLACoreOption": "Auto",
       "RuntimeAPIQoSPreference": "NEURONRUNTIME_PREFER_PERFORMANCE",
       "RuntimeAPIQoSPriority": "NEURONRUNTIME_PRIORITY_HIGH",
       "RuntimeAPIQoSBoostValue": "NEURONRUNTIME_BOOSTVALUE_MAX", "Decrption": true}]})";
    return path;
}

std::string writeModel(const std::string& name, size_t size) {
    std::mt19937 random(static_cast<unsigned>(size));
    std::vector<uint8_t> model(size);
    for (uint8_t& b : model)
        b = static_cast<uint8_t>(random() & 0xff);
    const uint8_t head[8] = {0x1c, 0x00, 0x00, 0x00, 'T', 'F', 'L', '3'};
    std::copy(head, head + std::min<size_t>(8, size), model.begin());
    const std::string path = toolstest::tempPath(name);
    toolstest::writeBytes(path, model);
    return path;
}

std::vector<std::string> hostArgs(const std::string& config, const std::string& model) {
    return {"--config",    config,
            "--model",     model,
            "--prop",      "vendor.standin.runtime.mode=script",
            "--cache-dir", toolstest::tempPath("cache")};
}

PngHeader pngHeader(const std::string& path) {
    const std::vector<uint8_t> bytes = toolstest::readBytes(path);
    PngHeader header;
    if (bytes.size() < 26 || bytes[1] != 'P' || bytes[12] != 'I' || bytes[15] != 'R')
        return header;
    auto word = [&](size_t at) {
        return static_cast<int>(bytes[at] << 24 | bytes[at + 1] << 16 | bytes[at + 2] << 8 |
                                bytes[at + 3]);
    };
    header.width = word(16);
    header.height = word(20);
    header.colourType = bytes[25];
    return header;
}

std::string freshDir(const std::string& name) {
    const std::string path = toolstest::tempPath(name);
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
    return path;
}

std::vector<std::string> words(const std::string& line) {
    std::vector<std::string> result;
    std::istringstream in(line);
    for (std::string word; in >> word;)
        result.push_back(word);
    return result;
}

}  // namespace bodysegtest
