/* tools/lcfwdctl/operator_request.h: from words and options to the attributes of a command. */
#pragma once

#include "tools/lcfwdctl/operator_tree.h"
#include "tools/lcfwdctl/options.h"

struct operator_options {
    std::string vrf, interface, next_hop;
    uint32_t table = 0, limit = 0;
    bool vrf_given = false, table_given = false, interface_given = false, next_hop_given = false;
    bool limit_given = false, longer = false, longest = false, detail = false, rnh = false;
    bool statistics = false;
};

/* The rows of these options for ctl_options_parse(). */
[[nodiscard]] std::vector<ctl_option> operator_option_rows(operator_options *options);

/* Whether a command makes no sense without its operand; a switch without one tells its state. */
[[nodiscard]] bool operator_operand_needed(const operator_row &row);

/* The attributes, as bytes of a request; 'operand' may be null. CTL_GOOD, or CTL_USAGE after saying what is wrong. */
[[nodiscard]] int operator_attributes(const operator_row &row, const operator_options &options,
                                      const char *operand, std::vector<uint8_t> *out);
