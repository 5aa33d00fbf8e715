#include "host/system/root.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

static char root_directory[PATH_MAX];

void host_root_set(const char *directory) {
    std::snprintf(root_directory, sizeof root_directory, "%s", directory == nullptr ? "" : directory);
    size_t length = std::strlen(root_directory);
    while (length > 0 && root_directory[length - 1] == '/') root_directory[--length] = '\0';
}

const char *host_root_get() { return root_directory; }

int host_path(const char *path, char *out, size_t out_size) {
    const size_t root_length = std::strlen(root_directory);
    const size_t path_length = std::strlen(path);
    if (root_length + path_length >= out_size) {
        if (out_size > 0) out[0] = '\0';
        return ENAMETOOLONG;
    }
    std::memcpy(out, root_directory, root_length);
    std::memcpy(out + root_length, path, path_length + 1);
    return 0;
}

static int make_directory(const char *path) {
    if (mkdir(path, 0700) == 0) return 0;
    if (errno != EEXIST) return errno;
    struct stat status;
    if (stat(path, &status) != 0) return errno;
    return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
}

int host_make_directories(const char *directory) {
    char path[PATH_MAX];
    const int err = host_path(directory, path, sizeof path);
    if (err != 0) return err;
    for (char *slash = std::strchr(path + 1, '/'); slash != nullptr; slash = std::strchr(slash + 1, '/')) {
        *slash = '\0';
        const int made = make_directory(path);
        *slash = '/';
        if (made != 0) return made;
    }
    return make_directory(path);
}
