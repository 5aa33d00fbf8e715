#include "tools/lcfwdctl/operator_request.h"

#include "host/address/address.h"
#include "host/interfaces/interfaces.h"
#include "host/tlv/tlv.h"
#include "tools/lcfwdctl/table.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

static constexpr uint32_t ATTRIBUTES_MAX = 1024;
static constexpr uint32_t FIRST_TABLE_V4 = 1, FIRST_TABLE_V6 = 0x80000001;

static void number_write(uint8_t *out, uint64_t value, size_t size) {
    for (size_t i = size; i-- > 0; value >>= 8) out[i] = static_cast<uint8_t>(value);
}

struct attribute_writer {
    std::vector<uint8_t> bytes = std::vector<uint8_t>(ATTRIBUTES_MAX);
    tlv_aligned_array array;
    bool fits = true;

    attribute_writer() { static_cast<void>(tlv_array_init(&array, bytes.data(), ATTRIBUTES_MAX)); }
    void add(uint16_t id, const void *data, size_t size) {
        if (tlv_array_add_tlv(&array, id, static_cast<uint16_t>(size), data) != TLV_OK) fits = false;
    }
    void number(uint16_t id, uint64_t value, size_t size) {
        uint8_t data[8];
        number_write(data, value, size);
        add(id, data, size);
    }
    void flag(uint16_t id, bool on) {
        if (on) add(id, nullptr, 0);
    }
};

std::vector<ctl_option> operator_option_rows(operator_options *options) {
    return {ctl_text("--vrf", &options->vrf, &options->vrf_given),
            ctl_number("--table", &options->table, 0, UINT32_MAX, &options->table_given),
            ctl_text("--interface", &options->interface, &options->interface_given),
            ctl_text("--next-hop", &options->next_hop, &options->next_hop_given),
            ctl_number("--limit", &options->limit, 0, UINT32_MAX, &options->limit_given),
            ctl_flag("--longer", &options->longer),
            ctl_flag("--longest", &options->longest),
            ctl_flag("--detail", &options->detail),
            ctl_flag("--rnh", &options->rnh),
            ctl_flag("--statistics", &options->statistics)};
}

static bool options_fit(const operator_row &row, const operator_options &options) {
    const struct {
        bool given;
        uint16_t option;
        const char *name;
    } rows[] = {{options.vrf_given, OPERATOR_TABLE, "--vrf"},
                {options.table_given, OPERATOR_TABLE, "--table"},
                {options.longer, OPERATOR_MATCH, "--longer"},
                {options.longest, OPERATOR_MATCH, "--longest"},
                {options.interface_given, OPERATOR_THROUGH, "--interface"},
                {options.next_hop_given, OPERATOR_THROUGH, "--next-hop"},
                {options.limit_given, OPERATOR_LIMIT, "--limit"},
                {options.detail, OPERATOR_DETAIL, "--detail"},
                {options.rnh, OPERATOR_RNH, "--rnh"},
                {options.statistics, OPERATOR_STATISTICS, "--statistics"}};
    for (const auto &check : rows) {
        if (!check.given || (row.options & check.option) != 0) continue;
        ctl_error("\"%s %s\" takes no %s", row.verb, row.words.c_str(), check.name);
        return false;
    }
    return true;
}

static int no_good(const char *what, const char *text) {
    ctl_error("\"%s\" is no %s", text, what);
    return CTL_USAGE;
}

static int add_prefix(const char *text, address_family wanted, attribute_writer *out) {
    uint8_t address[16], bits = 0;
    address_family family = ADDRESS_FAMILY_NONE;
    if (prefix_parse(text, &family, address, &bits) != 0 || family != wanted)
        return no_good(wanted == ADDRESS_FAMILY_V4 ? "IPv4 prefix" : "IPv6 prefix", text);
    out->add(CMD_ATTR_PREFIX, address, family == ADDRESS_FAMILY_V4 ? 4 : 16);
    out->number(CMD_ATTR_MASK_LENGTH, bits, 1);
    return CTL_GOOD;
}

static int add_number(uint16_t id, size_t size, const char *what, const char *text, attribute_writer *out) {
    char *end = nullptr;
    errno = 0;
    const unsigned long long value = strtoull(text, &end, 0);
    if (*text < '0' || *text > '9' || *end != '\0' || errno != 0 || (size < 8 && value >> (8 * size) != 0))
        return no_good(what, text);
    out->number(id, value, size);
    return CTL_GOOD;
}

static bool is_prefix_history(uint32_t history, bool v6) {
    return v6 ? history == CMD_HISTORY_V6_PFX || history == CMD_HISTORY_V6_RNH
              : history == CMD_HISTORY_V4_PFX || history == CMD_HISTORY_V4_RNH;
}

/* Histories of prefixes are keyed by mask length, table and address; the others by a number, or by bytes that are
 * written in hex. */
static int add_history_key(const operator_row &row, const operator_options &options, const char *text,
                           attribute_writer *out) {
    const bool v4 = is_prefix_history(row.history, false), v6 = is_prefix_history(row.history, true);
    if (v4 || v6) {
        uint8_t key[21], address[16];
        address_family family = ADDRESS_FAMILY_NONE;
        if (prefix_parse(text, &family, address, &key[0]) != 0 ||
            family != (v4 ? ADDRESS_FAMILY_V4 : ADDRESS_FAMILY_V6))
            return no_good("prefix of this history", text);
        const uint32_t size = v4 ? 4 : 16;
        number_write(key + 1, options.table_given ? options.table : v4 ? FIRST_TABLE_V4 : FIRST_TABLE_V6, 4);
        memcpy(key + 5, address, size);
        out->add(CMD_ATTR_HISTORY_KEY, key, 5 + size);
        return CTL_GOOD;
    }
    if (row.history == CMD_HISTORY_VOBJ) return add_number(CMD_ATTR_HISTORY_KEY, 8, "object's id", text, out);
    if (row.history == CMD_HISTORY_V4_ADJ || row.history == CMD_HISTORY_V6_ADJ ||
        row.history == CMD_HISTORY_ECMP || row.history == CMD_HISTORY_MPLS_ADJ ||
        row.history == CMD_HISTORY_MPLS_ECMP)
        return add_number(CMD_ATTR_HISTORY_KEY, 4, "handle", text, out);
    std::vector<uint8_t> key;
    if (!ctl_hex_parse(text, &key) || key.empty() || key.size() > 64) return no_good("key in hex", text);
    out->add(CMD_ATTR_HISTORY_KEY, key.data(), key.size());
    return CTL_GOOD;
}

