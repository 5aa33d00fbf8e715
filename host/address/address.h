/* host/address/address.h: addresses as text and back, and masks.
 *
 * IPv4 addresses are u32 in host order, IPv6 addresses 16 bytes in network order. The *_str() functions return one of
 * ADDRESS_STR_BUFFERS static buffers in turn: a text stays good for that many calls less one, enough for every
 * address of a log line. One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr unsigned ADDRESS_STR_BUFFERS = 16;

struct ipv6_addr {
    uint8_t bytes[16];
};

enum address_family : uint32_t { ADDRESS_FAMILY_NONE = 0, ADDRESS_FAMILY_V4 = 1, ADDRESS_FAMILY_V6 = 2 };

/* --- text --- */
[[nodiscard]] const char *ip_address_str(uint32_t address);              /* "10.1.2.0" */
[[nodiscard]] const char *ip_prefix_str(uint32_t address, uint8_t bits); /* "10.1.2.0/24" */
/* The shortest form: lower case, the first longest run of two or more zero groups as "::", and IPv4-mapped addresses
 * with the dotted tail. */
[[nodiscard]] const char *ipv6_addr_str(const ipv6_addr *address);
[[nodiscard]] const char *ipv6_addr_str(const uint8_t address[16]);
[[nodiscard]] const char *ipv6_prefix_str(const ipv6_addr *address, uint8_t bits);
[[nodiscard]] const char *mac_addr_str(const uint8_t mac[6]); /* "0a:1b:2c:3d:4e:5f" */

/* --- masks --- */
/* The mask of 'bits' leading ones; 0 gives 0, 32 and more give all ones. */
[[nodiscard]] uint32_t ip_bitstomask(uint8_t bits);
/* The number of leading ones of a mask; -1 when the ones are not contiguous. */
[[nodiscard]] int ip_masktobits(uint32_t mask);
/* Writes the mask of 'bits' leading ones; 128 and more give all ones. */
void ipv6_mask(uint8_t mask[16], uint8_t bits);
/* Clears the bits of an address behind 'bits'. */
void ipv6_addr_mask(ipv6_addr *address, uint8_t bits);
void ipv6_addr_copy(ipv6_addr *to, const ipv6_addr *from);
/* As memcmp(). */
[[nodiscard]] int ipv6_addr_compare(const ipv6_addr *a, const ipv6_addr *b);
[[nodiscard]] bool ipv6_addr_is_zero(const ipv6_addr *address);

/* --- from text --- */
/* An address as text (NUL-terminated, nothing before or behind it): family and network-order bytes, zero behind the
 * four of IPv4. 0, or EINVAL with the arguments untouched. */
[[nodiscard]] int address_parse(const char *text, address_family *family, uint8_t bytes[16]);
/* "address/length"; without a length the address is a host. Host bits may be set and are kept. 0 or EINVAL. */
[[nodiscard]] int prefix_parse(const char *text, address_family *family, uint8_t bytes[16], uint8_t *bits);
/* "xx:xx:xx:xx:xx:xx", or with '-', or "xxxx.xxxx.xxxx". 0 or EINVAL. */
[[nodiscard]] int mac_parse(const char *text, uint8_t mac[6]);
/* Dotted quad to host order. 0 or EINVAL. */
[[nodiscard]] int ip_address_parse(const char *text, uint32_t *address);

/* The bits of one family's longest prefix: 32 or 128; 0 for none. */
[[nodiscard]] inline unsigned address_family_bits(address_family family) {
    return family == ADDRESS_FAMILY_V4 ? 32 : family == ADDRESS_FAMILY_V6 ? 128 : 0;
}
