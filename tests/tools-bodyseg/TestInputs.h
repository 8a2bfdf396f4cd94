// Small inputs for the bodyseg tests, made on the spot: photos, raw frames, configurations, a
// model of random bytes (the stand-in runtimes in script mode accept any model) and command lines.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace bodysegtest {

// A gradient photo, so that every turn of it is a different picture.
void writePngPhoto(const std::string& path, int width, int height);
void writeJpegPhoto(const std::string& path, int width, int height);

// stride * scan * 3 / 2 bytes of a frame (any content).
std::vector<uint8_t> rawFrame(int stride, int scan);

// A configuration with one group per runtime, root "AISDK" = `aisdk`; `platform` goes into the
// root and the groups.
std::string writeConfig(const std::string& name, const std::string& aisdk,
                        const std::string& platform = "MTK");

// `size` random bytes behind a TFLite head.
std::string writeModel(const std::string& name, size_t size);

// The first arguments of every run: configuration, model, script mode, a private cache.
std::vector<std::string> hostArgs(const std::string& config, const std::string& model);

// Width, height and colour type from a PNG's header; all -1 when the file is not a PNG.
struct PngHeader {
    int width = -1;
    int height = -1;
    int colourType = -1;  // 2 RGB, 3 palette
};
PngHeader pngHeader(const std::string& path);

// A fresh directory under the test program's temporary directory.
std::string freshDir(const std::string& name);

// Command-line words as a case table writes them, one string split at spaces.
std::vector<std::string> words(const std::string& line);

// Parameterized cases are named by their own `name`, so that a failure names the input.
template <typename Case>
std::string caseName(const ::testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

}  // namespace bodysegtest
