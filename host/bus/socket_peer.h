/* host/bus/socket_peer.h: the connections of the socket transport: who may connect, what each may be sent,
 * and which of them have something to read. For host/bus/ only. */
#pragma once

#include "host/bus/bus_private.h"

/* Bounds: connections of the process, and bytes that wait for one that does not read. */
constexpr uint32_t SOCKET_PEERS_MAX = 256;
constexpr size_t SOCKET_PEER_BACKLOG = 512 * 1024;

struct socket_peer {
    int fd;              /* -1 = free place */
    uint32_t id;         /* place and generation: an id is never used for two connections in a row */
    uint32_t queue;      /* handle */
    bool ready;          /* in its queue's ready list: may have something to read */
    bool gone;           /* cannot be sent to any more; what it sent before is still to be read */
    uint32_t next_ready; /* place + 1; 0 = last */
    uint32_t subscription_count;
    bus_subscription subscriptions[MTS_SUBSCRIPTIONS_PER_PEER];
    frame_fifo backlog; /* frames that the socket did not take */
};

/* Takes the connection 'fd' for a queue. EPERM: of another user; ENFILE: no place left. The descriptor is the
 * peer's on 0 only. */
[[nodiscard]] int socket_peer_add(int fd, uint32_t queue, socket_peer **out);

socket_peer *socket_peer_at(uint32_t place); /* null when the place is free */
socket_peer *socket_peer_find(uint32_t id);  /* null when that connection has gone */
uint32_t socket_peer_place(const socket_peer *peer);

void socket_peer_close(socket_peer *peer);
void socket_peers_reset(); /* closes all */

/* Puts the peer behind the others that its queue will read from; once is enough. */
void socket_peer_ready(socket_peer *peer);
/* The next frame of a queue, the peers taken in turn. EAGAIN: none. */
[[nodiscard]] int socket_peers_receive(uint32_t queue, uint8_t *buffer, size_t *size, uint32_t *peer);

/* Sends now or puts into the backlog. ENOBUFS: backlog full; EHOSTUNREACH: the other end has gone. */
[[nodiscard]] int socket_peer_send(socket_peer *peer, const uint8_t header[BUS_FRAME_HEADER],
                                   const mts_msg *message);
/* Sends from the backlog what the socket takes. */
void socket_peer_flush(socket_peer *peer);
