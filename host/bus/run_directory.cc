#include "host/bus/run_directory.h"

#include "host/system/root.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

static void slot_path(uint32_t slot, char *out, size_t size) {
    snprintf(out, size, "/var/run/lcfwd/slot%u", slot);
}

int run_directory_path(uint32_t slot, char out[RUN_PATH_MAX]) {
    char path[64];
    slot_path(slot, path, sizeof path);
    return host_path(path, out, RUN_PATH_MAX);
}

/* Others must neither read nor replace the sockets. */
static int make_private(int fd) {
    struct stat info;
    if (fstat(fd, &info) != 0) return errno;
    if (info.st_uid != geteuid()) return EPERM;
    if ((info.st_mode & 0077) != 0 && fchmod(fd, 0700) != 0) return errno;
    return 0;
}

int run_directory_open(uint32_t slot, bool make, int *fd) {
    char relative[64];
    char path[RUN_PATH_MAX];
    slot_path(slot, relative, sizeof relative);
    int status = make ? host_make_directories(relative) : 0;
    if (status == 0) status = run_directory_path(slot, path);
    if (status != 0) return status;
    const int directory = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0) return errno;
    status = make ? make_private(directory) : 0;
    if (status != 0) {
        close(directory);
        return status;
    }
    *fd = directory;
    return 0;
}

void run_socket_name(uint32_t sap, char out[RUN_NAME_MAX]) { snprintf(out, RUN_NAME_MAX, "sap%u", sap); }

int run_directory_address(uint32_t slot, int directory_fd, uint32_t sap, sockaddr_un *address,
                          socklen_t *length) {
    char directory[RUN_PATH_MAX];
    char path[RUN_PATH_MAX + RUN_NAME_MAX];
    char name[RUN_NAME_MAX];
    const int status = run_directory_path(slot, directory);
    if (status != 0) return status;
    run_socket_name(sap, name);
    snprintf(path, sizeof path, "%s/%s", directory, name);
    if (strlen(path) >= sizeof address->sun_path) {
        if (access("/proc/self/fd", X_OK) != 0) return ENAMETOOLONG;
        snprintf(path, sizeof path, "/proc/self/fd/%d/%s", directory_fd, name);
    }
    memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    const size_t size = strlen(path);
    memcpy(address->sun_path, path, size);
    *length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + size + 1);
    return 0;
}
