/* host/trace/trace_file.h: the files in shared memory that rings lie in. Inside host/trace only.
 * Units: bytes. Ownership: a mapping belongs to its opener until trace_file_unmap(). */
#pragma once

#include <cstddef>
#include <cstdint>

struct trace_mapping {
    void *base; /* null: nothing mapped */
    size_t size;
    int fd; /* -1: private memory, or a reader's mapping */
};

/* Maps "/dev/shm/<name>" for writing. A file of another size is replaced, never cut, because its readers
 * still have the old one mapped. A new file is zero. When the file cannot be had the mapping is private
 * memory (fd is -1). 0, or ENOMEM with nothing mapped. */
[[nodiscard]] int trace_file_map(const char *name, size_t size, trace_mapping *out);

/* The same, with memory behind all of the file from the start; without that much the mapping is private
 * memory. */
[[nodiscard]] int trace_file_map_reserved(const char *name, size_t size, trace_mapping *out);

/* Makes sure that the first 'bytes' of the file have memory behind them, so that writing there cannot fail
 * later. 0 or an errno. */
[[nodiscard]] int trace_file_reserve(const trace_mapping *mapping, size_t bytes);

/* Maps an existing file for reading. 0 or an errno; EBADMSG for an empty one. */
[[nodiscard]] int trace_file_map_reader(const char *name, trace_mapping *out);

void trace_file_unmap(trace_mapping *mapping);

[[nodiscard]] int trace_file_make_directory(); /* 0 or an errno */

/* "/dev/shm/<name>" below the root. 0 or ENAMETOOLONG. */
[[nodiscard]] int trace_file_path(const char *name, char *out, size_t out_size);
