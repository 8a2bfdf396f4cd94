// Every model the fuzzer once broke the reader with, read again: each must end as a clean refusal
// or a working engine, never a crash (the sanitizer build also catches misaligned loads).
#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "HostEngine.h"
#include "PluginPaths.h"

namespace {

std::vector<std::string> regressionInputs() {
    const std::string dir = testsupport::sourceDir() + "/fuzz/regressions/model_reader";
    std::vector<std::string> paths;
    if (DIR* listing = opendir(dir.c_str())) {
        while (const dirent* entry = readdir(listing)) {
            if (entry->d_name[0] != '.')
                paths.push_back(dir + "/" + entry->d_name);
        }
        closedir(listing);
    }
    return paths;
}

TEST(FuzzRegressions, EveryKeptModelIsReadWithoutACrash) {
    const std::vector<std::string> inputs = regressionInputs();
    ASSERT_FALSE(inputs.empty());
    for (const std::string& path : inputs) {
        std::ifstream file(path, std::ios::binary);
        const std::vector<char> bytes((std::istreambuf_iterator<char>(file)),
                                      std::istreambuf_iterator<char>());
        hostengine::EngineOptions options;
        options.threads = 1;
        std::string error;
        // Unaligned on purpose: vendor APIs hand over model bytes with no alignment promise.
        std::vector<char> shifted(bytes.size() + 1);
        std::copy(bytes.begin(), bytes.end(), shifted.begin() + 1);
        auto engine =
            hostengine::Engine::fromBytes(shifted.data() + 1, bytes.size(), options, &error);
        if (engine == nullptr) {
            EXPECT_FALSE(error.empty()) << path;
        } else {
            std::string runError;
            EXPECT_TRUE(engine->invoke(&runError)) << path << ": " << runError;
        }
    }
}

}  // namespace
