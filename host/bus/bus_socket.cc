/* The socket transport: one listening SOCK_SEQPACKET socket for each SAP, all of them and their connections
 * watched by one epoll descriptor. */
#include "host/bus/bus_private.h"
#include "host/bus/run_directory.h"
#include "host/bus/socket_peer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

constexpr int LISTEN_BACKLOG = 64;
constexpr int ACCEPTS_PER_LOOK = 64;
constexpr int EVENTS_PER_LOOK = 64;

/* What an epoll event belongs to: a kind in the high word, an id in the low one. */
constexpr uint64_t WATCH_WAKE = 0;
constexpr uint64_t WATCH_LISTENER = 1ull << 32; /* + queue handle */
constexpr uint64_t WATCH_PEER = 2ull << 32;     /* + peer id */

static struct {
    uint32_t slot;
    int directory;
    int lock;
    int epoll;
    int wake;
    int spare;                     /* given up to take, and refuse, a connection when descriptors run out */
    int listeners[MTS_QUEUES_MAX]; /* by queue handle - 1; -1 = none */
    bool open;
} sock;

static int watch(int fd, uint32_t events, uint64_t what) {
    epoll_event event = {};
    event.events = events;
    event.data.u64 = what;
    return epoll_ctl(sock.epoll, EPOLL_CTL_ADD, fd, &event) == 0 ? 0 : errno;
}

static void close_fd(int *fd) {
    if (*fd >= 0) close(*fd);
    *fd = -1;
}

static void socket_close() {
    if (!sock.open) return;
    socket_peers_reset();
    for (uint32_t i = 0; i < MTS_QUEUES_MAX; i++) {
        const mts_queue *queue = mts_queue_find(i + 1);
        if (sock.listeners[i] < 0 || queue == nullptr) continue;
        char name[RUN_NAME_MAX];
        run_socket_name(queue->sap, name);
        unlinkat(sock.directory, name, 0);
        close_fd(&sock.listeners[i]);
    }
    close_fd(&sock.wake);
    close_fd(&sock.spare);
    close_fd(&sock.epoll);
    close_fd(&sock.lock);
    close_fd(&sock.directory);
    sock.open = false;
}

/* The lock tells a running process from sockets that a dead one left: it goes with the process, however that
 * ends. */
static int lock_slot() {
    sock.lock = openat(sock.directory, "lock", O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (sock.lock < 0) return errno;
    if (flock(sock.lock, LOCK_EX | LOCK_NB) == 0) return 0;
    return errno == EWOULDBLOCK ? EADDRINUSE : errno;
}

static int open_descriptors(uint32_t slot) {
    int status = run_directory_open(slot, true, &sock.directory);
    if (status != 0) return status;
    status = lock_slot();
    if (status != 0) return status;
    sock.epoll = epoll_create1(EPOLL_CLOEXEC);
    sock.wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    sock.spare = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (sock.epoll < 0 || sock.wake < 0) return EMFILE;
    return watch(sock.wake, EPOLLIN, WATCH_WAKE);
}

static void say_open_error(uint32_t slot, int status) {
    char path[RUN_PATH_MAX];
    if (run_directory_path(slot, path) != 0)
        mts_error_set("the root directory's name is too long");
    else if (status == EADDRINUSE)
        mts_error_set("another process serves slot %u (it holds %s/lock)", slot, path);
    else if (status == EPERM)
        mts_error_set("run directory %s belongs to another user", path);
    else
        mts_error_set("cannot use run directory %s: %s", path, strerror(status));
}

static int socket_open(const mts_config *config) {
    sock = {config->slot, -1, -1, -1, -1, -1, {}, true};
    for (int &listener : sock.listeners) listener = -1;
    const int status = open_descriptors(config->slot);
    if (status != 0) {
        say_open_error(config->slot, status);
        socket_close();
        return status;
    }
    mts_wake_fd_set(sock.wake);
    return 0;
}

static int listen_at(int fd, uint32_t sap) {
    sockaddr_un address;
    socklen_t length;
    char name[RUN_NAME_MAX];
    run_socket_name(sap, name);
    const int status = run_directory_address(sock.slot, sock.directory, sap, &address, &length);
    if (status != 0) return status;
    if (unlinkat(sock.directory, name, 0) != 0 && errno != ENOENT) return errno;
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), length) != 0) return errno;
    if (fchmodat(sock.directory, name, 0600, 0) != 0) return errno;
    return listen(fd, LISTEN_BACKLOG) == 0 ? 0 : errno;
}

static int socket_bind(mts_queue *queue) {
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return errno;
    int status = listen_at(fd, queue->sap);
    if (status == 0) status = watch(fd, EPOLLIN, WATCH_LISTENER | queue->handle);
    if (status != 0) {
        mts_error_set("cannot bind SAP %u in the run directory of slot %u: %s", queue->sap, sock.slot,
                      strerror(status));
        close(fd);
        return status;
    }
    sock.listeners[queue->handle - 1] = fd;
    return 0;
}

/* Without a free descriptor a waiting connection cannot even be refused, and would wake us for ever. */
static void refuse_one(int listener) {
    close_fd(&sock.spare);
    const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd >= 0) close(fd);
    sock.spare = open("/dev/null", O_RDONLY | O_CLOEXEC);
    mts_counts.refused_peers++;
}

