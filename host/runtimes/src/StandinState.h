// What one stand-in library remembers between calls: the records of what the backend passed, a
// call counter and an injected failure per vendor function, and the script for models created in
// script mode. One instance per library (each library links its own copy); every member function
// locks, so vendor calls from several threads stay consistent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace standin {

// Byte size and TFLite element type code of a scripted tensor.
struct TensorScript {
    uint32_t byteSize;
    uint32_t type;
};

// How a scripted run fills its output: a repeated byte pattern, or an echo of the input.
struct OutputScript {
    std::vector<uint8_t> pattern;  // empty: zeros (unless echo)
    bool echo = false;
    uint32_t echoStep = 0;
    uint32_t echoOffset = 0;
};

class State {
  public:
    // `symbols`: every vendor function this library implements; `liveCounts`: the live object
    // counts it keeps, recorded as 0 from the start.
    State(std::initializer_list<const char*> symbols,
          std::initializer_list<const char*> liveCounts);

    void reset();

    // Counts the call of `symbol` and returns the status injected for it (0: run normally).
    int32_t enter(const char* symbol);
    bool failCall(const char* symbol, int32_t status);
    int callCount(const char* symbol) const;

    void setTensor(uint32_t direction, TensorScript tensor);
    TensorScript tensor(uint32_t direction) const;
    void setOutputScript(OutputScript script);
    OutputScript outputScript() const;

    void recordInt(const std::string& key, int64_t value);
    void incrementInt(const std::string& key);
    void recordBytes(const std::string& key, const void* data, size_t size);
    void recordText(const std::string& key, const char* text);
    bool recordedInt(const std::string& key, int64_t* value) const;
    int64_t recordedBytes(const std::string& key, void* dst, size_t capacity) const;

    // Live object counts survive reset: the objects they count are still alive.
    void adjustLive(const std::string& key, int delta);

  private:
    mutable std::mutex mLock;
    std::map<std::string, int> mCalls;         // one entry per implemented vendor function
    std::map<std::string, int32_t> mFailures;  // injected status per function, 0 = none
    TensorScript mTensors[2];
    OutputScript mOutput;
    std::map<std::string, int64_t> mInts;
    std::map<std::string, std::vector<uint8_t>> mBytes;
    std::map<std::string, int64_t> mLive;
};

}  // namespace standin
