#include "host/bus/bus_client.h"

#include "host/bus/bus_frame.h"
#include "host/bus/run_directory.h"
#include "host/timer/clock.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

constexpr uint32_t CONNECTIONS_MAX = 16;
constexpr int CONNECT_RETRY_MS = 5;

/* A wish for room, not a need: more of it lets the client run further ahead of a busy process. */
constexpr int SEND_BUFFER = 4 * 1024 * 1024;

struct bus_connection {
    uint32_t sap;
    int fd; /* -1 = not connected */
};

struct bus_client {
    bus_client_config config;
    int epoll;
    uint32_t tokens_given;
    uint32_t connection_count;
    bus_connection connections[CONNECTIONS_MAX];
    uint8_t frame[BUS_FRAME_MAX];
};

/* What is left of a time-out. It ends when the clock says so or, with a clock that stands still, when a wait
 * has taken all of it. */
struct deadline {
    int timeout_ms; /* -1 = none */
    uint64_t begin_ns;
    int slept_ms; /* by naps between attempts */
};

static deadline deadline_make(int timeout_ms) { return {timeout_ms, host_clock_monotonic_ns(), 0}; }

static int deadline_left(const deadline *limit) {
    if (limit->timeout_ms < 0) return -1;
    uint64_t passed = (host_clock_monotonic_ns() - limit->begin_ns) / 1'000'000;
    if (passed < static_cast<uint64_t>(limit->slept_ms)) passed = static_cast<uint64_t>(limit->slept_ms);
    const auto allowed = static_cast<uint64_t>(limit->timeout_ms);
    return passed >= allowed ? 0 : static_cast<int>(allowed - passed);
}

int bus_client_open(const bus_client_config *config, bus_client **out) {
    auto *client = static_cast<bus_client *>(malloc(sizeof(bus_client)));
    if (client == nullptr) return ENOMEM;
    client->config = *config;
    client->tokens_given = 0;
    client->connection_count = 0;
    client->epoll = epoll_create1(EPOLL_CLOEXEC);
    if (client->epoll < 0) {
        const int status = errno;
        free(client);
        return status;
    }
    *out = client;
    return 0;
}

void bus_client_close(bus_client *client) {
    if (client == nullptr) return;
    for (uint32_t i = 0; i < client->connection_count; i++)
        if (client->connections[i].fd >= 0) close(client->connections[i].fd);
    close(client->epoll);
    free(client);
}

int bus_client_fd(const bus_client *client) { return client->epoll; }

static bus_connection *connection_of(bus_client *client, uint32_t sap) {
    for (uint32_t i = 0; i < client->connection_count; i++)
        if (client->connections[i].sap == sap) return &client->connections[i];
    if (client->connection_count == CONNECTIONS_MAX) return nullptr;
    bus_connection *connection = &client->connections[client->connection_count++];
    *connection = {sap, -1};
    return connection;
}

static void connection_end(bus_connection *connection) {
    close(connection->fd);
    connection->fd = -1;
}

/* Only the same user or root may serve us. */
static int server_check(int fd) {
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return errno;
    return credentials.uid == geteuid() || credentials.uid == 0 ? 0 : EPERM;
}

static int connect_fd(int fd, uint32_t slot, uint32_t sap) {
    int directory = -1;
    sockaddr_un address;
    socklen_t length = 0;
    int status = run_directory_open(slot, false, &directory);
    if (status != 0) return status;
    status = run_directory_address(slot, directory, sap, &address, &length);
    if (status == 0 && connect(fd, reinterpret_cast<const sockaddr *>(&address), length) != 0) status = errno;
    close(directory);
    return status == 0 ? server_check(fd) : status;
}

static int connect_once(bus_client *client, bus_connection *connection) {
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return errno;
    /* Root may pass the system's bound; all others take what they get. */
    if (setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &SEND_BUFFER, sizeof SEND_BUFFER) != 0)
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &SEND_BUFFER, sizeof SEND_BUFFER);
    int status = connect_fd(fd, client->config.slot, connection->sap);
    epoll_event event = {};
    event.events = EPOLLIN | EPOLLRDHUP;
    event.data.ptr = connection;
    if (status == 0 && epoll_ctl(client->epoll, EPOLL_CTL_ADD, fd, &event) != 0) status = errno;
    if (status != 0) {
        close(fd);
        return status;
    }
    connection->fd = fd;
    return 0;
}

