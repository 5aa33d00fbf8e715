#include "host/address/address.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>

/* The longest text: an IPv6 prefix with a dotted tail. */
static constexpr size_t TEXT_BYTES = 56;

static char *next_buffer() {
    static char buffers[ADDRESS_STR_BUFFERS][TEXT_BYTES];
    static unsigned turn;
    return buffers[turn++ % ADDRESS_STR_BUFFERS];
}

/* --- formatting: each writes at 'at' and returns the end --- */

static char *decimal_put(char *at, unsigned value) {
    if (value >= 100) *at++ = static_cast<char>('0' + value / 100);
    if (value >= 10) *at++ = static_cast<char>('0' + value / 10 % 10);
    *at++ = static_cast<char>('0' + value % 10);
    return at;
}

static char hex_digit(unsigned value) { return "0123456789abcdef"[value & 15]; }

static char *hex_put(char *at, unsigned value) {
    for (int shift = 12; shift > 0; shift -= 4)
        if (value >> shift != 0) *at++ = hex_digit(value >> shift);
    *at++ = hex_digit(value);
    return at;
}

static char *dotted_put(char *at, const uint8_t bytes[4]) {
    for (int i = 0; i < 4; i++) {
        if (i > 0) *at++ = '.';
        at = decimal_put(at, bytes[i]);
    }
    return at;
}

static char *v4_put(char *at, uint32_t address) {
    const uint8_t bytes[4] = {static_cast<uint8_t>(address >> 24), static_cast<uint8_t>(address >> 16),
                              static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address)};
    return dotted_put(at, bytes);
}

struct group_run {
    unsigned first, count;
};

/* The first of the longest runs of zero groups; a single zero is no run. */
static group_run longest_zero_run(const unsigned groups[8], unsigned group_count) {
    group_run best{group_count, 0}, here{0, 0};
    for (unsigned i = 0; i < group_count; i++) {
        here = groups[i] != 0 ? group_run{i + 1, 0} : group_run{here.first, here.count + 1};
        if (here.count > best.count && here.count > 1) best = here;
    }
    return best;
}

static char *v6_put(char *at, const uint8_t bytes[16]) {
    static constexpr uint8_t mapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    const bool is_mapped = std::memcmp(bytes, mapped, sizeof mapped) == 0;
    const unsigned group_count = is_mapped ? 6 : 8;
    unsigned groups[8];
    for (unsigned i = 0; i < 8; i++) groups[i] = static_cast<unsigned>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    const group_run zeros = longest_zero_run(groups, group_count);
    for (unsigned i = 0; i < group_count; i++) {
        if (zeros.count != 0 && i == zeros.first) {
            *at++ = ':';
            *at++ = ':';
            i += zeros.count - 1;
            continue;
        }
        if (i > 0 && at[-1] != ':') *at++ = ':';
        at = hex_put(at, groups[i]);
    }
    if (!is_mapped) return at;
    *at++ = ':';
    return dotted_put(at, bytes + 12);
}

static char *bits_put(char *at, uint8_t bits) {
    *at++ = '/';
    return decimal_put(at, bits);
}

const char *ip_address_str(uint32_t address) {
    char *text = next_buffer();
    *v4_put(text, address) = '\0';
    return text;
}

const char *ip_prefix_str(uint32_t address, uint8_t bits) {
    char *text = next_buffer();
    *bits_put(v4_put(text, address), bits) = '\0';
    return text;
}

const char *ipv6_addr_str(const uint8_t address[16]) {
    char *text = next_buffer();
    *v6_put(text, address) = '\0';
    return text;
}

const char *ipv6_addr_str(const ipv6_addr *address) { return ipv6_addr_str(address->bytes); }

const char *ipv6_prefix_str(const ipv6_addr *address, uint8_t bits) {
    char *text = next_buffer();
    *bits_put(v6_put(text, address->bytes), bits) = '\0';
    return text;
}

const char *mac_addr_str(const uint8_t mac[6]) {
    char *text = next_buffer(), *at = text;
    for (int i = 0; i < 6; i++) {
        if (i > 0) *at++ = ':';
        *at++ = hex_digit(mac[i] >> 4);
        *at++ = hex_digit(mac[i]);
    }
    *at = '\0';
    return text;
}

/* --- masks --- */

uint32_t ip_bitstomask(uint8_t bits) {
    if (bits == 0) return 0;
    return bits >= 32 ? ~uint32_t{0} : ~uint32_t{0} << (32 - bits);
}

