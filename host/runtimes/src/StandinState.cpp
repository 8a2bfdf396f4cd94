#include "StandinState.h"

#include <algorithm>
#include <cstring>

namespace standin {

namespace {

// The product's network geometry: 342 x 456 RGB24 in, one int32 label per pixel out.
constexpr TensorScript kDefaultInput{342 * 456 * 3, 2};
constexpr TensorScript kDefaultOutput{342 * 456 * 4, 3};

}  // namespace

State::State(std::initializer_list<const char*> symbols,
             std::initializer_list<const char*> liveCounts) {
    for (const char* symbol : symbols)
        mCalls[symbol] = 0;
    for (const char* key : liveCounts)
        mLive[key] = 0;
    reset();
}

void State::reset() {
    std::lock_guard<std::mutex> guard(mLock);
    for (auto& entry : mCalls)
        entry.second = 0;
    mFailures.clear();
    mTensors[0] = kDefaultInput;
    mTensors[1] = kDefaultOutput;
    mOutput = OutputScript();
    mInts.clear();
    mBytes.clear();
}

int32_t State::enter(const char* symbol) {
    std::lock_guard<std::mutex> guard(mLock);
    ++mCalls[symbol];
    auto failure = mFailures.find(symbol);
    return failure == mFailures.end() ? 0 : failure->second;
}

bool State::failCall(const char* symbol, int32_t status) {
    std::lock_guard<std::mutex> guard(mLock);
    if (symbol == nullptr || mCalls.count(symbol) == 0)
        return false;
    mFailures[symbol] = status;
    return true;
}

int State::callCount(const char* symbol) const {
    std::lock_guard<std::mutex> guard(mLock);
    if (symbol == nullptr)
        return -1;
    auto calls = mCalls.find(symbol);
    return calls == mCalls.end() ? -1 : calls->second;
}

void State::setTensor(uint32_t direction, TensorScript tensor) {
    std::lock_guard<std::mutex> guard(mLock);
    mTensors[direction == 0 ? 0 : 1] = tensor;
}

TensorScript State::tensor(uint32_t direction) const {
    std::lock_guard<std::mutex> guard(mLock);
    return mTensors[direction == 0 ? 0 : 1];
}

void State::setOutputScript(OutputScript script) {
    std::lock_guard<std::mutex> guard(mLock);
    mOutput = std::move(script);
}

OutputScript State::outputScript() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mOutput;
}

void State::recordInt(const std::string& key, int64_t value) {
    std::lock_guard<std::mutex> guard(mLock);
    mInts[key] = value;
}

void State::incrementInt(const std::string& key) {
    std::lock_guard<std::mutex> guard(mLock);
    ++mInts[key];
}

void State::recordBytes(const std::string& key, const void* data, size_t size) {
    std::lock_guard<std::mutex> guard(mLock);
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    mBytes[key].assign(bytes, bytes + (bytes != nullptr ? size : 0));
}

void State::recordText(const std::string& key, const char* text) {
    recordBytes(key, text, text != nullptr ? std::strlen(text) : 0);
}

bool State::recordedInt(const std::string& key, int64_t* value) const {
    std::lock_guard<std::mutex> guard(mLock);
    auto live = mLive.find(key);
    auto recorded = mInts.find(key);
    if (live != mLive.end()) {
        if (value != nullptr)
            *value = live->second;
        return true;
    }
    if (recorded == mInts.end())
        return false;
    if (value != nullptr)
        *value = recorded->second;
    return true;
}

int64_t State::recordedBytes(const std::string& key, void* dst, size_t capacity) const {
    std::lock_guard<std::mutex> guard(mLock);
    auto recorded = mBytes.find(key);
    if (recorded == mBytes.end())
        return -1;
    const std::vector<uint8_t>& bytes = recorded->second;
    if (dst != nullptr)
        std::memcpy(dst, bytes.data(), std::min(capacity, bytes.size()));
    return static_cast<int64_t>(bytes.size());
}

void State::adjustLive(const std::string& key, int delta) {
    std::lock_guard<std::mutex> guard(mLock);
    mLive[key] += delta;
}

}  // namespace standin
