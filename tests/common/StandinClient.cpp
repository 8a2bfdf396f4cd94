#include "StandinClient.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/system_properties.h>

#include "standin_control.h"

namespace testsupport {

void selectScriptMode() {
    __system_property_set(STANDIN_MODE_PROPERTY, STANDIN_MODE_SCRIPT);
}

StandinClient::StandinClient(const std::string& directory, const std::string& file)
    : handle_(dlopen((directory + "/" + file).c_str(), RTLD_NOW | RTLD_GLOBAL)) {
    selectScriptMode();
    if (handle_ == nullptr)
        ADD_FAILURE() << "cannot load stand-in: " << dlerror();
}

template <typename Fn>
Fn StandinClient::control(const char* name) const {
    Fn fn = handle_ != nullptr ? reinterpret_cast<Fn>(dlsym(handle_, name)) : nullptr;
    if (fn == nullptr)
        ADD_FAILURE() << "stand-in control function missing: " << name;
    return fn;
}

void StandinClient::reset() const {
    if (auto fn = control<decltype(&standin_reset)>("standin_reset"))
        fn();
}

void StandinClient::failCall(const std::string& symbol, int32_t status) const {
    if (auto fn = control<decltype(&standin_fail_call)>("standin_fail_call")) {
        EXPECT_EQ(fn(symbol.c_str(), status), 0) << "unknown vendor function " << symbol;
    }
}

int StandinClient::callCount(const std::string& symbol) const {
    auto fn = control<decltype(&standin_call_count)>("standin_call_count");
    return fn ? fn(symbol.c_str()) : -1;
}

void StandinClient::setTensor(uint32_t direction, uint32_t byteSize, uint32_t type) const {
    if (auto fn = control<decltype(&standin_set_tensor)>("standin_set_tensor")) {
        fn(direction, byteSize, type);
    }
}

void StandinClient::setOutputPattern(const std::vector<uint8_t>& bytes) const {
    if (auto fn = control<decltype(&standin_set_output_pattern)>("standin_set_output_pattern")) {
        fn(bytes.data(), bytes.size());
    }
}

void StandinClient::setOutputEcho(uint32_t step, uint32_t offset) const {
    if (auto fn = control<decltype(&standin_set_output_echo)>("standin_set_output_echo")) {
        fn(step, offset);
    }
}

int64_t StandinClient::recordedInt(const std::string& key, int64_t fallback) const {
    auto fn = control<decltype(&standin_recorded_int)>("standin_recorded_int");
    int64_t value = 0;
    return fn && fn(key.c_str(), &value) ? value : fallback;
}

bool StandinClient::hasRecord(const std::string& key) const {
    auto ints = control<decltype(&standin_recorded_int)>("standin_recorded_int");
    auto bytes = control<decltype(&standin_recorded_bytes)>("standin_recorded_bytes");
    return (ints && ints(key.c_str(), nullptr)) || (bytes && bytes(key.c_str(), nullptr, 0) >= 0);
}

std::vector<uint8_t> StandinClient::recordedBytes(const std::string& key) const {
    auto fn = control<decltype(&standin_recorded_bytes)>("standin_recorded_bytes");
    if (fn == nullptr)
        return {};
    const int64_t size = fn(key.c_str(), nullptr, 0);
    if (size < 0)
        return {};
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    fn(key.c_str(), bytes.data(), bytes.size());
    return bytes;
}

std::string StandinClient::recordedText(const std::string& key) const {
    const std::vector<uint8_t> bytes = recordedBytes(key);
    return std::string(bytes.begin(), bytes.end());
}

}  // namespace testsupport
