/* tools/lcfwdctl/line_reader.h: a text file line by line, plain, from the standard input ("-"), or through the xz
 * program when its first bytes say that it is compressed. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct ctl_line_reader;

/* 0, or -1 with the reason in '*error'. */
[[nodiscard]] int ctl_line_reader_open(const char *path, ctl_line_reader **out, std::string *error);

/* The next line, its end included; valid until the next call. False at the end. Lines over 4095 bytes come in
 * pieces. */
[[nodiscard]] bool ctl_line_reader_next(ctl_line_reader *reader, const char **line);

/* 0; -1 with the reason in '*error' (may be null) when reading or unpacking has failed: what was read is then not
 * the whole file. */
[[nodiscard]] int ctl_line_reader_close(ctl_line_reader *reader, std::string *error);
