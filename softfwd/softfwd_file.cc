#include "softfwd/softfwd_file.h"

#include "host/system/root.h"
#include "host/timer/clock.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr uint64_t STEP_MIN = 64 * 1024;
static constexpr uint64_t STEP_MAX = 8 * 1024 * 1024;

int softfwd_path(uint32_t slot, const char *suffix, char out[SOFTFWD_PATH_MAX]) {
    char name[64];
    snprintf(name, sizeof name, "/dev/shm/softfwd_%u%s", slot, suffix);
    return host_path(name, out, SOFTFWD_PATH_MAX);
}

static int file_map(softfwd_file *file, bool writable, uint64_t minimum) {
    struct stat status;
    if (fstat(file->fd, &status) != 0) return errno;
    if (status.st_size < 0 || static_cast<uint64_t>(status.st_size) < minimum) return EPROTO;
    file->bytes = static_cast<uint64_t>(status.st_size);
    void *base = mmap(nullptr, file->bytes, writable ? PROT_READ | PROT_WRITE : PROT_READ,
                      MAP_SHARED | MAP_NORESERVE, file->fd, 0);
    if (base == MAP_FAILED) return errno;
    file->base = static_cast<uint8_t *>(base);
    return 0;
}

int softfwd_file_open(softfwd_file *file, const char *path, bool writable, uint64_t minimum) {
    *file = softfwd_file{};
    file->fd = open(path, (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOFOLLOW);
    if (file->fd < 0) return errno;
    const int status = file_map(file, writable, minimum);
    if (status != 0) softfwd_file_close(file);
    return status;
}

static int new_name(const char *path, char out[SOFTFWD_PATH_MAX + 8]) {
    const int length = snprintf(out, SOFTFWD_PATH_MAX + 8, "%s.new", path);
    return length > 0 && length < static_cast<int>(SOFTFWD_PATH_MAX + 8) ? 0 : ENAMETOOLONG;
}

int softfwd_file_create(softfwd_file *file, const char *path, uint64_t bytes) {
    *file = softfwd_file{};
    char name[SOFTFWD_PATH_MAX + 8];
    if (new_name(path, name) != 0) return ENAMETOOLONG;
    unlink(name);
    file->fd = open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file->fd < 0) return errno;
    int status = ftruncate(file->fd, static_cast<off_t>(bytes)) == 0 ? 0 : errno;
    if (status == 0) status = file_map(file, true, bytes);
    if (status != 0) softfwd_file_close(file);
    return status;
}

int softfwd_file_publish(const char *path) {
    char name[SOFTFWD_PATH_MAX + 8];
    if (new_name(path, name) != 0) return ENAMETOOLONG;
    return rename(name, path) == 0 ? 0 : errno;
}

void softfwd_file_close(softfwd_file *file) {
    if (file->base != nullptr) munmap(file->base, file->bytes);
    if (file->fd >= 0) close(file->fd);
    *file = softfwd_file{};
}

/* Older systems do not know the advice; there the disk space is taken and the pages come as they are touched. */
static int populate(const softfwd_file *file, uint64_t offset, uint64_t bytes) {
    int status;
    do status = madvise(file->base + offset, bytes, MADV_POPULATE_WRITE);
    while (status != 0 && (errno == EINTR || errno == EAGAIN));
    if (status == 0) return 0;
    if (errno != EINVAL) return ENOSPC;
    return posix_fallocate(file->fd, static_cast<off_t>(offset), static_cast<off_t>(bytes)) == 0 ? 0 : ENOSPC;
}

int softfwd_region_ensure(const softfwd_file *file, softfwd_region *region, uint64_t wanted) {
    const uint64_t now = region->a_committed;
    if (wanted <= now) return 0;
    if (wanted > region->bytes) return ENOSPC;
    uint64_t step = now / 8 < STEP_MIN ? STEP_MIN : now / 8 > STEP_MAX ? STEP_MAX : now / 8;
    if (now + step < wanted) step = wanted - now;
    step = (step + STEP_MIN - 1) / STEP_MIN * STEP_MIN;
    if (step > region->bytes - now) step = region->bytes - now;
    if (populate(file, region->offset + now, step) != 0) return ENOSPC;
    softfwd_store(&region->a_committed, now + step);
    return 0;
}

static struct flock byte_lock(short type, uint64_t byte) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(byte);
    lock.l_len = 1;
    return lock;
}

bool softfwd_file_lock(int fd, uint64_t byte) {
    struct flock lock = byte_lock(F_WRLCK, byte);
    return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

void softfwd_file_unlock(int fd, uint64_t byte) {
    struct flock lock = byte_lock(F_UNLCK, byte);
    (void)fcntl(fd, F_OFD_SETLK, &lock);
}

bool softfwd_file_is_locked(int fd, uint64_t byte) {
    struct flock lock = byte_lock(F_WRLCK, byte);
    return fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

uint64_t softfwd_identity() {
    static uint64_t serial;
    const uint64_t mixed = host_clock_wall_ns() ^ (static_cast<uint64_t>(getpid()) << 40) ^ (++serial << 20);
    return mixed != 0 ? mixed : 1;
}
