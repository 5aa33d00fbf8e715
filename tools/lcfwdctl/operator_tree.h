/* tools/lcfwdctl/operator_tree.h: the operators' commands as words: "show ip route summary" and what the process is
 * asked for it. One table gives the parsing, the help, the completion and the report of everything. */
#pragma once

#include "diag/command_numbers.h"
#include "host/command/command_wire.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/* What may stand behind the words. */
enum operator_operand : uint8_t {
    OPERAND_NONE,
    OPERAND_PREFIX_V4, /* optional, as all but the switch */
    OPERAND_PREFIX_V6,
    OPERAND_HANDLE,
    OPERAND_VOBJ,
    OPERAND_VLAN,
    OPERAND_SWITCH,      /* on or off */
    OPERAND_HISTORY_KEY, /* the key of one entry of the row's history */
};

/* Options that a command takes. */
enum operator_option : uint16_t {
    OPERATOR_TABLE = 1,      /* --vrf, --table */
    OPERATOR_MATCH = 2,      /* --longer, --longest */
    OPERATOR_THROUGH = 4,    /* --interface, --next-hop */
    OPERATOR_LIMIT = 8,      /* --limit */
    OPERATOR_DETAIL = 16,    /* --detail */
    OPERATOR_RNH = 32,       /* --rnh */
    OPERATOR_STATISTICS = 64 /* --statistics */
};

struct operator_row {
    const char *verb;  /* show, clear, debug */
    std::string words; /* with one blank between */
    uint32_t command;
    cmd_action action;
    operator_operand operand;
    uint16_t options;   /* of operator_option */
    uint8_t show_class; /* CMD_ATTR_CLASS; 0: not sent */
    int8_t value;       /* CMD_ATTR_VALUE; -1: not sent */
    uint32_t history;   /* number of the history that the row is about, or 0 */
    bool in_report;     /* part of "show tech" */
    const char *summary;
};

/* All of them; made at the first call. */
[[nodiscard]] const std::vector<operator_row> &operator_rows();

/* Finds the row of words that may be shortened as long as one row remains. Null: '*why' tells what could follow. '*used'
 * is the number of words taken; the rest is the operand. */
[[nodiscard]] const operator_row *operator_find(const char *verb, std::span<const char *const> words,
                                                size_t *used, std::string *why);

/* The words that may follow 'words' (whole words), sorted, without repetition; operands as "<...>". */
[[nodiscard]] std::vector<std::string> operator_follow(const char *verb, std::span<const char *const> words);

/* Lines of help that tell what NAME and KEY of histories may be. */
[[nodiscard]] std::string operator_history_help();

/* "PREFIX", "on|off" ... ; "" for none. */
[[nodiscard]] const char *operator_operand_text(operator_operand operand);
