#include "host/trace/trace_file.h"

#include "host/system/root.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr const char *TRACE_DIRECTORY = "/dev/shm";

int trace_file_path(const char *name, char *out, size_t out_size) {
    char path[NAME_MAX];
    const int length = std::snprintf(path, sizeof path, "%s/%s", TRACE_DIRECTORY, name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path) return ENAMETOOLONG;
    return host_path(path, out, out_size);
}

/* Opens the file with exactly 'size' bytes, or gives -1. */
static int open_sized(const char *path, size_t size) {
    int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    struct stat status;
    if (fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
        if (static_cast<size_t>(status.st_size) == size) return fd;
        if (status.st_size != 0) {
            close(fd);
            unlink(path);
            fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
        }
        if (fd >= 0 && ftruncate(fd, static_cast<off_t>(size)) == 0) return fd;
    }
    if (fd >= 0) close(fd);
    return -1;
}

int trace_file_make_directory() { return host_make_directories(TRACE_DIRECTORY); }

/* Without a file (fd is -1) the mapping is private memory. */
static int map_writable(trace_mapping *mapping) {
    void *base = MAP_FAILED;
    if (mapping->fd >= 0)
        base = mmap(nullptr, mapping->size, PROT_READ | PROT_WRITE, MAP_SHARED, mapping->fd, 0);
    if (base == MAP_FAILED) {
        if (mapping->fd >= 0) close(mapping->fd);
        mapping->fd = -1;
        base = mmap(nullptr, mapping->size, PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    }
    if (base == MAP_FAILED) return ENOMEM;
    mapping->base = base;
    return 0;
}

static int open_writable(const char *name, size_t size) {
    char path[PATH_MAX];
    if (trace_file_make_directory() != 0 || trace_file_path(name, path, sizeof path) != 0) return -1;
    return open_sized(path, size);
}

int trace_file_map(const char *name, size_t size, trace_mapping *out) {
    *out = {nullptr, size, open_writable(name, size)};
    return map_writable(out);
}

int trace_file_map_reserved(const char *name, size_t size, trace_mapping *out) {
    *out = {nullptr, size, open_writable(name, size)};
    if (out->fd >= 0 && posix_fallocate(out->fd, 0, static_cast<off_t>(size)) != 0) {
        close(out->fd);
        out->fd = -1;
    }
    return map_writable(out);
}

int trace_file_reserve(const trace_mapping *mapping, size_t bytes) {
    if (mapping->fd < 0) return 0;
    return posix_fallocate(mapping->fd, 0, static_cast<off_t>(bytes));
}

int trace_file_map_reader(const char *name, trace_mapping *out) {
    char path[PATH_MAX];
    *out = {nullptr, 0, -1};
    const int err = trace_file_path(name, path, sizeof path);
    if (err != 0) return err;
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (fd < 0) return errno;
    struct stat status;
    int result = fstat(fd, &status) != 0 ? errno : status.st_size <= 0 ? EBADMSG : 0;
    if (result == 0) {
        out->size = static_cast<size_t>(status.st_size);
        void *base = mmap(nullptr, out->size, PROT_READ, MAP_SHARED, fd, 0);
        if (base == MAP_FAILED)
            result = errno;
        else
            out->base = base;
    }
    close(fd);
    return result;
}

void trace_file_unmap(trace_mapping *mapping) {
    if (mapping->base != nullptr) munmap(mapping->base, mapping->size);
    if (mapping->fd >= 0) close(mapping->fd);
    *mapping = {nullptr, 0, -1};
}
