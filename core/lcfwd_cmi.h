/* core/lcfwd_cmi.h: operators' commands: from a command message to its back-end. Back-ends register
 * themselves; a number of the set table whose back-end is not there does nothing, any unknown show number
 * goes to the platform. One thread; exactly one terminal answer to each request but for unknown set
 * numbers, which get none. */
#pragma once

#include <cstddef>
#include <cstdint>

struct cmd_handle;
struct lcfwd_vdc_desc;
struct mts_msg;

using lcfwd_cmi_back_end = void (*)(cmd_handle *handle, uint32_t vdc_id);

struct lcfwd_cmi_row {
    uint32_t command;
    const char *name;
    lcfwd_cmi_back_end back_end; /* null until its owner registers it */
};

/* Numbers of this process's own commands begin here. */
constexpr uint32_t LCFWD_CMI_FIRST = 0x10001;

int lcfwd_cli_init(); /* 1, or 0 with a log line */
[[nodiscard]] int lcfwd_cmi_message(mts_msg *message, lcfwd_vdc_desc *vdc);
void lcfwd_cmi_show_command(cmd_handle *handle, lcfwd_vdc_desc *vdc);
void lcfwd_cmi_set_command(cmd_handle *handle, lcfwd_vdc_desc *vdc);

/* The set table, by command number. */
[[nodiscard]] const lcfwd_cmi_row *lcfwd_cmi_set_rows(size_t *count);

/* Gives the set command of that number its back-end; false when the table has no such number. */
bool lcfwd_cmi_set_register(uint32_t command, lcfwd_cmi_back_end back_end);

/* Gives the show commands: rows sorted by number, borrowed; null takes them away. */
void lcfwd_cmi_show_register(const lcfwd_cmi_row *rows, size_t count);

void lcfwd_cmi_reset();
