/* host/bus/run_directory.h: where the sockets of a slot lie, and their addresses, however long the root
 * directory's name is. Used by both ends. */
#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/socket.h>
#include <sys/un.h>

constexpr size_t RUN_PATH_MAX = 4096;

/* The directory of 'slot', as a path of the machine. 0 or ENAMETOOLONG. */
[[nodiscard]] int run_directory_path(uint32_t slot, char out[RUN_PATH_MAX]);

/* Opens the directory: '*fd' is owned by the caller. With 'make' it is made, private to the user; one that
 * belongs to another user gives EPERM. Without, a missing one gives ENOENT. */
[[nodiscard]] int run_directory_open(uint32_t slot, bool make, int *fd);

/* Address of the socket of 'sap'. A socket's name has room for 107 bytes only; a longer one is reached
 * through the open directory, "/proc/self/fd/<fd>/sap<sap>". */
[[nodiscard]] int run_directory_address(uint32_t slot, int directory_fd, uint32_t sap, sockaddr_un *address,
                                        socklen_t *length);

/* Name of the socket of 'sap' inside the directory. */
constexpr size_t RUN_NAME_MAX = 32;
void run_socket_name(uint32_t sap, char out[RUN_NAME_MAX]);
