#include "tools/lcfwdctl/line_reader.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

struct ctl_line_reader {
    std::string path;
    FILE *stream = nullptr;
    pid_t child = -1; /* the unpacking program, or -1 */
    char line[4096] = {};
};

static bool is_compressed(int fd) {
    static const unsigned char magic[6] = {0xfd, '7', 'z', 'X', 'Z', 0};
    unsigned char head[sizeof magic] = {};
    return pread(fd, head, sizeof head, 0) == static_cast<ssize_t>(sizeof head) &&
           memcmp(head, magic, sizeof magic) == 0;
}

/* Starts xz on 'fd'; the reading end of its output, or -1. */
static int unpack(int fd, pid_t *child) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return -1;
    *child = fork();
    if (*child == 0) {
        if (dup2(fd, STDIN_FILENO) < 0 || dup2(ends[1], STDOUT_FILENO) < 0) _exit(126);
        execlp("xz", "xz", "-dc", static_cast<char *>(nullptr));
        _exit(127);
    }
    close(ends[1]);
    if (*child > 0) return ends[0];
    close(ends[0]);
    return -1;
}

int ctl_line_reader_open(const char *path, ctl_line_reader **out, std::string *error) {
    int fd = strcmp(path, "-") == 0 ? dup(STDIN_FILENO) : open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *error = std::string(path) + ": " + strerror(errno);
        return -1;
    }
    auto *reader = new ctl_line_reader;
    reader->path = path;
    if (is_compressed(fd)) {
        const int packed = fd;
        fd = unpack(packed, &reader->child);
        close(packed);
    }
    reader->stream = fd < 0 ? nullptr : fdopen(fd, "r");
    if (reader->stream == nullptr) {
        *error = std::string(path) + ": " + strerror(errno);
        delete reader;
        return -1;
    }
    *out = reader;
    return 0;
}

bool ctl_line_reader_next(ctl_line_reader *reader, const char **line) {
    *line = reader->line;
    return fgets(reader->line, sizeof reader->line, reader->stream) != nullptr;
}

int ctl_line_reader_close(ctl_line_reader *reader, std::string *error) {
    std::string reason;
    if (ferror(reader->stream)) reason = strerror(errno);
    fclose(reader->stream);
    int status = 0;
    if (reader->child > 0) {
        while (waitpid(reader->child, &status, 0) < 0 && errno == EINTR) {
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == 127)
            reason = "the xz program is missing; install xz-utils or unpack the file first";
        else if (status != 0)
            reason = "xz could not unpack it";
    }
    if (!reason.empty() && error != nullptr) *error = reader->path + ": " + reason;
    delete reader;
    return reason.empty() ? 0 : -1;
}
