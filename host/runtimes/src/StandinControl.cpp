// The control functions every stand-in library exports, over that library's own state.
#include "standin_control.h"

#include "StandinLibrary.h"

using standin::libraryState;

extern "C" {

void standin_reset(void) {
    libraryState().reset();
}

int standin_fail_call(const char* symbol, int32_t status) {
    return libraryState().failCall(symbol, status) ? 0 : -1;
}

int standin_call_count(const char* symbol) {
    return libraryState().callCount(symbol);
}

void standin_set_tensor(uint32_t direction, uint32_t byte_size, uint32_t type) {
    libraryState().setTensor(direction, {byte_size, type});
}

void standin_set_output_pattern(const void* bytes, size_t size) {
    standin::OutputScript script;
    const uint8_t* pattern = static_cast<const uint8_t*>(bytes);
    if (pattern != nullptr)
        script.pattern.assign(pattern, pattern + size);
    libraryState().setOutputScript(script);
}

void standin_set_output_echo(uint32_t step, uint32_t offset) {
    standin::OutputScript script;
    script.echo = true;
    script.echoStep = step;
    script.echoOffset = offset;
    libraryState().setOutputScript(script);
}

int standin_recorded_int(const char* key, int64_t* value) {
    return key != nullptr && libraryState().recordedInt(key, value) ? 1 : 0;
}

int64_t standin_recorded_bytes(const char* key, void* dst, size_t capacity) {
    return key != nullptr ? libraryState().recordedBytes(key, dst, capacity) : -1;
}

}  // extern "C"
