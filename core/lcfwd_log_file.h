/* core/lcfwd_log_file.h: the rotating text file of the log. Each line is flushed before the call returns:
 * the last line before a crash is the one that matters. Two generations exist at most. One thread. */
#pragma once

#include <cstdio>

constexpr long LCFWD_LOG_FILE_MAX = 26214400; /* bytes; a file that is longer after a line is put aside */

extern FILE *lcfwd_log_fp; /* null: not open */

/* Writes "[date time.microseconds] text", opening the file and making its directory when needed. A file
 * that cannot be opened is left alone. */
void lcfwd_log_file_write(const char *text);

/* True when the file is open, or could be opened now; else false with errno. */
[[nodiscard]] bool lcfwd_log_file_open();

/* Where the file lies, root included; "" when the path is too long. Valid until the next call. */
[[nodiscard]] const char *lcfwd_log_file_path();

void lcfwd_log_file_close();
