// A test's hold on one stand-in vendor runtime: loads it by path the way a host makes a runtime
// available (global, so the plug-in's own dlopen by name finds it), and drives its control
// functions. Loading puts the process's stand-ins in script mode.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

class StandinClient {
  public:
    // `directory`/`file`, e.g. standinDir() and "libtflite_mtk.so". Never unloaded: the plug-in
    // keeps the function pointers it bound for the life of the process.
    StandinClient(const std::string& directory, const std::string& file);

    bool loaded() const { return handle_ != nullptr; }
    void* handle() const { return handle_; }

    void reset() const;
    void failCall(const std::string& symbol, int32_t status) const;
    int callCount(const std::string& symbol) const;
    void setTensor(uint32_t direction, uint32_t byteSize, uint32_t type) const;
    void setOutputPattern(const std::vector<uint8_t>& bytes) const;
    void setOutputEcho(uint32_t step, uint32_t offset) const;
    // The recorded number; `fallback` when nothing was recorded.
    int64_t recordedInt(const std::string& key, int64_t fallback = -1) const;
    bool hasRecord(const std::string& key) const;
    std::vector<uint8_t> recordedBytes(const std::string& key) const;
    std::string recordedText(const std::string& key) const;

  private:
    template <typename Fn>
    Fn control(const char* name) const;

    void* handle_;
};

// Makes every stand-in created from now on follow the test script.
void selectScriptMode();

}  // namespace testsupport
