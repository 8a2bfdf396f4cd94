#include "ModelMaterial.h"

#include <fstream>

#include "PluginPaths.h"

namespace mtktest {

const std::vector<uint8_t>& modelFileBytes() {
    static const std::vector<uint8_t> bytes = [] {
        std::vector<uint8_t> made(96);
        for (size_t i = 0; i < made.size(); ++i)
            made[i] = static_cast<uint8_t>(0xF0 - i);
        return made;
    }();
    return bytes;
}

const std::string& modelFilePath() {
    static const std::string path = [] {
        const std::string made = testsupport::tempDir() + "/model.tflite";
        std::ofstream out(made, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(modelFileBytes().data()),
                  static_cast<std::streamsize>(modelFileBytes().size()));
        return made;
    }();
    return path;
}

const std::vector<char>& modelBufferBytes() {
    static const std::vector<char> bytes = [] {
        std::vector<char> made(40);
        for (size_t i = 0; i < made.size(); ++i)
            made[i] = static_cast<char>(3 * i + 1);
        return made;
    }();
    return bytes;
}

std::string freshCacheDir(const std::string& label) {
    static int serial = 0;
    return testsupport::tempDir() + "/cache-" + label + "-" + std::to_string(++serial);
}

mtk_ai_type::ModelCfg makeCfg(BuildPath path) {
    static const std::string cacheDir = freshCacheDir("default");
    mtk_ai_type::ModelCfg cfg{};
    cfg.model_path = modelFilePath().c_str();
    if (path == BuildPath::kBuffer) {
        cfg.model_buffer = modelBufferBytes().data();
        cfg.model_size = static_cast<uint32_t>(modelBufferBytes().size());
    }
    cfg.cache_dir = cacheDir.c_str();
    cfg.acc_mode = 0;
    cfg.acc_name = "mtk-mdla";
    cfg.exe_mode = 1;
    cfg.allow_fp16 = 0;
    cfg.env_options.deviceKind = 4;
    cfg.env_options.MDLACoreOption = 0;
    cfg.qos_options.preference = 0;
    cfg.qos_options.priority = 1;
    cfg.qos_options.boostValue = 100;
    cfg.qos_options.delayedPowerOffTime = -1;
    cfg.buffer_attribute = -1;
    return cfg;
}

}  // namespace mtktest
