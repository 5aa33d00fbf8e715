/* platform/platform_library.h: which platform forwarding library serves the process. Chosen once, before start-up:
 * one that is linked in (the software engine), none (defaults alone: the process runs and programs nothing), or a
 * shared object. A shared object exports the two functions below by their names in C linkage. */
#pragma once

#include <cstddef>

struct lcfwd_platform_api;
struct ufib_platform_api;
struct ufib_platform_caps;

struct platform_library {
    const char *name;
    /* Overwrite the slots that the library implements. 'restart' non-zero: forwarding tables of an earlier
     * process are adopted; zero: the library starts empty. */
    void (*lcfwd_api_init)(lcfwd_platform_api *api, int restart);
    void (*ufib_api_init)(ufib_platform_api *api, ufib_platform_caps *caps, int restart);
    void (
        *reset)(); /* process teardown: lets go of memory and mappings; tables that outlive it stay. May be null */
};

/* Chooses the library (borrowed); null is none. */
void platform_library_use(const platform_library *library);
[[nodiscard]] const platform_library *platform_library_get();

/* Loads a shared object and chooses it: it must export "lcfwd_platform_api_init" and "ufib_platform_api_init". 0, or
 * -1 with the reason in 'error' (NUL-terminated); the choice is then unchanged. */
[[nodiscard]] int platform_library_load(const char *path, char *error, size_t error_size);
