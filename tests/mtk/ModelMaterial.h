// What a backend is built from in these tests: a model file on disk and different model bytes in
// memory (so the stand-in's records tell the two build paths apart), and configurations that
// point at them. The stand-ins run in script mode and do not interpret either.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ModelCfg.h"

namespace mtktest {

enum class BuildPath { kFile, kBuffer };

inline const char* pathName(BuildPath path) {
    return path == BuildPath::kFile ? "File" : "Buffer";
}

// Written once per process into the test's temporary directory.
const std::string& modelFilePath();
const std::vector<uint8_t>& modelFileBytes();
const std::vector<char>& modelBufferBytes();

// A configuration for `path`: the buffer fields are set only for the buffer path; NeuroPilot on
// the CPU with execution preference 1, a Neuron hardware device with its default QoS, buffer
// attribute -1 (plain process memory). Every string points at storage that lives as long as the
// process.
mtk_ai_type::ModelCfg makeCfg(BuildPath path);

// A fresh directory name under the test's temporary directory, not yet created.
std::string freshCacheDir(const std::string& label);

}  // namespace mtktest