static void take_connection(int fd, uint32_t queue) {
    socket_peer *peer = nullptr;
    const int status = socket_peer_add(fd, queue, &peer);
    if (status != 0) {
        if (status == EPERM)
            mts_counts.foreign_senders++;
        else
            mts_counts.refused_peers++;
        close(fd);
        return;
    }
    if (watch(fd, EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET, WATCH_PEER | peer->id) != 0) {
        mts_counts.refused_peers++;
        socket_peer_close(peer);
        return;
    }
    socket_peer_ready(peer); /* it may have sent before it was taken */
}

static void accept_all(uint32_t queue) {
    const int listener = sock.listeners[queue - 1];
    for (int i = 0; i < ACCEPTS_PER_LOOK; i++) {
        const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd >= 0) {
            take_connection(fd, queue);
        } else if (errno == EMFILE || errno == ENFILE) {
            refuse_one(listener);
            return;
        } else {
            return;
        }
    }
}

static void peer_event(uint32_t id, uint32_t events) {
    socket_peer *peer = socket_peer_find(id);
    if (peer == nullptr) return;
    if ((events & EPOLLHUP) != 0) peer->gone = true;
    if ((events & EPOLLOUT) != 0 && !peer->gone) socket_peer_flush(peer);
    if ((events & ~static_cast<uint32_t>(EPOLLOUT)) != 0) socket_peer_ready(peer);
}

static void event_dispatch(const epoll_event *event) {
    const uint64_t what = event->data.u64;
    const auto id = static_cast<uint32_t>(what);
    if (what >= WATCH_PEER) {
        peer_event(id, event->events);
    } else if (what >= WATCH_LISTENER) {
        accept_all(id);
    } else {
        uint64_t count;
        if (read(sock.wake, &count, sizeof count) < 0) count = 0;
        mts_woken = false;
    }
}

/* Takes in what epoll knows, without waiting. '*any' tells whether there was something. */
static int look(bool *any) {
    epoll_event events[EVENTS_PER_LOOK];
    const int count = epoll_wait(sock.epoll, events, EVENTS_PER_LOOK, 0);
    *any = count > 0;
    if (count < 0) return errno == EINTR ? 0 : errno;
    for (int i = 0; i < count; i++) event_dispatch(&events[i]);
    return 0;
}

static int socket_wait(int64_t timeout_ns) {
    bool any = false;
    const int status = look(&any);
    if (status != 0 || any || timeout_ns == 0) return status;
    timespec limit = {};
    limit.tv_sec = static_cast<time_t>(timeout_ns / 1'000'000'000);
    limit.tv_nsec = static_cast<long>(timeout_ns % 1'000'000'000);
    pollfd descriptor = {sock.epoll, POLLIN, 0};
    if (ppoll(&descriptor, 1, timeout_ns < 0 ? nullptr : &limit, nullptr) < 0)
        return errno == EINTR ? 0 : errno;
    return look(&any);
}

static int socket_receive(mts_queue *queue, uint8_t *buffer, size_t *size, uint32_t *peer) {
    return socket_peers_receive(queue->handle, buffer, size, peer);
}

static bool peer_wants(const socket_peer *peer, const mts_address *address) {
    for (uint32_t i = 0; i < peer->subscription_count; i++)
        if (bus_subscription_matches(&peer->subscriptions[i], address)) return true;
    return false;
}

/* A notice goes to all who asked for the address; a question to the first of them, since one answer is
 * wanted. */
static int send_to_address(const mts_msg *message, const uint8_t header[BUS_FRAME_HEADER]) {
    int worst = EHOSTUNREACH;
    bool delivered = false;
    for (uint32_t place = 0; place < SOCKET_PEERS_MAX; place++) {
        socket_peer *peer = socket_peer_at(place);
        if (peer == nullptr || !peer_wants(peer, &message->destination)) continue;
        const int status = socket_peer_send(peer, header, message);
        if (status == 0) delivered = true;
        if (status == ENOBUFS) worst = ENOBUFS;
        if (delivered && (message->flags & MTS_FLAG_REQUEST) != 0) return 0;
    }
    return delivered ? 0 : worst;
}

static int socket_send(const mts_msg *message, bus_frame_kind kind) {
    uint8_t header[BUS_FRAME_HEADER];
    bus_frame_encode(message, kind, header);
    if (message->peer == 0) return send_to_address(message, header);
    socket_peer *peer = socket_peer_find(message->peer);
    return peer == nullptr ? EHOSTUNREACH : socket_peer_send(peer, header, message);
}

static int socket_subscribe(uint32_t id, const bus_subscription *subscription) {
    socket_peer *peer = socket_peer_find(id);
    if (peer == nullptr || peer->subscription_count >= MTS_SUBSCRIPTIONS_PER_PEER) return ENOSPC;
    peer->subscriptions[peer->subscription_count++] = *subscription;
    return 0;
}

const mts_transport mts_socket_transport = {
    .open = socket_open,
    .close = socket_close,
    .bind = socket_bind,
    .receive = socket_receive,
    .wait = socket_wait,
    .send = socket_send,
    .subscribe = socket_subscribe,
};
