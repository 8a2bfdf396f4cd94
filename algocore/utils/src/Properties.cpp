#include "Properties.h"

#include <sys/system_properties.h>

#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "LogPrintf.h"

static_assert(PROPERTY_VALUE_MAX == PROP_VALUE_MAX, "value buffers must match the platform's");

extern "C" int property_get(const char* key, char* value, const char* defaultValue) {
    int length = __system_property_get(key, value);
    if (length > 0 || defaultValue == nullptr)
        return length;
    length = static_cast<int>(strnlen(defaultValue, PROPERTY_VALUE_MAX - 1));
    std::memcpy(value, defaultValue, static_cast<size_t>(length));
    value[length] = '\0';
    return length;
}

extern "C" int8_t property_get_bool(const char* key, int8_t defaultValue) {
    if (key == nullptr)
        return defaultValue;
    char buf[PROPERTY_VALUE_MAX] = {0};
    const int length = property_get(key, buf, "");
    if (length == 1) {
        const char c = buf[0];
        if (c == '0' || c == 'n')
            return 0;
        if (c == '1' || c == 'y')
            return 1;
    } else if (length > 1) {
        if (!std::strcmp(buf, "no") || !std::strcmp(buf, "false") || !std::strcmp(buf, "off"))
            return 0;
        if (!std::strcmp(buf, "yes") || !std::strcmp(buf, "true") || !std::strcmp(buf, "on"))
            return 1;
    }
    return defaultValue;
}

// The shared integer reader; its name appears in the messages it writes.
static intmax_t property_get_imax(const char* key, intmax_t lower, intmax_t upper,
                                  intmax_t defaultValue) {
    if (key == nullptr)
        return defaultValue;
    char buf[PROPERTY_VALUE_MAX] = {0};
    if (property_get(key, buf, "") < 1)
        return defaultValue;

    const int savedErrno = errno;
    errno = 0;
    char* end = nullptr;
    const intmax_t parsed = strtoimax(buf, &end, 0);
    intmax_t result = parsed;
    if ((parsed == INTMAX_MAX || parsed == INTMAX_MIN) && errno == ERANGE) {
        KAVO_LOGI("%s(%s,%jd) - overflow", __FUNCTION__, key, defaultValue);
        result = defaultValue;
    } else if (parsed < lower || parsed > upper) {
        KAVO_LOGI("%s(%s,%jd) - out of range", __FUNCTION__, key, defaultValue);
        result = defaultValue;
    } else if (end == buf) {
        KAVO_LOGI("%s(%s,%jd) - numeric conversion failed", __FUNCTION__, key, defaultValue);
        result = defaultValue;
    }
    errno = savedErrno;
    return result;
}

extern "C" int64_t property_get_int64(const char* key, int64_t defaultValue) {
    return property_get_imax(key, INT64_MIN, INT64_MAX, defaultValue);
}

extern "C" int32_t property_get_int32(const char* key, int32_t defaultValue) {
    return static_cast<int32_t>(property_get_imax(key, INT32_MIN, INT32_MAX, defaultValue));
}

extern "C" int property_set(const char* key, const char* value) {
    return __system_property_set(key, value);
}

namespace {

struct ListCookie {
    void (*propfn)(const char* key, const char* value, void* cookie);
    void* cookie;
};

void visitValue(void* cookie, const char* name, const char* value, uint32_t /*serial*/) {
    const ListCookie* list = static_cast<const ListCookie*>(cookie);
    list->propfn(name, value, list->cookie);
}

void visitProperty(const prop_info* pi, void* cookie) {
    __system_property_read_callback(pi, visitValue, cookie);
}

}  // namespace

extern "C" int property_list(void (*propfn)(const char* key, const char* value, void* cookie),
                             void* cookie) {
    ListCookie list = {propfn, cookie};
    return __system_property_foreach(visitProperty, &list);
}
