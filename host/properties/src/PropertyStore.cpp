// Process-wide property store standing in for Android's property service on Linux.
//
// Records are never moved once created (std::map nodes are stable), so a prop_info pointer handed
// to a foreach visitor stays valid until host_property_clear/unset removes that record.

#include <sys/system_properties.h>
#include "host_properties.h"

#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

struct prop_info {
    std::string name;
    std::string value;
    uint32_t serial = 0;
};

namespace {

struct Store {
    std::mutex lock;
    std::map<std::string, prop_info> records;
};

Store& store() {
    // Leaked on purpose: the plug-in may read properties from static destructors at exit.
    static Store* instance = new Store;
    return *instance;
}

bool isReadOnly(const std::string& name) {
    return name.compare(0, 3, "ro.") == 0;
}

}  // namespace

extern "C" int __system_property_get(const char* name, char* value) {
    if (value == nullptr)
        return 0;
    value[0] = '\0';
    if (name == nullptr)
        return 0;
    Store& s = store();
    std::lock_guard<std::mutex> guard(s.lock);
    auto it = s.records.find(name);
    if (it == s.records.end())
        return 0;
    const std::string& v = it->second.value;
    std::memcpy(value, v.c_str(), v.size() + 1);
    return static_cast<int>(v.size());
}

extern "C" int __system_property_set(const char* name, const char* value) {
    if (name == nullptr || value == nullptr || name[0] == '\0')
        return -1;
    if (std::strlen(value) >= PROP_VALUE_MAX)
        return -1;
    Store& s = store();
    std::lock_guard<std::mutex> guard(s.lock);
    auto it = s.records.find(name);
    if (it != s.records.end()) {
        if (isReadOnly(it->first))
            return -1;
        it->second.value = value;
        ++it->second.serial;
        return 0;
    }
    prop_info& info = s.records[name];
    info.name = name;
    info.value = value;
    return 0;
}

extern "C" int __system_property_foreach(void (*propfn)(const prop_info* pi, void* cookie),
                                         void* cookie) {
    if (propfn == nullptr)
        return -1;
    std::vector<const prop_info*> snapshot;
    {
        Store& s = store();
        std::lock_guard<std::mutex> guard(s.lock);
        snapshot.reserve(s.records.size());
        for (const auto& entry : s.records)
            snapshot.push_back(&entry.second);
    }
    // Visit outside the lock: visitors call back into __system_property_read_callback.
    for (const prop_info* pi : snapshot)
        propfn(pi, cookie);
    return 0;
}

extern "C" void __system_property_read_callback(const prop_info* pi,
                                                void (*callback)(void* cookie, const char* name,
                                                                 const char* value,
                                                                 uint32_t serial),
                                                void* cookie) {
    if (pi == nullptr || callback == nullptr)
        return;
    std::string name;
    std::string value;
    uint32_t serial = 0;
    {
        Store& s = store();
        std::lock_guard<std::mutex> guard(s.lock);
        name = pi->name;
        value = pi->value;
        serial = pi->serial;
    }
    callback(cookie, name.c_str(), value.c_str(), serial);
}

extern "C" void host_property_clear(void) {
    Store& s = store();
    std::lock_guard<std::mutex> guard(s.lock);
    s.records.clear();
}

extern "C" int host_property_unset(const char* name) {
    if (name == nullptr)
        return -1;
    Store& s = store();
    std::lock_guard<std::mutex> guard(s.lock);
    return s.records.erase(name) == 1 ? 0 : -1;
}