static int add_operand(const operator_row &row, const operator_options &options, const char *text,
                       attribute_writer *out) {
    switch (row.operand) {
    case OPERAND_NONE: return no_good("word that may follow", text);
    case OPERAND_PREFIX_V4: return add_prefix(text, ADDRESS_FAMILY_V4, out);
    case OPERAND_PREFIX_V6: return add_prefix(text, ADDRESS_FAMILY_V6, out);
    case OPERAND_HANDLE: return add_number(CMD_ATTR_HANDLE, 4, "handle", text, out);
    case OPERAND_VOBJ: return add_number(CMD_ATTR_VOBJ, 8, "object's id", text, out);
    case OPERAND_VLAN: return add_number(CMD_ATTR_VLAN, 2, "VLAN", text, out);
    case OPERAND_HISTORY_KEY: return add_history_key(row, options, text, out);
    case OPERAND_SWITCH: break;
    }
    const bool on = strcmp(text, "on") == 0;
    if (!on && strcmp(text, "off") != 0) return no_good("switch: on or off", text);
    out->number(CMD_ATTR_VALUE, on ? 1 : 0, 4);
    return CTL_GOOD;
}

bool operator_operand_needed(const operator_row &row) {
    return row.operand == OPERAND_HISTORY_KEY && row.value >= 0;
}

static void add_table(const operator_options &options, attribute_writer *out) {
    if (options.table_given) out->number(CMD_ATTR_TABLE, options.table, 4);
    if (!options.vrf_given) return;
    if (options.vrf == "all") {
        out->flag(CMD_ATTR_ALL_VRFS, true);
    } else {
        out->add(CMD_ATTR_VRF, options.vrf.data(), options.vrf.size());
    }
}

static int add_next_hop(const operator_options &options, attribute_writer *out) {
    if (!options.next_hop_given) return CTL_GOOD;
    uint8_t address[16];
    address_family family = ADDRESS_FAMILY_NONE;
    if (address_parse(options.next_hop.c_str(), &family, address) != 0)
        return no_good("address", options.next_hop.c_str());
    out->add(CMD_ATTR_NEXT_HOP, address, family == ADDRESS_FAMILY_V4 ? 4 : 16);
    return CTL_GOOD;
}

/* By its index, or by a name that tells it. */
static int add_interface(const operator_options &options, attribute_writer *out) {
    const char *text = options.interface.c_str();
    uint32_t if_index = 0;
    if (!options.interface_given) return CTL_GOOD;
    if (!ctl_number_parse(text, 0, UINT32_MAX, &if_index) &&
        vsh_interface_name_to_ifindex(text, &if_index) != 0)
        return no_good("interface", text);
    out->number(CMD_ATTR_IF_INDEX, if_index, 4);
    return CTL_GOOD;
}

/* An address without a length asks for the route that it takes. */
static bool wants_longest(const operator_row &row, const operator_options &options, const char *operand) {
    const bool address = operand != nullptr && strchr(operand, '/') == nullptr && !options.longer;
    return options.longest || (address && (row.options & OPERATOR_MATCH) != 0);
}

int operator_attributes(const operator_row &row, const operator_options &options, const char *operand,
                        std::vector<uint8_t> *out) {
    if (!options_fit(row, options)) return CTL_USAGE;
    attribute_writer writer;
    int status = CTL_GOOD;
    if (operand == nullptr && operator_operand_needed(row)) {
        ctl_error("\"%s %s\" needs %s", row.verb, row.words.c_str(), operator_operand_text(row.operand));
        return CTL_USAGE;
    }
    if (operand != nullptr) status = add_operand(row, options, operand, &writer);
    if (status == CTL_GOOD) status = add_interface(options, &writer);
    if (status == CTL_GOOD) status = add_next_hop(options, &writer);
    if (status != CTL_GOOD) return status;
    if (row.history == 0) add_table(options, &writer);
    if (row.history != 0) writer.number(CMD_ATTR_HISTORY, row.history, 4);
    if (row.show_class != 0) writer.number(CMD_ATTR_CLASS, row.show_class, 1);
    if (row.value >= 0) writer.number(CMD_ATTR_VALUE, static_cast<uint64_t>(row.value), 4);
    if (options.limit_given) writer.number(CMD_ATTR_LIMIT, options.limit, 4);
    writer.flag(CMD_ATTR_LONGER, options.longer);
    writer.flag(CMD_ATTR_LONGEST, wants_longest(row, options, operand));
    writer.flag(CMD_ATTR_DETAIL, options.detail);
    writer.flag(CMD_ATTR_RNH, options.rnh);
    writer.flag(CMD_ATTR_STATISTICS, options.statistics);
    if (!writer.fits) return no_good("name of that length", options.vrf.c_str());
    writer.bytes.resize(tlv_aligned_array_size_get(writer.bytes.data()));
    *out = std::move(writer.bytes);
    return CTL_GOOD;
}
