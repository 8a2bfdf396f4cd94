// The property readers over a host store filled with random names and values. Every value buffer
// is exactly 92 bytes on the heap; readers must stay inside it whatever is stored or whatever
// default is given, return what the store and the documented conversions say, and preserve errno.
#include <fuzzer/FuzzedDataProvider.h>
#include <sys/system_properties.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>

#include "ALGOGalloc.h"
#include "CapturedLog.h"
#include "FuzzCheck.h"
#include "LogPrintf.h"
#include "Properties.h"
#include "host_properties.h"

namespace {

// Names the plug-in reads, so that the readers behind the logger and the memory registry see
// random values too; the rest are random.
const char* const kKnownNames[] = {
    "persist.camera.algo.aibeautybodydetect.loglvl",
    "vendor.camera.mem.debug.enable",
    "ro.build.version.sdk",
    "ro.build.version.codename",
};

// Texts reach the store as C strings: everything after an embedded NUL is never seen.
std::string consumeText(FuzzedDataProvider& in, size_t maxLength) {
    return in.ConsumeRandomLengthString(maxLength).c_str();
}

std::string consumeName(FuzzedDataProvider& in) {
    if (in.ConsumeBool())
        return in.PickValueInArray(kKnownNames);
    return consumeText(in, 40);
}

// The value as the store holds it ("" when unset) and whether it is set.
struct Stored {
    bool set = false;
    std::string value;
};

using Model = std::map<std::string, std::string>;

Stored lookup(const Model& store, const std::string& name) {
    const auto it = store.find(name);
    return it == store.end() ? Stored{} : Stored{true, it->second};
}

// A plain decimal number: no blanks, no base prefix, no sign but a leading minus.
bool plainDecimal(const std::string& text, int64_t* value) {
    if (text.empty() || text.size() > 18)
        return false;
    size_t at = text[0] == '-' ? 1 : 0;
    if (at == text.size() || (text[at] == '0' && text.size() > at + 1))
        return false;
    int64_t magnitude = 0;
    for (; at < text.size(); ++at) {
        if (text[at] < '0' || text[at] > '9')
            return false;
        magnitude = magnitude * 10 + (text[at] - '0');
    }
    *value = text[0] == '-' ? -magnitude : magnitude;
    return true;
}

void checkGet(const Model& store, const std::string& name, FuzzedDataProvider& in) {
    const bool withDefault = in.ConsumeBool();
    const std::string fallback = consumeText(in, 140);
    auto buffer = std::make_unique<char[]>(PROPERTY_VALUE_MAX);
    std::memset(buffer.get(), 0x7f, PROPERTY_VALUE_MAX);
    const int length =
        property_get(name.c_str(), buffer.get(), withDefault ? fallback.c_str() : nullptr);
    const Stored stored = lookup(store, name);
    if (stored.set && !stored.value.empty()) {
        FUZZ_CHECK(length == static_cast<int>(stored.value.size()) && stored.value == buffer.get(),
                   "property_get(%s) gave %d '%s'", name.c_str(), length, buffer.get());
    } else if (withDefault) {
        const std::string cut = fallback.substr(0, PROPERTY_VALUE_MAX - 1);
        FUZZ_CHECK(length == static_cast<int>(cut.size()) && cut == buffer.get(),
                   "property_get(%s) default gave %d '%s'", name.c_str(), length, buffer.get());
    } else {
        FUZZ_CHECK(length <= 0, "property_get(%s) of an empty value gave %d", name.c_str(), length);
    }
}

void checkBool(const Model& store, const std::string& name, FuzzedDataProvider& in) {
    const int8_t fallback = in.ConsumeIntegral<int8_t>();
    const int8_t result = property_get_bool(name.c_str(), fallback);
    const std::string value = lookup(store, name).value;
    int8_t expected = fallback;
    if (value == "0" || value == "n" || value == "no" || value == "false" || value == "off")
        expected = 0;
    if (value == "1" || value == "y" || value == "yes" || value == "true" || value == "on")
        expected = 1;
    FUZZ_CHECK(result == expected, "property_get_bool(%s='%s', %d) gave %d", name.c_str(),
               value.c_str(), fallback, result);
}

void checkIntegers(const Model& store, const std::string& name, FuzzedDataProvider& in) {
    const int64_t fallback64 = in.ConsumeIntegral<int64_t>();
    const int32_t fallback32 = in.ConsumeIntegral<int32_t>();
    const int savedErrno = in.ConsumeIntegralInRange<int>(0, 200);
    errno = savedErrno;
    const int64_t result64 = property_get_int64(name.c_str(), fallback64);
    const int32_t result32 = property_get_int32(name.c_str(), fallback32);
    FUZZ_CHECK(errno == savedErrno, "errno %d became %d", savedErrno, errno);

    const std::string value = lookup(store, name).value;
    int64_t plain = 0;
    if (value.empty()) {
        FUZZ_CHECK(result64 == fallback64 && result32 == fallback32, "unset %s gave a number",
                   name.c_str());
    } else if (plainDecimal(value, &plain)) {
        FUZZ_CHECK(result64 == plain, "int64 '%s' gave %lld", value.c_str(),
                   static_cast<long long>(result64));
        const bool fits = plain >= INT32_MIN && plain <= INT32_MAX;
        FUZZ_CHECK(result32 == (fits ? plain : fallback32), "int32 '%s' gave %d", value.c_str(),
                   result32);
    }
}

// The two readers inside the plug-in's services: the log mask keeps only its six level bits,
// the memory trace switch is on or off.
void checkServices(FuzzedDataProvider& in) {
    const std::string fallback = consumeText(in, 100);
    kavo::LogPrintf::setLogStatus(kavo::kLogError);
    kavo::LogPrintf::setLogStatusByProp(kKnownNames[0], fallback.c_str());
    FUZZ_CHECK((kavo::LogPrintf::mLogLevel & ~0x3Fu) == 0, "log mask %u from a property",
               kavo::LogPrintf::mLogLevel);
    kavo::LogPrintf::setLogStatus(kavo::kLogError);
    kavo::AlgorithmMemory::memTraceInit(in.ConsumeIntegral<int>());
    FUZZ_CHECK(kavo::AlgorithmMemory::sDebugEnable == 0 || kavo::AlgorithmMemory::sDebugEnable == 1,
               "trace switch %lld", static_cast<long long>(kavo::AlgorithmMemory::sDebugEnable));
}

void checkList(const Model& store) {
    Model listed;
    property_list([](const char* name, const char* value,
                     void* cookie) { (*static_cast<Model*>(cookie))[name] = value; },
                  &listed);
    FUZZ_CHECK(listed == store, "property_list saw %zu properties, the store holds %zu",
               listed.size(), store.size());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzsupport::captureLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    host_property_clear();
    Model store;
    const int settings = input.ConsumeIntegralInRange<int>(0, 8);
    for (int i = 0; i < settings; ++i) {
        const std::string name = consumeName(input);
        const std::string value = consumeText(input, 100);
        const int result = property_set(name.c_str(), value.c_str());
        // The store takes a value of up to 91 characters under a non-empty name, and keeps a
        // read-only name's first value.
        const bool readOnlyTaken = name.rfind("ro.", 0) == 0 && store.count(name) != 0;
        const bool fits = !name.empty() && value.size() < PROPERTY_VALUE_MAX;
        FUZZ_CHECK((result == 0) == (fits && !readOnlyTaken), "property_set(%s, %s) gave %d",
                   name.c_str(), value.c_str(), result);
        if (result == 0)
            store[name] = value;
    }
    while (input.remaining_bytes() > 0) {
        const std::string name = consumeName(input);
        switch (input.ConsumeIntegralInRange<int>(0, 3)) {
            case 0:
                checkGet(store, name, input);
                break;
            case 1:
                checkBool(store, name, input);
                break;
            case 2:
                checkIntegers(store, name, input);
                break;
            default:
                checkServices(input);
                break;
        }
    }
    checkList(store);
    fuzzsupport::clearLog();
    return 0;
}
