/* host/interfaces/interfaces.h: the interfaces and VRF contexts of the machine: one table, filled from a
 * small text file or by calls, and a numbering rule that answers for every interface that the table does not
 * name.
 *
 * The rule: the top byte of an interface index is the type of the interface, and names are made from the
 * rest:
 *   0x01 "mgmt<n>"   0x09 "Vlan<n>"   0x15 "inband<n>"   0x16 "port-channel<n>"   0x17 "Null<n>"
 *   0x18 "Overlay<n>"   0x22 "Tunnel<n>"   (n is the low 24 bits)
 *   0x1a "Ethernet<slot>/<port>"   (slot is the third byte, port the low 16 bits)
 * An index with another top byte has no type.
 *
 * The file: one row a line, '#' begins a comment, words are separated by blanks; numbers are decimal or 0x..
 *   interface INDEX NAME [type N] [vdc N] [mac AA:BB:CC:DD:EE:FF]
 *   context VDC NAME [ipv4 TABLE] [ipv6 TABLE]
 *   bridge-domain VDC VLAN BD
 * An interface without "type" has the type of the rule; without "vdc" it is known in all contexts. As long as
 * no context row names a VDC, that VDC has one context "default" with the tables 1 and 0x80000001. MACs are
 * six bytes in the order of transmission. One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

enum if_index_type : int {
    IF_TYPE_UNKNOWN = -1,
    IF_TYPE_MGMT = 0x01,
    IF_TYPE_SVI = 9,
    IF_TYPE_INBAND = 0x15,
    IF_TYPE_PORT_CHANNEL = 0x16,
    IF_TYPE_NULL = 23,
    IF_TYPE_OVERLAY = 24,
    IF_TYPE_ETHERNET = 0x1a,
    IF_TYPE_TUNNEL = 34,
};

inline constexpr size_t IF_NAME_MAX = 64; /* with the NUL; also of context names */

struct interface_row {
    uint32_t if_index;
    int type;
    uint32_t vdc_id; /* 0: every context */
    bool has_mac;
    uint8_t mac[6];
    char name[IF_NAME_MAX];
};

/* Reads a file ('path' is a path of the caller, not taken below the root) in place of the whole table. 0, an
 * errno, or EBADMSG for a bad row; then the table is unchanged and '*line' (may be null) is the number of the
 * row. */
[[nodiscard]] int interfaces_load(const char *path, uint32_t *line);

/* The same from text in memory; 'size' bytes. */
[[nodiscard]] int interfaces_parse(const char *text, size_t size, uint32_t *line);

/* Adds a row or replaces the one with its index. */
void interfaces_set(const interface_row *row);
[[nodiscard]] const interface_row *interfaces_find(uint32_t if_index); /* null: not in the table */
[[nodiscard]] uint32_t interfaces_count();

/* Process teardown: the table is empty, contexts and counters are as at start. */
void interfaces_reset();

/* ---- interface indexes ---- */
/* The type of an index: of its row, else by the rule; IF_TYPE_UNKNOWN (-1) when neither tells. */
[[nodiscard]] int if_index_get_type(uint32_t if_index);
[[nodiscard]] bool if_index_is_tunnel_intf(uint32_t if_index);
/* The index of the way to this card's own processor, for traffic of high priority. Never 0. */
[[nodiscard]] uint32_t if_index_eth_inband_get_priority_hi();

/* The index of a name, of the table or by the rule. "Null0" always gives an index of type 23. 0 or ENOENT. */
[[nodiscard]] int vsh_interface_name_to_ifindex(const char *name, uint32_t *out);
/* The name of an index, of the table or by the rule, else "if_index 0x..."; always NUL-terminated. */
void if_index_to_name(uint32_t if_index, char *out, size_t out_size);

/* The MAC that routes on an interface: the first asks for all but VLAN interfaces, the second for these. 0 =
 * known, else ENOENT with 'mac' unchanged. */
[[nodiscard]] int ethpm_gldb_get_interface_router_mac(uint32_t if_index, uint32_t vdc_id, uint8_t mac[6]);
[[nodiscard]] int svi_gldb_get_interface_router_mac(uint32_t if_index, uint32_t vdc_id, uint8_t mac[6]);