int ip_masktobits(uint32_t mask) {
    if (mask == 0) return 0;
    const int bits = mask == ~uint32_t{0} ? 32 : __builtin_clz(~mask);
    return mask == ip_bitstomask(static_cast<uint8_t>(bits)) ? bits : -1;
}

void ipv6_mask(uint8_t mask[16], uint8_t bits) {
    for (unsigned i = 0; i < 16; i++) {
        const unsigned above = i * 8;
        const unsigned here = bits <= above ? 0 : bits - above >= 8 ? 8 : bits - above;
        mask[i] = static_cast<uint8_t>(0xff00u >> here);
    }
}

void ipv6_addr_mask(ipv6_addr *address, uint8_t bits) {
    uint8_t mask[16];
    ipv6_mask(mask, bits);
    for (unsigned i = 0; i < 16; i++) address->bytes[i] &= mask[i];
}

void ipv6_addr_copy(ipv6_addr *to, const ipv6_addr *from) {
    std::memmove(to->bytes, from->bytes, sizeof to->bytes);
}

int ipv6_addr_compare(const ipv6_addr *a, const ipv6_addr *b) { return std::memcmp(a->bytes, b->bytes, 16); }

bool ipv6_addr_is_zero(const ipv6_addr *address) {
    static constexpr ipv6_addr zero{};
    return ipv6_addr_compare(address, &zero) == 0;
}

/* --- from text --- */

/* 'length' bytes of 'text' as an address; they need not be terminated. */
static int address_parse_part(const char *text, size_t length, address_family *family, uint8_t bytes[16]) {
    char copy[INET6_ADDRSTRLEN];
    uint8_t parsed[16] = {};
    if (length >= sizeof copy) return EINVAL;
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    const bool is_v6 = std::strchr(copy, ':') != nullptr;
    if (inet_pton(is_v6 ? AF_INET6 : AF_INET, copy, parsed) != 1) return EINVAL;
    *family = is_v6 ? ADDRESS_FAMILY_V6 : ADDRESS_FAMILY_V4;
    std::memcpy(bytes, parsed, sizeof parsed);
    return 0;
}

int address_parse(const char *text, address_family *family, uint8_t bytes[16]) {
    return address_parse_part(text, std::strlen(text), family, bytes);
}

/* A whole decimal number of at most three digits. */
static int bits_parse(const char *text, unsigned *bits) {
    unsigned value = 0, digits = 0;
    for (; text[digits] >= '0' && text[digits] <= '9' && digits < 3; digits++)
        value = value * 10 + static_cast<unsigned>(text[digits] - '0');
    if (digits == 0 || text[digits] != '\0') return EINVAL;
    *bits = value;
    return 0;
}

int prefix_parse(const char *text, address_family *family, uint8_t bytes[16], uint8_t *bits) {
    const char *slash = std::strchr(text, '/');
    const size_t length = slash != nullptr ? static_cast<size_t>(slash - text) : std::strlen(text);
    address_family found;
    uint8_t parsed[16];
    if (address_parse_part(text, length, &found, parsed) != 0) return EINVAL;
    unsigned value = address_family_bits(found);
    if (slash != nullptr && (bits_parse(slash + 1, &value) != 0 || value > address_family_bits(found)))
        return EINVAL;
    *family = found;
    *bits = static_cast<uint8_t>(value);
    std::memcpy(bytes, parsed, sizeof parsed);
    return 0;
}

static int hex_value(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

int mac_parse(const char *text, uint8_t mac[6]) {
    const bool dotted = std::strlen(text) == 14;
    if (!dotted && std::strlen(text) != 17) return EINVAL;
    const unsigned group = dotted ? 4 : 2;
    const char separator = dotted ? '.' : text[2];
    if (!dotted && separator != ':' && separator != '-') return EINVAL;
    uint8_t parsed[6] = {};
    for (unsigned digit = 0; digit < 12; digit++) {
        if (digit > 0 && digit % group == 0 && *text++ != separator) return EINVAL;
        const int value = hex_value(*text++);
        if (value < 0) return EINVAL;
        parsed[digit / 2] = static_cast<uint8_t>(parsed[digit / 2] << 4 | value);
    }
    std::memcpy(mac, parsed, sizeof parsed);
    return 0;
}

int ip_address_parse(const char *text, uint32_t *address) {
    address_family family;
    uint8_t bytes[16];
    if (address_parse(text, &family, bytes) != 0 || family != ADDRESS_FAMILY_V4) return EINVAL;
    *address = static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
               static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
    return 0;
}
