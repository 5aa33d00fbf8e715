#include "host/bus/socket_peer.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <new>

/* The peers whose frames a queue takes next, as a list through the places. */
struct ready_list {
    uint32_t first; /* place + 1; 0 = empty */
    uint32_t last;
};

static struct {
    socket_peer peers[SOCKET_PEERS_MAX];
    bool made;                        /* the places are marked free */
    ready_list ready[MTS_QUEUES_MAX]; /* by handle - 1 */
} table;

static constexpr uint32_t GENERATION = 1u << 16; /* above the place in an id */

static void table_make() {
    if (table.made) return;
    for (uint32_t i = 0; i < SOCKET_PEERS_MAX; i++) {
        table.peers[i].fd = -1;
        table.peers[i].id = GENERATION | i;
    }
    table.made = true;
}

uint32_t socket_peer_place(const socket_peer *peer) { return static_cast<uint32_t>(peer - table.peers); }

socket_peer *socket_peer_at(uint32_t place) {
    if (!table.made || place >= SOCKET_PEERS_MAX || table.peers[place].fd < 0) return nullptr;
    return &table.peers[place];
}

socket_peer *socket_peer_find(uint32_t id) {
    socket_peer *peer = socket_peer_at(id % GENERATION);
    return peer != nullptr && peer->id == id ? peer : nullptr;
}

static bool peer_is_trusted(int fd) {
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return false;
    return credentials.uid == geteuid() || credentials.uid == 0;
}

int socket_peer_add(int fd, uint32_t queue, socket_peer **out) {
    table_make();
    if (!peer_is_trusted(fd)) return EPERM;
    for (socket_peer &peer : table.peers) {
        if (peer.fd >= 0) continue;
        const uint32_t id = peer.id + GENERATION;
        peer = {};
        peer.fd = fd;
        peer.id = id;
        peer.queue = queue;
        peer.backlog.bytes_max = SOCKET_PEER_BACKLOG;
        /* The system bounds it; the largest frame must fit whatever the default is. */
        const int send_buffer = 4 * static_cast<int>(BUS_FRAME_MAX);
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &send_buffer, sizeof send_buffer);
        mts_counts.peers++;
        *out = &peer;
        return 0;
    }
    return ENFILE;
}

static void ready_push(socket_peer *peer) {
    ready_list &list = table.ready[peer->queue - 1];
    const uint32_t link = socket_peer_place(peer) + 1;
    peer->next_ready = 0;
    peer->ready = true;
    if (list.last == 0)
        list.first = link;
    else
        table.peers[list.last - 1].next_ready = link;
    list.last = link;
}

static socket_peer *ready_pop(uint32_t queue) {
    ready_list &list = table.ready[queue - 1];
    if (list.first == 0) return nullptr;
    socket_peer *peer = &table.peers[list.first - 1];
    list.first = peer->next_ready;
    if (list.first == 0) list.last = 0;
    peer->ready = false;
    return peer;
}

void socket_peer_ready(socket_peer *peer) {
    if (!peer->ready) ready_push(peer);
}

void socket_peer_close(socket_peer *peer) {
    if (peer->ready) {
        /* Rare, so the list is simply turned once round. */
        ready_list &list = table.ready[peer->queue - 1];
        for (uint32_t last = list.last;;) {
            socket_peer *other = ready_pop(peer->queue);
            const bool end = socket_peer_place(other) + 1 == last;
            if (other != peer) ready_push(other);
            if (end) break;
        }
    }
    close(peer->fd);
    peer->fd = -1;
    frame_fifo_free(&peer->backlog);
    mts_counts.peers--;
}

void socket_peers_reset() {
    for (uint32_t i = 0; i < SOCKET_PEERS_MAX; i++)
        if (socket_peer *peer = socket_peer_at(i); peer != nullptr) socket_peer_close(peer);
    table.made = false;
}

/* An empty packet and the end of the connection both read as 0 bytes: it is the end when the other side has
 * closed and nothing more is there. */
static bool is_end(const socket_peer *peer) {
    int left = 0;
    pollfd state = {peer->fd, POLLIN | POLLRDHUP, 0};
    if (poll(&state, 1, 0) < 1 || (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) == 0) return false;
    return ioctl(peer->fd, SIOCINQ, &left) != 0 || left == 0;
}

/* One frame of one peer. EAGAIN: none now; EPIPE: the connection has ended. */
static int peer_receive(socket_peer *peer, uint8_t *buffer, size_t *size) {
    for (int attempt = 0; attempt < 3; attempt++) {
        const ssize_t got = recv(peer->fd, buffer, BUS_FRAME_MAX, MSG_DONTWAIT | MSG_TRUNC);
        if (got > 0 || (got == 0 && !is_end(peer))) {
            *size = static_cast<size_t>(got);
            return 0;
        }
        if (got == 0) return EPIPE;
        if (errno == EAGAIN) return EAGAIN;
        /* A reset is told once; the frames that were sent before it are still to be had. */
        if (errno != ECONNRESET && errno != EINTR) return EPIPE;
    }
    return EAGAIN;
}

int socket_peers_receive(uint32_t queue, uint8_t *buffer, size_t *size, uint32_t *from) {
    for (socket_peer *peer = ready_pop(queue); peer != nullptr; peer = ready_pop(queue)) {
        const int status = peer_receive(peer, buffer, size);
        if (status == 0) {
            *from = peer->id;
            ready_push(peer);
            return 0;
        }
        if (status == EPIPE) socket_peer_close(peer);
    }
    return EAGAIN;
}

/* 0, EAGAIN, ENOBUFS (more than the socket ever takes), or EHOSTUNREACH. */
static int send_now(socket_peer *peer, const iovec *parts, size_t count) {
    msghdr packet = {};
    packet.msg_iov = const_cast<iovec *>(parts);
    packet.msg_iovlen = count;
    for (int attempt = 0; attempt < 3; attempt++) {
        if (sendmsg(peer->fd, &packet, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) return 0;
        if (errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM) return EAGAIN;
        if (errno == EMSGSIZE) return ENOBUFS;
        if (errno != EINTR && errno != ECONNRESET) break;
    }
    /* What the other end sent before it closed is still read; it only cannot be told anything any more. */
    frame_fifo_free(&peer->backlog);
    peer->gone = true;
    return EHOSTUNREACH;
}

int socket_peer_send(socket_peer *peer, const uint8_t header[BUS_FRAME_HEADER], const mts_msg *message) {
    if (peer->gone) return EHOSTUNREACH;
    if (peer->backlog.count != 0) socket_peer_flush(peer); /* a long answer: its reader may have caught up */
    if (peer->backlog.count == 0) {
        const iovec parts[2] = {{const_cast<uint8_t *>(header), BUS_FRAME_HEADER},
                                {message->payload, message->payload_size}};
        const int status = send_now(peer, parts, message->payload_size == 0 ? 1 : 2);
        if (status != EAGAIN) return status;
    }
    return frame_fifo_push(&peer->backlog, 0, header, BUS_FRAME_HEADER, message->payload,
                           message->payload_size);
}

void socket_peer_flush(socket_peer *peer) {
    frame_view frame;
    while (frame_fifo_front(&peer->backlog, &frame)) {
        const iovec part = {frame.bytes, frame.size};
        const int status = send_now(peer, &part, 1);
        if (status == EAGAIN || status == EHOSTUNREACH) return;
        frame_fifo_pop(&peer->backlog);
    }
    if (peer->backlog.capacity != 0) frame_fifo_free(&peer->backlog);
}
