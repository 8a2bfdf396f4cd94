#include "RuntimeConfig.h"

#include <json/json.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace bodyseg {

namespace {

bool readRoot(const std::string& path, Json::Value* root, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *error = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    Json::CharReaderBuilder builder;
    std::string reason;
    if (!Json::parseFromStream(builder, in, root, &reason)) {
        *error = path + " is not JSON: " + reason;
        return false;
    }
    if (!root->isObject()) {
        *error = path + " is not a JSON object";
        return false;
    }
    return true;
}

}  // namespace

const char* runtimeWord(Runtime runtime) {
    return runtime == Runtime::Neuron ? "NeuronRuntime" : "Neuropilot";
}

bool configuredRuntime(const std::string& path, Runtime* runtime) {
    Json::Value root;
    std::string ignored;
    if (!readRoot(path, &root, &ignored) || !root["AISDK"].isString())
        return false;
    const std::string word = root["AISDK"].asString();
    for (Runtime candidate : {Runtime::NeuroPilot, Runtime::Neuron}) {
        if (word == runtimeWord(candidate)) {
            *runtime = candidate;
            return true;
        }
    }
    return false;
}

RuntimeConfigCopy::~RuntimeConfigCopy() {
    if (!path_.empty())
        ::unlink(path_.c_str());
}

bool RuntimeConfigCopy::write(const std::string& source, Runtime runtime, std::string* error) {
    Json::Value root;
    if (!readRoot(source, &root, error))
        return false;
    root["AISDK"] = runtimeWord(runtime);
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "  ";
    const std::string text = Json::writeString(writer, root) + "\n";

    const char* tmp = std::getenv("TMPDIR");
    std::string name =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/bodyseg-config-XXXXXX.json";
    const int fd = ::mkstemps(&name[0], 5);
    if (fd < 0) {
        *error = "cannot create a copy of " + source + " in " + name + ": " + std::strerror(errno);
        return false;
    }
    path_ = name;
    const bool written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int reason = errno;
    const bool closed = ::close(fd) == 0;
    if (!written || !closed) {
        *error = "cannot write " + path_ + ": " + std::strerror(written ? errno : reason);
        return false;
    }
    return true;
}

}  // namespace bodyseg