/* Not there yet, or its list of waiting connections is full. */
static bool may_come(int status) { return status == ENOENT || status == ECONNREFUSED || status == EAGAIN; }

static int connected(bus_client *client, uint32_t sap, deadline *limit, bus_connection **out) {
    bus_connection *connection = connection_of(client, sap);
    if (connection == nullptr) return EMFILE;
    *out = connection;
    while (connection->fd < 0) {
        const int status = connect_once(client, connection);
        if (status == 0) break;
        const int left = deadline_left(limit);
        if (!may_come(status) || left == 0) return status;
        poll(nullptr, 0, CONNECT_RETRY_MS);
        limit->slept_ms += CONNECT_RETRY_MS;
    }
    return 0;
}

int bus_client_connect(bus_client *client, uint32_t sap, int timeout_ms) {
    deadline limit = deadline_make(timeout_ms);
    bus_connection *connection = nullptr;
    return connected(client, sap, &limit, &connection);
}

/* 0; EAGAIN: the time is over; ECONNRESET. */
static int send_frame(bus_connection *connection, const mts_msg *message, bus_frame_kind kind,
                      const deadline *limit) {
    uint8_t header[BUS_FRAME_HEADER];
    bus_frame_encode(message, kind, header);
    iovec parts[2] = {{header, sizeof header}, {message->payload, message->payload_size}};
    msghdr packet = {};
    packet.msg_iov = parts;
    packet.msg_iovlen = message->payload_size == 0 ? 1 : 2;
    for (;;) {
        if (sendmsg(connection->fd, &packet, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0) return 0;
        if (errno == EINTR) continue;
        if (errno == EMSGSIZE) return EMSGSIZE;
        if (errno != EAGAIN && errno != ENOBUFS) {
            connection_end(connection);
            return ECONNRESET;
        }
        const int left = deadline_left(limit);
        pollfd descriptor = {connection->fd, POLLOUT, 0};
        if (left == 0 || poll(&descriptor, 1, left) == 0) return EAGAIN;
    }
}

static mts_msg message_to(const bus_client *client, uint32_t sap, const void *payload, size_t size) {
    mts_msg message = {};
    message.source = client->config.address;
    message.destination = {client->config.slot, sap};
    message.payload = static_cast<uint8_t *>(const_cast<void *>(payload));
    message.payload_size = static_cast<uint32_t>(size);
    return message;
}

int bus_client_request(bus_client *client, const bus_client_message *request, int timeout_ms,
                       uint32_t *token) {
    if (request->payload_size > MTS_PAYLOAD_MAX) return EMSGSIZE;
    deadline limit = deadline_make(timeout_ms);
    bus_connection *connection = nullptr;
    const int status = connected(client, request->sap, &limit, &connection);
    if (status != 0) return status;
    mts_msg message = message_to(client, request->sap, request->payload, request->payload_size);
    message.opcode = request->opcode;
    message.version = request->version;
    message.source_vdc = request->vdc;
    message.flags = MTS_FLAG_REQUEST;
    message.token = client->tokens_given % 0x7fffffffu + 1; /* the process's own tokens have the top bit */
    client->tokens_given++;
    *token = message.token;
    return send_frame(connection, &message, BUS_FRAME_MESSAGE, &limit);
}

int bus_client_respond(bus_client *client, const mts_msg *question, const void *payload, size_t size,
                       int timeout_ms) {
    if (size > MTS_PAYLOAD_MAX) return EMSGSIZE;
    deadline limit = deadline_make(timeout_ms);
    bus_connection *connection = nullptr;
    const int status = connected(client, question->source.sap, &limit, &connection);
    if (status != 0) return status;
    mts_msg message = message_to(client, question->source.sap, payload, size);
    message.source = question->destination;
    message.opcode = question->opcode;
    message.version = question->version;
    message.source_vdc = question->source_vdc;
    message.flags = MTS_FLAG_RESPONSE;
    message.token = question->token;
    return send_frame(connection, &message, BUS_FRAME_MESSAGE, &limit);
}

/* One frame of a connection that is said to be readable. EAGAIN: none after all, or not a frame of this
 * bus. */
static int receive_frame(bus_client *client, bus_connection *connection, mts_msg *message,
                         bus_frame_kind *kind) {
    const ssize_t got = recv(connection->fd, client->frame, sizeof client->frame, MSG_DONTWAIT | MSG_TRUNC);
    if (got < 0 && (errno == EAGAIN || errno == EINTR)) return EAGAIN;
    if (got <= 0) {
        connection_end(connection);
        *message = {};
        message->peer = connection->sap;
        return ECONNRESET;
    }
    if (bus_frame_decode(client->frame, static_cast<size_t>(got), message, kind) != 0) return EAGAIN;
    message->peer = connection->sap;
    return 0;
}

static int receive_kind(bus_client *client, mts_msg *message, bus_frame_kind *kind, const deadline *limit) {
    for (;;) {
        epoll_event event = {};
        const int left = deadline_left(limit);
        const int count = epoll_wait(client->epoll, &event, 1, left);
        if (count < 0 && errno != EINTR) return errno;
        if (count == 0) return EAGAIN;
        if (count < 0) continue;
        const int status =
            receive_frame(client, static_cast<bus_connection *>(event.data.ptr), message, kind);
        if (status != EAGAIN) return status;
    }
}

int bus_client_receive(bus_client *client, mts_msg *message, int timeout_ms) {
    deadline limit = deadline_make(timeout_ms);
    for (;;) {
        bus_frame_kind kind = BUS_FRAME_MESSAGE;
        const int status = receive_kind(client, message, &kind, &limit);
        if (status != 0 || kind == BUS_FRAME_MESSAGE) return status;
    }
}

int bus_client_answer(bus_client *client, uint32_t token, int timeout_ms, bus_client_other other,
                      void *context, mts_msg *message) {
    deadline limit = deadline_make(timeout_ms);
    for (;;) {
        const int status = bus_client_receive(client, message, deadline_left(&limit));
        if (status != 0) return status;
        if ((message->flags & MTS_FLAG_RESPONSE) != 0 && message->token == token) return 0;
        if (other != nullptr) other(context, message);
    }
}

int bus_client_subscribe(bus_client *client, uint32_t via_sap, const bus_subscription *subscription,
                         int timeout_ms) {
    deadline limit = deadline_make(timeout_ms);
    bus_connection *connection = nullptr;
    int status = connected(client, via_sap, &limit, &connection);
    if (status != 0) return status;
    uint8_t payload[BUS_FRAME_SUBSCRIPTION];
    bus_subscription_encode(subscription, payload);
    mts_msg message = message_to(client, via_sap, payload, sizeof payload);
    status = send_frame(connection, &message, BUS_FRAME_SUBSCRIBE, &limit);
    for (bus_frame_kind kind = BUS_FRAME_MESSAGE; status == 0;) {
        pollfd descriptor = {connection->fd, POLLIN, 0};
        if (poll(&descriptor, 1, deadline_left(&limit)) == 0) return ETIMEDOUT;
        status = receive_frame(client, connection, &message, &kind);
        if (status == EAGAIN) status = 0;
        if (status == 0 && kind == BUS_FRAME_SUBSCRIBED) return mts_is_reject(&message) ? ENOSPC : 0;
    }
    return status;
}

int bus_client_subscribe_supervisor(bus_client *client, int timeout_ms) {
    constexpr uint32_t SAP_SYS = 198;
    /* Both ends of the supervisor, 0xfe000000 and 0xfe000001, in whatever context bits 16 to 23 name. */
    const bus_subscription all = {MTS_NODE_UFDM, 0xff00fffe, 0, 0};
    return bus_client_subscribe(client, SAP_SYS, &all, timeout_ms);
}
