#include "platform/platform_library.h"

#include <cstdio>
#include <dlfcn.h>

static const platform_library *chosen;

void platform_library_use(const platform_library *library) { chosen = library; }
const platform_library *platform_library_get() { return chosen; }

/* A function of the object by name; dlsym gives data pointers, which the system lets stand for functions. */
template <typename function> static int symbol(void *object, const char *name, function *out) {
    *out = reinterpret_cast<function>(dlsym(object, name));
    return *out == nullptr ? -1 : 0;
}

int platform_library_load(const char *path, char *error, size_t error_size) {
    static platform_library loaded;
    void *object = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (object == nullptr) {
        std::snprintf(error, error_size, "%s", dlerror());
        return -1;
    }
    platform_library library = {
        .name = path, .lcfwd_api_init = nullptr, .ufib_api_init = nullptr, .reset = nullptr};
    if (symbol(object, "lcfwd_platform_api_init", &library.lcfwd_api_init) != 0 ||
        symbol(object, "ufib_platform_api_init", &library.ufib_api_init) != 0) {
        std::snprintf(error, error_size,
                      "%s does not export lcfwd_platform_api_init and ufib_platform_api_init", path);
        dlclose(object);
        return -1;
    }
    (void)symbol(object, "platform_reset", &library.reset); /* may be missing */
    loaded = library;
    platform_library_use(&loaded);
    return 0;
}
