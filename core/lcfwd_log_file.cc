#include "core/lcfwd_log_file.h"

#include "host/system/root.h"
#include "host/system/system.h"
#include "host/timer/clock.h"

#include <cerrno>
#include <climits>
#include <ctime>

FILE *lcfwd_log_fp;

static constexpr const char *file_name = "lcfwd_log.txt";

const char *lcfwd_log_file_path() {
    static char path[PATH_MAX];
    char system_path[PATH_MAX];
    const int length =
        std::snprintf(system_path, sizeof system_path, "%s/%s", host_system.log_directory, file_name);
    if (length < 0 || static_cast<size_t>(length) >= sizeof system_path) return "";
    return host_path(system_path, path, sizeof path) == 0 ? path : "";
}

bool lcfwd_log_file_open() {
    if (lcfwd_log_fp != nullptr) return true;
    const char *path = lcfwd_log_file_path();
    if (path[0] == '\0') return false;
    lcfwd_log_fp = std::fopen(path, "a+e");
    if (lcfwd_log_fp != nullptr) return true;
    const int status = host_make_directories(host_system.log_directory);
    if (status == 0) lcfwd_log_fp = std::fopen(path, "a+e");
    if (status != 0) errno = status;
    return lcfwd_log_fp != nullptr;
}

static void stamp_write() {
    const uint64_t now = host_clock_wall_ns();
    const time_t seconds = static_cast<time_t>(now / 1000000000);
    const unsigned long microseconds = static_cast<unsigned long>(now / 1000 % 1000000);
    tm local = {};
    localtime_r(&seconds, &local);
    char date[32];
    std::strftime(date, sizeof date, "%m/%d/%Y %H:%M:%S", &local);
    char stamp[64];
    std::snprintf(stamp, sizeof stamp, "%s.%lu", date, microseconds);
    std::fprintf(lcfwd_log_fp, "[%s] ", stamp);
}

static void rotate() {
    char old_path[PATH_MAX];
    const char *path = lcfwd_log_file_path();
    const int length = std::snprintf(old_path, sizeof old_path, "%s.0", path);
    lcfwd_log_file_close();
    if (length < 0 || static_cast<size_t>(length) >= sizeof old_path) return;
    std::rename(path, old_path);
}

void lcfwd_log_file_write(const char *text) {
    if (!lcfwd_log_file_open()) return;
    stamp_write();
    std::fprintf(lcfwd_log_fp, "%s\n", text);
    std::fflush(lcfwd_log_fp);
    if (std::ftell(lcfwd_log_fp) > LCFWD_LOG_FILE_MAX) rotate();
}

void lcfwd_log_file_close() {
    if (lcfwd_log_fp != nullptr) std::fclose(lcfwd_log_fp);
    lcfwd_log_fp = nullptr;
}
