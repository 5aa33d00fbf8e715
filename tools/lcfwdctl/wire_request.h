/* tools/lcfwdctl/wire_request.h: requests about interfaces, MACs, single routes and adjacencies, and aged routes, as they
 * lie in messages. Numbers are big-endian. */
#pragma once

#include "core/wire.h"
#include "host/address/address.h"

#include <span>
#include <string>
#include <vector>

constexpr uint32_t CTL_OPC_ROUTER_MAC = 74760;
constexpr uint32_t CTL_OPC_RPF = 74761;
constexpr uint32_t CTL_OPC_TUNNEL = 74764;
constexpr uint32_t CTL_OPC_CLEAR_ROUTE = 74771;
constexpr uint32_t CTL_OPC_CLEAR_ADJACENCY = 74772;
constexpr uint32_t CTL_OPC_STATIC_MAC = 74773;
constexpr uint32_t CTL_OPC_AGED = 77843;

[[nodiscard]] std::vector<uint8_t> ctl_router_mac_make(const uint8_t mac[6]);
[[nodiscard]] std::vector<uint8_t> ctl_static_mac_make(uint32_t if_index, const uint8_t mac[6]);

/* Reverse-path mode of one interface and family (4 or 6); 0 clears it. */
[[nodiscard]] std::vector<uint8_t> ctl_rpf_make(uint32_t if_index, uint8_t family, uint8_t mode);

struct ctl_tunnel_form {
    bool add;
    uint8_t type; /* 1 gre, 2 6to4, 3 isatap */
    uint8_t flags;
    uint8_t tos;
    uint8_t ttl;
    uint32_t if_index;
    uint8_t next_hop[4];
    uint8_t source[4];
    uint8_t destination[4];
    uint8_t mac[6];
};
[[nodiscard]] std::vector<uint8_t> ctl_tunnel_make(const ctl_tunnel_form &form);

constexpr uint8_t CTL_CLEAR_ALL = 0x01;
constexpr uint8_t CTL_CLEAR_DELETE = 0x02;
/* 'key' is a table id or an interface; 'address' has 16 bytes. */
[[nodiscard]] std::vector<uint8_t> ctl_clear_make(uint32_t key, uint8_t family, const uint8_t *address,
                                                  uint8_t mask_len, uint8_t flags);
constexpr size_t CTL_CLEAR_BYTES = 27;
[[nodiscard]] bool ctl_clear_failed(std::span<const uint8_t> answer); /* of CTL_CLEAR_BYTES at least */

[[nodiscard]] std::vector<uint8_t> ctl_aged_make(uint32_t table_id, uint8_t family);

struct ctl_aged_route {
    address_family family;
    uint8_t address[16];
    uint8_t mask_len;
};
constexpr size_t CTL_AGED_HEADER = 24;
/* Reads one answer. 0, ENOENT: no such table, or EBADMSG. '*last': no more answers come. */
[[nodiscard]] int ctl_aged_read(std::span<const uint8_t> answer, std::vector<ctl_aged_route> *routes,
                                bool *last);
